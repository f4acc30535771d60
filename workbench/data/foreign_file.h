// Every format except delimited text: Parquet, JSON and Arrow, SPSS, SAS and Stata files,
// workbooks, databases and queries. Each is read in a process of its own where the system allows
// it. Their libraries are large and damaged files bring them down, so velmora lets the program
// velmora-read run them under limits of memory and processor time; a crash there is one sentence
// here.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/readers.h"
#include "workbench/data/row_sink.h"
#include "workbench/data/table_part.h"

namespace velmora {

// Takes the place of an ending for a source that is not a file. No file's ending has a slash.
inline constexpr char kQuerySource[] = "/query";
inline constexpr char kPostgresSource[] = "/postgresql";
inline constexpr char kMySqlSource[] = "/mysql";

struct ForeignFile {
  std::string path;       // as the user gave it, for messages
  std::string openPath;   // what to open: UTF-8, no character that a library takes for a pattern
  std::string extension;  // lower case, without the dot
  int threads = 0;        // of DuckDB; 0 = one per processor
  TablePart part;
  bool keepsUserMissing = false;  // hands them over beside the rows

  bool IsFile() const { return extension.empty() || extension.front() != '/'; }
};

// The resources that a reading process may use. 0: no limit.
struct ReaderLimits {
  std::uint64_t memoryBytes = 0;
  std::uint64_t idleCpuSeconds = 0;  // processor time without any progress
};

// The size of a file; 0 for a source that is not a file.
std::uint64_t FileBytes(const ForeignFile& file);

// The limits for reading it on this machine.
ReaderLimits LimitsFor(const ForeignFile& file);

// True for the endings of the files that this header is about.
bool IsForeignExtension(const std::string& extension);

// Files of SQLite and of DuckDB are both called .db; the first bytes tell them apart.
bool IsDuckDbFile(const std::string& path);

// Throws DataError when this kind of file has no such part.
void RequireFittingPart(const std::string& path, const std::string& extension, const TablePart& part);

// Reads the whole file into a table, in another process if the system allows it; openPath then
// names a file that is already open. Throws DataError, Cancelled.
void ReadForeignFile(const ForeignFile& file, const ReadOptions& options, const ReaderLimits& limits,
                     Table& table, std::vector<std::string>& warnings);

// Runs the reader of the file in this process and hands its rows to sink. Throws DataError,
// Cancelled.
void RunForeignReader(const ForeignFile& file, RowSink& sink);

// Each reads one family of formats; RunForeignReader chooses.
void ReadParquet(const ForeignFile& file, RowSink& sink);
void ReadJson(const ForeignFile& file, RowSink& sink);
void ReadArrow(const ForeignFile& file, RowSink& sink);
void ReadStatFile(const ForeignFile& file, RowSink& sink);
void ReadXlsx(const ForeignFile& file, RowSink& sink);
void ReadXls(const ForeignFile& file, RowSink& sink);
void ReadOds(const ForeignFile& file, RowSink& sink);
void ReadSqlite(const ForeignFile& file, RowSink& sink);
void ReadDuckDb(const ForeignFile& file, RowSink& sink);
void ReadQuery(const ForeignFile& file, RowSink& sink);
void ReadPostgres(const ForeignFile& file, RowSink& sink);
void ReadMySql(const ForeignFile& file, RowSink& sink);

}  // namespace velmora
