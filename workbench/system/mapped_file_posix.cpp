#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "workbench/system/mapped_file.h"

namespace velmora {

void ReserveFile(const std::filesystem::path& path, std::uint64_t bytes, std::error_code& error) {
  constexpr mode_t kOwnOnly = 0600;
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnOnly);
  int code = descriptor < 0 ? errno : 0;
  if (code == 0) {
    do {
      code = posix_fallocate(descriptor, 0, static_cast<off_t>(bytes));
    } while (code == EINTR);
    if (close(descriptor) != 0 && code == 0) code = errno;
  }
  error.assign(code, std::generic_category());
}

MappedFile::MappedFile(const std::filesystem::path& path, std::error_code& error) {
  error.clear();
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    error.assign(errno, std::generic_category());
  } else if (const auto size = static_cast<std::size_t>(status.st_size); size >= sizeof(double)) {
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
      error.assign(errno, std::generic_category());
    } else {
      values_ = {static_cast<double*>(memory), size / sizeof(double)};
    }
  }
  if (descriptor >= 0) close(descriptor);
}

MappedFile::~MappedFile() {
  if (!values_.empty()) munmap(values_.data(), values_.size_bytes());
}

void MappedFile::Release() const noexcept {
  // Of a shared mapping this drops the mapping's pages only; changes stay in the file.
  if (!values_.empty()) madvise(values_.data(), values_.size_bytes(), MADV_DONTNEED);
}

}  // namespace velmora
