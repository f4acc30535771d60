#include <windows.h>
// These headers need windows.h before them.
#include <psapi.h>
#include <shlobj.h>

#include <memory>
#include <utility>
#include <vector>

#include "contract/com/type_library.h"
#include "contract/com/values.h"
#include "module/frame/platform.h"

namespace vlmfsl {
namespace {

using vlmcom::FileOf;
using vlmcom::Utf16;
using vlmcom::Utf8;

void* FunctionOf(HMODULE library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(library, name));
}

// The program or library that this code is linked into.
HMODULE OwnModule() {
  static constexpr char kWithin = 0;
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&kWithin), &module);
  return module;
}

struct FreeTaskMemory {
  void operator()(wchar_t* text) const { CoTaskMemFree(text); }
};

}  // namespace

unsigned ProcessId() { return GetCurrentProcessId(); }
unsigned ThreadId() { return GetCurrentThreadId(); }

void* FindHostFunction(const char* name) {
  if (void* const function = FunctionOf(GetModuleHandleW(nullptr), name)) return function;
  std::vector<HMODULE> libraries(256);
  DWORD bytes = 0;
  while (EnumProcessModules(GetCurrentProcess(), libraries.data(),
                            static_cast<DWORD>(libraries.size() * sizeof(HMODULE)), &bytes)) {
    const bool complete = bytes <= libraries.size() * sizeof(HMODULE);
    libraries.resize(bytes / sizeof(HMODULE));
    if (!complete) continue;
    for (HMODULE const library : libraries) {
      if (void* const function = FunctionOf(library, name)) return function;
    }
    break;
  }
  return nullptr;
}

// Neither the current folder nor PATH is searched, where anyone might have put a file of this name.
RuntimeLibrary::RuntimeLibrary(const char* name) {
  const std::wstring file = Utf16(name) + L".dll";
  // Taken from the libraries that the host has already loaded, else from the folders of the
  // program, of the system, and those that the host has added.
  handle_ = LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (handle_) return;
  const std::wstring own = FileOf(OwnModule());
  const std::size_t folderLength = own.find_last_of(L'\\');
  if (folderLength == std::wstring::npos) return;
  handle_ = LoadLibraryExW((own.substr(0, folderLength + 1) + file).c_str(), nullptr,
                           LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

RuntimeLibrary::~RuntimeLibrary() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
}

void* RuntimeLibrary::Find(const char* function) const {
  return handle_ ? FunctionOf(static_cast<HMODULE>(handle_), function) : nullptr;
}

void WithThreadState(const std::function<void(ExceptionInformation*)>& use) {
  // The customer bit is set, so this is not one of the system's codes.
  constexpr DWORD kExceptionOfTheLanguage = 0xE0000001;
  CONTEXT context = {};
  RtlCaptureContext(&context);
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = kExceptionOfTheLanguage;
  record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
  ExceptionInformation exception = {&record, &context};
  use(&exception);
}

std::string ApplicationDataFolder() {
  wchar_t* path = nullptr;
  const HRESULT found = SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, &path);
  const std::unique_ptr<wchar_t, FreeTaskMemory> owned(path);
  if (FAILED(found)) return {};
  std::string folder = Utf8(path);
  while (!folder.empty() && folder.back() == '\\') folder.pop_back();
  return folder;
}

std::size_t RootLength(const std::string& path) {
  if (!path.starts_with("\\\\")) return path.size() > 2 && path[1] == ':' && path[2] == '\\' ? 3 : 0;
  const std::size_t share = path.find('\\', 2);
  const std::size_t end = share == std::string::npos ? share : path.find('\\', share + 1);
  return end == std::string::npos ? path.size() : end + 1;
}

bool FolderExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(Utf16(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool CreateFolder(const std::string& path) { return CreateDirectoryW(Utf16(path).c_str(), nullptr) != 0; }

}  // namespace vlmfsl
