// The output files of one run, which appear together or not at all: they are written into scratch
// folders inside the output folders and renamed at the end. A failure, a cancellation or a full
// disk leaves the output folders as they were.
//
//   OutputFiles files("report");
//   files.Add("screening.json", json);
//   files.AddAt("deploy/bins.sql", sql);
//   files.Commit();
#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/cli/run_files.h"
#include "workbench/system/scratch.h"

namespace velmora {

struct WrittenFile {
  std::filesystem::path path;
  bool replaced;  // an older file had the name
};

class OutputFiles {
 public:
  // folder: for files named without one; it is made when it is missing. Throws RunError when it
  // cannot be used.
  explicit OutputFiles(const std::filesystem::path& folder);
  // All files name their folders.
  OutputFiles() = default;
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // Writes a file of the folder. Throws RunError with one sentence that names the file.
  void Add(const std::string& fileName, std::string_view bytes);
  // The same in any folder, which is made when it is missing. A device or a pipe gets the bytes at
  // Commit.
  void AddAt(const std::filesystem::path& path, std::string_view bytes);
  // For other writers: they write to StagedPath(path), or write any files into
  // StagingFolderOf(folder), and Commit moves them. Throws RunError.
  std::filesystem::path StagedPath(const std::filesystem::path& path);
  std::filesystem::path StagingFolder() const { return stages_.front().scratch->Path(); }
  std::filesystem::path StagingFolderOf(const std::filesystem::path& folder);

  // Moves every file to its name, in the order of the names. A replaced file passes on its
  // permissions; through a symbolic link, the file that it leads to is replaced. When one file
  // cannot be moved, or would replace one of inputs, every name keeps its old content and RunError
  // is thrown.
  std::vector<WrittenFile> Commit(const RunFiles& inputs = {});

 private:
  struct Stage {
    std::filesystem::path folder;  // where its files go
    FileIdentity identity;         // of folder
    // The folder cannot hold scratch files, which are in the system's temporary folder instead.
    bool ofDevices = false;
    std::unique_ptr<Scratch> scratch;
    std::vector<std::filesystem::path> madeFolders;  // outermost first
  };
  struct Move;
  Stage& StageOf(const std::filesystem::path& folder, bool ofDevices);
  static void Open(Stage& stage);
  static void AddTo(const Stage& stage, const std::string& fileName, std::string_view bytes);
  void SettleLinks();
  std::vector<Move> PlannedMoves(const RunFiles& inputs) const;

  std::deque<Stage> stages_;  // the first one: of the folder
  bool committed_ = false;
};

}  // namespace velmora
