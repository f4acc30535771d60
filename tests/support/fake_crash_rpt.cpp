// A crash-report library that records its calls instead of writing reports.
#include <string>

#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {
std::string calls;
}

EXPORT void StackTrace(int a, unsigned depth, void* b, void* context, int c) {
  calls += "StackTrace " + std::to_string(a) + " " + std::to_string(depth) + (b ? " something" : " 0") +
           (context ? " context " : " 0 ") + std::to_string(c) + "\n";
}

EXPORT void GenerateSilentErrorReport(void* a, const char* folder, void* exception, const char* message) {
  calls += std::string("Report ") + (a ? "something " : "0 ") + folder + (exception ? " exception " : " 0 ") +
           message + "\n";
}

EXPORT const char* CrashReportCalls() { return calls.c_str(); }
EXPORT void ForgetCrashReportCalls() { calls.clear(); }
