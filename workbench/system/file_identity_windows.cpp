#include <windows.h>

#include "workbench/system/file_identity.h"

namespace velmora {

bool FindIdentity(const std::filesystem::path& path, FileIdentity& identity) {
  HANDLE const file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION information = {};
  const bool known = GetFileInformationByHandle(file, &information) != 0;
  CloseHandle(file);
  identity.volume = information.dwVolumeSerialNumber;
  identity.number = std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
  return known;
}

std::filesystem::path ComparableName(const std::filesystem::path& name) {
  std::wstring text = name.native();
  CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

}  // namespace velmora
