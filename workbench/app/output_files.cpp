// Files made aside and moved into place together.
#include "workbench/app/output_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "workbench/app/console.h"
#include "workbench/app/exit_codes.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailWriting(const fs::path& path, const std::error_code& error) {
  throw RunError(path.string() + " cannot be written: " + error.message() + ".");
}

std::error_code LastError() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

}  // namespace

OutputFiles::OutputFiles(const fs::path& folder) : folder_(folder.empty() ? fs::path(".") : folder) {
  std::error_code error;
  if (fs::exists(folder_, error) && !fs::is_directory(folder_, error)) {
    throw RunError("The output folder " + folder_.string() + " is a file.");
  }
  for (fs::path path = fs::absolute(folder_).lexically_normal(); !fs::exists(path, error);) {
    madeFolders_.insert(madeFolders_.begin(), path);
    if (!path.has_relative_path()) break;
    path = path.parent_path();
  }
  fs::create_directories(folder_, error);
  if (error)
    throw RunError("The output folder " + folder_.string() + " cannot be made: " + error.message() + ".");
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    staging_ = folder_ / (".velmora-" + std::to_string(random()));
    if (fs::create_directory(staging_, error)) return;
    if (error) break;
  }
  staging_.clear();
  throw RunError("The output folder " + folder_.string() + " cannot be written: " + error.message() + ".");
}

OutputFiles::~OutputFiles() {
  std::error_code ignored;
  if (!staging_.empty()) fs::remove_all(staging_, ignored);
  if (committed_) return;
  // Only empty ones go: somebody else may have put something there meanwhile.
  for (auto made = madeFolders_.rbegin(); made != madeFolders_.rend(); ++made) {
    if (fs::is_empty(*made, ignored)) fs::remove(*made, ignored);
  }
}

void OutputFiles::Add(const std::string& fileName, std::string_view bytes) {
  const fs::path path = staging_ / fileName;
  const fs::path finalPath = folder_ / fileName;
  errno = 0;
  std::FILE* file = std::fopen(path.c_str(), "wb");
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
  for (const fs::directory_entry& entry : fs::directory_iterator(staging_)) {
    const fs::path name = entry.path().filename();
    moves.push_back({entry.path(), folder_ / name, staging_ / (".old-" + name.string())});
  }
  std::sort(moves.begin(), moves.end(), [](const Move& a, const Move& b) { return a.to < b.to; });
  StopIfInterrupted();
  std::error_code error;
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
  for (const Move& move : moves) paths.push_back(move.to);
  return paths;
}

}  // namespace velmora
