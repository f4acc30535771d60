// Owners of the objects of DuckDB's C interface, and the few calls that readers and writers make.
// Everything is in memory: no database file, no temporary folder, and no extension is ever fetched.
//
//   DuckDbSession session(0);
//   session.Rows("SELECT name FROM parquet_schema(" + SqlPath(path) + ")",
//                [&](const char* const* texts) { names.push_back(texts[0]); });
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "workbench/data/duckdb_functions.h"
#include "workbench/data/errors.h"
#include "workbench/data/sql_text.h"

namespace velmora {

// The first line of DuckDB's message.
class DuckDbError : public std::runtime_error {
 public:
  explicit DuckDbError(const char* message);
};

class DuckDbSession {
 public:
  // threads 0: one per processor.
  explicit DuckDbSession(int threads);
  ~DuckDbSession();
  DuckDbSession(const DuckDbSession&) = delete;
  DuckDbSession& operator=(const DuckDbSession&) = delete;

  duckdb_connection Connection() const { return connection_; }

  // Runs a statement and discards its rows.
  void Run(const std::string& sql);

  // Runs a query and passes its chunks to take in the order of the rows, as they come. tick is
  // called between the steps; when it returns false the query is interrupted and Cancelled thrown.
  void Stream(const std::string& sql, const std::function<void(duckdb_data_chunk)>& take,
              const std::function<bool()>& tick);

  // Calls row for each row of a small result, with the texts of its columns (null: NULL).
  void Rows(const std::string& sql, const std::function<void(const char* const* texts)>& row);

 private:
  void StopThreads();

  duckdb_database database_ = nullptr;
  duckdb_connection connection_ = nullptr;
};

// The path as a literal for DuckDB's readers, which take * ? [ in it for a pattern.
std::string SqlPath(const std::string& path);

// The text of a VARCHAR cell. Short texts are in the cell itself.
inline std::string_view TextOf(const duckdb_string_t& cell) {
  const std::uint32_t length = cell.value.inlined.length;
  return {length <= sizeof cell.value.inlined.inlined ? cell.value.inlined.inlined : cell.value.pointer.ptr,
          length};
}

}  // namespace velmora
