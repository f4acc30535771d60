// The system's functions on Linux.
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "workbench/system/control_groups.h"
#include "workbench/system/folders.h"
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

std::filesystem::path AbsolutePath(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute;
}

std::filesystem::path NormalPath(const std::filesystem::path& path) { return path.lexically_normal(); }

std::string MakeFolders(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return error ? error.message() : std::string();
}

std::vector<std::filesystem::path> NamesIn(const std::filesystem::path& folder, std::error_code& error) {
  std::vector<std::filesystem::path> names;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename());
  }
  return names;
}

std::filesystem::path ExecutablePath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::filesystem::path ExecutableFolder() { return ExecutablePath().parent_path(); }

std::filesystem::path LibraryFolder() {
  Dl_info info{};
  link_map* object = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&LibraryFolder), &info, reinterpret_cast<void**>(&object),
              RTLD_DL_LINKMAP) == 0)
    return {};
  // The program itself has no name here, and info only has its first argument, which may be any
  // word.
  if (object->l_name[0] == '\0') return ExecutableFolder();
  std::error_code error;
  return std::filesystem::canonical(object->l_name, error).parent_path();
}

std::uint64_t AvailableMemory() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::string unit;
  for (std::uint64_t kilobytes = 0; file >> name >> kilobytes && std::getline(file, unit);)
    if (name == "MemAvailable:")
      return std::min(kilobytes * 1024, MemoryOfControlGroups("/proc/self/cgroup", "/sys/fs/cgroup"));
  return 0;
}

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

std::string NameOfOpenFile(std::FILE* file) { return "/proc/self/fd/" + std::to_string(fileno(file)); }

int FlushToDisk(std::FILE* file) {
  if (std::fflush(file) != 0) return errno;
  // A device or a pipe has no disk to flush to and answers EINVAL.
  return fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

void FlushFileToDisk(const std::filesystem::path& path) noexcept {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

void FlushFolderToDisk(const std::filesystem::path& folder) noexcept {
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

void* AllocateAligned(std::size_t alignment, std::size_t byteCount) noexcept {
  return std::aligned_alloc(alignment, (byteCount + alignment - 1) / alignment * alignment);
}

void FreeAligned(void* memory) noexcept { std::free(memory); }

void AdviseHugePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t byteCount) noexcept {
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

std::string CopyIntoMemory(const std::filesystem::path& path, std::string& error) {
  const int memory = memfd_create(path.filename().c_str(), MFD_CLOEXEC);
  std::error_code failure(errno, std::generic_category());
  if (memory >= 0) {
    std::string copy = "/proc/self/fd/" + std::to_string(memory);
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing, failure);
    if (!failure) return copy;
    close(memory);
  }
  error = failure.message();
  return {};
}

}  // namespace velmora
