#include "workbench/api/object_members.h"

#include <string_view>
#include <utility>

#include "contract/automation_members.h"
#include "contract/text.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/options.h"
#include "workbench/data/names.h"
#include "workbench/report/json_text.h"

namespace velmora {
namespace {

constexpr char kNameless[] = "Object";  // an object without a description

std::string TextOrEmpty(const char* text) { return text == nullptr ? std::string() : std::string(text); }

bool Has(const vlm::AutomationMember& member, int kind) { return (member.kinds & kind) != 0; }
bool IsCalled(const vlm::AutomationMember& member) {
  return Has(member, vlm::kInvokeMethod) || member.argumentCount > 0;
}

// Types have the names that docs/scripting.md gives them.
const char* TypeName(int type) {
  switch (type) {
    case vlm::kAutomationInt:
      return "int";
    case vlm::kAutomationReal:
      return "float";
    case vlm::kAutomationText:
      return "str";
    case vlm::kAutomationObject:
      return "object";
    case vlm::kAutomationIntArray:
      return "list of int";
    case vlm::kAutomationArray:
      return "list";
    case vlm::kAutomationVariant:
      return "value";
    default:
      return "None";
  }
}

// "Value(Row, Column) -> value", "Title: str", "CountVariable: str, takes a value".
std::string Signature(const vlm::AutomationMember& member) {
  const std::string name = member.name;
  if (IsCalled(member))
    return name + "(" + TextOrEmpty(member.argumentName) + ") -> " + TypeName(member.getType);
  const bool reads = Has(member, vlm::kInvokeGet);
  std::string text = name + ": " + TypeName(reads ? member.getType : member.putType);
  if (!reads) return text + ", write only";
  if (!Has(member, vlm::kInvokePut)) return text + ", read only";
  if (member.putType != member.getType) text += std::string(", takes a ") + TypeName(member.putType);
  return text;
}

void AppendMembers(const vlm::AutomationInterface* description, Json& members) {
  for (; description != nullptr; description = description->base) {
    for (int index = 0; index < description->memberCount; ++index) {
      const vlm::AutomationMember& member = description->members[index];
      Json shown;
      shown["name"] = member.name;
      shown["signature"] = Signature(member);
      shown["help"] = TextOrEmpty(member.getHelp != nullptr ? member.getHelp : member.putHelp);
      shown["arguments"] = SplitList({TextOrEmpty(member.argumentName)});
      shown["call"] = IsCalled(member);
      shown["read"] = !IsCalled(member) && Has(member, vlm::kInvokeGet);
      shown["write"] = !IsCalled(member) && Has(member, vlm::kInvokePut);
      members.push_back(std::move(shown));
    }
  }
}

[[noreturn]] void RefuseUnknown(const vlm::AutomationInterface* description, const std::string& interfaceName,
                                const std::string& name) {
  std::vector<std::string_view> names;
  for (; description != nullptr; description = description->base) {
    for (int index = 0; index < description->memberCount; ++index)
      names.emplace_back(description->members[index].name);
  }
  const int nearest = NearestText(name, names);
  throw UsageError(
      interfaceName + " has no member " + name +
      (nearest < 0 ? "." : "; did you mean " + std::string(names[static_cast<std::size_t>(nearest)]) + "?"));
}

// The kind of a call for the member; throws UsageError when the member has no such use.
int KindOf(const vlm::AutomationMember& member, const std::string& qualified, MemberUse use,
           std::size_t argumentCount) {
  if (use == MemberUse::kPut) {
    if (!Has(member, vlm::kInvokePut)) throw UsageError(qualified + " cannot be set.");
    return vlm::kInvokePut;
  }
  if (use == MemberUse::kGet) {
    if (IsCalled(member)) throw UsageError(qualified + " is called: " + Signature(member) + ".");
    if (!Has(member, vlm::kInvokeGet)) throw UsageError(qualified + " can be set but not read.");
    return vlm::kInvokeGet;
  }
  if (!IsCalled(member)) throw UsageError(qualified + " is not called: " + Signature(member) + ".");
  const int wanted = member.argumentCount;
  if (argumentCount != static_cast<std::size_t>(wanted)) {
    throw UsageError(qualified + "(" + TextOrEmpty(member.argumentName) + ") takes " +
                     (wanted == 0 ? "no" : std::to_string(wanted)) +
                     (wanted == 1 ? " argument, " : " arguments, ") + std::to_string(argumentCount) +
                     " given.");
  }
  return Has(member, vlm::kInvokeMethod) ? vlm::kInvokeMethod : vlm::kInvokeGet;
}

}  // namespace

MemberFailure::MemberFailure(std::string memberName, std::string reasonGiven, int errorNumber)
    : std::runtime_error(memberName + ": " + reasonGiven),
      member_(std::move(memberName)),
      reason_(std::move(reasonGiven)),
      number_(errorNumber) {}

std::string InterfaceName(const ObjectReference& object) {
  const vlm::AutomationInterface* const description = object->GetInterface();
  return description == nullptr ? kNameless : TextOrEmpty(description->name);
}

std::string MembersJson(const ObjectReference& object) {
  const vlm::AutomationInterface* const description = object->GetInterface();
  Json shown;
  shown["name"] = InterfaceName(object);
  shown["help"] = description == nullptr ? "" : TextOrEmpty(description->help);
  shown["members"] = Json::array();
  AppendMembers(description, shown["members"]);
  return JsonText(shown);
}

Variant CallMember(const ObjectReference& object, const std::string& name, MemberUse use,
                   const std::vector<Variant>& arguments) {
  const ObjectReference target = object;  // its handle may be freed while the call runs
  const std::string interfaceName = InterfaceName(target);
  const vlm::AutomationMember* const member = vlm::FindMemberByName(target->GetInterface(), name);
  if (member == nullptr) RefuseUnknown(target->GetInterface(), interfaceName, name);
  const std::string qualified = interfaceName + "." + member->name;
  const std::string signature = Signature(*member);
  const int kind = KindOf(*member, qualified, use, arguments.size());

  std::vector<std::vector<vlm::AutomationValue>> storage;
  std::vector<vlm::AutomationValue> views;
  for (const Variant& argument : arguments) views.push_back(argument.View(storage));
  AutomationResult result;
  const int status =
      target->Invoke(member->dispatchId, kind, views.data(), static_cast<int>(views.size()), &result);
  switch (status) {
    case vlm::kDispatchOk:
      return std::move(result.value);
    case vlm::kDispatchException:
      if (result.errorCode == 0) throw UsageError(qualified + ": " + result.description);
      throw MemberFailure(qualified, result.description, result.errorCode);
    case vlm::kDispatchTypeMismatch:
      throw UsageError(qualified + ": The value has the wrong type; " + signature + ".");
    case vlm::kDispatchMemberNotFound:
      throw UsageError(qualified + " cannot be used in this way; " + signature + ".");
    case vlm::kDispatchBadParameterCount:
      throw UsageError(qualified + " takes another number of arguments.");
    default:
      throw MemberFailure(qualified, result.description.empty() ? "The call failed." : result.description, 0);
  }
}

}  // namespace velmora
