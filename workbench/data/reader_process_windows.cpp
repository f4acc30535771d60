// On Windows foreign files are read in this process: the build has no ReadStat, and DuckDB's DLL is
// loaded anyway.
#include <filesystem>

#include "workbench/data/foreign_file.h"
#include "workbench/data/table_sink.h"
#include "workbench/system/system.h"

namespace velmora {

void ReadForeignFile(const std::string& path, const std::string& extension, const ReadOptions& options,
                     const ReaderLimits&, Table& table, std::vector<std::string>& warnings) {
  TableSink sink(path, options, std::filesystem::file_size(PathOf(path)));
  RunForeignReader({path, path, extension, options.threads}, sink);
  sink.MoveInto(table, warnings);
}

}  // namespace velmora
