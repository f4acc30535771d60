#include "workbench/data/atomic_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "workbench/system/file_identity.h"
#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {

namespace fs = std::filesystem;

void RequirePath(std::string_view path) {
  if (path.empty()) throw DataError("The name of a file is empty.");
  if (const std::size_t at = path.find('\0'); at != std::string_view::npos)
    throw DataError("The file name " + std::string(path.substr(0, at)) + "... holds a NUL character.");
}

AtomicFile::AtomicFile(const std::string& path, const std::string& shownPath)
    : shown_(shownPath.empty() ? path : shownPath), target_(path) {
  RequirePath(path);
  target_ = FollowLinks(PathOf(path)).string();
  std::error_code code;
  const fs::file_status status = fs::status(PathOf(path), code);
  if (fs::is_directory(status)) Fail("it is a directory");
  direct_ = fs::exists(status) && !fs::is_regular_file(status);
  if (direct_) {
    temporary_ = target_;
  } else {
    folder_ = AbsolutePath(PathOf(target_)).parent_path();
    const std::string reason = MakeFolders(folder_);
    if (!reason.empty()) Fail("its folder cannot be made (" + reason + ")");
    RemoveStaleScratch(folder_);
    scratch_ = std::make_unique<Scratch>(folder_, code);
    if (code) Fail(code.message());
    temporary_ = (scratch_->Path() / "file").string();
  }
  file_ = OpenFile(PathOf(temporary_), "wb");
  if (file_ == nullptr) Fail(std::strerror(errno));
  if (fs::is_regular_file(status)) fs::permissions(PathOf(temporary_), status.permissions(), code);
}

AtomicFile::~AtomicFile() {
  if (file_ != nullptr) std::fclose(file_);
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
    FlushFolderToDisk(folder_);
  }
}

void WriteFileAtomically(const std::string& path, std::string_view bytes) {
  AtomicFile file(path);
  file.Write(bytes);
  file.Commit();
}

}  // namespace velmora
