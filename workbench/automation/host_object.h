// Automation objects of the workbench itself: a class provides a table of members, functions over
// its own type; this file adds late binding, argument checks and error handling.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/automation_members.h"
#include "contract/counted.h"
#include "contract/text.h"
#include "workbench/automation/automation_client.h"
#include "workbench/automation/com_wrapper.h"

namespace velmora {

using vlm::Getter;
using vlm::Method;
using vlm::Property;

template <typename Self>
struct HostMember {
  vlm::AutomationMember description;
  // Reads the property, or calls the method.
  Variant (*get)(Self& self, const std::vector<Variant>& arguments);
  // The value put is the last one.
  void (*put)(Self& self, const std::vector<Variant>& arguments);
};

// The argument as a number from 1 to count. Throws AutomationError naming what does not exist.
inline int InRange(const Variant& argument, std::int64_t count, const char* what) {
  const int number = argument.AsInt();
  if (number < 1 || number > count) {
    throw AutomationError(vlm::kAutomationErrorCode, std::string("There is no ") + what + " " +
                                                         std::to_string(number) + "; there are " +
                                                         std::to_string(count) + ".");
  }
  return number;
}

template <typename Self>
class HostMemberTable {
 public:
  HostMemberTable(const char* name, const char* help, std::vector<HostMember<Self>> members)
      : members_(std::move(members)) {
    for (const HostMember<Self>& member : members_) descriptions_.push_back(member.description);
    description_ = {name, help, nullptr, descriptions_.data(), static_cast<int>(descriptions_.size())};
  }
  HostMemberTable(const HostMemberTable&) = delete;
  HostMemberTable& operator=(const HostMemberTable&) = delete;

  const vlm::AutomationInterface* Description() const { return &description_; }
  const HostMember<Self>* Find(int dispatchId) const {
    for (const HostMember<Self>& member : members_) {
      if (member.description.dispatchId == dispatchId) return &member;
    }
    return nullptr;
  }

 private:
  std::vector<HostMember<Self>> members_;
  std::vector<vlm::AutomationMember> descriptions_;
  vlm::AutomationInterface description_;
};

// A class Self derives from HostObject<Self> and has
//   static const HostMemberTable<Self>& Members();
// A new object has one reference, its maker's.
template <typename Self>
class HostObject : public vlm::Counted<Self, vlm::IAutomationObject> {
 public:
  const vlm::AutomationInterface* GetInterface() override { return Self::Members().Description(); }

  void* MakeComObject(vlm::IAutomationObject* through) override { return MakeComWrapper(through); }

  int GetIdOfName(const char* name, int length, int* dispatchId) override {
    const vlm::AutomationMember* member = vlm::FindMemberByName(GetInterface(), vlm::TextOf(name, length));
    if (member == nullptr) return vlm::kDispatchMemberNotFound;
    *dispatchId = member->dispatchId;
    return vlm::kDispatchOk;
  }

  int Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult* result) override {
    const HostMember<Self>* member = Self::Members().Find(dispatchId);
    if (member == nullptr || (member->description.kinds & kind) == 0) return vlm::kDispatchMemberNotFound;
    const bool isPut = kind == vlm::kInvokePut;
    if (argumentCount != member->description.argumentCount + (isPut ? 1 : 0))
      return vlm::kDispatchBadParameterCount;
    try {
      std::vector<Variant> values;
      for (int index = 0; index < argumentCount; ++index) values.emplace_back(arguments[index]);
      if (isPut) {
        member->put(static_cast<Self&>(*this), values);
      } else {
        Answer(member->get(static_cast<Self&>(*this), values), result);
      }
      return vlm::kDispatchOk;
    } catch (const AutomationError& error) {
      return Fail(error.Code(), error.what(), result);
    } catch (const std::exception& error) {
      return Fail(vlm::kAutomationErrorCode, error.what(), result);
    }
  }

 protected:
  HostObject() = default;
  ~HostObject() = default;

 private:
  static void Answer(const Variant& value, vlm::IAutomationResult* result) {
    std::vector<std::vector<vlm::AutomationValue>> storage;
    const vlm::AutomationValue view = value.View(storage);
    switch (view.type) {
      case vlm::kAutomationInt:
        result->SetInt(view.intValue);
        break;
      case vlm::kAutomationReal:
        result->SetReal(view.realValue);
        break;
      case vlm::kAutomationText:
        result->SetText(view.text, view.length);
        break;
      case vlm::kAutomationIntArray:
        result->SetIntArray(view.integers, view.length);
        break;
      case vlm::kAutomationArray:
        result->SetArray(view.items, view.length);
        break;
      case vlm::kAutomationObject:
        result->SetObject(view.object);
        break;
      default:
        result->SetEmpty();
        break;
    }
  }
  static int Fail(int code, std::string_view description, vlm::IAutomationResult* result) {
    result->SetError(code, description.data(), vlm::LengthOf(description));
    return vlm::kDispatchException;
  }
};

}  // namespace velmora
