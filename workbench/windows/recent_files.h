// The data files that were opened last, kept in the user's folder for application data.
#pragma once

#include <string>
#include <vector>

namespace velmora {

// The latest first, at most eight; empty when there is no list.
[[nodiscard]] std::vector<std::string> ReadRecentFiles();
// Puts a file first. A list that cannot be written stays as it was.
void RememberRecentFile(const std::string& path);

}  // namespace velmora
