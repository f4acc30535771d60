#include "workbench/data/names.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <unordered_map>

namespace velmora {

namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return Lower(x) == Lower(y); });
}

// The digits as a number, or -1 when text is anything else. Returns the largest int for a number
// beyond it.
int WholeNumber(std::string_view text) {
  if (text.empty() || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return -1;
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  return result.ec == std::errc() ? value : std::numeric_limits<int>::max();
}

// 3 for v3 and V3, or -1.
int NumberAfterV(std::string_view text) {
  return text.size() > 1 && Lower(text[0]) == 'v' ? WholeNumber(text.substr(1)) : -1;
}

int FindExact(const Table& table, std::string_view name) {
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    if (table.columns[i].name == name) return static_cast<int>(i) + 1;
  return 0;
}

std::string NameOfTable(const Table& table) {
  return table.fileName.empty() ? std::string("the table") : table.fileName;
}

int CheckedNumber(const Table& table, int number, std::string_view text) {
  if (number >= 1 && number <= table.VariableCount()) return number;
  throw DataError("There is no variable " + std::string(text) + ": " + NameOfTable(table) + " has " +
                  std::to_string(table.VariableCount()) +
                  (table.VariableCount() == 1 ? " variable." : " variables."));
}

[[noreturn]] void ThrowUnknown(const Table& table, std::string_view text) {
  std::vector<std::string_view> names;
  for (const Column& column : table.columns) names.push_back(column.name);
  std::string message = "There is no variable \"" + std::string(text) + "\" in " + NameOfTable(table);
  const int nearest = NearestText(text, names);
  if (nearest >= 0) {
    message += "; did you mean \"" + std::string(names[static_cast<std::size_t>(nearest)]) + "\"?";
  } else {
    constexpr std::size_t kMaxListed = 8;
    message += "; it has ";
    for (std::size_t i = 0; i < std::min(kMaxListed, names.size()); ++i)
      message += (i ? ", " : "") + std::string(names[i]);
    message +=
        names.size() > kMaxListed ? " and " + std::to_string(names.size() - kMaxListed) + " more." : ".";
  }
  throw DataError(message);
}

// * and ? over bytes, ? over one UTF-8 character. Backtracks to the last star only, so the time is
// bounded by the product of the lengths.
bool MatchesPattern(std::string_view name, std::string_view pattern) {
  std::size_t n = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t starName = 0;
  const auto next = [&](std::size_t at) {
    ++at;
    while (at < name.size() && (static_cast<unsigned char>(name[at]) & 0xC0U) == 0x80U) ++at;
    return at;
  };
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      starName = n;
    } else if (p < pattern.size() && pattern[p] == '?') {
      ++p;
      n = next(n);
    } else if (p < pattern.size() && pattern[p] == name[n]) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      starName = next(starName);
      n = starName;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

// Optimal string alignment distance; returns bound + 1 as soon as it must exceed bound.
int EditDistance(std::string_view a, std::string_view b, int bound) {
  const auto rows = static_cast<int>(a.size());
  const auto columns = static_cast<int>(b.size());
  if (std::abs(rows - columns) > bound) return bound + 1;
  const std::size_t width = b.size() + 1;
  std::vector<int> beforeLast(width);
  std::vector<int> last(width);
  std::vector<int> current(width);
  std::iota(last.begin(), last.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    current[0] = static_cast<int>(i);
    int least = current[0];
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const int replace = last[j - 1] + (Lower(a[i - 1]) != Lower(b[j - 1]));
      current[j] = std::min({replace, last[j] + 1, current[j - 1] + 1});
      if (i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) && Lower(a[i - 2]) == Lower(b[j - 1]))
        current[j] = std::min(current[j], beforeLast[j - 2] + 1);
      least = std::min(least, current[j]);
    }
    if (least > bound) return bound + 1;
    beforeLast.swap(last);
    last.swap(current);
  }
  return last[b.size()];
}

struct ListPart {
  std::string text;
  bool quoted = false;
};

bool IsListSeparator(char c) {
  return c == ' ' || c == '\t' || c == ',' || c == ';' || c == '\n' || c == '\r';
}

// Reads a quoted name or a run up to a separator from text at position at.
ListPart ReadListPart(std::string_view text, std::size_t& at) {
  ListPart part;
  if (text[at] != '"') {
    while (at < text.size() && !IsListSeparator(text[at])) part.text += text[at++];
    return part;
  }
  part.quoted = true;
  const std::size_t opened = at++;
  for (;; ++at) {
    if (at == text.size())
      throw DataError("The variable list \"" + std::string(text) + "\" has a quote at position " +
                      std::to_string(opened + 1) + " that is not closed.");
    if (text[at] == '"') {
      if (at + 1 == text.size() || text[at + 1] != '"') break;
      ++at;
    }
    part.text += text[at];
  }
  ++at;
  return part;
}

int ResolveListPart(const Table& table, const ListPart& part) {
  if (part.quoted) {
    const int exact = FindExact(table, part.text);
    if (exact == 0) ThrowUnknown(table, part.text);
    return exact;
  }
  const int number = WholeNumber(part.text);
  return number >= 0 ? CheckedNumber(table, number, part.text) : ResolveVariable(table, part.text);
}

bool IsRangeOfNumbers(std::string_view text) {
  const std::size_t dash = text.find('-');
  return dash != std::string_view::npos && WholeNumber(text.substr(0, dash)) >= 0 &&
         WholeNumber(text.substr(dash + 1)) >= 0;
}

// The position of the dash of a range in an unquoted part, or npos. A variable whose name has a
// dash is itself, but 5-9 are always numbers, since lists are printed so: a variable of that name
// needs quotes.
std::size_t FindRangeDash(const Table& table, const std::string& text) {
  if (IsRangeOfNumbers(text)) return text.find('-');
  if (FindExact(table, text) != 0) return std::string::npos;
  for (std::size_t dash = text.find('-', 1); dash != std::string::npos; dash = text.find('-', dash + 1)) {
    if (dash + 1 == text.size()) break;
    const std::string left = text.substr(0, dash);
    if (WholeNumber(left) >= 0 || FindExact(table, left) != 0 || NumberAfterV(left) >= 0) return dash;
  }
  return std::string::npos;
}

}  // namespace

int FindVariable(const Table& table, std::string_view text) {
  if (const int exact = FindExact(table, text); exact != 0) return exact;
  if (const int number = NumberAfterV(text); number >= 0) return number <= table.VariableCount() ? number : 0;
  int found = 0;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (!SameIgnoringCase(table.columns[i].name, text)) continue;
    if (found != 0)
      throw DataError("The name \"" + std::string(text) + "\" is ambiguous in " + NameOfTable(table) +
                      ": it could be \"" + table.Variable(found).name + "\" or \"" + table.columns[i].name +
                      "\".");
    found = static_cast<int>(i) + 1;
  }
  return found;
}

int ResolveVariable(const Table& table, std::string_view text) {
  const int found = FindVariable(table, text);
  if (found == 0 && NumberAfterV(text) >= 0) return CheckedNumber(table, NumberAfterV(text), text);
  if (found == 0) ThrowUnknown(table, text);
  return found;
}

std::vector<int> ResolveVariables(const Table& table, std::span<const std::string> texts) {
  std::vector<int> numbers;
  std::vector<bool> taken(table.columns.size() + 1);
  // A list for a wide table may hold many names.
  std::unordered_map<std::string_view, int> exact;
  for (int number = 1; number <= table.VariableCount(); ++number)
    exact.emplace(table.Variable(number).name, number);
  const auto add = [&](int number) {
    if (!taken[static_cast<std::size_t>(number)]) numbers.push_back(number);
    taken[static_cast<std::size_t>(number)] = true;
  };
  for (const std::string& text : texts) {
    if (const auto found = exact.find(text); found != exact.end()) {
      add(found->second);
      continue;
    }
    if (text.find_first_of("*?") == std::string::npos) {
      add(ResolveVariable(table, text));
      continue;
    }
    bool any = false;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (!MatchesPattern(table.columns[i].name, text)) continue;
      any = true;
      add(static_cast<int>(i) + 1);
    }
    if (!any) throw DataError("No variable of " + NameOfTable(table) + " matches \"" + text + "\".");
  }
  return numbers;
}

std::vector<int> ParseVariableList(const Table& table, std::string_view text) {
  // A single name needs no quotes, whatever blanks and signs it has.
  if (WholeNumber(text) < 0 && !IsRangeOfNumbers(text)) {
    if (const int whole = FindExact(table, text); whole != 0) return {whole};
  }
  std::vector<int> numbers;
  std::size_t at = 0;
  while (at < text.size()) {
    if (IsListSeparator(text[at])) {
      ++at;
      continue;
    }
    ListPart first = ReadListPart(text, at);
    ListPart last;
    bool range = false;
    if (!first.quoted) {
      if (const std::size_t dash = FindRangeDash(table, first.text); dash != std::string::npos) {
        last.text = first.text.substr(dash + 1);
        first.text.resize(dash);
        range = true;
      }
    } else if (at + 1 < text.size() && text[at] == '-') {
      last = ReadListPart(text, ++at);
      range = true;
    }
    const int from = ResolveListPart(table, first);
    const int to = range ? ResolveListPart(table, last) : from;
    if (to < from)
      throw DataError("The range " + first.text + "-" + last.text + " of the variable list runs backwards.");
    for (int number = from; number <= to; ++number) numbers.push_back(number);
  }
  return numbers;
}

std::string PrintVariableList(std::span<const int> variableNumbers) {
  std::string text;
  for (std::size_t i = 0; i < variableNumbers.size();) {
    std::size_t end = i + 1;
    while (end < variableNumbers.size() && variableNumbers[end] == variableNumbers[end - 1] + 1) ++end;
    if (end - i < 3) end = i + 1;
    if (!text.empty()) text += ' ';
    text += std::to_string(variableNumbers[i]);
    if (end - i > 1) text += '-' + std::to_string(variableNumbers[end - 1]);
    i = end;
  }
  return text;
}

int NearestText(std::string_view text, std::span<const std::string_view> candidates) {
  // A third of the letters may be wrong, at least two of a word of four.
  int bound = std::max<int>(text.size() >= 4 ? 2 : 1, static_cast<int>(text.size() / 3));
  int nearest = -1;
  bool begun = false;  // among equally near candidates, one that begins with text is preferred
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const int distance = EditDistance(text, candidates[i], bound);
    const bool begins = candidates[i].starts_with(text);
    if (distance > bound || (nearest >= 0 && distance == bound && (begun || !begins))) continue;
    nearest = static_cast<int>(i);
    begun = begins;
    bound = distance;
    if (bound == 0) break;
  }
  return nearest;
}

}  // namespace velmora
