// Replaces readstat_reader_present.cpp in builds without ReadStat.
#include "workbench/data/foreign_file.h"
#include "workbench/data/readers.h"

namespace velmora {

void ReadStatFile(const ForeignFile& file, RowSink&) {
  throw DataError("Cannot read " + file.path +
                  ": SPSS, SAS and Stata files are not read by this build of velmora; save the data as .csv "
                  "or .parquet.");
}

bool ReadsStatisticalPackages() { return false; }

}  // namespace velmora
