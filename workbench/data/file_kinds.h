// The kinds of data files that this build reads and writes, by the endings of their names.
#pragma once

#include <string>
#include <vector>

namespace velmora {

// The endings that ReadTable recognises, each with its dot. The Windows build reads no SQLite
// databases.
[[nodiscard]] std::vector<std::string> ReadableExtensions();
// The endings that SaveTable writes, each with its dot, the usual one first.
[[nodiscard]] std::vector<std::string> WritableExtensions();

// The ending of a name in lower case, without its dot: "gz" of "Credit.CSV.GZ".
[[nodiscard]] std::string LowerExtension(const std::string& path);

}  // namespace velmora
