#include "workbench/system/folders.h"
#include "workbench/system/system.h"

#include <windows.h>
// These headers need windows.h before them.
#include <io.h>
#include <malloc.h>
#include <shellapi.h>

#include <cerrno>

#include "workbench/system/text_windows.h"

namespace velmora {

namespace {

constexpr DWORD kLongestPath = 32768;  // characters of a path, the terminating null among them

}  // namespace

std::wstring Utf16Of(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Utf8Of(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), bytes, nullptr, nullptr);
  return narrow;
}

std::string SystemMessage(unsigned long error) {
  wchar_t* found = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      error, 0, reinterpret_cast<wchar_t*>(&found), 0, nullptr);
  std::string message = length == 0 ? "error " + std::to_string(error) : Utf8Of({found, length});
  LocalFree(found);
  while (!message.empty() && (message.back() == '.' || static_cast<unsigned char>(message.back()) <= ' ')) {
    message.pop_back();
  }
  // The placeholder for a name, which the system leaves to its caller.
  if (const std::size_t place = message.find("%1"); place != std::string::npos)
    message.replace(place, 2, "it");
  return message;
}

// Taken from the system, because main gets them in an encoding that lacks most letters.
std::vector<std::string> CommandLineArguments(int, char**) {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(Utf8Of(words[i]));
  LocalFree(words);
  return arguments;
}

std::string EnvironmentVariable(const char* name) {
  const wchar_t* const value = _wgetenv(Utf16Of(name).c_str());
  return value == nullptr ? std::string() : Utf8Of(value);
}

unsigned ProcessNumber() { return GetCurrentProcessId(); }

std::filesystem::path AbsolutePath(const std::filesystem::path& path) {
  std::wstring absolute(kLongestPath, L'\0');
  const DWORD length = GetFullPathNameW(path.c_str(), kLongestPath, absolute.data(), nullptr);
  if (length == 0 || length >= kLongestPath) return path;
  absolute.resize(length);
  return absolute;
}

std::filesystem::path NormalPath(const std::filesystem::path& path) {
  const std::wstring& text = path.native();
  const bool namesServer = text.find_first_not_of(L"\\/") >= 2;
  return namesServer ? AbsolutePath(path) : path.lexically_normal();
}

// The library's function reports a name that is too long where a drive is missing.
std::string MakeFolders(const std::filesystem::path& folder) {
  const std::filesystem::path whole = AbsolutePath(folder);
  const std::filesystem::path root = whole.root_path();
  if (GetFileAttributesW(root.c_str()) == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = GetLastError();
    const std::string name = whole.root_name().string();
    return name.size() == 2 ? "there is no drive " + name
                            : name + " cannot be reached (" + SystemMessage(error) + ")";
  }
  std::vector<std::filesystem::path> missing;
  for (std::filesystem::path path = whole; path.has_relative_path(); path = path.parent_path()) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
      if (attributes & FILE_ATTRIBUTE_DIRECTORY) break;
      return path.string() + " is a file";
    }
    missing.push_back(path);
  }
  for (auto path = missing.rbegin(); path != missing.rend(); ++path) {
    if (path->has_filename() && !CreateDirectoryW(path->c_str(), nullptr) &&
        GetLastError() != ERROR_ALREADY_EXISTS)
      return SystemMessage(GetLastError());
  }
  return {};
}

std::vector<std::filesystem::path> NamesIn(const std::filesystem::path& folder, std::error_code& error) {
  const auto fail = [&] { error.assign(static_cast<int>(GetLastError()), std::system_category()); };
  std::vector<std::filesystem::path> names;
  error.clear();
  WIN32_FIND_DATAW entry = {};
  HANDLE const search = FindFirstFileW((folder / L"*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    fail();
    return names;
  }
  do {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") names.emplace_back(name);
  } while (FindNextFileW(search, &entry));
  if (GetLastError() != ERROR_NO_MORE_FILES) fail();
  FindClose(search);
  return names;
}

std::filesystem::path ExecutablePath() {
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  path.resize(length < kLongestPath ? length : 0);
  return path;
}

std::filesystem::path ExecutableFolder() { return ExecutablePath().parent_path(); }

std::filesystem::path LibraryFolder() { return ExecutableFolder(); }

std::uint64_t AvailableMemory() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  return GlobalMemoryStatusEx(&status) != 0 ? status.ullAvailPhys : 0;
}

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return _wfopen(path.c_str(), Utf16Of(mode).c_str());
}

std::string NameOfOpenFile(std::FILE*) { return {}; }

int FlushToDisk(std::FILE* file) {
  if (std::fflush(file) != 0) return errno;
  // A device or a pipe has no disk and answers EBADF.
  return _commit(_fileno(file)) == 0 || errno == EBADF ? 0 : errno;
}

void FlushFileToDisk(const std::filesystem::path& path) noexcept {
  HANDLE const file =
      CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  FlushFileBuffers(file);
  CloseHandle(file);
}

// Windows has no such call for folders; its file systems keep a journal of names.
void FlushFolderToDisk(const std::filesystem::path&) noexcept {}

void* AllocateAligned(std::size_t alignment, std::size_t byteCount) noexcept {
  return _aligned_malloc(byteCount, alignment);
}

void FreeAligned(void* memory) noexcept { _aligned_free(memory); }

// Large pages are a privilege on Windows that accounts are given one by one.
void AdviseHugePages(void*, std::size_t) noexcept {}

void* LoadSharedLibrary(const std::filesystem::path& path, std::string& error) {
  // The libraries that it needs are looked for in its folder too.
  HMODULE const library = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) error = SystemMessage(GetLastError());
  return library;
}

void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string CopyIntoMemory(const std::filesystem::path&, std::string& error) {
  error = "this system has no files in memory";
  return {};
}

void UnloadSharedLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

}  // namespace velmora
