#include "workbench/session/recent_files.h"

#include <algorithm>
#include <fstream>
#include <string>

#include "workbench/data/atomic_file.h"
#include "workbench/data/errors.h"
#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostFiles = 10;

}  // namespace

std::vector<fs::path> RecentFiles::Read() const {
  std::vector<fs::path> files;
  std::ifstream list(list_, std::ios::binary);
  for (std::string line; files.size() < kMostFiles && std::getline(list, line);) {
    if (!line.empty()) files.push_back(PathOf(line));
  }
  return files;
}

void RecentFiles::Remember(const fs::path& file) const {
  if (list_.empty() || file.string().find('\n') != std::string::npos) return;
  std::vector<fs::path> files = Read();
  std::erase(files, file);
  files.insert(files.begin(), file);
  files.resize(std::min(files.size(), kMostFiles));
  std::string text;
  for (const fs::path& one : files) text += one.string() + "\n";
  if (!MakeFolders(list_.parent_path()).empty()) return;
  try {
    WriteFileAtomically(list_.string(), text);
  } catch (const DataError&) {
    return;
  }
}

}  // namespace velmora
