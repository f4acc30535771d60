// The functions that a module looks up in the host's process by name, and the logs behind them: the
// application's log and the log cache.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "contract/module_exports.h"

namespace velmora {

struct LogLine {
  std::string text;
  unsigned processId = 0, threadId = 0;
  int level = 0, code = 0;
};

// Keeps the latest entries. Safe from any thread: a module may log before anybody looks.
class HostLog final : public vlm::ILog {
 public:
  virtual ~HostLog() = default;
  int IsOn() override { return 1; }
  void LogEntry(const char* text, int length, unsigned processId, unsigned threadId, int level,
                int code) override;
  std::vector<LogLine> Lines() const;

 private:
  static constexpr std::size_t kMaximumLines = 1000;
  mutable std::mutex mutex_;
  std::deque<LogLine> lines_;
};

// What modules log while there is no session. Lives as long as the process.
HostLog& LogCache();
// From now on every entry of every log is also appended to this file, one line each: time, process
// and thread, level, code, text. Throws DataError when the file cannot be opened.
void WriteLogTo(const std::string& path);
// The log that QvdGetApplicationLog answers; null for none.
void SetApplicationLog(HostLog* log);

}  // namespace velmora

extern "C" {
int QvdOleRegisterTypeLib(void* moduleInstance, const char* libraryId, const char* subPath,
                          const char* helpFolder);
vlm::ILog* QvdGetApplicationLog();
vlm::ILog* GetLogCache();
}
