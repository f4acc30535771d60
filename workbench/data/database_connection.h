// A database that runs statements with small results, for computations inside it: only the results
// leave it.
//
//   DatabaseTable table = OpenDatabaseTable("postgresql://host/bank?table=loans", {}, 0);
//   for (const SqlRow& row : table.connection->Rows("SELECT count(*) FROM " + table.source, tick)) ...
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table_part.h"

namespace velmora {

enum class DatabaseKind { kPostgres, kDuckDb };

// Each cell is a text that reads back to the same value; none: null.
using SqlRow = std::vector<std::optional<std::string>>;

class DatabaseConnection {
 public:
  virtual ~DatabaseConnection() = default;
  // The columns of sql must have different names. tick: called between the steps; when it returns
  // false the statement is interrupted and Cancelled thrown. Throws DataError with the database's
  // own sentence.
  virtual std::vector<SqlRow> Rows(const std::string& sql, const std::function<bool()>& tick) = 0;
  // Statements that may change the database, on a connection that was opened for it: all of them, or
  // none. Throws DataError with the database's own sentence.
  virtual void Change(const std::vector<std::string>& statements) = 0;
};

struct DatabaseTable {
  std::unique_ptr<DatabaseConnection> connection;
  DatabaseKind kind = DatabaseKind::kDuckDb;
  std::string source;  // the table as FROM names it
  std::string name;    // what messages call it: the path, or the address without its password
};

enum class DatabaseAccess {
  kRead,   // PostgreSQL: all statements see the same rows, and none changes any
  kChange  // statements may change the database, which a file of Parquet and a query do not allow
};

// path, part: an address of PostgreSQL, a DuckDB file, a Parquet file, or a query over files, which
// DuckDB runs. threads: of DuckDB, 0: one per processor. Throws DataError for anything else, and as
// ReadTable does.
DatabaseTable OpenDatabaseTable(const std::string& path, const TablePart& part, int threads,
                                DatabaseAccess access = DatabaseAccess::kRead);

// OpenDatabaseTable for one kind of database. shown: the name of the database in messages.
DatabaseTable OpenPostgresTable(std::string_view address, const std::string& shown, const TablePart& part,
                                DatabaseAccess access);

}  // namespace velmora
