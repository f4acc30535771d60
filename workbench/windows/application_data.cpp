#include "workbench/windows/application_data.h"

#include <windows.h>
// after windows.h
#include <shlobj.h>

#include <memory>
#include <stdexcept>

namespace velmora {

std::filesystem::path ApplicationDataFolder(ApplicationData scope) {
  struct FreeTaskMemory {
    void operator()(wchar_t* text) const { CoTaskMemFree(text); }
  };
  const KNOWNFOLDERID& id = scope == ApplicationData::kOfUser ? FOLDERID_LocalAppData : FOLDERID_ProgramData;
  wchar_t* path = nullptr;
  const HRESULT found = SHGetKnownFolderPath(id, KF_FLAG_CREATE, nullptr, &path);
  const std::unique_ptr<wchar_t, FreeTaskMemory> owned(path);
  if (FAILED(found)) throw std::runtime_error("The system names no folder for application data.");
  return std::filesystem::path(path) / L"Velmora";
}

}  // namespace velmora
