// Which file a path names, however it is spelled: the same file has one identity through relative
// and absolute paths, symbolic links and hard links.
//
//   if (IdentityOf(PathOf(out)) == IdentityOf(PathOf(data))) ...  // would be overwritten
#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>

namespace velmora {

struct FileIdentity {
  // An existing file: volume and number of the file, no rest. A path that does not exist yet:
  // volume and number of its deepest existing folder, and the names below that.
  std::uint64_t volume = 0, number = 0;
  std::filesystem::path rest;

  friend auto operator<=>(const FileIdentity&, const FileIdentity&) = default;
};

[[nodiscard]] FileIdentity IdentityOf(const std::filesystem::path& path);

// path with a symbolic link in its last place followed to the end, also to a file that does not
// exist yet. A path that is no link, or a circle of links, stays as it is.
[[nodiscard]] std::filesystem::path FollowLinks(const std::filesystem::path& path);

// The system's part: whether path exists, and its identity.
[[nodiscard]] bool FindIdentity(const std::filesystem::path& path, FileIdentity& identity);
// A name as the system compares names: Windows ignores letter case.
[[nodiscard]] std::filesystem::path ComparableName(const std::filesystem::path& name);

}  // namespace velmora
