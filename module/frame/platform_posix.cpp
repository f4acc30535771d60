#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdlib>

#include "module/frame/platform.h"

namespace vlmfsl {

unsigned ProcessId() { return static_cast<unsigned>(getpid()); }
unsigned ThreadId() { return static_cast<unsigned>(syscall(SYS_gettid)); }

void* FindHostFunction(const char* name) { return dlsym(RTLD_DEFAULT, name); }

RuntimeLibrary::RuntimeLibrary(const char* name)
    : handle_(dlopen(("lib" + std::string(name) + ".so").c_str(), RTLD_NOW | RTLD_LOCAL)) {}

RuntimeLibrary::~RuntimeLibrary() {
  if (handle_) dlclose(handle_);
}

void* RuntimeLibrary::Find(const char* function) const {
  return handle_ ? dlsym(handle_, function) : nullptr;
}

void WithThreadState(const std::function<void(ExceptionInformation*)>& use) {
  ucontext_t context;
  ExceptionInformation exception = {nullptr, getcontext(&context) == 0 ? &context : nullptr};
  use(&exception);
}

std::string ApplicationDataFolder() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  // A relative path is ignored (XDG Base Directory Specification).
  std::string folder;
  if (dataHome && dataHome[0] == '/') {
    folder = dataHome;
  } else if (const char* home = std::getenv("HOME"); home && home[0] == '/') {
    folder = std::string(home) + "/.local/share";
  }
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

std::size_t RootLength(const std::string& path) { return path.starts_with('/') ? 1 : 0; }

bool FolderExists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool CreateFolder(const std::string& path) { return mkdir(path.c_str(), 0777) == 0; }

}  // namespace vlmfsl
