// The automation objects of the input table's variables.
#include <algorithm>
#include <span>
#include <utility>

#include "workbench/automation/document_objects.h"
#include "workbench/automation/host_object.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"

namespace velmora {

namespace {

using Arguments = std::vector<Variant>;

[[noreturn]] void FailWith(const std::string& sentence) {
  throw AutomationError(vlm::kAutomationErrorCode, sentence);
}

Variant ArrayOf(const std::vector<std::string>& texts) {
  Variant::Array items;
  for (const std::string& text : texts) items.emplace_back(text);
  return items;
}

// The text of a cell: its label, else its number, empty where missing.
std::string ShownCell(const Column& column, double value) {
  if (const std::string* label = column.LabelOf(value)) return *label;
  return IsMissing(value, column.missingCode) ? std::string() : Variant(value).AsText();
}

// One variable of the input table, by its number and name. Calls fail when other data have been
// opened that have a different variable at this number.
class VariableObject final : public HostObject<VariableObject> {
 public:
  VariableObject(std::shared_ptr<const InputTable> access, int number)
      : access_(std::move(access)), number_(number), name_(access_->Data().Variable(number).name) {}
  static const HostMemberTable<VariableObject>& Members();

 private:
  friend class HostObject<VariableObject>;
  friend Counted;
  ~VariableObject() = default;
  Column& Data() const {
    Table& table = access_->Data();
    if (number_ > table.VariableCount() || table.Variable(number_).name != name_)
      FailWith("The data have been replaced: " + name_ + " is no longer variable " + std::to_string(number_) +
               ".");
    return table.Variable(number_);
  }

  std::shared_ptr<const InputTable> access_;
  int number_;
  std::string name_;
};

const HostMemberTable<VariableObject>& VariableObject::Members() {
  using Self = VariableObject;
  using vlm::kAutomationInt, vlm::kAutomationReal, vlm::kAutomationText, vlm::kAutomationArray;
  static const HostMemberTable<Self> table(
      "Variable", "A variable of the input table",
      {{Getter(1, "Number", kAutomationInt, "Number of the variable, from 1"),
        [](Self& s, const Arguments&) { return Variant(s.number_); }, nullptr},
       {Getter(2, "Name", kAutomationText, "Name"),
        [](Self& s, const Arguments&) { return Variant(s.Data().name); }, nullptr},
       {Property(3, "LongName", kAutomationText, "Long name or description"),
        [](Self& s, const Arguments&) { return Variant(s.Data().longName); },
        [](Self& s, const Arguments& a) { s.Data().longName = a[0].AsText(); }},
       {Getter(4, "Type", kAutomationText, "text, boolean, whole number, number, date or date and time"),
        [](Self& s, const Arguments&) {
          s.Data();
          return Variant(TypeName(ProfileVariable(s.access_->Data(), s.number_).type));
        },
        nullptr},
       {Property(5, "Measurement", kAutomationText, "continuous or categorical"),
        [](Self& s, const Arguments&) { return Variant(MeasurementName(s.Data().measurement)); },
        [](Self& s, const Arguments& a) {
          const std::string text = a[0].AsText();
          for (const Measurement measurement : {Measurement::kContinuous, Measurement::kCategorical}) {
            if (text != MeasurementName(measurement)) continue;
            s.Data();
            return s.access_->SetMeasurement(s.number_, measurement);
          }
          FailWith("A measurement is continuous or categorical, not " + text + ".");
        }},
       {Getter(6, "Role", kAutomationText, "usable, identifier, constant, date, ..."),
        [](Self& s, const Arguments&) { return Variant(RoleName(s.Data().role)); }, nullptr},
       {{7, "MissingDataCode", vlm::kInvokeGet | vlm::kInvokePut, kAutomationReal, vlm::kAutomationVariant, 0,
         0, "", "The number, or the value label, that means missing", ""},
        [](Self& s, const Arguments&) { return Variant(s.Data().missingCode); },
        [](Self& s, const Arguments& a) {
          s.Data();
          s.access_->SetMissingCode(s.number_, a[0].AsText());
        }},
       {Getter(8, "Values", kAutomationArray, "All values in case order; empty where missing"),
        [](Self& s, const Arguments&) {
          const Column& column = s.Data();
          const MissingRange missing(column.missingCode);
          Variant::Array values;
          values.reserve(column.values.size());
          for (const double value : column.values)
            if (missing.Contains(value)) {
              values.emplace_back();
            } else {
              values.emplace_back(value);
            }
          return Variant(std::move(values));
        },
        nullptr},
       {Getter(9, "Texts", kAutomationArray,
               "The value label or number of each case; an empty text where missing"),
        [](Self& s, const Arguments&) {
          const Column& column = s.Data();
          Variant::Array texts;
          texts.reserve(column.values.size());
          for (const double value : column.values) texts.emplace_back(ShownCell(column, value));
          return Variant(std::move(texts));
        },
        nullptr},
       {Getter(10, "Codes", kAutomationArray, "Values that have a label, ascending"),
        [](Self& s, const Arguments&) {
          Variant::Array codes;
          for (const ValueLabel& label : s.Data().labels) codes.emplace_back(label.value);
          return Variant(std::move(codes));
        },
        nullptr},
       {Getter(11, "Labels", kAutomationArray, "Labels of the values in Codes"),
        [](Self& s, const Arguments&) {
          std::vector<std::string> labels;
          for (const ValueLabel& label : s.Data().labels) labels.push_back(label.text);
          return ArrayOf(labels);
        },
        nullptr}});
  return table;
}

class VariablesObject final : public HostObject<VariablesObject> {
 public:
  explicit VariablesObject(std::shared_ptr<const InputTable> access) : access_(std::move(access)) {}
  static const HostMemberTable<VariablesObject>& Members();

 private:
  friend class HostObject<VariablesObject>;
  friend Counted;
  ~VariablesObject() = default;
  std::shared_ptr<const InputTable> access_;
};

const HostMemberTable<VariablesObject>& VariablesObject::Members() {
  using Self = VariablesObject;
  static const HostMemberTable<Self> table(
      "Variables", "Variables of the input table",
      {{Getter(1, "Count", vlm::kAutomationInt, "Number of variables"),
        [](Self& s, const Arguments&) { return Variant(s.access_->Data().VariableCount()); }, nullptr},
       {Getter(0, "Item", vlm::kAutomationObject, "A variable by its number or its name", 1,
               vlm::kAutomationVariant, "Variable"),
        [](Self& s, const Arguments& a) {
          return Variant(
              ObjectReference::Adopt(new VariableObject(s.access_, NumberOfVariable(*s.access_, a[0]))));
        },
        nullptr}});
  return table;
}

}  // namespace

// A variable by its number or its name.
int NumberOfVariable(const InputTable& access, const Variant& which) {
  if (which.Type() == vlm::kAutomationText) return ResolveVariable(access.Data(), which.AsText());
  return InRange(which, access.Data().VariableCount(), "variable");
}

std::vector<int> NumbersOfVariables(const InputTable& access, const Variant& which) {
  std::vector<int> numbers;
  const auto addAll = [&](const std::vector<int>& more) {
    for (const int number : more) {
      if (std::find(numbers.begin(), numbers.end(), number) == numbers.end()) numbers.push_back(number);
    }
  };
  if (which.Type() == vlm::kAutomationText) {
    const std::string text = which.AsText();
    addAll(ResolveVariables(access.Data(), std::span(&text, 1)));
  } else if (which.Type() == vlm::kAutomationArray) {
    for (const Variant& item : which.AsArray()) addAll(NumbersOfVariables(access, item));
  } else {
    for (const int number : which.AsIntegers()) addAll({NumberOfVariable(access, Variant(number))});
  }
  return numbers;
}

std::vector<const vlm::AutomationInterface*> VariableInterfaces() {
  return {VariablesObject::Members().Description(), VariableObject::Members().Description()};
}

vlm::IAutomationObject* MakeVariablesObject(std::shared_ptr<const InputTable> access) {
  return new VariablesObject(std::move(access));
}

}  // namespace velmora
