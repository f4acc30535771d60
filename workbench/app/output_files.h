// The files of one run, which appear together or not at all: they are made in a hidden folder inside the
// output folder and moved to their names at the end. A failure, a cancellation or a full disk leaves the
// output folder as it was.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class OutputFiles {
 public:
  // folder is made when it is missing. Throws RunError when it cannot be used.
  explicit OutputFiles(const std::filesystem::path& folder);
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // Writes a file of the run. Throws RunError with one sentence that names the file.
  void Add(const std::string& fileName, std::string_view bytes);
  // Where another writer shall make files of the run; Commit takes every file that stands there.
  const std::filesystem::path& StagingFolder() const { return staging_; }

  // Moves every file to its name, replacing older ones, and returns their paths in the order of their names.
  // When one cannot be moved, those moved before get their old content back and RunError is thrown.
  std::vector<std::filesystem::path> Commit();

 private:
  std::filesystem::path folder_;
  std::filesystem::path staging_;
  std::vector<std::filesystem::path> madeFolders_;  // outermost first
  bool committed_ = false;
};

}  // namespace velmora
