#include "workbench/data/file_kinds.h"

#include <algorithm>

#include "workbench/system/system.h"

namespace velmora {

std::string LowerExtension(const std::string& path) {
  std::string extension = PathOf(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::ranges::transform(extension, extension.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

}  // namespace velmora
