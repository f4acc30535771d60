#include "module/frame/error_report.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "contract/module_exports.h"
#include "contract/text.h"

namespace vlmfsl {
namespace {

vlm::ILog* FindLog(const char* lookup) {
  const auto find = reinterpret_cast<vlm::GetLog>(FindHostFunction(lookup));
  return find ? find() : nullptr;
}

vlm::ILog* ApplicationLogThatIsOn() {
  vlm::ILog* log = FindLog(vlm::kGetApplicationLog);
  return log && log->IsOn() != 0 ? log : nullptr;
}

std::string FormatArguments(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length <= 0) return {};
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  return text;
}

}  // namespace

void LogMessage(int level, int code, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  try {
    const std::string text = FormatArguments(format, arguments);
    vlm::ILog* log = ApplicationLogThatIsOn();
    if (!log) log = FindLog(vlm::kGetLogCache);
    if (log) log->LogEntry(text.data(), vlm::LengthOf(text), ProcessId(), ThreadId(), level, code);
  } catch (...) {  // no memory for the text, so nothing can be reported
  }
  va_end(arguments);
}

bool IsApplicationLogOn() noexcept { return ApplicationLogThatIsOn() != nullptr; }

std::string GetErrorReportFolder() {
  std::string path = ApplicationDataFolder();
  if (path.empty()) return path;
  if (path.back() != kFolderSeparator) path += kFolderSeparator;
  path = path + "Velmora" + kFolderSeparator + "Errors";
  for (std::size_t end = path.find(kFolderSeparator, RootLength(path));;
       end = path.find(kFolderSeparator, end + 1)) {
    const std::string level = path.substr(0, end);
    if (!CreateFolder(level) && !FolderExists(level)) return {};
    if (end == std::string::npos) return path;
  }
}

bool GenerateCrashReport(const std::string& folder, ExceptionInformation* exception,
                         const char* message) noexcept try {
  const RuntimeLibrary library(vlm::kCrashReportLibrary);
  if (const auto trace = reinterpret_cast<vlm::CrashStackTrace>(library.Find(vlm::kCrashStackTrace))) {
    trace(0, 9999, nullptr, exception ? exception->contextRecord : nullptr, 0);
  }
  const auto report = reinterpret_cast<vlm::CrashReport>(library.Find(vlm::kCrashReport));
  if (!report) return false;
  report(nullptr, folder.c_str(), exception, message);
  LogMessage(1, 0, "Process dump was generated in [%s]", folder.c_str());
  return true;
} catch (...) {
  return false;
}

void ReportCaughtException(const char* message) noexcept try {
  WithThreadState([message](ExceptionInformation* exception) {
    GenerateCrashReport(GetErrorReportFolder(), exception, message);
  });
} catch (...) {  // no memory for the folder's name
}

}  // namespace vlmfsl
