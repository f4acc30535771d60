#include "workbench/data/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {

namespace fs = std::filesystem;

namespace {

// In the target's folder, so that renaming stays within one file system. Of a length of its own,
// since the target's name may be as long as names can be. The program removes files of this pattern
// that a killed process has left.
fs::path TemporaryName() {
  static std::atomic<unsigned> counter{0};
  return ".velmora-" + std::to_string(ProcessNumber()) + "-" + std::to_string(++counter) + ".tmp";
}

}  // namespace

void RequirePath(std::string_view path) {
  if (path.empty()) throw DataError("The name of a file is empty.");
  if (const std::size_t at = path.find('\0'); at != std::string_view::npos)
    throw DataError("The file name " + std::string(path.substr(0, at)) + "... holds a NUL character.");
}

AtomicFile::AtomicFile(const std::string& path, const std::string& shownPath)
    : shown_(shownPath.empty() ? path : shownPath), target_(path) {
  RequirePath(path);
  std::error_code code;
  const fs::file_status status = fs::status(PathOf(path), code);
  if (fs::is_directory(status)) Fail("it is a directory");
  direct_ = fs::exists(status) && !fs::is_regular_file(status);
  if (fs::is_regular_file(status)) {
    // Through a link, the file that it leads to is replaced.
    if (fs::is_symlink(fs::symlink_status(PathOf(path), code))) {
      const fs::path followed = fs::canonical(PathOf(path), code);
      if (!code) target_ = followed.string();
    }
  } else if (!direct_) {
    const fs::path parent = PathOf(path).parent_path();
    const std::string reason = parent.empty() ? std::string() : MakeFolders(parent);
    if (!reason.empty()) Fail("its folder cannot be made (" + reason + ")");
  }
  temporary_ = direct_ ? target_ : (PathOf(target_).parent_path() / TemporaryName()).string();
  file_ = OpenFile(PathOf(temporary_), "wb");
  if (file_ == nullptr) Fail(std::strerror(errno));
  if (fs::is_regular_file(status)) fs::permissions(PathOf(temporary_), status.permissions(), code);
}

AtomicFile::~AtomicFile() {
  if (file_ != nullptr) std::fclose(file_);
  std::error_code code;
  if (!committed_ && !direct_) fs::remove(PathOf(temporary_), code);
}

void AtomicFile::Fail(const std::string& reason) const {
  throw DataError("Cannot write " + shown_ + ": " + reason + ".");
}

void AtomicFile::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) Fail(std::strerror(errno));
}

void AtomicFile::Close() {
  if (file_ == nullptr) return;
  const int flushed = FlushToDisk(file_);
  std::FILE* file = file_;
  file_ = nullptr;
  const int closed = std::fclose(file) == 0 ? 0 : errno;
  if (flushed != 0) Fail(std::strerror(flushed));
  if (closed != 0) Fail(std::strerror(closed));
}

void AtomicFile::Commit() {
  Close();
  if (!direct_) {
    std::error_code code;
    fs::rename(PathOf(temporary_), PathOf(target_), code);
    if (code) Fail(code.message());
    FlushFolderToDisk(PathOf(target_).parent_path());
  }
  committed_ = true;
}

void WriteFileAtomically(const std::string& path, std::string_view bytes) {
  AtomicFile file(path);
  file.Write(bytes);
  file.Commit();
}

}  // namespace velmora
