#include "contract/com/type_library.h"

// after windows.h
#include <oleauto.h>

// Missing from MinGW-w64's headers, not from its import library.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);

namespace vlmcom {

std::wstring FileOf(HMODULE library) {
  std::wstring path(32768, L'\0');
  const DWORD length = GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size()));
  path.resize(length < path.size() ? length : 0);
  return path;
}

HRESULT RegisterTypeLibraryFile(std::wstring path) noexcept {
  ITypeLib* library = nullptr;
  const HRESULT loaded = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(loaded)) return loaded;
  const HRESULT registered = RegisterTypeLibForUser(library, path.data(), nullptr);
  library->Release();
  return registered;
}

}  // namespace vlmcom
