// The files of the page, which the build makes from workbench/web and puts into the program.
#pragma once

#include <string_view>

namespace velmora {

struct PageAsset {
  std::string_view path, contentType, bytes;
};

// path: as in the address, such as "/app.js". Null when there is no such file.
const PageAsset* FindPageAsset(std::string_view path);

}  // namespace velmora
