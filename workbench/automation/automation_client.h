// A script's view of an automation object: members by name, values as C++ types, failures as
// exceptions. Also the owned value and result types, which host objects also use.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "contract/automation.h"
#include "contract/ref.h"

namespace velmora {

using ObjectReference = vlm::Ref<vlm::IAutomationObject>;

// A failed automation call: the error's number and its description, one sentence.
class AutomationError : public std::runtime_error {
 public:
  AutomationError(int code, const std::string& description) : std::runtime_error(description), code_(code) {}
  int Code() const { return code_; }

 private:
  int code_;
};

// One owned automation value.
class Variant {
 public:
  using Array = std::vector<Variant>;

  Variant() = default;
  Variant(int value) : value_(value) {}
  Variant(bool value) : value_(value ? 1 : 0) {}
  Variant(double value) : value_(value) {}
  Variant(const char* text) : value_(std::string(text)) {}
  Variant(std::string_view text) : value_(std::string(text)) {}
  Variant(std::string text) : value_(std::move(text)) {}
  Variant(std::vector<int> integers) : value_(std::move(integers)) {}
  Variant(Array items) : value_(std::move(items)) {}
  Variant(ObjectReference object) : value_(std::move(object)) {}
  // Copies the borrowed view.
  explicit Variant(const vlm::AutomationValue& view);

  bool IsEmpty() const { return std::holds_alternative<std::monostate>(value_); }
  vlm::AutomationType Type() const;

  // The value converted: a text to a number, a whole real to an int, a number to text. A value that
  // cannot be converted throws AutomationError.
  int AsInt() const;
  double AsReal() const;
  std::string AsText() const;
  std::vector<int> AsIntegers() const;  // a number becomes an array of one
  const Array& AsArray() const;
  ObjectReference AsObject() const;  // empty for an empty value

  // A view of the value, valid while the value lives unchanged. storage keeps the views of an
  // array's items.
  vlm::AutomationValue View(std::vector<std::vector<vlm::AutomationValue>>& storage) const;

 private:
  std::variant<std::monostate, int, double, std::string, std::vector<int>, Array, ObjectReference> value_;
};

// Receives the result of a call.
class AutomationResult final : public vlm::IAutomationResult {
 public:
  virtual ~AutomationResult() = default;
  void SetEmpty() override;
  void SetInt(int value) override;
  void SetReal(double value) override;
  void SetText(const char* text, int length) override;
  void SetIntArray(const int* values, int count) override;
  void SetObject(vlm::IAutomationObject* object) override;
  void SetArray(const vlm::AutomationValue* items, int count) override;
  void SetError(int code, const char* description, int length) override;

  Variant value;
  int errorCode = 0;
  std::string description;
};

// Calls members of one object by name. Copies share the object.
class AutomationClient {
 public:
  AutomationClient() = default;
  explicit AutomationClient(ObjectReference object) : object_(std::move(object)) {}

  explicit operator bool() const { return static_cast<bool>(object_); }
  vlm::IAutomationObject* Object() const { return object_.Get(); }
  bool HasMember(std::string_view name) const;

  // Each throws AutomationError: with the object's own code and description for an exception that
  // it raised, with code 0 and a sentence naming the member for any other failure.
  Variant Get(std::string_view name, const std::vector<Variant>& arguments = {}) const;
  void Put(std::string_view name, Variant value) const;
  Variant Call(std::string_view name, const std::vector<Variant>& arguments = {}) const;
  // A property or a method that returns an object.
  AutomationClient GetObject(std::string_view name, const std::vector<Variant>& arguments = {}) const;

 private:
  Variant Invoke(std::string_view name, int kind, const std::vector<Variant>& arguments) const;
  ObjectReference object_;
};

}  // namespace velmora
