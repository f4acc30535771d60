#include "workbench/host/type_library.h"

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include "com/values.h"

// Missing from MinGW-w64's headers, not from its import library.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);

namespace velmora {

bool RegisterTypeLibraryOf(const std::string& moduleFile) {
  std::wstring path = vlmcom::Utf16(moduleFile);
  ITypeLib* library = nullptr;
  if (FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library))) return false;
  const HRESULT registered = RegisterTypeLibForUser(library, path.data(), nullptr);
  library->Release();
  return SUCCEEDED(registered);
}

}  // namespace velmora
