#include <windows.h>

#include "workbench/system/mapped_file.h"

namespace velmora {

void ReserveFile(const std::filesystem::path& path, std::uint64_t bytes, std::error_code& error) {
  error.clear();
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  LARGE_INTEGER size{};
  size.QuadPart = static_cast<LONGLONG>(bytes);
  if (file == INVALID_HANDLE_VALUE || SetFilePointerEx(file, size, nullptr, FILE_BEGIN) == 0 ||
      SetEndOfFile(file) == 0)
    error.assign(static_cast<int>(GetLastError()), std::system_category());
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

MappedFile::MappedFile(const std::filesystem::path& path, std::error_code& error) {
  error.clear();
  const auto fail = [&] { error.assign(static_cast<int>(GetLastError()), std::system_category()); };
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    fail();
    return;
  }
  LARGE_INTEGER size{};
  HANDLE mapping = nullptr;
  void* memory = nullptr;
  if (GetFileSizeEx(file, &size) == 0) {
    fail();
  } else if (size.QuadPart >= static_cast<LONGLONG>(sizeof(double))) {
    mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping != nullptr) memory = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
    if (memory == nullptr) fail();
  }
  if (memory != nullptr)
    values_ = {static_cast<double*>(memory), static_cast<std::size_t>(size.QuadPart) / sizeof(double)};
  // The view keeps both open.
  if (mapping != nullptr) CloseHandle(mapping);
  CloseHandle(file);
}

MappedFile::~MappedFile() {
  if (!values_.empty()) UnmapViewOfFile(values_.data());
}

void MappedFile::Release() const noexcept {
  // Unlocking pages that are not locked takes them out of the working set.
  if (!values_.empty()) VirtualUnlock(values_.data(), values_.size_bytes());
}

}  // namespace velmora
