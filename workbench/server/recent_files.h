// The data files that the user has opened in the page, in a list in the
// user's configuration folder.
#pragma once

#include <filesystem>
#include <vector>

namespace velmora {

// The newest first; none without a configuration folder.
std::vector<std::filesystem::path> ReadRecentFiles();
// A list that cannot be written stays as it was: it is only a convenience.
void RememberRecentFile(const std::filesystem::path& file);

}  // namespace velmora
