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
    if (!file.inPlace) fs::remove(file.temporary, ignored);
  }
}

bool TextFiles::Add(const std::string& path, std::string_view text) {
  try {
    fs::path target(std::u8string(path.begin(), path.end()));
    const fs::file_status status = fs::status(target);
    if (fs::is_directory(status)) return false;
    if (fs::exists(status)) target = fs::canonical(target);  // the target of a link
    // A device or a pipe is written to, never replaced.
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      std::ofstream device = Open(target);
      if (!WriteAndClose(device, text)) return false;
      files_.push_back({{}, {}, true});
      return true;
    }
    fs::path temporary = target;
    temporary += ".part";
    const fs::file_status temporaryStatus = fs::status(temporary);
    if (fs::exists(temporaryStatus) && !fs::is_regular_file(temporaryStatus)) return false;
    files_.push_back({temporary, std::move(target)});
    std::ofstream file = Open(temporary);
    files_.back().inPlace = !file;  // a file that was not opened must not be removed
    if (file && WriteAndClose(file, text)) return true;
    if (!files_.back().inPlace) {
      std::error_code ignored;
      fs::remove(temporary, ignored);
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
      fs::rename(file.temporary, file.target, failure);
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
