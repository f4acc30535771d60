// Files made aside and moved into place together.
#include "workbench/cli/output_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailWriting(const fs::path& path, const std::error_code& error) {
  throw RunError(path.string() + " cannot be written: " + error.message() + ".");
}

// Only empty ones go: somebody else may have put something there meanwhile.
void RemoveMade(const std::vector<fs::path>& folders) {
  std::error_code ignored;
  for (auto made = folders.rbegin(); made != folders.rend(); ++made) fs::remove(*made, ignored);
}

void RemoveWithFiles(const fs::path& folder) {
  std::error_code ignored;
  for (const fs::path& name : NamesIn(folder, ignored)) fs::remove(folder / name, ignored);
  fs::remove(folder, ignored);
}

std::error_code LastError() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

}  // namespace

OutputFiles::OutputFiles(const fs::path& folder) { StagingFolderOf(folder.empty() ? fs::path(".") : folder); }

fs::path OutputFiles::StagingFolderOf(const fs::path& folder) {
  const fs::path key = NormalPath(AbsolutePath(folder)) / "";
  for (const Stage& stage : stages_) {
    if (NormalPath(AbsolutePath(stage.folder)) / "" == key) return stage.staging;
  }
  Stage& stage = stages_.emplace_back();
  stage.folder = folder;
  try {
    Open(stage);
  } catch (...) {
    RemoveMade(stage.madeFolders);
    stages_.pop_back();
    throw;
  }
  return stage.staging;
}

void OutputFiles::Open(Stage& stage) {
  std::error_code error;
  if (fs::exists(stage.folder, error) && !fs::is_directory(stage.folder, error)) {
    throw RunError("The output folder " + stage.folder.string() + " is a file.");
  }
  for (fs::path path = NormalPath(AbsolutePath(stage.folder)); !fs::exists(path, error);) {
    stage.madeFolders.insert(stage.madeFolders.begin(), path);
    if (!path.has_relative_path()) break;
    path = path.parent_path();
  }
  if (const std::string reason = MakeFolders(stage.folder); !reason.empty())
    throw RunError("The output folder " + stage.folder.string() + " cannot be made: " + reason + ".");
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    stage.staging = stage.folder / (".velmora-" + std::to_string(random()));
    if (fs::create_directory(stage.staging, error)) return;
    if (error) break;
  }
  throw RunError("The output folder " + stage.folder.string() + " cannot be written: " + error.message() +
                 ".");
}

OutputFiles::~OutputFiles() {
  for (const Stage& stage : stages_) RemoveWithFiles(stage.staging);
  if (committed_) return;
  for (auto stage = stages_.rbegin(); stage != stages_.rend(); ++stage) RemoveMade(stage->madeFolders);
}

void OutputFiles::Add(const std::string& fileName, std::string_view bytes) {
  AddTo(stages_.front(), fileName, bytes);
}

void OutputFiles::AddAt(const fs::path& path, std::string_view bytes) {
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  const fs::path staging = StagingFolderOf(folder);
  const auto stage = std::find_if(stages_.begin(), stages_.end(),
                                  [&](const Stage& candidate) { return candidate.staging == staging; });
  AddTo(*stage, path.filename().string(), bytes);
}

void OutputFiles::AddTo(const Stage& stage, const std::string& fileName, std::string_view bytes) {
  const fs::path path = stage.staging / PathOf(fileName);
  const fs::path finalPath = stage.folder / PathOf(fileName);
  errno = 0;
  std::FILE* file = OpenFile(path, "wb");
  if (file == nullptr) FailWriting(finalPath, LastError());
  constexpr std::size_t kPiece = std::size_t{1} << 20;  // small enough that Ctrl-C is noticed in time
  for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
    if (WasInterrupted()) {
      std::fclose(file);
      StopIfInterrupted();
    }
    const std::string_view piece = bytes.substr(at, kPiece);
    if (std::fwrite(piece.data(), 1, piece.size(), file) != piece.size()) {
      const std::error_code error = LastError();
      std::fclose(file);
      FailWriting(finalPath, error);
    }
  }
  if (std::fclose(file) != 0) FailWriting(finalPath, LastError());
}

std::vector<fs::path> OutputFiles::Commit() {
  struct Move {
    fs::path from, to, backup;
  };
  std::vector<Move> moves;
  std::error_code error;
  for (const Stage& stage : stages_) {
    const std::vector<fs::path> names = NamesIn(stage.staging, error);
    if (error) FailWriting(stage.folder, error);
    for (const fs::path& name : names) {
      moves.push_back({stage.staging / name, NormalPath(stage.folder / name),
                       stage.staging / PathOf(".old-" + name.string())});
    }
  }
  std::sort(moves.begin(), moves.end(), [](const Move& a, const Move& b) { return a.to < b.to; });
  StopIfInterrupted();
  std::size_t done = 0;
  for (; done < moves.size(); ++done) {
    const Move& move = moves[done];
    // A second name keeps the old content for the way back; where the file system has none, there is no way
    // back.
    std::error_code noBackup;
    fs::create_hard_link(move.to, move.backup, noBackup);
    fs::rename(move.from, move.to, error);
    if (error) break;
  }
  if (error) {
    const fs::path failed = moves[done].to;
    while (done-- > 0) {
      std::error_code ignored;
      if (fs::exists(moves[done].backup, ignored)) {
        fs::rename(moves[done].backup, moves[done].to, ignored);
      } else {
        fs::remove(moves[done].to, ignored);
      }
    }
    FailWriting(failed, error);
  }
  committed_ = true;
  std::vector<fs::path> paths;
  paths.reserve(moves.size());
  for (const Move& move : moves) paths.push_back(move.to);
  return paths;
}

}  // namespace velmora
