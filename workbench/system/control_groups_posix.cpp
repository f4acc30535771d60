#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

#include "workbench/system/control_groups.h"

namespace velmora {

namespace {

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

// The number in a file; none when the file holds a word such as "max".
std::optional<std::uint64_t> NumberIn(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::uint64_t number = 0;
  return file >> number ? std::optional(number) : std::nullopt;
}

// The number in the line that begins with the word; 0 without such a line.
std::uint64_t NumberAfter(const std::filesystem::path& path, const std::string& word) {
  std::ifstream file(path);
  std::string name;
  for (std::uint64_t number = 0; file >> name >> number;)
    if (name == word) return number;
  return 0;
}

struct FileNames {
  const char *limit, *used, *ofFiles, *ofFilesInMemory;
};
constexpr FileNames kVersion1 = {"memory.limit_in_bytes", "memory.usage_in_bytes", "total_cache",
                                 "total_shmem"};
constexpr FileNames kVersion2 = {"memory.max", "memory.current", "file", "shmem"};

std::uint64_t LeftByGroup(const std::filesystem::path& group, const FileNames& names) {
  const auto limit = NumberIn(group / names.limit);
  const auto used = NumberIn(group / names.used);
  if (!limit || !used) return kNoLimit;
  // The pages of files on disk are reclaimed when memory is short; those of a tmpfs cannot be.
  const std::filesystem::path statistics = group / "memory.stat";
  const std::uint64_t ofFiles = NumberAfter(statistics, names.ofFiles);
  const std::uint64_t onDisk = ofFiles - std::min(ofFiles, NumberAfter(statistics, names.ofFilesInMemory));
  const std::uint64_t kept = *used - std::min(*used, onDisk);
  return *limit - std::min(*limit, kept);
}

// The memory left by the group at the path below root and by those around it. A container may see
// its own group as the root, whatever its path is.
std::uint64_t LeftByGroups(const std::filesystem::path& root, std::filesystem::path path,
                           const FileNames& names) {
  std::uint64_t left = LeftByGroup(root, names);
  for (; path.has_relative_path(); path = path.parent_path())
    left = std::min(left, LeftByGroup(root / path.relative_path(), names));
  return left;
}

}  // namespace

std::uint64_t MemoryOfControlGroups(const std::filesystem::path& groups, const std::filesystem::path& root) {
  std::uint64_t left = kNoLimit;
  std::ifstream file(groups);
  for (std::string line; std::getline(file, line);) {
    // NUMBER:CONTROLLERS:PATH, without controllers in version 2.
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const std::filesystem::path path = line.substr(second + 1);
    if (controllers == ",,") left = std::min(left, LeftByGroups(root, path, kVersion2));
    if (controllers.find(",memory,") != std::string::npos)
      left = std::min(left, LeftByGroups(root / "memory", path, kVersion1));
  }
  return left;
}

}  // namespace velmora
