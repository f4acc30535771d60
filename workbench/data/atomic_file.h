// Files that are written completely or not at all: to a temporary file in a scratch folder beside
// the target, flushed to the disk, then renamed.
//
//   AtomicFile file("table.csv");
//   file.Write(bytes);
//   file.Commit();  // without it nothing happens to table.csv
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "workbench/data/errors.h"
#include "workbench/system/scratch.h"

namespace velmora {

// Writes bytes to path, replacing an existing file; makes the folders of path if they are missing.
// Throws DataError naming path and the system's reason; then the old file, if any, is unchanged and
// no temporary file is left. A path that is a device or a pipe is written to directly, and a
// symbolic link keeps leading to the file.
void WriteFileAtomically(const std::string& path, std::string_view bytes);

// Throws DataError when path is empty or holds a NUL, which the system would take for its end.
void RequirePath(std::string_view path);

// The same in pieces. Order of calls: Write any number of times, or Close and another writer at
// TemporaryPath; then Commit.
class AtomicFile {
 public:
  // shownPath: what messages call the file, where path is in a folder that only serves until the
  // end of a run.
  explicit AtomicFile(const std::string& path, const std::string& shownPath = {});
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  void Write(std::string_view bytes);
  // Flushes to the disk and closes; no Write may follow. Commit calls it if it has not been called.
  void Close();
  void Commit();
  // The path of the bytes until Commit; for a device its own path.
  const std::string& TemporaryPath() const { return temporary_; }
  const std::string& ShownPath() const { return shown_; }

 private:
  [[noreturn]] void Fail(const std::string& reason) const;

  std::string shown_;
  std::string target_;  // path with links followed
  std::string temporary_;
  std::FILE* file_ = nullptr;
  bool direct_ = false;
  std::filesystem::path folder_;
  std::unique_ptr<Scratch> scratch_;  // removes the temporary file when Commit is not called
};

}  // namespace velmora
