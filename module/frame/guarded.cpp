#include "module/frame/guarded.h"

#include <new>

#include "contract/text.h"
#include "module/frame/error_report.h"

namespace vlmfsl::guarded_detail {
namespace {

constexpr int kErrorLevel = 1;
constexpr char kUnexpectedError[] = "Unexpected error";

void SetError(vlm::IAutomationResult* result, int code, const char* message) {
  if (result) result->SetError(code, message, vlm::LengthOf(message));
}

// Logs the sentence about a failed accessor; with a crash report the report gets the same sentence.
void LogAutomation(const char* qualifiedName, const char* message, bool withCrashReport = false) noexcept
    try {
  const std::string sentence =
      std::string("Exception in automation method [") + qualifiedName + "]: " + message;
  LogMessage(kErrorLevel, 0, "%s", sentence.c_str());
  if (withCrashReport) ReportCaughtException(sentence.c_str());
} catch (...) {
  if (withCrashReport) ReportCaughtException(message);  // no memory for the sentence
}

int FailAutomation(const char* qualifiedName, vlm::IAutomationResult* result, const char* message) {
  LogAutomation(qualifiedName, message, true);
  SetError(result, vlm::kAutomationErrorCode, message);
  return vlm::kDispatchFailed;
}

void LogAnalysisMethod(const char* message) {
  if (IsApplicationLogOn()) LogMessage(kErrorLevel, 0, "Exception in analysis method: %s", message);
}

int FailAnalysisMethod(vlm::IAutomationResult* result, const char* message) {
  LogAnalysisMethod(message);
  SetError(result, vlm::kAutomationErrorCode, message);
  return vlm::kDispatchFailed;
}

CommandOutcome FailCommand(const char* qualifiedName, const char* message) noexcept {
  LogMessage(kErrorLevel, 0, "Exception in dialog command [%s]: %s", qualifiedName, message);
  CommandOutcome outcome{.done = false, .reason = {}};
  try {
    outcome.reason = message;
  } catch (...) {  // no memory for it, which an empty reason says
  }
  return outcome;
}

}  // namespace

int RunAutomation(const char* qualifiedName, vlm::IAutomationResult* result, Body body,
                  void* context) noexcept {
  try {
    body(context);
    return vlm::kDispatchOk;
  } catch (const AutomationException& exception) {
    LogAutomation(qualifiedName, exception.what());
    SetError(result, exception.Code(), exception.what());
    return vlm::kDispatchException;
  } catch (const TypeMismatchException& exception) {
    LogAutomation(qualifiedName, exception.what());
    return vlm::kDispatchTypeMismatch;
  } catch (const DialogClosedException& exception) {
    LogAutomation(qualifiedName, exception.what());
    SetError(result, vlm::kAutomationErrorCode, exception.what());
    return vlm::kDispatchFailed;
  } catch (const std::exception& exception) {
    return FailAutomation(qualifiedName, result, exception.what());
  } catch (...) {
    return FailAutomation(qualifiedName, result, kUnexpectedError);
  }
}

int RunAnalysisMethod(vlm::IAutomationResult* result, Body body, void* context) noexcept {
  try {
    body(context);
    return vlm::kDispatchOk;
  } catch (const AutomationException& exception) {
    LogAnalysisMethod(exception.what());
    SetError(result, exception.Code(), exception.what());
    return vlm::kDispatchException;
  } catch (const TypeMismatchException& exception) {
    LogAnalysisMethod(exception.what());
    return vlm::kDispatchTypeMismatch;
  } catch (const std::exception& exception) {
    return FailAnalysisMethod(result, exception.what());
  } catch (...) {
    return FailAnalysisMethod(result, kUnexpectedError);
  }
}

CommandOutcome RunCommand(const char* qualifiedName, Body body, void* context) noexcept {
  try {
    body(context);
    return {};
  } catch (const std::bad_alloc& exception) {
    CommandOutcome outcome = FailCommand(qualifiedName, exception.what());
    outcome.reason.clear();
    return outcome;
  } catch (const std::exception& exception) {
    return FailCommand(qualifiedName, exception.what());
  } catch (...) {
    return FailCommand(qualifiedName, kUnexpectedError);
  }
}

}  // namespace vlmfsl::guarded_detail
