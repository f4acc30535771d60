#include "workbench/language/tool_tip.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <variant>

#include "workbench/data/names.h"
#include "workbench/language/script_program.h"

namespace velmora {
namespace {

// What names stand for while a script runs.
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
  double number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

class Machine {
 public:
  Machine(const ScriptProgram& program, std::string_view decimalSeparator)
      : program_(program), mark_(decimalSeparator == "," ? ',' : '.') {}

  std::map<std::string, Value> names;  // in lower case

  // False when Exit Sub was met.
  bool Run(const std::vector<ScriptStatement>& statements) {
    return std::all_of(statements.begin(), statements.end(),
                       [this](const ScriptStatement& statement) { return Run(statement); });
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& reason) const {
    FailInScript(program_.file, line, reason);
  }

  bool Run(const ScriptStatement& statement) {
    switch (statement.kind) {
      case ScriptStatement::Kind::kExitSub:
        return false;
      case ScriptStatement::Kind::kDeclaration:
        names[statement.target] = Nothing();
        return true;
      case ScriptStatement::Kind::kAssignment:
        names[statement.target] = Evaluate(statement.value);
        return true;
      case ScriptStatement::Kind::kIf:
        break;
    }
    for (const ScriptBranch& branch : statement.branches) {
      if (branch.otherwise || IsTrue(branch.condition)) return Run(branch.body);
    }
    return true;
  }

  bool IsTrue(const ScriptValue& condition) const { return NumberOf(Evaluate(condition), condition) != 0; }

  Value Evaluate(const ScriptValue& value) const {
    switch (value.kind) {
      case ScriptValue::Kind::kNumber:
        return value.number;
      case ScriptValue::Kind::kText:
        return value.text;
      case ScriptValue::Kind::kName:
        return Named(value);
      case ScriptValue::Kind::kCall:
        return Call(value);
      case ScriptValue::Kind::kOperation:
        break;
    }
    return Operate(value);
  }

  Value Named(const ScriptValue& value) const {
    if (const auto found = names.find(value.text); found != names.end()) return found->second;
    if (value.text == "vbcrlf") return std::string("\r\n");
    if (value.text == "true" || value.text == "false") return value.text == "true";
    std::vector<std::string_view> known;
    for (const auto& [name, content] : names) known.push_back(name);
    const int nearest = NearestText(value.text, known);
    Fail(value.line,
         "there is no variable " + value.text +
             (nearest < 0 ? ""
                          : "; did you mean " + std::string(known[static_cast<std::size_t>(nearest)]) + "?"));
  }

  Value Call(const ScriptValue& call) const {
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
      if (array == nullptr) Fail(call.line, "ubound is asked of what is no array");
      return static_cast<double>(array->elements.size());
    }
    if (const Object* object = std::get_if<Object>(&argument)) return std::string(object->type);
    return std::string(TypeNameOf(argument));
  }

  double Element(const Array& array, const ScriptValue& call) const {
    if (call.parts.size() != 1) Fail(call.line, call.text + " takes the number of one element");
    const double number = NumberOf(Evaluate(call.parts.front()), call);
    if (!(number >= 1 && number <= static_cast<double>(array.elements.size())) ||
        number != std::floor(number))
      Fail(call.line, call.text + " has no element " + TextOf(number, call));
    return array.elements[static_cast<std::size_t>(number) - 1];
  }

  Value Operate(const ScriptValue& value) const {
    const Value left = Evaluate(value.parts.front());
    switch (value.operation) {
      case ScriptOperator::kNot:
        return NumberOf(left, value) == 0;
      case ScriptOperator::kNegate:
        return -NumberOf(left, value);
      // Either side alone settles these; a value on the other side may then be anything.
      case ScriptOperator::kAnd:
        return NumberOf(left, value) != 0 && IsTrue(value.parts.back());
      case ScriptOperator::kOr:
        return NumberOf(left, value) != 0 || IsTrue(value.parts.back());
      default:
        return Operate(value, left, Evaluate(value.parts.back()));
    }
  }

  Value Operate(const ScriptValue& value, const Value& left, const Value& right) const {
    switch (value.operation) {
      case ScriptOperator::kJoin:
        return TextOf(left, value) + TextOf(right, value);
      case ScriptOperator::kAdd:
        if (std::holds_alternative<std::string>(left) && std::holds_alternative<std::string>(right))
          return std::get<std::string>(left) + std::get<std::string>(right);
        return NumberOf(left, value) + NumberOf(right, value);
      case ScriptOperator::kSubtract:
        return NumberOf(left, value) - NumberOf(right, value);
      case ScriptOperator::kMultiply:
        return NumberOf(left, value) * NumberOf(right, value);
      case ScriptOperator::kDivide:
        if (NumberOf(right, value) == 0) Fail(value.line, "a division by zero");
        return NumberOf(left, value) / NumberOf(right, value);
      default:
        break;
    }
    if (std::holds_alternative<std::string>(left) && std::holds_alternative<std::string>(right))
      return Holds(value.operation, std::get<std::string>(left), std::get<std::string>(right));
    return Holds(value.operation, NumberOf(left, value), NumberOf(right, value));
  }

  template <class Operand>
  static bool Holds(ScriptOperator operation, const Operand& left, const Operand& right) {
    switch (operation) {
      case ScriptOperator::kEqual:
        return left == right;
      case ScriptOperator::kNotEqual:
        return left != right;
      case ScriptOperator::kLess:
        return left < right;
      case ScriptOperator::kLessOrEqual:
        return left <= right;
      case ScriptOperator::kGreater:
        return left > right;
      default:
        return left >= right;
    }
  }

  double NumberOf(const Value& value, const ScriptValue& at) const {
    if (const double* number = std::get_if<double>(&value)) return *number;
    if (const bool* truth = std::get_if<bool>(&value)) return *truth ? -1 : 0;  // as Basic counts it
    if (std::holds_alternative<Nothing>(value)) return 0;
    const std::string* text = std::get_if<std::string>(&value);
    if (text == nullptr) Fail(at.line, "a number is needed where an object or an array stands");
    if (const auto number = ReadNumber(*text, mark_)) return *number;
    Fail(at.line, "a number is needed where the text \"" + *text + "\" stands");
  }

  std::string TextOf(const Value& value, const ScriptValue& at) const {
    if (const std::string* text = std::get_if<std::string>(&value)) return *text;
    if (const bool* truth = std::get_if<bool>(&value)) return *truth ? "True" : "False";
    if (std::holds_alternative<Nothing>(value)) return {};
    const double* number = std::get_if<double>(&value);
    if (number == nullptr) Fail(at.line, "a text is needed where an object or an array stands");
    char digits[40];
    const int length = std::snprintf(digits, sizeof digits, "%.15g", *number);
    std::string text(digits, static_cast<std::size_t>(length));
    // The process may have a locale of its own; the script has one, too.
    for (char& c : text) {
      if (c == '.' || c == ',') c = mark_;
    }
    return text;
  }

  const ScriptProgram& program_;
  char mark_;
};

// Bounds are compared in the form 1,500000000000000e+00: a comma, digits and an exponent are one number.
std::string_view SeparatorOf(std::string_view script) {
  const auto isDigit = [&](std::size_t at) {
    return at < script.size() && script[at] >= '0' && script[at] <= '9';
  };
  for (std::size_t comma = script.find(','); comma != std::string_view::npos;
       comma = script.find(',', comma + 1)) {
    std::size_t end = comma + 1;
    while (isDigit(end)) ++end;
    if (comma > 0 && isDigit(comma - 1) && end > comma + 1 && script.substr(end, 1) == "e") return ",";
  }
  return ".";
}

}  // namespace

ToolTipScript::ToolTipScript(std::string_view script, std::string_view decimalSeparator,
                             const std::string& file)
    : decimalSeparator_(decimalSeparator.empty() ? SeparatorOf(script) : decimalSeparator) {
  program_ = std::make_unique<ScriptProgram>(ParseScript(script, file, decimalSeparator_));
}
ToolTipScript::~ToolTipScript() = default;
ToolTipScript::ToolTipScript(ToolTipScript&&) noexcept = default;
ToolTipScript& ToolTipScript::operator=(ToolTipScript&&) noexcept = default;

std::string ToolTipScript::Run(std::string_view objectType, std::span<const double> coordinates) const {
  const auto sub = std::find_if(program_->subs.begin(), program_->subs.end(), [](const ScriptSub& candidate) {
    return candidate.name == "document_ontooltipdisplay";
  });
  if (sub == program_->subs.end()) throw DataError(program_->file + " has no Sub Document_OnToolTipDisplay.");
  if (sub->parameters.size() != 6)
    FailInScript(program_->file, sub->line,
                 "Document_OnToolTipDisplay has " + std::to_string(sub->parameters.size()) +
                     " parameters instead of 6");
  Machine machine(*program_, decimalSeparator_);
  const Value arguments[] = {false, Array{coordinates}, Object{objectType}, 0.0, Array{}, std::string()};
  for (std::size_t i = 0; i < std::size(arguments); ++i) machine.names[sub->parameters[i]] = arguments[i];
  machine.Run(sub->body);
  const Value& text = machine.names[sub->parameters.back()];
  const std::string* shown = std::get_if<std::string>(&text);
  if (shown == nullptr) FailInScript(program_->file, sub->line, "what the script shows is no text");
  return *shown;
}

std::string RunToolTip(std::string_view script, std::string_view objectType,
                       std::span<const double> coordinates, std::string_view decimalSeparator) {
  return ToolTipScript(script, decimalSeparator).Run(objectType, coordinates);
}

}  // namespace velmora
