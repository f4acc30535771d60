// Log entries and crash reports, by which support can find out what went wrong.
#pragma once

#include <string>

#include "module/frame/platform.h"

namespace vlmfsl {

// Writes a printf-style text to the application's log when there is one and it is on, else to the
// host's log cache; without either the text is dropped. Never throws.
#ifdef __GNUC__
__attribute__((format(printf, 3, 4)))
#endif
void LogMessage(int level, int code, const char* format, ...) noexcept;

// Whether the application's own log exists and is on.
[[nodiscard]] bool IsApplicationLogOn() noexcept;

// The folder for error reports, without a separator at its end. Made level by level where missing;
// empty when a level can neither be made nor is a folder.
[[nodiscard]] std::string GetErrorReportFolder();

// Has the library "CrashRpt", when there is one, write a report of the calling thread into the
// folder, and logs that it did. Returns whether a report was made. Never throws.
bool GenerateCrashReport(const std::string& folder, ExceptionInformation* exception,
                         const char* message) noexcept;

// The above for an exception that the calling code has just caught: folder and context are found
// here.
void ReportCaughtException(const char* message) noexcept;

}  // namespace vlmfsl
