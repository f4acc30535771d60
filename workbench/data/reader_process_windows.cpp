// On Windows foreign files are read in this process: the build has no ReadStat, and DuckDB's DLL is
// loaded anyway.
#include "workbench/data/foreign_file.h"
#include "workbench/data/table_sink.h"

namespace velmora {

void ReadForeignFile(const ForeignFile& file, const ReadOptions& options, const ReaderLimits&, Table& table,
                     std::vector<std::string>& warnings) {
  TableSink sink(file.path, options, FileBytes(file));
  RunForeignReader(file, sink);
  sink.MoveInto(table, warnings);
}

}  // namespace velmora
