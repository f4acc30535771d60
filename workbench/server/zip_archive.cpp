#include "workbench/server/zip_archive.h"

#include <minizip/zip.h>

#include <filesystem>

#include "workbench/cli/exit_codes.h"
#include "workbench/system/file_content.h"
#include "workbench/system/scratch.h"

namespace velmora {
namespace {

constexpr unsigned long kFirstDay = (1UL << 21) | (1UL << 16);  // 1980-01-01, as DOS counts days
constexpr unsigned long kUtf8Names = 1UL << 11;
constexpr int kMemoryLevel = 8;  // zlib's default

bool AddFile(zipFile archive, const std::string& name, const std::string& bytes) {
  zip_fileinfo about{};
  about.dosDate = kFirstDay;
  const int zip64 = bytes.size() >= 0xffffffff ? 1 : 0;
  if (zipOpenNewFileInZip4_64(archive, name.c_str(), &about, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                              Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY, nullptr,
                              0, 0, kUtf8Names, zip64) != ZIP_OK)
    return false;
  constexpr std::size_t kMostAtOnce = 1 << 30;
  for (std::size_t at = 0; at < bytes.size(); at += kMostAtOnce) {
    const std::size_t size = std::min(kMostAtOnce, bytes.size() - at);
    if (zipWriteInFileInZip(archive, bytes.data() + at, static_cast<unsigned>(size)) != ZIP_OK) return false;
  }
  return zipCloseFileInZip(archive) == ZIP_OK;
}

}  // namespace

std::string ZipArchive(const std::vector<std::pair<std::string, std::string>>& files) {
  std::error_code error;
  const Scratch scratch(std::filesystem::temp_directory_path(), error);
  if (error) throw RunError("The archive cannot be written: " + error.message() + ".");
  const std::filesystem::path path = scratch.Path() / "archive.zip";
  const zipFile archive = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
  bool whole = archive != nullptr;
  for (const auto& [name, bytes] : files) whole = whole && AddFile(archive, name, bytes);
  if (archive != nullptr) whole = zipClose(archive, nullptr) == ZIP_OK && whole;
  if (!whole) throw RunError("The archive cannot be written; is the disk full?");
  return FileContent(path);
}

}  // namespace velmora
