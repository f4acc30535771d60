// Binds a value's names to variables and makes steps for a stack machine, which works on slices of
// cases so that each step is one loop over doubles. Inside, NaN means missing; it is never
// returned.
#include "workbench/language/expression.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <utility>

#include "base/tolerant.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/names.h"

namespace velmora {

namespace {

constexpr std::size_t kSlice = 512;  // cases; a few slices stay in the first-level cache
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kSecondsOfDay = 86400;

// NaN for a result that is not finite.
double Checked(double value) { return value - value == 0 ? value : kNan; }

// Both are finite.
bool Near(double a, double b) {
  const std::int64_t x = vlm::OrderedBits(a);
  const std::int64_t y = vlm::OrderedBits(b);
  return x <= y + vlm::kToleranceUlps && y <= x + vlm::kToleranceUlps;
}

bool EitherMissing(double a, double b) { return a != a || b != b; }

template <class Operation>
void Unary(double* top, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i) top[i] = operation(top[i]);
}

template <class Operation>
void Binary(double* left, const double* right, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i) left[i] = operation(left[i], right[i]);
}

template <class Operation>
void Compare(double* left, const double* right, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i)
    left[i] = EitherMissing(left[i], right[i]) ? kNan : (operation(left[i], right[i]) ? 1.0 : 0.0);
}

}  // namespace

class ExpressionBinder {
 public:
  explicit ExpressionBinder(const ExpressionNames& names) : names_(names) {}

  Expression Bind(const Syntax& value) {
    Number(value);
    for (std::vector<int>* const list : {&result_.variables_, &result_.comparedWithNumbers_}) {
      std::sort(list->begin(), list->end());
      list->erase(std::unique(list->begin(), list->end()), list->end());
    }
    return std::move(result_);
  }

 private:
  using Op = Expression::Op;

  [[noreturn]] static void Fail(const Syntax& at, std::string reason) {
    throw SyntaxError{at.at, at.line, std::move(reason)};
  }
  static std::string Shown(const Syntax& value) { return "\"" + value.text + "\""; }

  void Push(Expression::Step step, int change) {
    result_.steps_.push_back(step);
    height_ += change;
    result_.depth_ = std::max(result_.depth_, static_cast<std::size_t>(height_));
  }
  void PushConstant(double value) { Push({Op::kConstant, 0, value}, 1); }

  // The variable, if the value is nothing but one; else 0.
  int VariableIn(const Syntax& value) const {
    const bool mayBe =
        value.kind == SyntaxKind::kName || (value.kind == SyntaxKind::kText && value.quote == '"');
    if (!mayBe) return 0;
    const auto [known, isNew] = variables_.try_emplace(value.text);
    if (isNew) known->second = names_.FindVariable(value.text);
    return known->second;
  }

  // Compiles a value that is used in arithmetic, a function or a condition.
  void Number(const Syntax& value) {
    if (const int variable = VariableIn(value);
        variable != 0 && names_.DateUnitOf(variable) != DateUnit::kNone)
      Fail(value, Shown(value) + " holds dates, which can be compared but not computed with");
    Value(value);
  }

  void Value(const Syntax& value) {
    switch (value.kind) {
      case SyntaxKind::kNumber:
        return PushConstant(value.number);
      case SyntaxKind::kDate:
        Fail(value, value.text + " is a date, which can be compared with a variable that holds dates" +
                        (value.text.size() == 10 ? "; put blanks around - to subtract" : ""));
      case SyntaxKind::kText:
      case SyntaxKind::kName:
        return Variable(value);
      case SyntaxKind::kCall:
        return Call(value);
      case SyntaxKind::kNot:
      case SyntaxKind::kNegate:
        Number(value.parts.front());
        return Push({value.kind == SyntaxKind::kNot ? Op::kNot : Op::kNegate}, 0);
      case SyntaxKind::kJoin:
        Fail(value, "& joins texts in quotes and Chr(n) only");
      default:
        break;
    }
    if (IsComparison(value.kind)) return Comparison(value);
    Number(value.parts.front());
    for (std::size_t i = 1; i < value.parts.size(); ++i) {
      Number(value.parts[i]);
      Push({OpOf(value.kind)}, -1);
    }
  }

  static Op OpOf(SyntaxKind kind) {
    static constexpr std::pair<SyntaxKind, Op> kOps[] = {{SyntaxKind::kOr, Op::kOr},
                                                         {SyntaxKind::kAnd, Op::kAnd},
                                                         {SyntaxKind::kEqual, Op::kEqual},
                                                         {SyntaxKind::kNotEqual, Op::kNotEqual},
                                                         {SyntaxKind::kLess, Op::kLess},
                                                         {SyntaxKind::kLessOrEqual, Op::kLessOrEqual},
                                                         {SyntaxKind::kGreater, Op::kGreater},
                                                         {SyntaxKind::kGreaterOrEqual, Op::kGreaterOrEqual},
                                                         {SyntaxKind::kAdd, Op::kAdd},
                                                         {SyntaxKind::kSubtract, Op::kSubtract},
                                                         {SyntaxKind::kMultiply, Op::kMultiply},
                                                         {SyntaxKind::kDivide, Op::kDivide},
                                                         {SyntaxKind::kPower, Op::kPower}};
    return std::find_if(std::begin(kOps), std::end(kOps), [&](const auto& one) { return one.first == kind; })
        ->second;
  }

  void Variable(const Syntax& value) {
    if (const int variable = VariableIn(value); variable != 0) {
      result_.variables_.push_back(variable);
      return Push({Op::kVariable, variable}, 1);
    }
    if (value.kind == SyntaxKind::kText)
      Fail(value, "the text " + Shown(value) + " is neither a variable nor compared with a variable" +
                      Suggestion(value.text));
    if (value.text == "v0" || value.text == "V0") return Push({Op::kCaseNumber}, 1);
    Fail(value, "there is no variable " + Shown(value) + Suggestion(value.text));
  }

  std::string Suggestion(const std::string& name) const {
    const std::string nearest = names_.NearestName(name);
    return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
  }

  void Call(const Syntax& call) {
    struct Function {
      std::string_view name;
      Op op;
    };
    static constexpr std::array<Function, 13> kFunctions = {{{"ismd", Op::kIsMissing},
                                                             {"abs", Op::kAbs},
                                                             {"log", Op::kLog},
                                                             {"log10", Op::kLog10},
                                                             {"exp", Op::kExp},
                                                             {"sqrt", Op::kSqrt},
                                                             {"sin", Op::kSin},
                                                             {"cos", Op::kCos},
                                                             {"int", Op::kInt},
                                                             {"trunc", Op::kTrunc},
                                                             {"round", Op::kRound},
                                                             {"min", Op::kMinimum},
                                                             {"max", Op::kMaximum}}};
    const auto* const function = std::find_if(kFunctions.begin(), kFunctions.end(),
                                              [&](const Function& one) { return one.name == call.text; });
    if (function == kFunctions.end()) Fail(call, "there is no function " + Shown(call));
    const bool takesMany = function->op == Op::kMinimum || function->op == Op::kMaximum;
    if (call.parts.empty() || (call.parts.size() > 1 && !takesMany))
      Fail(call, Shown(call) + (takesMany ? " takes one value or more" : " takes one value"));
    if (function->op == Op::kIsMissing) {
      Value(call.parts.front());  // also of a date
    } else {
      Number(call.parts.front());
    }
    if (!takesMany) return Push({function->op}, 0);
    for (std::size_t i = 1; i < call.parts.size(); ++i) {
      Number(call.parts[i]);
      Push({function->op}, -1);
    }
  }

  // --- Comparisons
  void Comparison(const Syntax& value) {
    const Syntax& left = value.parts.front();
    const Syntax& right = value.parts.back();
    const bool leftIsConstant = IsConstantFor(left, right);
    const bool rightIsConstant = !leftIsConstant && IsConstantFor(right, left);
    const DateUnit unit = rightIsConstant ? UnitOf(left) : leftIsConstant ? UnitOf(right) : CommonUnit(value);
    Side(value, left, right, leftIsConstant, unit);
    Side(value, right, left, rightIsConstant, unit);
    Push({OpOf(value.kind)}, -1);
  }

  DateUnit UnitOf(const Syntax& side) const {
    const int variable = VariableIn(side);
    return variable == 0 ? DateUnit::kNone : names_.DateUnitOf(variable);
  }

  // Whether one side is a text or date whose meaning depends on the variable on the other side.
  bool IsConstantFor(const Syntax& side, const Syntax& other) const {
    const int variable = VariableIn(other);
    if (variable == 0) return false;
    if (side.kind == SyntaxKind::kDate) return true;
    if (side.kind != SyntaxKind::kText) return false;
    return VariableIn(side) == 0 || names_.ValueOfText(variable, side.text) != nullptr;
  }

  // The unit in which two sides are compared, neither of which is a text or date.
  DateUnit CommonUnit(const Syntax& value) const {
    const DateUnit left = UnitOf(value.parts.front()), right = UnitOf(value.parts.back());
    if ((left == DateUnit::kNone) == (right == DateUnit::kNone))
      return left == right ? left : DateUnit::kSeconds;
    const Syntax& dates = value.parts[left == DateUnit::kNone ? 1 : 0];
    Fail(value, Shown(dates) + " holds dates; compare it with a date such as '2024-06-01'");
  }

  void Side(const Syntax& comparison, const Syntax& side, const Syntax& other, bool isConstant,
            DateUnit unit) {
    if (isConstant) return PushConstant(ConstantFor(comparison, side, other));
    NameUnknownText(side, other);
    const int variable = VariableIn(side);
    if (variable != 0 && VariableIn(other) == 0 && other.kind != SyntaxKind::kText &&
        other.kind != SyntaxKind::kDate)
      result_.comparedWithNumbers_.push_back(variable);
    Value(side);
    if (unit == DateUnit::kSeconds && UnitOf(side) == DateUnit::kDays && UnitOf(other) == unit) {
      PushConstant(kSecondsOfDay);
      Push({Op::kMultiply}, -1);
    }
  }

  double ConstantFor(const Syntax& comparison, const Syntax& side, const Syntax& other) const {
    const int variable = VariableIn(other);
    if (const DateUnit unit = names_.DateUnitOf(variable); unit != DateUnit::kNone) return DateIn(side, unit);
    if (side.kind == SyntaxKind::kDate)
      Fail(side, side.text + " is a date, and " + Shown(other) + " holds none");
    const double* const value = names_.ValueOfText(variable, side.text);
    if (value == nullptr) {
      const std::string nearest = names_.NearestText(variable, side.text);
      Fail(side, "the variable \"" + names_.NameOf(variable) + "\" has no value labelled " + Shown(side) +
                     (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
    }
    if (comparison.kind != SyntaxKind::kEqual && comparison.kind != SyntaxKind::kNotEqual)
      Fail(comparison, "texts can be compared with = and <> only");
    return *value;
  }

  static double DateIn(const Syntax& literal, DateUnit unit) {
    const bool inDays = unit == DateUnit::kDays;
    if (const auto days = ParseIsoDate(literal.text)) return inDays ? *days : *days * kSecondsOfDay;
    if (const auto seconds = ParseIsoDateTime(literal.text))
      return inDays ? *seconds / kSecondsOfDay : *seconds;
    Fail(literal, Shown(literal) + " is not a date; write one such as '2024-06-01' or '2024-06-01 12:30'");
  }

  // Refuses a name, such as own in housing = own, where a text is meant.
  void NameUnknownText(const Syntax& side, const Syntax& other) const {
    if (side.kind != SyntaxKind::kName || VariableIn(side) != 0) return;
    const int variable = VariableIn(other);
    if (variable != 0 && names_.ValueOfText(variable, side.text) != nullptr)
      Fail(side, "there is no variable " + Shown(side) + "; put a text in quotes: '" + side.text + "'");
  }

  const ExpressionNames& names_;
  mutable std::unordered_map<std::string, int> variables_;  // looked up already
  Expression result_;
  std::ptrdiff_t height_ = 0;
};

DataError ExpressionError(std::string_view text, const SyntaxError& error) {
  const auto startsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
  const auto before =
      std::count_if(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(error.at), startsCharacter);
  std::size_t end = std::min<std::size_t>(400, text.size());
  while (end < text.size() && !startsCharacter(text[end])) ++end;
  const std::string shown = std::string(text.substr(0, end)) + (end < text.size() ? "..." : "");
  return DataError("The expression \"" + shown + "\" cannot be read at character " +
                   std::to_string(before + 1) + ": " + error.reason +
                   (error.reason.ends_with('?') ? "" : "."));
}

bool IsMissingTest(std::string_view condition, const Table& table, int variable) {
  try {
    const Syntax value = ParseExpression(condition);
    return value.kind == SyntaxKind::kCall && value.text == "ismd" && value.parts.size() == 1 &&
           value.parts.front().kind != SyntaxKind::kNumber &&
           FindVariable(table, value.parts.front().text) == variable;
  } catch (const SyntaxError&) {
    return false;
  }
}

Expression Expression::Compile(const Syntax& value, const ExpressionNames& names) {
  return ExpressionBinder(names).Bind(value);
}

Expression Expression::Compile(std::string_view text, const ExpressionNames& names) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos)
    throw DataError("The expression is empty.");
  try {
    Syntax value = ParseExpression(text);
    FoldTexts(value);
    return Compile(value, names);
  } catch (const SyntaxError& error) {
    throw ExpressionError(text, error);
  }
}

Expression Expression::Compile(std::string_view text, const Table& table) {
  return Compile(text, TableExpressionSource(table));
}

void Expression::EvaluateBlock(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count,
                               double* out) {
  if (sliceSize_ < std::min(count, kSlice)) {
    sliceSize_ = std::min(count, kSlice);
    stack_.resize(depth_ * sliceSize_);
  }
  while (count > 0) {
    const std::size_t slice = std::min(count, sliceSize_);
    EvaluateSlice(columns, firstCase, slice);
    for (std::size_t i = 0; i < slice; ++i) out[i] = stack_[i] == stack_[i] ? stack_[i] : kMissing;
    out += slice;
    firstCase += static_cast<std::int64_t>(slice);
    count -= slice;
  }
}

void Expression::EvaluateBlock(const Table& table, std::int64_t firstCase, std::size_t count, double* out) {
  EvaluateBlock(TableExpressionSource(table), firstCase, count, out);
}

void Expression::EvaluateSlice(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count) {
  std::size_t height = 0;  // slices on the stack
  for (const Step& step : steps_) {
    double* const next = stack_.data() + height * sliceSize_;
    double* const top = height >= 1 ? next - sliceSize_ : nullptr;
    double* const below = height >= 2 ? top - sliceSize_ : nullptr;
    if (step.op <= Op::kCaseNumber) ++height;
    if (step.op >= Op::kAdd && step.op <= Op::kOr) --height;
    switch (step.op) {
      case Op::kConstant:
        std::fill_n(next, count, step.constant);
        break;
      case Op::kVariable:
        columns.Read(step.variable, firstCase, count, next);
        break;
      case Op::kCaseNumber:
        for (std::size_t i = 0; i < count; ++i)
          next[i] = static_cast<double>(firstCase) + static_cast<double>(i) + 1;
        break;
      case Op::kAdd:
        Binary(below, top, count, [](double a, double b) { return Checked(a + b); });
        break;
      case Op::kSubtract:
        Binary(below, top, count, [](double a, double b) { return Checked(a - b); });
        break;
      case Op::kMultiply:
        Binary(below, top, count, [](double a, double b) { return Checked(a * b); });
        break;
      // x / 0 is infinite or NaN, so Checked makes it missing.
      case Op::kDivide:
        Binary(below, top, count, [](double a, double b) { return Checked(a / b); });
        break;
      case Op::kPower:
        // pow(1, NaN) and pow(NaN, 0) are numbers; here a missing operand makes the result missing.
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : Checked(std::pow(a, b)); });
        break;
      case Op::kMinimum:
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : std::min(a, b); });
        break;
      case Op::kMaximum:
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : std::max(a, b); });
        break;
      case Op::kEqual:
        Compare(below, top, count, Near);
        break;
      case Op::kNotEqual:
        Compare(below, top, count, [](double a, double b) { return !Near(a, b); });
        break;
      case Op::kLess:
        Compare(below, top, count, [](double a, double b) { return a < b && !Near(a, b); });
        break;
      case Op::kLessOrEqual:
        Compare(below, top, count, [](double a, double b) { return a < b || Near(a, b); });
        break;
      case Op::kGreater:
        Compare(below, top, count, [](double a, double b) { return a > b && !Near(a, b); });
        break;
      case Op::kGreaterOrEqual:
        Compare(below, top, count, [](double a, double b) { return a > b || Near(a, b); });
        break;
      case Op::kAnd:
        Binary(below, top, count, [](double a, double b) {
          return a == 0 || b == 0 ? 0.0 : (EitherMissing(a, b) ? kNan : 1.0);
        });
        break;
      case Op::kOr:
        Binary(below, top, count, [](double a, double b) {
          const bool eitherTrue = (a == a && a != 0) || (b == b && b != 0);
          return eitherTrue ? 1.0 : (EitherMissing(a, b) ? kNan : 0.0);
        });
        break;
      case Op::kNegate:
        Unary(top, count, [](double a) { return -a; });
        break;
      case Op::kNot:
        Unary(top, count, [](double a) { return a != a ? kNan : (a == 0 ? 1.0 : 0.0); });
        break;
      case Op::kIsMissing:
        Unary(top, count, [](double a) { return a != a ? 1.0 : 0.0; });
        break;
      case Op::kAbs:
        Unary(top, count, [](double a) { return std::fabs(a); });
        break;
      case Op::kLog:
        Unary(top, count, [](double a) { return a > 0 ? std::log(a) : kNan; });
        break;
      case Op::kLog10:
        Unary(top, count, [](double a) { return a > 0 ? std::log10(a) : kNan; });
        break;
      case Op::kExp:
        Unary(top, count, [](double a) { return Checked(std::exp(a)); });
        break;
      case Op::kSqrt:
        Unary(top, count, [](double a) { return a >= 0 ? std::sqrt(a) : kNan; });
        break;
      case Op::kSin:
        Unary(top, count, [](double a) { return std::sin(a); });
        break;
      case Op::kCos:
        Unary(top, count, [](double a) { return std::cos(a); });
        break;
      case Op::kInt:
        Unary(top, count, [](double a) { return std::floor(a); });
        break;
      case Op::kTrunc:
        Unary(top, count, [](double a) { return std::trunc(a); });
        break;
      case Op::kRound:
        // Not std::round: some C libraries add a half and truncate, which turns the double just
        // below 0.5 into 1.
        Unary(top, count, [](double a) {
          const double whole = std::trunc(a);
          return std::fabs(a - whole) >= 0.5 ? whole + std::copysign(1.0, a) : whole;
        });
        break;
    }
  }
}

int TableExpressionSource::FindVariable(std::string_view name) const {
  return velmora::FindVariable(table_, name);
}

std::string TableExpressionSource::NearestName(std::string_view name) const {
  std::vector<std::string_view> names;
  for (const Column& column : table_.columns) names.push_back(column.name);
  const int nearest = velmora::NearestText(name, names);
  return nearest < 0 ? "" : std::string(names[static_cast<std::size_t>(nearest)]);
}

std::string TableExpressionSource::NameOf(int variable) const { return table_.Variable(variable).name; }

const double* TableExpressionSource::ValueOfText(int variable, std::string_view text) const {
  return table_.Variable(variable).ValueOf(text);
}

std::string TableExpressionSource::NearestText(int variable, std::string_view text) const {
  std::vector<std::string_view> texts;
  for (const ValueLabel& label : table_.Variable(variable).labels) texts.push_back(label.text);
  const int nearest = velmora::NearestText(text, texts);
  return nearest < 0 ? "" : std::string(texts[static_cast<std::size_t>(nearest)]);
}

void TableExpressionSource::Read(int variable, std::int64_t firstCase, std::size_t count, double* out) const {
  const Column& column = table_.Variable(variable);
  const MissingRange missing(column.missingCode);
  const double* values = column.values.data() + firstCase;
  for (std::size_t i = 0; i < count; ++i) out[i] = missing.Contains(values[i]) ? kNan : Checked(values[i]);
}

}  // namespace velmora
