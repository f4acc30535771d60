#include "workbench/report/data_name.h"

#include "workbench/system/system.h"

namespace velmora {

std::string DataPath(const std::string& dataFile) { return dataFile.empty() ? "data in memory" : dataFile; }
std::string DataName(const std::string& dataFile) { return PathOf(DataPath(dataFile)).filename().string(); }

}  // namespace velmora
