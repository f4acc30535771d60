#include "workbench/data/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "workbench/system/system.h"

namespace velmora {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void ThrowCannotWrite(const std::string& path, const std::string& reason) {
  throw DataError("Cannot write " + path + ": " + reason + ".");
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : path_(path), target_(path) {
  static std::atomic<unsigned> counter{0};
  if (path.empty()) throw DataError("Cannot write a file without a name.");
  std::error_code code;
  const fs::file_status status = fs::status(PathOf(path), code);
  if (fs::is_directory(status)) ThrowCannotWrite(path, "it is a directory");
  direct_ = fs::exists(status) && !fs::is_regular_file(status);
  if (fs::is_regular_file(status)) {
    // Through a link, what it leads to is replaced.
    if (fs::is_symlink(fs::symlink_status(PathOf(path), code))) {
      const fs::path followed = fs::canonical(PathOf(path), code);
      if (!code) target_ = followed.string();
    }
  } else if (!direct_) {
    const fs::path parent = PathOf(path).parent_path();
    if (!parent.empty()) fs::create_directories(parent, code);
    if (!parent.empty() && code)
      ThrowCannotWrite(path, "its directory cannot be made (" + code.message() + ")");
  }
  const fs::path target = PathOf(target_);
  temporary_ = direct_ ? target_
                       : (target.parent_path() /
                          PathOf("." + target.filename().string() + "." + std::to_string(ProcessNumber()) +
                                 "-" + std::to_string(++counter) + ".tmp"))
                             .string();
  file_ = OpenFile(PathOf(temporary_), "wb");
  if (file_ == nullptr) ThrowCannotWrite(path_, std::strerror(errno));
  if (fs::is_regular_file(status)) fs::permissions(PathOf(temporary_), status.permissions(), code);
}

AtomicFile::~AtomicFile() {
  if (file_ != nullptr) std::fclose(file_);
  std::error_code code;
  if (!committed_ && !direct_) fs::remove(PathOf(temporary_), code);
}

void AtomicFile::Fail(int code) { ThrowCannotWrite(path_, std::strerror(code)); }

void AtomicFile::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) Fail(errno);
}

void AtomicFile::Close() {
  if (file_ == nullptr) return;
  const int flushed = FlushToDisk(file_);
  std::FILE* file = file_;
  file_ = nullptr;
  const int closed = std::fclose(file) == 0 ? 0 : errno;
  if (flushed != 0) Fail(flushed);
  if (closed != 0) Fail(closed);
}

void AtomicFile::Commit() {
  Close();
  if (!direct_) {
    std::error_code code;
    fs::rename(PathOf(temporary_), PathOf(target_), code);
    if (code) ThrowCannotWrite(path_, code.message());
  }
  committed_ = true;
}

void WriteFileAtomically(const std::string& path, std::string_view bytes) {
  AtomicFile file(path);
  file.Write(bytes);
  file.Commit();
}

}  // namespace velmora
