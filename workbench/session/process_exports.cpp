// The exported functions. Nothing here throws: a module calls them from its loader code.
#include "workbench/session/process_exports.h"

#include <algorithm>
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

struct Registrations {
  std::mutex mutex;
  std::vector<TypeLibraryRegistration> queued, done;
};

// Never destroyed: a module that is unloaded at the end of the process may still call.
Registrations& AllRegistrations() {
  static auto* const registrations = new Registrations;
  return *registrations;
}

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
    // A log that cannot grow loses the entry.
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

void ActOnQueuedRegistrations(const std::string& moduleFile) {
  Registrations& all = AllRegistrations();
  const std::lock_guard lock(all.mutex);
  for (TypeLibraryRegistration& registration : all.queued) {
    registration.moduleFile = moduleFile;
    // A library registered again takes the place of its older registration.
    std::erase_if(all.done, [&](const TypeLibraryRegistration& other) {
      return other.libraryId == registration.libraryId;
    });
    all.done.push_back(std::move(registration));
  }
  all.queued.clear();
}

std::vector<TypeLibraryRegistration> RegisteredTypeLibraries() {
  Registrations& all = AllRegistrations();
  const std::lock_guard lock(all.mutex);
  return all.done;
}

}  // namespace velmora

extern "C" {

VELMORA_EXPORT int QvdOleRegisterTypeLib(void* moduleInstance, const char* libraryId, const char* subPath,
                                         const char* helpFolder) {
  if (libraryId == nullptr || *libraryId == '\0') return 1;
  try {
    const auto textOf = [](const char* text) { return std::string(text == nullptr ? "" : text); };
    velmora::TypeLibraryRegistration registration{
        moduleInstance, textOf(libraryId), textOf(subPath), textOf(helpFolder), {}};
    velmora::Registrations& all = velmora::AllRegistrations();
    const std::lock_guard lock(all.mutex);
    all.queued.push_back(std::move(registration));
    return 0;
  } catch (...) {
    return 1;
  }
}

VELMORA_EXPORT vlm::ILog* QvdGetApplicationLog() { return velmora::applicationLog.load(); }

VELMORA_EXPORT vlm::ILog* GetLogCache() { return &velmora::LogCache(); }
}
