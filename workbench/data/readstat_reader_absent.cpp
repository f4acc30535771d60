// Stands in for the reader of these files where ReadStat is not there to build with.
#include "workbench/data/reader_parts.h"

namespace velmora {

void ReadStatFile(const std::string& path, const ReadOptions&, const std::string&, Table&,
                  std::vector<std::string>&) {
  throw DataError("Cannot read " + path +
                  ": SPSS, SAS and Stata files are not read by this build of velmora; save the data as .csv "
                  "or .parquet.");
}

}  // namespace velmora
