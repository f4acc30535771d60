// Several files as one ZIP archive, for a browser, which saves one file at a time.
//
//   std::string bytes = ZipArchive({{"recode/age.txt", text}});
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velmora {

// files: names, with / between folders, and contents. Equal files give equal archives. Throws
// RunError.
std::string ZipArchive(const std::vector<std::pair<std::string, std::string>>& files);

}  // namespace velmora
