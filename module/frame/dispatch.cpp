#include "module/frame/dispatch.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "base/parse_number.h"
#include "contract/automation_members.h"
#include "contract/ref.h"
#include "contract/text.h"
#include "module/frame/ignored_result.h"
#include "module/frame/module_context.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

using vlm::AutomationMember;
using vlm::AutomationValue;

// The kind of access that a call with these flags means; 0 when the member has none of them.
// Late-bound clients that cannot tell a get with arguments from a method pass both flags.
int KindOfCall(const AutomationMember& member, int kind) {
  for (const int candidate : {vlm::kInvokeGet, vlm::kInvokeMethod, vlm::kInvokePut}) {
    if (kind & member.kinds & candidate) return candidate;
  }
  return 0;
}

std::string_view TextOfValue(const AutomationValue& value) { return vlm::TextOf(value.text, value.length); }

double NumberOfText(std::string_view text) {
  const auto number = vlm::ParseTypedNumber<double>(text);
  if (!number) throw TypeMismatchException();
  return *number;
}

template <typename Number>
std::string TextOfNumber(Number number) {
  char buffer[32];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number);
  return error == std::errc() ? std::string(buffer, end) : std::string();
}

}  // namespace

int ToInt(const AutomationValue& value) {
  if (value.type == vlm::kAutomationInt) return value.intValue;
  const double rounded = std::nearbyint(ToReal(value));
  if (!(rounded >= std::numeric_limits<int>::min() && rounded <= std::numeric_limits<int>::max())) {
    throw TypeMismatchException();
  }
  return static_cast<int>(rounded);
}

double ToReal(const AutomationValue& value) {
  switch (value.type) {
    case vlm::kAutomationInt:
      return value.intValue;
    case vlm::kAutomationReal:
      return value.realValue;
    case vlm::kAutomationText:
      return NumberOfText(TextOfValue(value));
    default:
      throw TypeMismatchException();
  }
}

std::string ToText(const AutomationValue& value) {
  switch (value.type) {
    case vlm::kAutomationText:
      return std::string(TextOfValue(value));
    case vlm::kAutomationInt:
      return TextOfNumber(value.intValue);
    case vlm::kAutomationReal:
      return TextOfNumber(value.realValue);
    default:
      throw TypeMismatchException();
  }
}

int AutomationDispatch::GetIdOfName(const char* name, int length, int* dispatchId) {
  if (!dispatchId) return vlm::kDispatchMemberNotFound;
  const AutomationMember* member = vlm::FindMemberByName(&description_, vlm::TextOf(name, length));
  if (!member) return vlm::kDispatchMemberNotFound;
  *dispatchId = member->dispatchId;
  return vlm::kDispatchOk;
}

int AutomationDispatch::Invoke(int dispatchId, int kind, const AutomationValue* arguments, int argumentCount,
                               vlm::IAutomationResult* result) {
  // An OK that closes the dialog may drop the last other reference.
  const vlm::Ref<vlm::IAutomationObject> keep(this);
  IgnoredResult nobody;
  vlm::IAutomationResult& answer = result ? *result : nobody;
  const std::span<const AutomationValue> given(
      arguments, arguments && argumentCount > 0 ? static_cast<std::size_t>(argumentCount) : 0);
  if (const AutomationMember* member = vlm::FindOwnMember(description_, dispatchId)) {
    return InvokeOwn(*member, kind, given, answer);
  }
  const AutomationMember* member = vlm::FindMember(description_.base, dispatchId);
  if (!member) return vlm::kDispatchMemberNotFound;
  const int asked = KindOfCall(*member, kind);
  int status = vlm::kDispatchFailed;
  const int guarded = GuardedMember(*member, asked == 0 ? kind : asked, answer, [&] {
    status = InvokeInherited(dispatchId, kind, given.data(), static_cast<int>(given.size()), &answer);
  });
  return guarded == vlm::kDispatchOk ? status : guarded;
}

int AutomationDispatch::InvokeOwn(const AutomationMember& member, int kind,
                                  std::span<const AutomationValue> arguments,
                                  vlm::IAutomationResult& result) {
  const int asked = KindOfCall(member, kind);
  if (asked == 0) return vlm::kDispatchMemberNotFound;
  const std::size_t expected =
      static_cast<std::size_t>(member.argumentCount) + (asked == vlm::kInvokePut ? 1 : 0);
  if (arguments.size() != expected) return vlm::kDispatchBadParameterCount;
  const AutomationCall call{member, static_cast<vlm::InvokeKind>(asked), arguments, result};
  if (GuardOf(member.dispatchId) == GuardKind::kAnalysisMethod) {
    return GuardedAnalysisMethod(&result, [&] { Call(call); });
  }
  return GuardedMember(member, asked, result, [&] { Call(call); });
}

template <typename Callable>
int AutomationDispatch::GuardedMember(const AutomationMember& member, int kind,
                                      vlm::IAutomationResult& result, Callable&& body) {
  // The name is formed first, so that a failure of the body can be named.
  std::string name;
  const CommandOutcome named = GuardedCommand(member.name, [&] { name = QualifiedName(member.name, kind); });
  return Guarded(named ? name.c_str() : member.name, &result, std::forward<Callable>(body));
}

std::string AutomationDispatch::QualifiedName(const char* memberName, int kind) const {
  const char* prefix = kind == vlm::kInvokeGet ? "get_" : kind == vlm::kInvokePut ? "put_" : "";
  return std::string(className_) + "::" + prefix + memberName;
}

int AutomationDispatch::InvokeInherited(int, int, const AutomationValue*, int, vlm::IAutomationResult*) {
  return vlm::kDispatchMemberNotFound;
}

void DialogAutomation::Call(const AutomationCall& call) {
  ThrowIfClosed();
  if (IsBusy()) throw AutomationException(LoadResString(kTextDialogBusy));
  CallOpen(call);
}

int DialogAutomation::InvokeInherited(int dispatchId, int kind, const AutomationValue* arguments,
                                      int argumentCount, vlm::IAutomationResult* result) {
  ThrowIfClosed();
  return OpenWindow()->InvokeInherited(dispatchId, kind, arguments, argumentCount, result);
}

void DialogAutomation::ThrowIfClosed() const {
  if (!OpenWindow()) throw DialogClosedException();
}

}  // namespace vlmfsl
