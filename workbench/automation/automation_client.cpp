// Values, results and calls by name of the automation layer.
#include "workbench/automation/automation_client.h"

#include <cmath>
#include <limits>

#include "base/parse_number.h"
#include "contract/text.h"
#include "workbench/documents/texts.h"

namespace velmora {

namespace {

template <typename... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <typename... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

[[noreturn]] void CannotBe(const char* what) {
  throw AutomationError(0, std::string("The value is not ") + what + ".");
}

double ParseReal(std::string_view text) {
  const auto value = vlm::ParseTypedNumber<double>(text);
  if (!value) CannotBe("a number");
  return *value;
}

int WholeOf(double value) {
  if (!(value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max()) ||
      value != std::floor(value)) {
    CannotBe("a whole number");
  }
  return static_cast<int>(value);
}

}  // namespace

Variant::Variant(const vlm::AutomationValue& view) {
  switch (view.type) {
    case vlm::kAutomationInt:
      value_ = view.intValue;
      break;
    case vlm::kAutomationReal:
      value_ = view.realValue;
      break;
    case vlm::kAutomationText:
      value_ = std::string(vlm::TextOf(view.text, view.length));
      break;
    case vlm::kAutomationObject:
      value_ = ObjectReference(view.object);
      break;
    case vlm::kAutomationIntArray:
      value_ = view.length > 0 && view.integers != nullptr
                   ? std::vector<int>(view.integers, view.integers + view.length)
                   : std::vector<int>();
      break;
    case vlm::kAutomationArray: {
      Array items;
      for (int index = 0; index < view.length && view.items != nullptr; ++index)
        items.emplace_back(view.items[index]);
      value_ = std::move(items);
      break;
    }
    default:
      break;
  }
}

vlm::AutomationType Variant::Type() const {
  return std::visit(
      Overloaded{[](std::monostate) { return vlm::kAutomationEmpty; },
                 [](int) { return vlm::kAutomationInt; }, [](double) { return vlm::kAutomationReal; },
                 [](const std::string&) { return vlm::kAutomationText; },
                 [](const std::vector<int>&) { return vlm::kAutomationIntArray; },
                 [](const Array&) { return vlm::kAutomationArray; },
                 [](const ObjectReference&) { return vlm::kAutomationObject; }},
      value_);
}

int Variant::AsInt() const {
  if (const int* value = std::get_if<int>(&value_)) return *value;
  return WholeOf(AsReal());
}

double Variant::AsReal() const {
  if (const int* value = std::get_if<int>(&value_)) return *value;
  if (const double* value = std::get_if<double>(&value_)) return *value;
  if (const std::string* text = std::get_if<std::string>(&value_)) return ParseReal(*text);
  CannotBe("a number");
}

std::string Variant::AsText() const {
  if (const std::string* text = std::get_if<std::string>(&value_)) return *text;
  if (const int* value = std::get_if<int>(&value_)) return std::to_string(*value);
  if (const double* value = std::get_if<double>(&value_)) return ShortestNumber(*value);
  if (IsEmpty()) return {};
  CannotBe("a text");
}

std::vector<int> Variant::AsIntegers() const {
  if (const auto* integers = std::get_if<std::vector<int>>(&value_)) return *integers;
  if (const Array* items = std::get_if<Array>(&value_)) {
    std::vector<int> numbers;
    for (const Variant& item : *items) numbers.push_back(item.AsInt());
    return numbers;
  }
  if (IsEmpty()) return {};
  return {AsInt()};
}

const Variant::Array& Variant::AsArray() const {
  if (const Array* items = std::get_if<Array>(&value_)) return *items;
  CannotBe("an array");
}

ObjectReference Variant::AsObject() const {
  if (const ObjectReference* object = std::get_if<ObjectReference>(&value_)) return *object;
  if (IsEmpty()) return {};
  CannotBe("an object");
}

vlm::AutomationValue Variant::View(std::vector<std::vector<vlm::AutomationValue>>& storage) const {
  vlm::AutomationValue view{};
  view.type = Type();
  std::visit(Overloaded{[](std::monostate) {}, [&](int value) { view.intValue = value; },
                        [&](double value) { view.realValue = value; },
                        [&](const std::string& text) {
                          view.text = text.data();
                          view.length = vlm::LengthOf(text);
                        },
                        [&](const std::vector<int>& integers) {
                          view.integers = integers.data();
                          view.length = static_cast<int>(integers.size());
                        },
                        [&](const Array& items) {
                          std::vector<vlm::AutomationValue> views;
                          for (const Variant& item : items) views.push_back(item.View(storage));
                          view.length = static_cast<int>(views.size());
                          // Moving an outer vector's elements keeps their buffers where they are.
                          storage.push_back(std::move(views));
                          view.items = storage.back().data();
                        },
                        [&](const ObjectReference& object) { view.object = object.Get(); }},
             value_);
  return view;
}

void AutomationResult::SetEmpty() { value = Variant(); }
void AutomationResult::SetInt(int newValue) { value = Variant(newValue); }
void AutomationResult::SetReal(double newValue) { value = Variant(newValue); }
void AutomationResult::SetText(const char* text, int length) { value = Variant(vlm::TextOf(text, length)); }
void AutomationResult::SetIntArray(const int* values, int count) {
  value =
      Variant(count > 0 && values != nullptr ? std::vector<int>(values, values + count) : std::vector<int>());
}
void AutomationResult::SetObject(vlm::IAutomationObject* object) { value = Variant(ObjectReference(object)); }
void AutomationResult::SetArray(const vlm::AutomationValue* items, int count) {
  vlm::AutomationValue view{};
  view.type = vlm::kAutomationArray;
  view.items = items;
  view.length = count;
  value = Variant(view);
}
void AutomationResult::SetError(int code, const char* text, int length) {
  errorCode = code;
  description = vlm::TextOf(text, length);
}

bool AutomationClient::HasMember(std::string_view name) const {
  int dispatchId = 0;
  return object_ && object_->GetIdOfName(name.data(), vlm::LengthOf(name), &dispatchId) == vlm::kDispatchOk;
}

Variant AutomationClient::Get(std::string_view name, const std::vector<Variant>& arguments) const {
  return Invoke(name, vlm::kInvokeGet, arguments);
}

void AutomationClient::Put(std::string_view name, Variant value) const {
  std::vector<Variant> arguments;
  arguments.push_back(std::move(value));
  Invoke(name, vlm::kInvokePut, arguments);
}

Variant AutomationClient::Call(std::string_view name, const std::vector<Variant>& arguments) const {
  return Invoke(name, vlm::kInvokeMethod, arguments);
}

AutomationClient AutomationClient::GetObject(std::string_view name,
                                             const std::vector<Variant>& arguments) const {
  return AutomationClient(Invoke(name, vlm::kInvokeGet | vlm::kInvokeMethod, arguments).AsObject());
}

Variant AutomationClient::Invoke(std::string_view name, int kind,
                                 const std::vector<Variant>& arguments) const {
  const std::string shownName(name);
  if (!object_) throw AutomationError(0, "There is no object to ask for " + shownName + ".");
  // The object may be closed, and this handle replaced, while the call runs.
  const ObjectReference object = object_;
  const vlm::AutomationInterface* description = object->GetInterface();
  const std::string member =
      (description == nullptr ? std::string("The object") : std::string(description->name)) + "." + shownName;
  int dispatchId = 0;
  if (object->GetIdOfName(name.data(), vlm::LengthOf(name), &dispatchId) != vlm::kDispatchOk) {
    throw AutomationError(0, "There is no member " + member + ".");
  }
  std::vector<std::vector<vlm::AutomationValue>> storage;
  std::vector<vlm::AutomationValue> views;
  for (const Variant& argument : arguments) views.push_back(argument.View(storage));
  AutomationResult result;
  const int status = object->Invoke(dispatchId, kind, views.data(), static_cast<int>(views.size()), &result);
  switch (status) {
    case vlm::kDispatchOk:
      return std::move(result.value);
    case vlm::kDispatchException:
      throw AutomationError(result.errorCode, result.description);
    case vlm::kDispatchMemberNotFound:
      throw AutomationError(0, member + " cannot be used in this way.");
    case vlm::kDispatchBadParameterCount:
      throw AutomationError(0, member + " takes another number of arguments.");
    case vlm::kDispatchTypeMismatch:
      throw AutomationError(0, member + " takes a value of another type.");
    default:
      throw AutomationError(0,
                            member + (result.description.empty() ? " failed." : ": " + result.description));
  }
}

}  // namespace velmora
