// Arguments and answers of automation calls, as tests write and read them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/automation.h"

namespace vlmfsl::testing {

inline vlm::AutomationValue IntValue(int value) {
  vlm::AutomationValue result{};
  result.type = vlm::kAutomationInt;
  result.intValue = value;
  return result;
}
inline vlm::AutomationValue RealValue(double value) {
  vlm::AutomationValue result{};
  result.type = vlm::kAutomationReal;
  result.realValue = value;
  return result;
}
// text outlives the call.
inline vlm::AutomationValue TextValue(std::string_view text) {
  vlm::AutomationValue result{};
  result.type = vlm::kAutomationText;
  result.text = text.data();
  result.length = static_cast<int>(text.size());
  return result;
}
inline vlm::AutomationValue ArrayValue(const std::vector<vlm::AutomationValue>& items) {
  vlm::AutomationValue result{};
  result.type = vlm::kAutomationArray;
  result.items = items.data();
  result.length = static_cast<int>(items.size());
  return result;
}

// The answer as text, whatever its type: "7", "0.01", "a text", "[1 2]", "object", "null", "" for
// empty.
class Answer final : public vlm::IAutomationResult {
 public:
  ~Answer() { Drop(); }
  void SetEmpty() override { Take({}); }
  void SetInt(int value) override { Take(std::to_string(value)); }
  void SetReal(double value) override {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    Take(buffer);
  }
  void SetText(const char* data, int length) override { Take({data, static_cast<std::size_t>(length)}); }
  void SetIntArray(const int* values, int count) override {
    std::string list = "[";
    for (int i = 0; i < count; ++i) list += (i ? " " : "") + std::to_string(values[i]);
    Take(list + "]");
  }
  void SetObject(vlm::IAutomationObject* given) override {
    Take(given ? "object" : "null");
    object = given;
    if (object) object->AddReference();
  }
  void SetArray(const vlm::AutomationValue*, int count) override {
    Take("array of " + std::to_string(count));
  }
  void SetError(int code, const char* description, int length) override {
    error = std::to_string(code) + ": " + std::string(description, static_cast<std::size_t>(length));
  }

  std::string text;
  std::string error;                         // "65535: description"
  vlm::IAutomationObject* object = nullptr;  // counted

 private:
  void Take(std::string value) {
    Drop();
    text = std::move(value);
  }
  void Drop() {
    if (object) object->ReleaseReference();
    object = nullptr;
  }
};

// A late-bound call: by name, as a script makes it.
inline int CallByName(vlm::IAutomationObject& object, std::string_view name, int kind,
                      const std::vector<vlm::AutomationValue>& arguments, Answer& answer) {
  int id = -1;
  const int found = object.GetIdOfName(name.data(), static_cast<int>(name.size()), &id);
  if (found != vlm::kDispatchOk) return found;
  return object.Invoke(id, kind, arguments.data(), static_cast<int>(arguments.size()), &answer);
}

}  // namespace vlmfsl::testing
