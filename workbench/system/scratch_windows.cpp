#include <windows.h>

#include <functional>
#include <string_view>

#include "workbench/system/scratch.h"
#include "workbench/system/scratch_system.h"

namespace velmora {

std::filesystem::path LargeScratchFolder() {
  std::error_code error;
  return std::filesystem::temp_directory_path(error);
}

bool MakeScratch(const std::filesystem::path& path, std::error_code& error) {
  if (CreateDirectoryW(path.c_str(), nullptr)) return true;
  error.assign(static_cast<int>(GetLastError()), std::system_category());
  return false;
}

// An open handle that does not share deletion is the lock: nobody else can open the folder to
// delete it.
ScratchLock LockScratch(const std::filesystem::path& path) {
  HANDLE const handle = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  return handle == INVALID_HANDLE_VALUE ? kNoLock : reinterpret_cast<ScratchLock>(handle);
}

bool IsSameScratch(ScratchLock, const std::filesystem::path&) { return true; }

void UnlockScratch(ScratchLock lock) { CloseHandle(reinterpret_cast<HANDLE>(lock)); }

void RemoveStale(const std::filesystem::path& path) {
  HANDLE const handle = CreateFileW(path.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return;
  CloseHandle(handle);
  RemoveWithFiles(path);
}

void RemoveScratchInHandler(const wchar_t* path, ScratchLock lock) noexcept {
  // The handler runs on its own thread, so it may call any function.
  if (lock != kNoLock) UnlockScratch(lock);
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::uint32_t MachineNumber() {
  static const std::uint32_t number = [] {
    wchar_t name[256] = L"";
    DWORD size = 256;
    GetComputerNameW(name, &size);
    return static_cast<std::uint32_t>(std::hash<std::wstring_view>()(name));
  }();
  return number;
}

}  // namespace velmora
