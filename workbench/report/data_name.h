// How reports name the data: by the path of their file or by its name, "data in memory" without
// one.
#pragma once

#include <string>

namespace velmora {

std::string DataPath(const std::string& dataFile);
std::string DataName(const std::string& dataFile);

}  // namespace velmora
