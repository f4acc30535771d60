#include "module/frame/guarded.h"

#include <cstring>

#include "module/frame/error_report.h"

namespace vlmfsl::guarded_detail {
namespace {

constexpr int kErrorLevel = 1;
constexpr char kUnexpectedError[] = "Unexpected error";

void SetError(vlm::IAutomationResult* result, const AutomationException& exception) {
  if (result)
    result->SetError(exception.Code(), exception.what(), static_cast<int>(std::strlen(exception.what())));
}

void LogAutomation(const char* qualifiedName, const char* message) {
  LogMessage(kErrorLevel, 0, "Exception in automation method [%s]: %s", qualifiedName, message);
}

int FailAutomation(const char* qualifiedName, const char* message) {
  LogAutomation(qualifiedName, message);
  ReportCaughtException(message);
  return vlm::kDispatchFailed;
}

int FailAnalysisMethod(const char* message) {
  if (IsApplicationLogOn()) LogMessage(kErrorLevel, 0, "Exception in analysis method: %s", message);
  return vlm::kDispatchFailed;
}

bool FailCommand(const char* qualifiedName, const char* message) {
  LogMessage(kErrorLevel, 0, "Exception in dialog command [%s]: %s", qualifiedName, message);
  return false;
}

}  // namespace

int RunAutomation(const char* qualifiedName, vlm::IAutomationResult* result, Body body,
                  void* context) noexcept {
  try {
    body(context);
    return vlm::kDispatchOk;
  } catch (const AutomationException& exception) {
    SetError(result, exception);
    return vlm::kDispatchException;
  } catch (const TypeMismatchException&) {
    return vlm::kDispatchTypeMismatch;
  } catch (const DialogClosedException& exception) {
    LogAutomation(qualifiedName, exception.what());
    return vlm::kDispatchFailed;
  } catch (const std::exception& exception) {
    return FailAutomation(qualifiedName, exception.what());
  } catch (...) {
    return FailAutomation(qualifiedName, kUnexpectedError);
  }
}

int RunAnalysisMethod(vlm::IAutomationResult* result, Body body, void* context) noexcept {
  try {
    body(context);
    return vlm::kDispatchOk;
  } catch (const AutomationException& exception) {
    SetError(result, exception);
    return vlm::kDispatchException;
  } catch (const TypeMismatchException&) {
    return vlm::kDispatchTypeMismatch;
  } catch (const std::exception& exception) {
    return FailAnalysisMethod(exception.what());
  } catch (...) {
    return FailAnalysisMethod(kUnexpectedError);
  }
}

bool RunCommand(const char* qualifiedName, Body body, void* context) noexcept {
  try {
    body(context);
    return true;
  } catch (const std::exception& exception) {
    return FailCommand(qualifiedName, exception.what());
  } catch (...) {
    return FailCommand(qualifiedName, kUnexpectedError);
  }
}

}  // namespace vlmfsl::guarded_detail
