// The few calls of the operating system that the frame needs.
#pragma once

#include <string>

namespace vlmfsl {

#ifdef _WIN32
inline constexpr char kFolderSeparator = '\\';
#else
inline constexpr char kFolderSeparator = '/';
#endif

[[nodiscard]] unsigned ProcessId();
[[nodiscard]] unsigned ThreadId();

// A function of the process that has loaded the module; null when it has none of this name.
[[nodiscard]] void* FindHostFunction(const char* name);

// A library that is looked for at run time; "CrashRpt" stands for libCrashRpt.so or CrashRpt.dll.
class RuntimeLibrary {
 public:
  explicit RuntimeLibrary(const char* name);
  ~RuntimeLibrary();
  RuntimeLibrary(const RuntimeLibrary&) = delete;
  RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;

  // Null when the library or the function is missing.
  [[nodiscard]] void* Find(const char* function) const;

 private:
  void* handle_;
};

// The system's folder for data of applications, without a separator at its end; it may not exist yet. Empty
// when the system names none.
[[nodiscard]] std::string ApplicationDataFolder();
[[nodiscard]] bool FolderExists(const std::string& path);
// One level. Returns false when it could not be made (it may exist already).
bool CreateFolder(const std::string& path);

}  // namespace vlmfsl
