// The portable dispatch layer: member table of resources/ + handlers = an automation object.
//
//   script -> Invoke(id, kind, arguments) -> member found, arguments counted and converted
//          -> Guarded("CDefineTask::put_CountVariable", ...) -> handler
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "contract/automation.h"
#include "contract/dialogs.h"
#include "module/frame/com_object.h"
#include "module/frame/guarded.h"

namespace vlmfsl {

// Conversions between values, as a script expects them: whole numbers from reals (rounded half to
// even) and from texts, reals from whole numbers and texts, texts from numbers. Numbers in texts
// have a point, whatever the locale. Throw TypeMismatchException for values that do not convert.
[[nodiscard]] int ToInt(const vlm::AutomationValue& value);
[[nodiscard]] double ToReal(const vlm::AutomationValue& value);
[[nodiscard]] std::string ToText(const vlm::AutomationValue& value);

// One call of a member, its arguments already counted.
struct AutomationCall {
  const vlm::AutomationMember& member;
  vlm::InvokeKind kind;
  // In declaration order; of a put the value is the last.
  std::span<const vlm::AutomationValue> arguments;
  vlm::IAutomationResult& result;

  const vlm::AutomationValue& Value() const { return arguments.back(); }
  int Int() const { return ToInt(Value()); }
  double Real() const { return ToReal(Value()); }
  // Flags: everything but 0 is true.
  bool Flag() const { return Int() != 0; }
  void ReturnText(std::string_view text) const { result.SetText(text.data(), static_cast<int>(text.size())); }
};

// How exceptions of a handler are treated; see guarded.h.
enum class GuardKind { kAutomationMethod, kAnalysisMethod };

template <typename Object>
struct MemberHandler {
  int dispatchId;
  void (Object::*getOrMethod)(const AutomationCall& call);
  void (Object::*put)(const AutomationCall& call);
  GuardKind guard = GuardKind::kAutomationMethod;
};

// Names, ids, kinds and argument counts of an object; a derived class adds its life and its
// handlers.
class AutomationDispatch : public vlm::IAutomationObject {
 public:
  const vlm::AutomationInterface* GetInterface() final { return &description_; }
  int GetIdOfName(const char* name, int length, int* dispatchId) final;
  int Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult* result) final;
  void* MakeComObject(vlm::IAutomationObject* through) final {
    return MakeComObjectOf(description_, through);
  }

 protected:
  // className: in the names of error messages ("CDefineTask"). Both live as long as the module.
  AutomationDispatch(const vlm::AutomationInterface& description, const char* className)
      : description_(description), className_(className) {}
  ~AutomationDispatch() = default;

  // A call of a member of the object's own interface, which has the kind. May throw.
  virtual void Call(const AutomationCall& call) = 0;
  virtual GuardKind GuardOf(int /*dispatchId*/) const { return GuardKind::kAutomationMethod; }
  // A call of a member of a base interface. May throw.
  virtual int InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments,
                              int argumentCount, vlm::IAutomationResult* result);

  // Finds the member's handler and calls it on object.
  template <typename Object>
  static void CallHandler(std::span<const MemberHandler<Object>> handlers, Object& object,
                          const AutomationCall& call) {
    for (const MemberHandler<Object>& handler : handlers) {
      if (handler.dispatchId != call.member.dispatchId) continue;
      const auto function = call.kind == vlm::kInvokePut ? handler.put : handler.getOrMethod;
      if (function) (object.*function)(call);
      return;
    }
  }
  template <typename Object>
  static GuardKind FindGuard(std::span<const MemberHandler<Object>> handlers, int dispatchId) {
    for (const MemberHandler<Object>& handler : handlers) {
      if (handler.dispatchId == dispatchId) return handler.guard;
    }
    return GuardKind::kAutomationMethod;
  }

 private:
  int InvokeOwn(const vlm::AutomationMember& member, int kind,
                std::span<const vlm::AutomationValue> arguments, vlm::IAutomationResult& result);
  template <typename Callable>
  int GuardedMember(const vlm::AutomationMember& member, int kind, vlm::IAutomationResult& result,
                    Callable&& body);
  std::string QualifiedName(const char* memberName, int kind) const;

  const vlm::AutomationInterface& description_;
  const char* className_;
};

// The automation object of a dialog: every call fails once the window is closed, and the host
// serves the inherited members.
class DialogAutomation : public AutomationDispatch {
 protected:
  using AutomationDispatch::AutomationDispatch;
  ~DialogAutomation() = default;

  // Null once the dialog is closed.
  virtual vlm::IDialogWindow* OpenWindow() const = 0;
  // True while a command runs: calls that a host lets through meanwhile must not change the data of
  // the command.
  virtual bool IsBusy() const = 0;
  virtual void CallOpen(const AutomationCall& call) = 0;

 private:
  void Call(const AutomationCall& call) final;
  int InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
                      vlm::IAutomationResult* result) final;
  void ThrowIfClosed() const;
};

}  // namespace vlmfsl
