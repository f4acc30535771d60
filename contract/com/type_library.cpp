#include "contract/com/type_library.h"

// after windows.h
#include <oleauto.h>

// MinGW-w64 has these in its import library but not in its headers.
extern "C" {
HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);
HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID id, WORD majorVersion, WORD minorVersion, LCID locale,
                                        SYSKIND system);
}

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

HRESULT ReadTypeLibraryVersion(const std::wstring& path, TypeLibraryVersion* version) noexcept {
  ITypeLib* library = nullptr;
  const HRESULT loaded = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(loaded)) return loaded;
  TLIBATTR* attributes = nullptr;
  const HRESULT read = library->GetLibAttr(&attributes);
  if (SUCCEEDED(read)) {
    *version = {attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum};
    library->ReleaseTLibAttr(attributes);
  }
  library->Release();
  return read;
}

HRESULT UnregisterTypeLibrary(const TypeLibraryVersion& version) noexcept {
  const HRESULT removed = UnRegisterTypeLibForUser(version.id, version.majorVersion, version.minorVersion,
                                                   LOCALE_NEUTRAL, SYS_WIN64);
  return removed == TYPE_E_REGISTRYACCESS || removed == TYPE_E_LIBNOTREGISTERED ? S_OK : removed;
}

}  // namespace vlmcom
