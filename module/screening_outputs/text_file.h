// Text files that are written completely or not at all.
//
//   TextFiles files;
//   if (files.Add("a.ini", first) && files.Add("b.ini", second)) written = files.Commit();
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vlmfsl {

// Files that are replaced together: each is written to a temporary file, and Commit moves them into
// place. The destructor removes what has not been moved, so neither a full disk nor a lack of
// memory leaves part of a text or loses the old file.
class TextFiles {
 public:
  TextFiles() = default;
  ~TextFiles();
  TextFiles(const TextFiles&) = delete;
  TextFiles& operator=(const TextFiles&) = delete;

  // Writes text for the file. path: UTF-8. Returns false when it cannot be written.
  [[nodiscard]] bool Add(const std::string& path, std::string_view text);
  // Returns the number of files that are in place now. Allocates nothing.
  [[nodiscard]] int Commit() noexcept;

 private:
  struct File {
    std::filesystem::path temporary, target;
    bool inPlace = false;
  };
  std::vector<File> files_;
};

// One such file. Returns false when it cannot be written.
[[nodiscard]] bool WriteTextFile(const std::string& path, std::string_view text);

// A name as one part of a file name: characters that some file system refuses become '_'.
[[nodiscard]] std::string FileNamePart(std::string_view name);

// The path without the extension (with its dot, ASCII letters in either case) at its end.
[[nodiscard]] std::string WithoutExtension(std::string_view path, std::string_view extension);

}  // namespace vlmfsl
