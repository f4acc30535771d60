// Chooses the database of a table, and runs statements in DuckDB.
#include "workbench/data/database_connection.h"

#include <filesystem>

#include "workbench/data/database_address.h"
#include "workbench/data/duckdb_file.h"
#include "workbench/data/file_kinds.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

class DuckDbConnection final : public DatabaseConnection {
 public:
  DuckDbConnection(std::string path, std::string shown, int threads)
      : path_(std::move(path)), shown_(std::move(shown)), session_(threads) {
    session_.Run("SET TimeZone='UTC'");
  }

  DuckDbSession& Session() { return session_; }

  std::vector<SqlRow> Rows(const std::string& sql, const std::function<bool()>& tick) override {
    std::vector<SqlRow> rows;
    const auto take = [&](duckdb_data_chunk chunk) {
      const idx_t count = duckdb_data_chunk_get_size(chunk),
                  columns = duckdb_data_chunk_get_column_count(chunk);
      const std::size_t first = rows.size();
      rows.resize(first + count, SqlRow(columns));
      for (idx_t c = 0; c < columns; ++c) {
        duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, c);
        const std::uint64_t* const validity = duckdb_vector_get_validity(vector);
        auto* const cells = static_cast<duckdb_string_t*>(duckdb_vector_get_data(vector));
        for (idx_t row = 0; row < count; ++row) {
          if (validity == nullptr || ((validity[row / 64] >> (row % 64)) & 1U) != 0)
            rows[first + row][c] = TextOf(cells[row]);
        }
      }
    };
    try {
      session_.Stream("SELECT CAST(COLUMNS(*) AS VARCHAR) FROM (" + sql + ") answers", take, tick);
    } catch (const DuckDbError& error) {
      throw DuckDbCannotRead(path_, shown_, error.what());
    }
    return rows;
  }

  void Change(const std::vector<std::string>& statements) override {
    try {
      session_.Run("BEGIN");
      for (const std::string& sql : statements) session_.Run(sql);
      session_.Run("COMMIT");
    } catch (const DuckDbError& error) {
      const DataError failure("Cannot change " + shown_ + ": " + error.what() + ".");
      Rollback();
      throw failure;
    }
  }

 private:
  void Rollback() {
    try {
      session_.Run("ROLLBACK");
    } catch (const DuckDbError&) {
      // A failed COMMIT rolls back.
    }
  }

  std::string path_, shown_;
  DuckDbSession session_;
};

DatabaseTable OpenDuckDbTable(const std::string& path, const TablePart& part, int threads,
                              DatabaseAccess access) {
  DatabaseTable table;
  table.kind = DatabaseKind::kDuckDb;
  table.name = path.empty() ? "the query" : path;
  auto connection = std::make_unique<DuckDbConnection>(path, table.name, threads);
  DuckDbSession& session = connection->Session();
  const ForeignFile file{table.name, path, "", threads, part};
  try {
    if (path.empty()) {
      table.source = RowSource(file, {}, SqlName);
    } else if (LowerExtension(path) == "parquet") {
      table.source = "read_parquet(" + SqlPath(path) + ", hive_partitioning=false)";
    } else {
      const std::vector<TableName> tables =
          AttachDuckDbFile(session, path, path, access == DatabaseAccess::kChange);
      table.source = RowSource(file, tables, SqlName);
    }
  } catch (const DuckDbError& error) {
    throw DuckDbCannotRead(path, table.name, error.what());
  }
  table.connection = std::move(connection);
  return table;
}

}  // namespace

DatabaseTable OpenDatabaseTable(const std::string& path, const TablePart& part, int threads,
                                DatabaseAccess access) {
  const DatabaseAddress address = ParseDatabaseAddress(path);
  if (address.server == DatabaseServer::kPostgres) {
    TablePart named = part;
    if (named.table.empty() && named.query.empty()) named.table = address.table;
    return OpenPostgresTable(address.withoutTable, address.shown, named, access);
  }
  const bool isFile = address.server == DatabaseServer::kNone && !path.empty();
  const std::string extension = isFile ? LowerExtension(path) : "";
  const bool isDuckDb = extension == "duckdb" || (extension == "db" && IsDuckDbFile(path));
  const bool isQuery = path.empty() && !part.query.empty();
  if (!isDuckDb && !isQuery && extension != "parquet")
    throw DataError(
        "A database that computes is PostgreSQL (postgresql://...) or DuckDB (a .duckdb or "
        ".parquet file, or --sql-from without DATA), unlike " +
        (address.server == DatabaseServer::kNone ? path : address.shown) + ".");
  if (access == DatabaseAccess::kChange && !isDuckDb)
    throw DataError("Only PostgreSQL and .duckdb files can be changed, unlike " +
                    (path.empty() ? "a query over files" : path) + ".");
  if (isFile && !std::filesystem::exists(PathOf(path))) throw DataError("There is no file " + path + ".");
  if (isFile && !isDuckDb) RequireFittingPart(path, "parquet", part);
  return OpenDuckDbTable(path, part, threads, access);
}

}  // namespace velmora
