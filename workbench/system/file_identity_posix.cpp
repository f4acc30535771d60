#include <sys/stat.h>

#include "workbench/system/file_identity.h"

namespace velmora {

bool FindIdentity(const std::filesystem::path& path, FileIdentity& identity) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return false;
  identity.volume = status.st_dev;
  identity.number = status.st_ino;
  return true;
}

std::filesystem::path ComparableName(const std::filesystem::path& name) { return name; }

}  // namespace velmora
