#include "screening_out/text_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace vlmfsl {
namespace {

namespace fs = std::filesystem;

bool WriteAndClose(std::ofstream& file, std::string_view text) {
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  return file.good();
}

std::ofstream Open(const fs::path& path) { return std::ofstream(path, std::ios::binary | std::ios::trunc); }

char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool WriteTextFile(const std::string& path, std::string_view text) {
  try {
    fs::path target(std::u8string(path.begin(), path.end()));
    const fs::file_status status = fs::status(target);
    if (fs::is_directory(status)) return false;
    // A device or a pipe is written to, never replaced.
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      std::ofstream device = Open(target);
      return WriteAndClose(device, text);
    }
    if (fs::exists(status)) target = fs::canonical(target);  // what a link leads to
    // Written aside and moved into place, so that a full disk does not cost the file that was there.
    fs::path aside = target;
    aside += ".part";
    std::ofstream file = Open(aside);
    if (!file) return false;
    std::error_code failure;
    if (WriteAndClose(file, text)) {
      fs::rename(aside, target, failure);
      if (!failure) return true;
    }
    fs::remove(aside, failure);
    return false;
  } catch (const std::system_error&) {
    return false;
  }
}

std::string FileNamePart(std::string_view name) {
  std::string part(name);
  std::replace_if(
      part.begin(), part.end(),
      [](char c) {
        return static_cast<unsigned char>(c) < ' ' ||
               std::string_view("<>:\"/\\|?*").find(c) != std::string_view::npos;
      },
      '_');
  return part;
}

std::string WithoutExtension(std::string_view path, std::string_view extension) {
  const bool has = path.size() > extension.size() &&
                   std::equal(extension.begin(), extension.end(),
                              path.end() - static_cast<std::ptrdiff_t>(extension.size()),
                              [](char a, char b) { return LowerCase(a) == LowerCase(b); });
  return std::string(has ? path.substr(0, path.size() - extension.size()) : path);
}

}  // namespace vlmfsl
