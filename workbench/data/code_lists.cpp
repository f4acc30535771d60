#include "workbench/data/code_lists.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/parse_number.h"
#include "contract/list_values.h"
#include "workbench/data/errors.h"

namespace velmora {

namespace {

constexpr std::string_view kSeparators = " \t\r\n,;";
constexpr std::string_view kAllValues = "*";
constexpr double kLongestRange = 100'000;

std::optional<double> NumberOf(std::string_view text) {
  const auto number = vlm::ParseNumber<double>(text);
  return number && std::isfinite(*number) ? number : std::nullopt;
}

// First and last code of "1-4", also of negative numbers.
std::optional<std::pair<double, double>> RangeOf(std::string_view text) {
  const std::size_t dash = text.find('-', 1);
  if (dash == std::string_view::npos) return std::nullopt;
  const std::optional<double> first = NumberOf(text.substr(0, dash));
  const std::optional<double> last = NumberOf(text.substr(dash + 1));
  if (!first || !last || *first != std::floor(*first) || *last != std::floor(*last)) return std::nullopt;
  if (*first > *last || *last - *first >= kLongestRange) return std::nullopt;
  return std::pair(*first, *last);
}

std::string NumberText(double code) {
  constexpr double kLargestWhole = 1e15;
  char buffer[32];
  const bool whole = code == std::floor(code) && std::abs(code) < kLargestWhole;
  const auto [end, error] = whole
                                ? std::to_chars(buffer, buffer + sizeof buffer, static_cast<long long>(code))
                                : std::to_chars(buffer, buffer + sizeof buffer, code);
  return std::string(buffer, error == std::errc() ? end : buffer);
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

class CodeReader {
 public:
  CodeReader(const Column& column, const CodeValues& values) : column_(column), values_(values) {
    // A label means the first value that has it.
    for (const ValueLabel& label : column.labels) labels_.emplace(label.text, label.value);
  }

  void ReadText(std::string_view text) {
    text = vlm::TrimmedListText(text);
    if (text != kAllValues && AppendLabel(text)) return;
    for (std::size_t at = text.find_first_not_of(kSeparators); at != std::string_view::npos;
         at = text.find_first_not_of(kSeparators, at)) {
      if (text[at] == '"') {
        AppendQuoted(text, at);
      } else {
        const std::size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
        AppendWord(text.substr(at, end - at));
        at = end;
      }
    }
  }

  void Append(double code) {
    if (seen_.insert(code).second) choice_.codes.push_back(code);
  }

  CodeChoice Take() { return std::move(choice_); }

 private:
  bool AppendLabel(std::string_view text) {
    const auto found = labels_.find(text);
    if (found == labels_.end()) return false;
    Append(found->second);
    return true;
  }

  // at: the opening quotation mark, and afterwards the character after the closing one.
  void AppendQuoted(std::string_view text, std::size_t& at) {
    std::string label;
    for (++at;; ++at) {
      if (at >= text.size())
        throw DataError("The codes of " + column_.name + " have a quotation mark that is not closed.");
      if (text[at] == '"' && (at + 1 == text.size() || text[at + 1] != '"')) break;
      if (text[at] == '"') ++at;
      label += text[at];
    }
    ++at;
    if (AppendLabel(label)) return;
    const std::optional<double> number = NumberOf(label);
    if (!number) Fail(label);
    Append(*number);
  }

  void AppendWord(std::string_view word) {
    if (word == kAllValues) {
      for (const double code : values_()) Append(code);
      choice_.all = true;
    } else if (AppendLabel(word)) {
      return;
    } else if (const auto number = NumberOf(word)) {
      Append(*number);
    } else if (const auto range = RangeOf(word)) {
      for (double code = range->first; code <= range->second; ++code) Append(code);
    } else {
      Fail(word);
    }
  }

  [[noreturn]] void Fail(std::string_view word) const {
    constexpr std::size_t kMostListed = 12;
    const std::vector<double> codes = values_();
    std::string known;
    for (std::size_t i = 0; i < std::min(codes.size(), kMostListed); ++i)
      known += (i > 0 ? ", " : "") + ShownCode(column_, codes[i]);
    if (codes.size() > kMostListed) known += " and " + std::to_string(codes.size() - kMostListed) + " more";
    throw DataError("\"" + std::string(word) + "\" is neither a code nor a value label of " + column_.name +
                    ", whose codes are " + (known.empty() ? "none" : known) + ".");
  }

  const Column& column_;
  const CodeValues& values_;
  std::unordered_map<std::string_view, double> labels_;
  std::unordered_set<double> seen_;
  CodeChoice choice_;
};

}  // namespace

std::optional<double> CodeNamed(const Column& column, std::string_view text) {
  if (const double* const labelled = column.ValueOf(text)) return *labelled;
  return column.fromText ? std::nullopt : NumberOf(text);
}

CodeChoice ParseCodes(const Column& column, std::string_view text, const CodeValues& values) {
  CodeReader reader(column, values);
  reader.ReadText(text);
  return reader.Take();
}

CodeChoice ReadCodes(const Column& column, const vlm::AutomationValue& value, const CodeValues& values) {
  CodeReader reader(column, values);
  vlm::ForEachListItem(value, [&](const vlm::AutomationValue& item) {
    if (item.type == vlm::kAutomationText) {
      reader.ReadText(vlm::ListText(item));
    } else if (item.type == vlm::kAutomationInt) {
      reader.Append(item.intValue);
    } else if (item.type == vlm::kAutomationReal && std::isfinite(item.realValue)) {
      reader.Append(item.realValue);
    } else if (item.type != vlm::kAutomationEmpty) {
      throw DataError("A code of " + column.name + " is a number or a value label.");
    }
  });
  return reader.Take();
}

std::string PrintCodes(const Column& column, std::span<const double> codes) {
  std::unordered_map<std::string_view, double> labels;
  for (const ValueLabel& label : column.labels) labels.emplace(label.text, label.value);
  const bool ambiguous = std::any_of(codes.begin(), codes.end(), [&](double code) {
    const auto found = labels.find(NumberText(code));
    return found != labels.end() && found->second != code;
  });
  std::string text;
  for (const double code : codes) {
    if (!text.empty()) text += ' ';
    text += ambiguous ? ShownCode(column, code) : NumberText(code);
  }
  return text;
}

std::string ShownCode(const Column& column, double code) {
  const std::string* const label = column.LabelOf(code);
  return label == nullptr ? NumberText(code) : Quoted(*label);
}

}  // namespace velmora
