// What the module exports, and what it looks up by name. Nothing else is called by name.
#pragma once

#include "contract/analysis.h"

namespace vlm {

// The module's two exports. They need no host; null when the object cannot be made.
using AnalysisFactory = IAnalysis* (*)();
inline constexpr char kFeatureSelectionFactory[] = "Qvd6NewAnalysis";
inline constexpr char kScreeningFactory[] = "Qvd6FeatureSelectionTemplate";

// A log of the host.
struct ILog {
  virtual int IsOn() = 0;
  virtual void LogEntry(const char* text, int length, unsigned processId, unsigned threadId, int level,
                        int code) = 0;

 protected:
  ~ILog() = default;
};

// Functions of the host's process, each optional. Registers a type library; called inside the load
// of the module, where a host can do little more than take note. libraryId: the identifier in
// braces. Returns 0 on success; a failure does not stop the load.
using RegisterTypeLibrary = int (*)(void* moduleInstance, const char* libraryId, const char* subPath,
                                    const char* helpFolder);
inline constexpr char kRegisterTypeLibrary[] = "QvdOleRegisterTypeLib";
// The application's log, or null while there is no application object.
using GetLog = ILog* (*)();
inline constexpr char kGetApplicationLog[] = "QvdGetApplicationLog";
// The cache that takes entries while there is no application, or while its logging is off.
inline constexpr char kGetLogCache[] = "GetLogCache";

// The crash-report library, looked for when an automation call has failed; the library and each
// function may be missing. The functions' first and last arguments are 0.
inline constexpr char kCrashReportLibrary[] = "CrashRpt";  // libCrashRpt.so, CrashRpt.dll
using CrashStackTrace = void (*)(int, unsigned depth, void*, void* contextRecord, int);
inline constexpr char kCrashStackTrace[] = "StackTrace";
// folder: where the report goes, may be empty. exception: EXCEPTION_POINTERS on Windows; elsewhere
// two pointers, null and a ucontext_t.
using CrashReport = void (*)(void*, const char* folder, void* exception, const char* message);
inline constexpr char kCrashReport[] = "GenerateSilentErrorReport";

}  // namespace vlm
