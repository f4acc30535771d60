// The files of one run, which appear together or not at all: they are made in hidden folders inside the output
// folders and moved to their names at the end. A failure, a cancellation or a full disk leaves the output
// folders as they were.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class OutputFiles {
 public:
  // folder: where files go that are named without one. Made when it is missing. Throws RunError when it cannot
  // be used.
  explicit OutputFiles(const std::filesystem::path& folder);
  // Without one.
  OutputFiles() = default;
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // Writes a file of the run. Throws RunError with one sentence that names the file.
  void Add(const std::string& fileName, std::string_view bytes);
  // The same for a file that stands in a folder of its own.
  void AddAt(const std::filesystem::path& path, std::string_view bytes);
  // Where another writer shall make files of the run; Commit takes every file that stands there.
  std::filesystem::path StagingFolder() const { return stages_.front().staging; }
  // The same for the files of any folder, which is made when it is missing. Throws RunError.
  std::filesystem::path StagingFolderOf(const std::filesystem::path& folder);

  // Moves every file to its name, replacing older ones, and returns their paths in the order of their names.
  // When one cannot be moved, those moved before get their old content back and RunError is thrown.
  std::vector<std::filesystem::path> Commit();

 private:
  struct Stage {
    std::filesystem::path folder, staging;
    std::vector<std::filesystem::path> madeFolders;  // outermost first
  };
  static void Open(Stage& stage);
  static void AddTo(const Stage& stage, const std::string& fileName, std::string_view bytes);

  std::vector<Stage> stages_;  // the first one: of the folder
  bool committed_ = false;
};

}  // namespace velmora
