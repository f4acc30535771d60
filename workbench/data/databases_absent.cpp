// Replaces the readers of SQLite databases and database servers in builds without their libraries.
#include "workbench/data/foreign_file.h"
#include "workbench/data/readers.h"

namespace velmora {

namespace {

[[noreturn]] void Refuse(const ForeignFile& file, const char* kind) {
  throw DataError("Cannot read " + file.path + ": " + kind +
                  " are not read by this build of velmora; save the data as .csv or .parquet.");
}

}  // namespace

void ReadSqlite(const ForeignFile& file, RowSink&) { Refuse(file, "SQLite databases"); }
void ReadPostgres(const ForeignFile& file, RowSink&) { Refuse(file, "tables of database servers"); }
void ReadMySql(const ForeignFile& file, RowSink&) { Refuse(file, "tables of database servers"); }

bool ReadsDatabases() { return false; }

}  // namespace velmora
