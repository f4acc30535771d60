// Text files that stand complete or not at all.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vlmfsl {

// Files that take their places together: each is written aside, and Commit moves them. What has not been moved goes
// when this does, so that neither a full disk nor want of memory leaves a part of a text, or costs the file that was
// there.
class TextFiles {
 public:
  TextFiles() = default;
  ~TextFiles();
  TextFiles(const TextFiles&) = delete;
  TextFiles& operator=(const TextFiles&) = delete;

  // Writes text for the file. path: UTF-8. Returns false when that cannot be done.
  [[nodiscard]] bool Add(const std::string& path, std::string_view text);
  // Returns how many files are in place now. Takes no memory.
  [[nodiscard]] int Commit() noexcept;

 private:
  struct File {
    std::filesystem::path aside, target;
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
