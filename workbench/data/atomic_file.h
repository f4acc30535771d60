// Files that appear whole or not at all: written to a temporary beside the target, flushed to the disk, then
// renamed.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "workbench/data/errors.h"

namespace velmora {

// Writes bytes to path, replacing what is there; makes the directories of path if they are missing. Throws
// DataError naming path and the system's reason; then the old file, if any, is as it was and no temporary is
// left. A path that is a device or a pipe is written to directly.
void WriteFileAtomically(const std::string& path, std::string_view bytes);

// The same in pieces. Legal order: Write any number of times, or a foreign writer at TemporaryPath after
// Close; then Commit. Without Commit nothing happens to the target.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& path);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  void Write(std::string_view bytes);
  // Flushes to the disk and closes; a later Write is not allowed. Commit calls it if it has not been called.
  void Close();
  void Commit();
  // Where the bytes are until Commit; the path itself for a device.
  const std::string& TemporaryPath() const { return temporary_; }

 private:
  [[noreturn]] void Fail(int code);

  std::string path_;
  std::string target_;  // path with links followed
  std::string temporary_;
  std::FILE* file_ = nullptr;
  bool direct_ = false;
  bool committed_ = false;
};

}  // namespace velmora
