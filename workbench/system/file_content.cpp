#include "workbench/system/file_content.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "workbench/system/system.h"

namespace velmora {

std::string FileContent(const std::filesystem::path& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored))
    throw std::system_error(std::make_error_code(std::errc::is_a_directory));
  const auto fail = [] { throw std::system_error(errno != 0 ? errno : EIO, std::generic_category()); };
  errno = 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenFile(path, "rb"), &std::fclose);
  if (!file) fail();
  std::string content;
  char block[1 << 16];
  while (const std::size_t count = std::fread(block, 1, sizeof block, file.get()))
    content.append(block, count);
  if (std::ferror(file.get())) fail();
  return content;
}

}  // namespace velmora
