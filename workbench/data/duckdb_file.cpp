#include "workbench/data/duckdb_file.h"

#include <filesystem>

#include "workbench/system/system.h"

namespace velmora {

std::vector<TableName> AttachDuckDbFile(DuckDbSession& session, const std::string& path,
                                        const std::string& shown, bool changes) {
  std::error_code error;
  const std::string log = shown + ".wal";
  if (!changes && std::filesystem::file_size(PathOf(log), error) > 0 && !error)
    throw DataError("Cannot read " + shown + ": " + log +
                    " holds changes that are not in it yet; close the program that writes to it first.");
  session.Run("ATTACH " + SqlText(path) + " AS data (" + (changes ? "" : "READ_ONLY, ") + "TYPE duckdb)");
  session.Run("USE data");
  std::vector<TableName> tables;
  session.Rows(
      "SELECT schema_name, table_name FROM duckdb_tables() WHERE database_name = 'data' UNION ALL "
      "SELECT schema_name, view_name FROM duckdb_views() WHERE database_name = 'data' AND NOT internal "
      "ORDER BY 1, 2",
      [&](const char* const* texts) {
        tables.push_back({texts[0], texts[1]});
      });
  return tables;
}

DataError DuckDbCannotRead(const std::string& path, const std::string& shown, std::string_view reason) {
  std::string text(reason);
  for (std::size_t at = text.find(path); at != std::string::npos && !path.empty();
       at = text.find(path, at + shown.size()))
    text.replace(at, path.size(), shown);
  return DataError("Cannot read " + shown + ": " + text + ".");
}

}  // namespace velmora
