#include "com/type_library.h"

// after windows.h
#include <oleauto.h>

// Missing from MinGW-w64's headers, not from its import library.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);

namespace vlmcom {

HRESULT RegisterTypeLibraryFile(std::wstring path) noexcept {
  ITypeLib* library = nullptr;
  const HRESULT loaded = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(loaded)) return loaded;
  const HRESULT registered = RegisterTypeLibForUser(library, path.data(), nullptr);
  library->Release();
  return registered;
}

}  // namespace vlmcom
