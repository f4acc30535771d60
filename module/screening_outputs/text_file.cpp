#include "module/screening_outputs/text_file.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

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

TextFiles::~TextFiles() {
  std::error_code ignored;
  for (const File& file : files_) {
    if (!file.inPlace) fs::remove(file.aside, ignored);
  }
}

bool TextFiles::Add(const std::string& path, std::string_view text) {
  try {
    fs::path target(std::u8string(path.begin(), path.end()));
    const fs::file_status status = fs::status(target);
    if (fs::is_directory(status)) return false;
    if (fs::exists(status)) target = fs::canonical(target);  // what a link leads to
    // A device or a pipe is written to, never replaced.
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      std::ofstream device = Open(target);
      if (!WriteAndClose(device, text)) return false;
      files_.push_back({{}, {}, true});
      return true;
    }
    fs::path aside = target;
    aside += ".part";
    const fs::file_status asideStatus = fs::status(aside);
    if (fs::exists(asideStatus) && !fs::is_regular_file(asideStatus)) return false;
    files_.push_back({aside, std::move(target)});
    std::ofstream file = Open(aside);
    files_.back().inPlace = !file;  // what was not opened is not ours to remove
    if (file && WriteAndClose(file, text)) return true;
    if (!files_.back().inPlace) {
      std::error_code ignored;
      fs::remove(aside, ignored);
    }
    files_.pop_back();
    return false;
  } catch (const std::system_error&) {
    return false;
  }
}

int TextFiles::Commit() noexcept {
  int count = 0;
  for (File& file : files_) {
    if (!file.inPlace) {
      std::error_code failure;
      fs::rename(file.aside, file.target, failure);
      file.inPlace = !failure;
    }
    count += file.inPlace ? 1 : 0;
  }
  return count;
}

bool WriteTextFile(const std::string& path, std::string_view text) {
  TextFiles files;
  return files.Add(path, text) && files.Commit() == 1;
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
