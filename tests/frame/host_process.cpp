#include "tests/frame/host_process.h"

#include <unistd.h>

#include "contract/module_exports.h"

#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace vlmfsl::testing {

HostProcess& Process() {
  static HostProcess process;
  return process;
}

namespace {

struct RecordingLog final : vlm::ILog {
  RecordingLog(std::vector<std::string>& into, const bool& isOn) : entries(into), on(isOn) {}
  int IsOn() override { return on ? 1 : 0; }
  void LogEntry(const char* text, int length, unsigned processId, unsigned threadId, int level,
                int code) override {
    const bool mine = processId == static_cast<unsigned>(getpid()) && threadId != 0;
    entries.push_back(std::to_string(level) + " " + std::to_string(code) + " " +
                      std::string(text, static_cast<std::size_t>(length)) +
                      (mine ? "" : " (foreign process)"));
  }
  std::vector<std::string>& entries;
  const bool& on;
};

std::string OrNull(const char* text) { return text ? text : "null"; }

}  // namespace
}  // namespace vlmfsl::testing

using vlmfsl::testing::Process;

EXPORT int QvdOleRegisterTypeLib(void* instance, const char* id, const char* subPath,
                                 const char* helpFolder) {
  using vlmfsl::testing::OrNull;
  Process().registrations.push_back((instance ? "" : "no instance ") + OrNull(id) + ", " + OrNull(subPath) +
                                    ", " + OrNull(helpFolder));
  return 1;  // a failure: the load goes on all the same
}

EXPORT vlm::ILog* QvdGetApplicationLog() {
  static vlmfsl::testing::RecordingLog log(Process().applicationLog, Process().applicationLogOn);
  return Process().hasApplication ? &log : nullptr;
}

EXPORT vlm::ILog* GetLogCache() {
  static const bool on = true;
  static vlmfsl::testing::RecordingLog log(Process().logCache, on);
  return &log;
}
