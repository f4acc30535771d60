#include "workbench/server/recent_files.h"

#include <algorithm>
#include <fstream>
#include <string>

#include "workbench/data/atomic_file.h"
#include "workbench/data/errors.h"
#include "workbench/session/user_settings.h"
#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostFiles = 10;

fs::path ListFile() {
  const fs::path settings = UserSettingsFile();
  return settings.empty() ? settings : settings.parent_path() / "recent.txt";
}

}  // namespace

std::vector<fs::path> ReadRecentFiles() {
  std::vector<fs::path> files;
  std::ifstream list(ListFile(), std::ios::binary);
  for (std::string line; files.size() < kMostFiles && std::getline(list, line);) {
    if (!line.empty()) files.push_back(PathOf(line));
  }
  return files;
}

void RememberRecentFile(const fs::path& file) {
  const fs::path list = ListFile();
  if (list.empty() || file.string().find('\n') != std::string::npos) return;
  std::vector<fs::path> files = ReadRecentFiles();
  std::erase(files, file);
  files.insert(files.begin(), file);
  files.resize(std::min(files.size(), kMostFiles));
  std::string text;
  for (const fs::path& one : files) text += one.string() + "\n";
  if (!MakeFolders(list.parent_path()).empty()) return;
  try {
    WriteFileAtomically(list.string(), text);
  } catch (const DataError&) {
    return;
  }
}

}  // namespace velmora
