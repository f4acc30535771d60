// The scalar evaluator: a value of syntax.h over texts, numbers, arrays and objects.
#include "workbench/language/event_script.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <variant>

#include "base/parse_number.h"
#include "workbench/data/names.h"

namespace velmora {
namespace {

// The value of a variable while a script runs.
struct Nothing {};
struct Array {
  std::span<const double> elements;  // the first has the number 1
};
struct Object {
  std::string_view type;
};
using Value = std::variant<Nothing, double, bool, std::string, Array, Object>;

const char* TypeNameOf(const Value& value) {
  static constexpr const char* kNames[] = {"Empty", "Double", "Boolean", "String", "Double()"};
  return kNames[value.index()];
}

std::optional<double> ReadNumber(std::string text, char mark) {
  if (mark != '.') {
    if (text.find('.') != std::string::npos) return std::nullopt;
    std::replace(text.begin(), text.end(), mark, '.');
  }
  return vlm::ParseNumber<double>(text);
}

class Machine {
 public:
  Machine(const std::string& file, char decimalMark) : file_(file), mark_(decimalMark) {}

  std::map<std::string, Value> names;  // in lower case

  // False when Exit Sub was met.
  bool Run(const std::vector<BasicStatement>& statements) {
    return std::all_of(statements.begin(), statements.end(),
                       [this](const BasicStatement& statement) { return Run(statement); });
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& reason) const { FailInScript(file_, line, reason); }

  bool Run(const BasicStatement& statement) {
    switch (statement.kind) {
      case BasicStatement::Kind::kExitSub:
        return false;
      case BasicStatement::Kind::kDeclaration:
        names[statement.target] = Nothing();
        return true;
      case BasicStatement::Kind::kAssignment:
        names[statement.target] = Evaluate(statement.value);
        return true;
      case BasicStatement::Kind::kIf:
        break;
    }
    for (const BasicBranch& branch : statement.branches) {
      if (branch.isElse || IsTrue(branch.condition)) return Run(branch.body);
    }
    return true;
  }

  bool IsTrue(const Syntax& condition) const { return NumberOf(Evaluate(condition), condition) != 0; }

  Value Evaluate(const Syntax& value) const {
    switch (value.kind) {
      case SyntaxKind::kNumber:
        return value.number;
      case SyntaxKind::kText:
        return value.text;
      case SyntaxKind::kName:
        return Named(value);
      case SyntaxKind::kCall:
        return Call(value);
      case SyntaxKind::kNot:
        return NumberOf(Evaluate(value.parts.front()), value) == 0;
      case SyntaxKind::kNegate:
        return -NumberOf(Evaluate(value.parts.front()), value);
      // The other side is not evaluated once one side settles the result.
      case SyntaxKind::kAnd:
        return std::all_of(value.parts.begin(), value.parts.end(),
                           [this](const Syntax& part) { return IsTrue(part); });
      case SyntaxKind::kOr:
        return std::any_of(value.parts.begin(), value.parts.end(),
                           [this](const Syntax& part) { return IsTrue(part); });
      default:
        break;
    }
    Value result = Evaluate(value.parts.front());
    for (std::size_t i = 1; i < value.parts.size(); ++i)
      result = Operate(value, result, Evaluate(value.parts[i]));
    return result;
  }

  Value Named(const Syntax& value) const {
    const std::string name = LowerText(value.text);
    if (const auto found = names.find(name); found != names.end()) return found->second;
    if (name == "vbcrlf") return std::string("\r\n");
    if (name == "true" || name == "false") return name == "true";
    std::vector<std::string_view> known;
    for (const auto& entry : names) known.push_back(entry.first);
    const int nearest = NearestText(name, known);
    Fail(value.line,
         "there is no variable " + name +
             (nearest < 0 ? ""
                          : "; did you mean " + std::string(known[static_cast<std::size_t>(nearest)]) + "?"));
  }

  Value Call(const Syntax& call) const {
    if (const auto found = names.find(call.text); found != names.end()) {
      if (const Array* array = std::get_if<Array>(&found->second)) return Element(*array, call);
    }
    static constexpr const char* kFunctions[] = {"abs", "cstr", "ubound", "typename"};
    if (std::find(std::begin(kFunctions), std::end(kFunctions), call.text) == std::end(kFunctions))
      Fail(call.line, "there is no function " + call.text);
    if (call.parts.size() != 1) Fail(call.line, call.text + " takes one value");
    const Value argument = Evaluate(call.parts.front());
    if (call.text == "abs") return std::fabs(NumberOf(argument, call));
    if (call.text == "cstr") return TextOf(argument, call);
    if (call.text == "ubound") {
      const Array* array = std::get_if<Array>(&argument);
      if (array == nullptr) Fail(call.line, "UBound takes an array");
      return static_cast<double>(array->elements.size());
    }
    if (const Object* object = std::get_if<Object>(&argument)) return std::string(object->type);
    return std::string(TypeNameOf(argument));
  }

  double Element(const Array& array, const Syntax& call) const {
    if (call.parts.size() != 1) Fail(call.line, call.text + " takes the number of one element");
    const double number = NumberOf(Evaluate(call.parts.front()), call);
    if (!(number >= 1 && number <= static_cast<double>(array.elements.size())) ||
        number != std::floor(number))
      Fail(call.line, call.text + " has no element " + TextOf(number, call));
    return array.elements[static_cast<std::size_t>(number) - 1];
  }

  Value Operate(const Syntax& value, const Value& left, const Value& right) const {
    switch (value.kind) {
      case SyntaxKind::kJoin:
        return TextOf(left, value) + TextOf(right, value);
      case SyntaxKind::kAdd:
        if (std::holds_alternative<std::string>(left) && std::holds_alternative<std::string>(right))
          return std::get<std::string>(left) + std::get<std::string>(right);
        return NumberOf(left, value) + NumberOf(right, value);
      case SyntaxKind::kSubtract:
        return NumberOf(left, value) - NumberOf(right, value);
      case SyntaxKind::kMultiply:
        return NumberOf(left, value) * NumberOf(right, value);
      case SyntaxKind::kDivide:
        if (NumberOf(right, value) == 0) Fail(value.line, "a division by zero");
        return NumberOf(left, value) / NumberOf(right, value);
      case SyntaxKind::kPower:
        return std::pow(NumberOf(left, value), NumberOf(right, value));
      default:
        break;
    }
    if (std::holds_alternative<std::string>(left) && std::holds_alternative<std::string>(right))
      return Holds(value.kind, std::get<std::string>(left), std::get<std::string>(right));
    return Holds(value.kind, NumberOf(left, value), NumberOf(right, value));
  }

  template <class Operand>
  static bool Holds(SyntaxKind kind, const Operand& left, const Operand& right) {
    switch (kind) {
      case SyntaxKind::kEqual:
        return left == right;
      case SyntaxKind::kNotEqual:
        return left != right;
      case SyntaxKind::kLess:
        return left < right;
      case SyntaxKind::kLessOrEqual:
        return left <= right;
      case SyntaxKind::kGreater:
        return left > right;
      default:
        return left >= right;
    }
  }

  double NumberOf(const Value& value, const Syntax& at) const {
    if (const double* number = std::get_if<double>(&value)) return *number;
    // True is -1 in Basic.
    if (const bool* truth = std::get_if<bool>(&value)) return *truth ? -1 : 0;
    if (std::holds_alternative<Nothing>(value)) return 0;
    const std::string* text = std::get_if<std::string>(&value);
    if (text == nullptr) Fail(at.line, "a number is needed here, not an object or an array");
    if (const auto number = ReadNumber(*text, mark_)) return *number;
    Fail(at.line, "a number is needed here, not the text \"" + *text + "\"");
  }

  std::string TextOf(const Value& value, const Syntax& at) const {
    if (const std::string* text = std::get_if<std::string>(&value)) return *text;
    if (const bool* truth = std::get_if<bool>(&value)) return *truth ? "True" : "False";
    if (std::holds_alternative<Nothing>(value)) return {};
    const double* number = std::get_if<double>(&value);
    if (number == nullptr) Fail(at.line, "a text is needed here, not an object or an array");
    char digits[40];
    const int length = std::snprintf(digits, sizeof digits, "%.15g", *number);
    std::string text(digits, static_cast<std::size_t>(length));
    // The process may have a locale of its own; the script has one, too.
    for (char& c : text) {
      if (c == '.' || c == ',') c = mark_;
    }
    return text;
  }

  const std::string& file_;
  char mark_;
};

}  // namespace

EventScript::EventScript(std::string_view script, std::string_view decimalSeparator, const std::string& file)
    : program_(ParseBasic(script, file, decimalSeparator)),
      decimalMark_(decimalSeparator == "," ? ',' : '.') {}

std::string EventScript::ToolTip(std::string_view objectType, std::span<const double> coordinates) const {
  const auto sub = std::find_if(program_.subs.begin(), program_.subs.end(), [](const BasicSub& candidate) {
    return candidate.name == "document_ontooltipdisplay";
  });
  if (sub == program_.subs.end()) throw DataError(program_.file + " has no Sub Document_OnToolTipDisplay.");
  if (sub->parameters.size() != 6)
    FailInScript(program_.file, sub->line,
                 "Document_OnToolTipDisplay has " + std::to_string(sub->parameters.size()) +
                     " parameters instead of 6");
  Machine machine(program_.file, decimalMark_);
  const Value arguments[] = {false, Array{coordinates}, Object{objectType}, 0.0, Array{}, std::string()};
  for (std::size_t i = 0; i < std::size(arguments); ++i) machine.names[sub->parameters[i]] = arguments[i];
  machine.Run(sub->body);
  const std::string* const text = std::get_if<std::string>(&machine.names[sub->parameters.back()]);
  if (text == nullptr) FailInScript(program_.file, sub->line, "the value to show is not a text");
  return *text;
}

}  // namespace velmora
