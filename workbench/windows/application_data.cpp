#include "workbench/windows/application_data.h"

#include <windows.h>
// after windows.h
#include <shlobj.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace velmora {

namespace {

std::filesystem::path KnownFolder(const KNOWNFOLDERID& id, const char* what) {
  struct FreeTaskMemory {
    void operator()(wchar_t* text) const { CoTaskMemFree(text); }
  };
  wchar_t* path = nullptr;
  const HRESULT found = SHGetKnownFolderPath(id, KF_FLAG_CREATE, nullptr, &path);
  const std::unique_ptr<wchar_t, FreeTaskMemory> owned(path);
  if (FAILED(found)) throw std::runtime_error(std::string("The system names no folder for ") + what + ".");
  return path;
}

}  // namespace

std::filesystem::path ApplicationDataFolder(ApplicationData scope) {
  return KnownFolder(scope == ApplicationData::kOfUser ? FOLDERID_LocalAppData : FOLDERID_ProgramData,
                     "application data") /
         L"Velmora";
}

std::filesystem::path DocumentsFolder() { return KnownFolder(FOLDERID_Documents, "documents"); }

}  // namespace velmora
