#include "workbench/data/duckdb_file.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "workbench/system/system.h"

namespace velmora {

namespace {

using Version = std::array<int, 3>;

std::optional<Version> VersionIn(const std::string& text) {
  Version version{};
  if (std::sscanf(text.c_str(), "v%d.%d.%d", &version[0], &version[1], &version[2]) != 3) return std::nullopt;
  return version;
}

// The version of DuckDB that wrote a file, from its header; files of DuckDB before 0.8 do not have
// it.
std::string WriterOf(const std::string& path) {
  constexpr std::streamoff kPlace = 52;
  std::array<char, 32> text{};
  std::ifstream file(PathOf(path), std::ios::binary);
  file.seekg(kPlace).read(text.data(), text.size() - 1);
  return text.data();
}

// Advice on a file that a newer DuckDB wrote, the likely reason of a failure; empty for other
// files.
std::string NewerFileAdvice(DuckDbSession& session, const std::string& path) {
  const std::string writer = WriterOf(path);
  std::string own;
  session.Rows("SELECT library_version FROM pragma_version()",
               [&](const char* const* texts) { own = texts[0]; });
  const std::optional<Version> newer = VersionIn(writer), ours = VersionIn(own);
  if (!newer || !ours || *newer <= *ours) return {};
  const std::string readable = "v" + std::to_string((*ours)[0]) + "." + std::to_string((*ours)[1]) + ".0";
  return "; DuckDB " + writer + " wrote it, and DuckDB " + own +
         " reads it here: where its format is too new, write the tables as Parquet files in the newer one, "
         "or "
         "a copy by ATTACH 'copy.duckdb' AS copy (STORAGE_VERSION '" +
         readable + "'); COPY FROM DATABASE name TO copy";
}

}  // namespace

std::vector<TableName> AttachDuckDbFile(DuckDbSession& session, const std::string& path,
                                        const std::string& shown, bool changes) {
  std::error_code error;
  const std::string log = shown + ".wal";
  if (!changes && std::filesystem::file_size(PathOf(log), error) > 0 && !error)
    throw DataError("Cannot read " + shown + ": " + log +
                    " holds changes that are not in it yet; close the program that writes to it first.");
  try {
    session.Run("ATTACH " + SqlText(path) + " AS data (" + (changes ? "" : "READ_ONLY, ") + "TYPE duckdb)");
  } catch (const DuckDbError& failure) {
    throw DuckDbCannotRead(path, shown, failure.what() + NewerFileAdvice(session, path));
  }
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
