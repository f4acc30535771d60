// Formula columns: recursive descent into a postfix program, evaluated once a row.
#include "workbench/language/formula.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace velmora {

// Grammar: sum := product (("+"|"-") product)*; product := sign (("*"|"/") sign)*; sign := ("+"|"-")* power;
// power := primary ("^" sign)?; primary := number | vN | name "(" sum ")" | "(" sum ")".
class FormulaParser {
 public:
  FormulaParser(std::string_view text, Formula& formula) : text_(text), formula_(formula) {}

  bool Run() {
    SkipBlanks();
    if (!Take('=')) return Fail("a formula begins with =");
    if (!Sum()) return false;
    SkipBlanks();
    return position_ == text_.size() || Fail("an operator is missing");
  }

  const std::string& Error() const { return error_; }

 private:
  using Step = Formula::Step;

  void SkipBlanks() {
    while (position_ < text_.size() && (text_[position_] == ' ' || text_[position_] == '\t')) ++position_;
  }

  bool Take(char wanted) {
    SkipBlanks();
    if (position_ >= text_.size() || text_[position_] != wanted) return false;
    ++position_;
    return true;
  }

  bool Fail(std::string_view what) {
    if (error_.empty()) {
      error_ = "Formula \"" + std::string(text_) + "\", character " + std::to_string(position_ + 1) + ": " +
               std::string(what) + ".";
    }
    return false;
  }

  // Keeps count of the operand stack that the program needs.
  bool Emit(Step step, int column = 0, double number = 0) {
    formula_.program_.push_back({step, column, number});
    if (step == Step::kNumber || step == Step::kCell) {
      if (++depth_ > Formula::kMaximumDepth) return Fail("the formula is nested too deeply");
    } else if (step >= Step::kAdd && step <= Step::kPower) {
      --depth_;
    }
    return true;
  }

  bool Sum() {
    if (++nesting_ > Formula::kMaximumDepth) return Fail("the formula is nested too deeply");
    if (!Product()) return false;
    while (true) {
      const Step step = Take('+') ? Step::kAdd : Take('-') ? Step::kSubtract : Step::kNumber;
      if (step == Step::kNumber) break;
      if (!Product() || !Emit(step)) return false;
    }
    --nesting_;
    return true;
  }

  bool Product() {
    if (!Sign()) return false;
    while (true) {
      const Step step = Take('*') ? Step::kMultiply : Take('/') ? Step::kDivide : Step::kNumber;
      if (step == Step::kNumber) return true;
      if (!Sign() || !Emit(step)) return false;
    }
  }

  bool Sign() {
    bool negative = false;
    while (true) {
      if (Take('-')) {
        negative = !negative;
      } else if (!Take('+')) {
        break;
      }
    }
    return Power() && (!negative || Emit(Step::kNegate));
  }

  bool Power() {
    if (!Primary()) return false;
    if (!Take('^')) return true;
    if (++nesting_ > Formula::kMaximumDepth) return Fail("the formula is nested too deeply");
    if (!Sign() || !Emit(Step::kPower)) return false;
    --nesting_;
    return true;
  }

  bool Primary() {
    if (Take('(')) return Sum() && (Take(')') || Fail("a closing parenthesis is missing"));
    SkipBlanks();
    if (position_ == text_.size()) return Fail("a number, a column or a parenthesis is missing");
    const char c = text_[position_];
    if ((c >= '0' && c <= '9') || c == '.') return Number();
    if (IsLetter(c)) return Word();
    return Fail(std::string("\"") + c + "\" is not expected here");
  }

  bool Number() {
    double number = 0;
    const auto [end, failure] =
        std::from_chars(text_.data() + position_, text_.data() + text_.size(), number);
    if (failure != std::errc()) return Fail("this is not a number");
    position_ = static_cast<std::size_t>(end - text_.data());
    return Emit(Step::kNumber, 0, number);
  }

  bool Word() {
    const std::size_t begin = position_;
    std::string word;
    while (position_ < text_.size() && (IsLetter(text_[position_]) || IsDigit(text_[position_]))) {
      const char c = text_[position_++];
      word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (word[0] == 'v' && word.size() > 1 && std::all_of(word.begin() + 1, word.end(), IsDigit)) {
      return Reference(begin + 1, std::string_view(word).substr(1));
    }
    static constexpr std::pair<std::string_view, Step> kFunctions[] = {{"log", Step::kLog},
                                                                       {"log10", Step::kLog10},
                                                                       {"exp", Step::kExp},
                                                                       {"sqrt", Step::kSqrt},
                                                                       {"abs", Step::kAbs}};
    for (const auto& [name, step] : kFunctions) {
      if (word != name) continue;
      if (!Take('(')) return Fail("a parenthesis is missing after " + word);
      return Sum() && (Take(')') || Fail("a closing parenthesis is missing")) && Emit(step);
    }
    position_ = begin;
    return Fail("\"" + word + "\" is neither a column (v1, v2, ...) nor a function");
  }

  bool Reference(std::size_t begin, std::string_view digits) {
    int column = 0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), column);
    if (failure != std::errc() || column == 0) {
      position_ = begin;
      return Fail("there is no column v" + std::string(digits));
    }
    formula_.textReferences_.push_back({begin, digits.size(), column});
    return Emit(Step::kCell, column);
  }

  static bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view text_;
  Formula& formula_;
  std::size_t position_ = 0;
  std::size_t depth_ = 0;
  std::size_t nesting_ = 0;
  std::string error_;
};

bool Formula::Parse(std::string_view text, std::string& error) {
  *this = Formula();
  text_ = text;
  FormulaParser parser(text, *this);
  if (!parser.Run()) {
    *this = Formula();
    error = parser.Error();
    return false;
  }
  CollectReferences();
  return true;
}

void Formula::CollectReferences() {
  references_.clear();
  for (const TextReference& reference : textReferences_) references_.push_back(reference.column);
  std::sort(references_.begin(), references_.end());
  references_.erase(std::unique(references_.begin(), references_.end()), references_.end());
}

void Formula::ColumnsInserted(int afterColumn, int count) {
  for (Instruction& instruction : program_) {
    if (instruction.step == Step::kCell && instruction.column > afterColumn) instruction.column += count;
  }
  std::size_t shift = 0;  // characters that the text has grown by so far
  for (TextReference& reference : textReferences_) {
    reference.begin += shift;
    if (reference.column <= afterColumn) continue;
    reference.column += count;
    const std::string digits = std::to_string(reference.column);
    text_.replace(reference.begin, reference.length, digits);
    // The difference wraps when v007 becomes v9, and the sums above wrap back.
    shift += digits.size() - reference.length;
    reference.length = digits.size();
  }
  CollectReferences();
}

bool Formula::IsUsable(double value) { return std::isfinite(value) && !IsMissing(value, kMissing); }

double Formula::Apply(Step step, double left, double right) {
  constexpr double kNoResult = std::numeric_limits<double>::quiet_NaN();
  switch (step) {
    case Step::kNegate:
      return -left;
    case Step::kAdd:
      return left + right;
    case Step::kSubtract:
      return left - right;
    case Step::kMultiply:
      return left * right;
    case Step::kDivide:
      return right == 0 ? kNoResult : left / right;  // exactly zero: anything else divides
    case Step::kPower:
      return std::pow(left, right);
    case Step::kLog:
      return left > 0 ? std::log(left) : kNoResult;
    case Step::kLog10:
      return left > 0 ? std::log10(left) : kNoResult;
    case Step::kExp:
      return std::exp(left);
    case Step::kSqrt:
      return left >= 0 ? std::sqrt(left) : kNoResult;
    case Step::kAbs:
      return std::fabs(left);
    case Step::kNumber:
    case Step::kCell:
      break;
  }
  return kNoResult;
}

}  // namespace velmora
