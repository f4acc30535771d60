#include "workbench/cli/output_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <set>

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

// Removes only empty folders: another program may have written into them meanwhile.
void RemoveMade(const std::vector<fs::path>& folders) {
  std::error_code ignored;
  for (auto made = folders.rbegin(); made != folders.rend(); ++made) fs::remove(*made, ignored);
}

std::error_code LastError() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// Works across file systems too, where a rename fails.
void MoveBytes(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (!error) return;
  fs::copy_file(from, to, error);
  if (error) FailWriting(to, error);
  fs::remove(from, error);
}

void CopyToDevice(const fs::path& from, const fs::path& device) {
  std::ifstream in(from, std::ios::binary);
  errno = 0;
  std::ofstream out(device, std::ios::binary);
  // The library reports a failure when there is no byte to copy.
  if (in.peek() != std::ifstream::traits_type::eof()) out << in.rdbuf();
  out.close();
  if (!out) FailWriting(device, LastError());
}

}  // namespace

OutputFiles::OutputFiles(const fs::path& folder) { StagingFolderOf(folder.empty() ? fs::path(".") : folder); }

OutputFiles::Stage& OutputFiles::StageOf(const fs::path& folder, bool ofDevices) {
  const FileIdentity identity = IdentityOf(folder);
  for (Stage& stage : stages_) {
    if (stage.identity == identity && stage.ofDevices == ofDevices) return stage;
  }
  Stage& stage = stages_.emplace_back();
  stage.folder = folder;
  stage.ofDevices = ofDevices;
  try {
    Open(stage);
  } catch (...) {
    RemoveMade(stage.madeFolders);
    stages_.pop_back();
    throw;
  }
  return stage;
}

fs::path OutputFiles::StagingFolderOf(const fs::path& folder) {
  return StageOf(folder, false).scratch->Path();
}

fs::path OutputFiles::StagedPath(const fs::path& path) {
  return StageOf(FolderOf(path), IsDevice(path)).scratch->Path() / path.filename();
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
  stage.identity = IdentityOf(stage.folder);
  const fs::path place = stage.ofDevices ? fs::temp_directory_path(error) : stage.folder;
  if (!stage.ofDevices) RemoveStaleScratch(place);
  stage.scratch = std::make_unique<Scratch>(place, error);
  if (error) {
    throw RunError("The output folder " + stage.folder.string() + " cannot be written: " + error.message() +
                   ".");
  }
}

OutputFiles::~OutputFiles() {
  for (Stage& stage : stages_) stage.scratch.reset();
  if (committed_) return;
  for (auto stage = stages_.rbegin(); stage != stages_.rend(); ++stage) RemoveMade(stage->madeFolders);
}

void OutputFiles::Add(const std::string& fileName, std::string_view bytes) {
  AddTo(stages_.front(), fileName, bytes);
}

void OutputFiles::AddAt(const fs::path& path, std::string_view bytes) {
  AddTo(StageOf(FolderOf(path), IsDevice(path)), path.filename().string(), bytes);
}

void OutputFiles::AddTo(const Stage& stage, const std::string& fileName, std::string_view bytes) {
  const fs::path path = stage.scratch->Path() / PathOf(fileName);
  const fs::path finalPath = stage.folder / PathOf(fileName);
  errno = 0;
  std::FILE* file = OpenFile(path, "wb");
  if (file == nullptr) FailWriting(finalPath, LastError());
  // Small enough that Ctrl-C is noticed in time.
  constexpr std::size_t kPiece = std::size_t{1} << 20;
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

struct OutputFiles::Move {
  fs::path from, to, backup;
  bool toDevice, replaces;
};

// A file whose name is a symbolic link is moved to the scratch folder beside the target of the
// link.
void OutputFiles::SettleLinks() {
  for (std::size_t s = 0; s < stages_.size(); ++s) {
    if (stages_[s].ofDevices) continue;
    std::error_code error;
    for (const fs::path& name : NamesIn(stages_[s].scratch->Path(), error)) {
      const fs::path named = stages_[s].folder / name;
      const fs::path target = FollowLinks(named);
      if (target == named) continue;
      const fs::path staged = StagedPath(target);
      if (fs::exists(staged, error)) throw RunError("Two outputs of this run go to " + target.string() + ".");
      MoveBytes(stages_[s].scratch->Path() / name, staged);
    }
    if (error) FailWriting(stages_[s].folder, error);
  }
}

std::vector<OutputFiles::Move> OutputFiles::PlannedMoves(const RunFiles& inputs) const {
  std::vector<Move> moves;
  for (const Stage& stage : stages_) {
    const fs::path& staging = stage.scratch->Path();
    std::error_code error;
    const std::vector<fs::path> names = NamesIn(staging, error);
    if (error) FailWriting(stage.folder, error);
    for (const fs::path& name : names) {
      const fs::path to = NormalPath(stage.folder / name);
      const fs::file_status old = fs::status(to, error);
      if (const std::string input = inputs.InputAt(IdentityOf(to)); !input.empty())
        throw RunError(to.string() + " is not written: it would overwrite " + input + ".");
      if (fs::is_regular_file(old)) fs::permissions(staging / name, old.permissions(), error);
      FlushFileToDisk(staging / name);
      moves.push_back({staging / name, to, staging / PathOf(".old-" + name.string()), stage.ofDevices,
                       fs::is_regular_file(old)});
    }
  }
  // Output to a device cannot be undone, so devices come last.
  std::sort(moves.begin(), moves.end(),
            [](const Move& a, const Move& b) { return a.toDevice != b.toDevice ? b.toDevice : a.to < b.to; });
  return moves;
}

std::vector<WrittenFile> OutputFiles::Commit(const RunFiles& inputs) {
  SettleLinks();
  const std::vector<Move> moves = PlannedMoves(inputs);
  StopIfInterrupted();
  std::size_t done = 0;
  const auto takeBack = [&] {
    std::error_code ignored;
    while (done-- > 0) {
      if (moves[done].toDevice) continue;
      if (fs::exists(moves[done].backup, ignored)) {
        fs::rename(moves[done].backup, moves[done].to, ignored);
      } else {
        fs::remove(moves[done].to, ignored);
      }
    }
  };
  try {
    for (; done < moves.size(); ++done) {
      const Move& move = moves[done];
      if (move.toDevice) {
        CopyToDevice(move.from, move.to);
        continue;
      }
      // A second name keeps the old content for takeBack; on a file system without hard links it
      // cannot be restored.
      std::error_code error, noBackup;
      fs::create_hard_link(move.to, move.backup, noBackup);
      fs::rename(move.from, move.to, error);
      if (error) FailWriting(move.to, error);
    }
  } catch (...) {
    takeBack();
    throw;
  }
  committed_ = true;
  std::set<fs::path> folders;
  std::vector<WrittenFile> written;
  written.reserve(moves.size());
  for (const Move& move : moves) {
    written.push_back({move.to, move.replaces});
    if (!move.toDevice) folders.insert(FolderOf(move.to));
  }
  for (const fs::path& folder : folders) FlushFolderToDisk(folder);
  return written;
}

}  // namespace velmora
