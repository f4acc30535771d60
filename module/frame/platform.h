// The few calls of the operating system that the frame needs. Texts are UTF-8 on every system.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace vlmfsl {

#ifdef _WIN32
inline constexpr char kFolderSeparator = '\\';
#else
inline constexpr char kFolderSeparator = '/';
#endif

[[nodiscard]] unsigned ProcessId();
[[nodiscard]] unsigned ThreadId();

// A function of the process that has loaded the module: of its program, else of a library that the
// program has loaded. Null when there is none of this name.
[[nodiscard]] void* FindHostFunction(const char* name);

// A library that is looked for at run time; "CrashRpt" means libCrashRpt.so or CrashRpt.dll. It is
// taken from the places of the system and of the program, on Windows from the module's folder too,
// never from the current folder.
class RuntimeLibrary {
 public:
  explicit RuntimeLibrary(const char* name);
  ~RuntimeLibrary();
  RuntimeLibrary(const RuntimeLibrary&) = delete;
  RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;

  // Null when the library or the function is missing.
  [[nodiscard]] void* Find(const char* function) const;

 private:
  void* handle_ = nullptr;
};

// Where an exception was met, as the crash-report library takes it. On Windows: EXCEPTION_POINTERS.
struct ExceptionInformation {
  void* exceptionRecord;  // null where the system has none for an exception of the language
  void* contextRecord;    // the processor's registers: CONTEXT on Windows, else ucontext_t
};
// Calls use with the calling thread's state.
void WithThreadState(const std::function<void(ExceptionInformation*)>& use);

// The system's folder for data that applications share, without a separator at its end; it may not
// exist yet. Empty when the system names none.
[[nodiscard]] std::string ApplicationDataFolder();
// Characters of an absolute path that name no folder to be made: "/", "C:\", "\\server\share\".
[[nodiscard]] std::size_t RootLength(const std::string& path);
[[nodiscard]] bool FolderExists(const std::string& path);
// One level. Returns false when it could not be made (it may exist already).
bool CreateFolder(const std::string& path);

}  // namespace vlmfsl
