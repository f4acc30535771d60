#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string_view>

#include "workbench/system/scratch.h"
#include "workbench/system/scratch_system.h"
#include "workbench/system/system.h"

namespace velmora {

std::filesystem::path LargeScratchFolder() {
  std::filesystem::path named = PathOf(EnvironmentVariable("TMPDIR"));
  if (!named.empty()) return named;
  // /tmp is memory on many systems.
  std::error_code error;
  std::filesystem::path large = "/var/tmp";
  if (std::filesystem::is_directory(large, error)) return large;
  return std::filesystem::temp_directory_path(error);
}

bool MakeScratch(const std::filesystem::path& path, std::error_code& error) {
  if (mkdir(path.c_str(), 0777) == 0) return true;
  error.assign(errno, std::generic_category());
  return false;
}

ScratchLock LockScratch(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_DIRECTORY);
  if (descriptor < 0) return kNoLock;
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
  close(descriptor);
  return kNoLock;
}

bool IsSameScratch(ScratchLock lock, const std::filesystem::path& path) {
  struct stat locked {
  }, named{};
  return fstat(static_cast<int>(lock), &locked) == 0 && stat(path.c_str(), &named) == 0 &&
         locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

void UnlockScratch(ScratchLock lock) { close(static_cast<int>(lock)); }

void RemoveStale(const std::filesystem::path& path) {
  const ScratchLock lock = LockScratch(path);
  if (lock == kNoLock) return;
  RemoveWithFiles(path);
  UnlockScratch(lock);
}

// System calls only: the library's directory functions allocate memory.
void RemoveScratchInHandler(const char* path, ScratchLock lock) noexcept {
#ifdef SYS_getdents64
  struct Entry {  // as the kernel lays it out
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    unsigned char type;
    char name[1];
  };
  const int folder = static_cast<int>(lock);
  alignas(Entry) char buffer[4096];
  // Each pass removes the entries that fit into the buffer, except those that cannot be removed.
  constexpr int kMostPasses = 1000;
  for (int pass = 0; lock != kNoLock && pass < kMostPasses && lseek(folder, 0, SEEK_SET) == 0; ++pass) {
    const long size = syscall(SYS_getdents64, folder, buffer, sizeof buffer);
    for (long at = 0; at < size;) {
      const Entry* const entry = reinterpret_cast<const Entry*>(buffer + at);
      unlinkat(folder, entry->name, 0);  // "." and ".." are refused
      at += entry->length;
    }
    if (size <= 0 || rmdir(path) == 0) break;
  }
#endif
  rmdir(path);
}

std::uint32_t MachineNumber() {
  static const std::uint32_t number = [] {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
  }();
  return number;
}

}  // namespace velmora
