// The one path on which exceptions of automation calls and of dialog commands end: caught, logged,
// reported, turned into a result. Nothing that a host calls lets an exception out.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "contract/automation.h"

namespace vlmfsl {

// An error for the script: number and description go to the caller.
class AutomationException : public std::exception {
 public:
  explicit AutomationException(std::string description, int code = vlm::kAutomationErrorCode)
      : description_(std::move(description)), code_(code) {}
  const char* what() const noexcept override { return description_.c_str(); }
  int Code() const { return code_; }

 private:
  std::string description_;
  int code_;
};

// A call on a dialog whose window is closed.
class DialogClosedException : public std::exception {
 public:
  const char* what() const noexcept override { return "The dialog is closed."; }
};

// The argument cannot be converted to the type that the member takes.
class TypeMismatchException : public std::exception {
 public:
  const char* what() const noexcept override { return "Type mismatch."; }
};

// How a dialog command ended.
struct CommandOutcome {
  bool done = true;
  std::string reason;  // of a failure; empty when memory was short

  explicit operator bool() const { return done; }
};

namespace guarded_detail {
using Body = void (*)(void* context);
int RunAutomation(const char* qualifiedName, vlm::IAutomationResult* result, Body body,
                  void* context) noexcept;
int RunAnalysisMethod(vlm::IAutomationResult* result, Body body, void* context) noexcept;
CommandOutcome RunCommand(const char* qualifiedName, Body body, void* context) noexcept;

template <typename Callable>
Body BodyOf() {
  return [](void* context) { (*static_cast<Callable*>(context))(); };
}
}  // namespace guarded_detail

// Runs one accessor: `return Guarded("CDefineTask::get_Variables", result, [&] { ... });`
//
// Every exception is logged at level 1 as "Exception in automation method [name]: message". Returns
// a vlm::DispatchStatus: kDispatchException for an AutomationException, kDispatchTypeMismatch, or
// kDispatchFailed; the result holds the message. An exception that is not meant for the script also
// leaves a crash report.
template <typename Callable>
int Guarded(const char* qualifiedName, vlm::IAutomationResult* result, Callable&& body) {
  return guarded_detail::RunAutomation(qualifiedName, result,
                                       guarded_detail::BodyOf<std::remove_reference_t<Callable>>(), &body);
}

// The same for the accessors that compute: an exception is logged as "Exception in analysis method:
// message" when the application's log is on, and leaves no crash report.
template <typename Callable>
int GuardedAnalysisMethod(vlm::IAutomationResult* result, Callable&& body) {
  return guarded_detail::RunAnalysisMethod(
      result, guarded_detail::BodyOf<std::remove_reference_t<Callable>>(), &body);
}

// Runs a dialog's answer to the host. An exception is logged, and its message is the outcome's
// reason.
template <typename Callable>
CommandOutcome GuardedCommand(const char* qualifiedName, Callable&& body) {
  return guarded_detail::RunCommand(qualifiedName,
                                    guarded_detail::BodyOf<std::remove_reference_t<Callable>>(), &body);
}

}  // namespace vlmfsl
