#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "workbench/system/system.h"

namespace velmora {

std::vector<std::string> CommandLineArguments(int argumentCount, char** arguments) {
  return {arguments + (argumentCount > 0), arguments + argumentCount};
}

std::string EnvironmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

unsigned ProcessNumber() { return static_cast<unsigned>(getpid()); }

std::filesystem::path ExecutableFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

int FlushToDisk(std::FILE* file) {
  if (std::fflush(file) != 0) return errno;
  // A device or a pipe has no disk to flush to and answers EINVAL.
  return fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

void* AllocateAligned(std::size_t alignment, std::size_t byteCount) noexcept {
  return std::aligned_alloc(alignment, (byteCount + alignment - 1) / alignment * alignment);
}

void FreeAligned(void* memory) noexcept { std::free(memory); }

void WishLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t byteCount) noexcept {
#ifdef MADV_HUGEPAGE
  madvise(memory, byteCount, MADV_HUGEPAGE);
#endif
}

void* LoadSharedLibrary(const std::filesystem::path& path, std::string& error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* const reason = dlerror();
    error = reason == nullptr ? "unknown reason" : reason;
  }
  return library;
}

void* FindFunction(void* library, const char* name) { return dlsym(library, name); }

void UnloadSharedLibrary(void* library) { dlclose(library); }

}  // namespace velmora
