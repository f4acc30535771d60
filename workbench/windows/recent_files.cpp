#include "workbench/windows/recent_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "workbench/system/folders.h"
#include "workbench/system/system.h"
#include "workbench/windows/application_data.h"

namespace velmora {

namespace {

constexpr std::size_t kMostFiles = 8;

std::filesystem::path ListFile() { return ApplicationDataFolder(ApplicationData::kOfUser) / "recent.txt"; }

}  // namespace

std::vector<std::string> ReadRecentFiles() {
  std::vector<std::string> files;
  std::ifstream list(ListFile(), std::ios::binary);
  for (std::string line; files.size() < kMostFiles && std::getline(list, line);) {
    if (!line.empty()) files.push_back(line);
  }
  return files;
}

void RememberRecentFile(const std::string& path) {
  const std::string whole = AbsolutePath(PathOf(path)).string();
  std::vector<std::string> files = ReadRecentFiles();
  std::erase(files, whole);
  files.insert(files.begin(), whole);
  files.resize(std::min(files.size(), kMostFiles));
  if (!MakeFolders(ListFile().parent_path()).empty()) return;
  std::ofstream list(ListFile(), std::ios::binary | std::ios::trunc);
  for (const std::string& file : files) list << file << '\n';
}

}  // namespace velmora
