#include "workbench/system/file_identity.h"

#include "workbench/system/system.h"

namespace velmora {

namespace fs = std::filesystem;

FileIdentity IdentityOf(const fs::path& path) {
  FileIdentity identity;
  fs::path existing = AbsolutePath(FollowLinks(path));
  fs::path rest;
  while (!FindIdentity(existing, identity)) {
    const fs::path parent = existing.parent_path();
    if (parent == existing) break;
    const fs::path name = existing.filename();
    if (!name.empty() && name != ".") rest = rest.empty() ? name : name / rest;
    existing = parent;
  }
  identity.rest = ComparableName(rest.lexically_normal());
  return identity;
}

fs::path FollowLinks(const fs::path& path) {
  constexpr int kMostLinks = 40;  // the limit of Linux
  std::error_code error;
  fs::path followed = path;
  for (int links = 0; links < kMostLinks; ++links) {
    if (!fs::is_symlink(fs::symlink_status(followed, error))) return followed;
    const fs::path target = fs::read_symlink(followed, error);
    if (error) return path;
    followed = target.is_absolute() ? target : followed.parent_path() / target;
  }
  return path;
}

}  // namespace velmora
