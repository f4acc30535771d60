// The exported functions. Nothing here throws: a module calls them from its loader code.
#include "workbench/session/process_exports.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <system_error>
#include <utility>

#include "contract/text.h"
#include "workbench/data/errors.h"
#include "workbench/system/system.h"

#if defined(_WIN32)
#define VELMORA_EXPORT __declspec(dllexport)
#else
#define VELMORA_EXPORT __attribute__((visibility("default"), used))
#endif

namespace velmora {

namespace {

std::atomic<HostLog*> applicationLog{nullptr};

// The log file of the process, if any. Never closed: a module may log until the end.
struct LogFile {
  std::mutex mutex;
  std::FILE* file = nullptr;
};
LogFile& TheLogFile() {
  static auto* const file = new LogFile;
  return *file;
}

// "2026-01-31T12:00:00Z 4711.1 1 0 The text": control characters of the text become blanks, so that
// an entry is a line.
void AppendToLogFile(const LogLine& line) {
  LogFile& log = TheLogFile();
  const std::lock_guard lock(log.mutex);
  if (log.file == nullptr) return;
  char time[32] = "";
  const std::time_t now = std::time(nullptr);
  if (const std::tm* const utc = std::gmtime(&now))
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", utc);
  std::string text = line.text;
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  std::fprintf(log.file, "%s %u.%u %d %d %s\n", time, line.processId, line.threadId, line.level, line.code,
               text.c_str());
  std::fflush(log.file);
}

}  // namespace

void WriteLogTo(const std::string& path) {
  if (path.find('\0') != std::string::npos)
    throw DataError("The name of the log file holds a NUL character.");
  errno = 0;
  std::FILE* const opened = OpenFile(PathOf(path), "ab");
  if (opened == nullptr) {
    throw DataError("The log file " + path + " cannot be opened: " + std::generic_category().message(errno) +
                    ".");
  }
  LogFile& log = TheLogFile();
  const std::lock_guard lock(log.mutex);
  if (log.file != nullptr) std::fclose(log.file);
  log.file = opened;
}

void HostLog::LogEntry(const char* text, int length, unsigned processId, unsigned threadId, int level,
                       int code) {
  try {
    LogLine line{std::string(vlm::TextOf(text, length)), processId, threadId, level, code};
    AppendToLogFile(line);
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::move(line));
    if (lines_.size() > kMaximumLines) lines_.pop_front();
  } catch (...) {
    // When the log cannot grow, the entry is lost.
  }
}

std::vector<LogLine> HostLog::Lines() const {
  const std::lock_guard lock(mutex_);
  return {lines_.begin(), lines_.end()};
}

HostLog& LogCache() {
  static auto* const cache = new HostLog;
  return *cache;
}

void SetApplicationLog(HostLog* log) { applicationLog = log; }

}  // namespace velmora

extern "C" {

// The system's registry is left alone: running an analysis does not ask for a registration. The
// automation server's registration writes the library there (windows/server_windows.h).
VELMORA_EXPORT int QvdOleRegisterTypeLib(void* /*moduleInstance*/, const char* libraryId,
                                         const char* /*subPath*/, const char* /*helpFolder*/) {
  return libraryId == nullptr || *libraryId == '\0' ? 1 : 0;
}

VELMORA_EXPORT vlm::ILog* QvdGetApplicationLog() { return velmora::applicationLog.load(); }

VELMORA_EXPORT vlm::ILog* GetLogCache() { return &velmora::LogCache(); }
}
