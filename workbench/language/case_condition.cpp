#include "workbench/language/case_condition.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "workbench/data/names.h"

namespace velmora {
namespace {

constexpr double kNoCase = -1.6e308;  // a number that no case has

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNamePart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || IsDigit(c) ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Decimal commas become points. Commas inside the parentheses of a function part its values.
std::string WithDecimalPoints(std::string_view text) {
  std::string result(text);
  int inFunctions = 0;
  char quote = 0;
  std::vector<bool> opened;  // whether a function's parenthesis
  for (std::size_t i = 0; i < result.size(); ++i) {
    const char c = result[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '(') {
      opened.push_back(i > 0 && IsNamePart(result[i - 1]));
      inFunctions += opened.back();
    } else if (c == ')' && !opened.empty()) {
      inFunctions -= opened.back();
      opened.pop_back();
    } else if (c == ',' && inFunctions == 0 && i > 0 && IsDigit(result[i - 1]) && i + 1 < result.size() &&
               IsDigit(result[i + 1])) {
      result[i] = '.';
    }
  }
  return result;
}

std::string NumberText(double value) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end.ptr};
}

std::optional<double> NumberSaidBy(std::string_view text) {
  double value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || value - value != 0)
    return std::nullopt;
  return value;
}

struct Comparison {
  std::string name, symbol;
  bool isText = false;
  std::string text;  // of a text
  double number = 0;
};

class ComparisonReader {
 public:
  explicit ComparisonReader(std::string_view text) : text_(text) {}

  // Nothing when the condition is made of anything but comparisons joined by And.
  std::vector<Comparison> Read() {
    std::vector<Comparison> comparisons;
    do {
      Comparison& comparison = comparisons.emplace_back();
      SkipBlanks();
      if (Now() != '"' || !ReadQuoted(comparison.name) || !ReadSymbol(comparison.symbol) ||
          !ReadOperand(comparison))
        return {};
    } while (ReadAnd());
    SkipBlanks();
    if (at_ != text_.size()) comparisons.clear();
    return comparisons;
  }

 private:
  void SkipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
  }
  char Now() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  bool ReadQuoted(std::string& text) {
    SkipBlanks();
    const char quote = Now();
    if (quote != '"' && quote != '\'') return false;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == quote) {
        ++at_;
        if (Now() != quote) return true;
      }
      text += text_[at_];
    }
    return false;
  }

  bool ReadSymbol(std::string& symbol) {
    SkipBlanks();
    while (std::string_view("<>=").find(Now()) != std::string_view::npos && Now() != '\0')
      symbol += text_[at_++];
    static constexpr std::string_view kSymbols[] = {"=", "<>", "<", "<=", ">", ">="};
    return std::find(std::begin(kSymbols), std::end(kSymbols), symbol) != std::end(kSymbols);
  }

  bool ReadOperand(Comparison& comparison) {
    SkipBlanks();
    comparison.isText = Now() == '"' || Now() == '\'';
    if (comparison.isText) return ReadQuoted(comparison.text);
    const auto read = std::from_chars(text_.data() + at_, text_.data() + text_.size(), comparison.number);
    if (read.ec != std::errc()) return false;
    at_ = static_cast<std::size_t>(read.ptr - text_.data());
    return comparison.number - comparison.number == 0;
  }

  bool ReadAnd() {
    const std::size_t before = at_;
    SkipBlanks();
    const std::string_view word = text_.substr(at_, 3);
    const bool is =
        word.size() == 3 && (word[0] | 32) == 'a' && (word[1] | 32) == 'n' && (word[2] | 32) == 'd';
    at_ = is ? at_ + 3 : before;
    return is;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

// Keeps of the numbers from low to high those for which the comparison holds. Equality is the host's, within 15
// units in the last place: what is equal is neither less nor greater.
void Narrow(const std::string& symbol, double operand, double& low, double& high) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const MissingRange equal(operand);
  if (symbol == "<=" || symbol == "=") high = std::min(high, equal.high);
  if (symbol == ">=" || symbol == "=") low = std::max(low, equal.low);
  if (symbol == "<") high = std::min(high, std::nextafter(equal.low, -kInfinite));
  if (symbol == ">") low = std::max(low, std::nextafter(equal.high, kInfinite));
}

// The number that the comparison's operand means for the column.
class OperandMeaning {
 public:
  OperandMeaning(const Table& table, const Column& column, std::vector<AskedLevel>& asked)
      : table_(table), column_(column), asked_(asked) {}

  double Of(const Comparison& comparison) const {
    const bool equality = comparison.symbol == "=" || comparison.symbol == "<>";
    if ((comparison.isText || column_.fromText) && !equality)
      throw DataError("\"" + column_.name + "\" is compared by " + comparison.symbol +
                      (comparison.isText ? " with a text" : " with a number, and holds texts in " + File()));
    if (comparison.isText) return OfText(comparison.text);
    return column_.fromText ? OfLabelThatSays(comparison.number) : comparison.number;
  }

 private:
  std::string File() const { return table_.fileName.empty() ? std::string("the table") : table_.fileName; }

  double OfText(const std::string& text) const {
    if (const double* value = column_.ValueOf(text)) return Asked(text, *value);
    const auto number = column_.fromText ? std::nullopt : NumberSaidBy(text);
    return Asked(text, number.value_or(kNoCase));
  }

  double OfLabelThatSays(double number) const {
    for (const ValueLabel& label : column_.labels) {
      if (NumberSaidBy(label.text) == number) return Asked(label.text, label.value);
    }
    return Asked(NumberText(number), kNoCase);
  }

  double Asked(const std::string& level, double value) const {
    asked_.push_back({column_.name, level, value != kNoCase});
    return value;
  }

  const Table& table_;
  const Column& column_;
  std::vector<AskedLevel>& asked_;
};

}  // namespace

CaseCondition::CaseCondition(std::string_view text, const Table& table, std::vector<AskedLevel>& asked)
    : table_(&table) {
  const std::string condition = WithDecimalPoints(text);
  const std::vector<Comparison> comparisons = ComparisonReader(condition).Read();
  if (comparisons.empty()) {
    expression_ = std::make_unique<Expression>(Expression::Compile(condition, table));
    return;
  }
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  std::string plain;
  int only = 0;  // the variable of all comparisons, -1: there are several, or a <>
  double low = -kInfinite, high = kInfinite;
  for (const Comparison& comparison : comparisons) {
    const int variable = ResolveVariable(table, comparison.name);
    const double operand = OperandMeaning(table, table.Variable(variable), asked).Of(comparison);
    only = (only == 0 || only == variable) && comparison.symbol != "<>" ? variable : -1;
    Narrow(comparison.symbol, operand, low, high);
    plain += (plain.empty() ? "" : " And ") + DoubleQuoted(table.Variable(variable).name) +
             comparison.symbol + NumberText(operand);
  }
  if (only > 0) {
    const Column& column = table.Variable(only);
    range_ =
        std::make_unique<Range>(Range{column.values.data(), MissingRange(column.missingCode), low, high});
  } else {
    expression_ = std::make_unique<Expression>(Expression::Compile(plain, table));
  }
}

void CaseCondition::Evaluate(std::int64_t firstCase, std::size_t count, std::uint8_t* isTrue,
                             std::uint8_t* isMissing) {
  if (range_) {
    const Range range = *range_;
    const double* const values = range.values + firstCase;
    for (std::size_t i = 0; i < count; ++i) {
      const double x = values[i];
      const bool within = (x >= range.low) & (x <= range.high);
      const bool missing = ((x >= range.missing.low) & (x <= range.missing.high)) | !(x - x == 0);
      isTrue[i] = static_cast<std::uint8_t>(within & !missing);
      isMissing[i] = static_cast<std::uint8_t>(missing);
    }
    return;
  }
  results_.resize(kMostCases);
  expression_->EvaluateBlock(*table_, firstCase, count, results_.data());
  for (std::size_t i = 0; i < count; ++i) {
    const bool missing = results_[i] == kMissing;  // this very number is what it writes
    isTrue[i] = static_cast<std::uint8_t>(!missing & (results_[i] != 0));
    isMissing[i] = static_cast<std::uint8_t>(missing);
  }
}

std::string DoubleQuoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string(2, c) : std::string(1, c);
  return quoted + "\"";
}

Expression CompileSavedExpression(std::string_view text, const Table& table) {
  return Expression::Compile(WithDecimalPoints(text), table);
}

std::string FirstNameIn(std::string_view condition) {
  const std::size_t begin = condition.find_first_not_of(" \t(");
  if (begin == std::string_view::npos) return {};
  std::string name;
  if (condition[begin] != '"') {
    std::size_t end = begin;
    while (end < condition.size() && (IsNamePart(condition[end]) || condition[end] == '.')) ++end;
    return std::string(condition.substr(begin, end - begin));
  }
  for (std::size_t i = begin + 1; i < condition.size(); ++i) {
    if (condition[i] == '"' && condition.substr(i + 1, 1) != "\"") return name;
    if (condition[i] == '"') ++i;
    name += condition[i];
  }
  return {};
}

}  // namespace velmora
