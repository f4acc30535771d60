#include "workbench/data/foreign_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "workbench/system/system.h"

namespace velmora {

bool IsDuckDbFile(const std::string& path) {
  constexpr std::string_view kDuckDbMark = "DUCK";
  constexpr std::size_t kMarkPlace = 8;
  std::array<char, kMarkPlace + kDuckDbMark.size()> begin{};
  std::ifstream(PathOf(path), std::ios::binary).read(begin.data(), begin.size());
  return std::string_view(begin.data(), begin.size()).substr(kMarkPlace) == kDuckDbMark;
}

namespace {

using Reader = void (*)(const ForeignFile& file, RowSink& sink);

void ReadDatabase(const ForeignFile& file, RowSink& sink) {
  if (IsDuckDbFile(file.openPath)) return ReadDuckDb(file, sink);
  ReadSqlite(file, sink);
}

enum class Parts { kNone, kSheets, kTables, kQuery };

struct Format {
  std::string_view extension;
  Reader read;
  Parts parts = Parts::kNone;
};

constexpr auto kFormats = std::to_array<Format>({{"parquet", ReadParquet},
                                                 {"json", ReadJson},
                                                 {"jsonl", ReadJson},
                                                 {"ndjson", ReadJson},
                                                 {"arrow", ReadArrow},
                                                 {"feather", ReadArrow},
                                                 {"arrows", ReadArrow},
                                                 {"ipc", ReadArrow},
                                                 {"sav", ReadStatFile},
                                                 {"zsav", ReadStatFile},
                                                 {"por", ReadStatFile},
                                                 {"sas7bdat", ReadStatFile},
                                                 {"xpt", ReadStatFile},
                                                 {"dta", ReadStatFile},
                                                 {"xlsx", ReadXlsx, Parts::kSheets},
                                                 {"xlsm", ReadXlsx, Parts::kSheets},
                                                 {"xls", ReadXls, Parts::kSheets},
                                                 {"ods", ReadOds, Parts::kSheets},
                                                 {"duckdb", ReadDuckDb, Parts::kTables},
                                                 {"sqlite", ReadSqlite, Parts::kTables},
                                                 {"sqlite3", ReadSqlite, Parts::kTables},
                                                 {"db", ReadDatabase, Parts::kTables},
                                                 {kQuerySource, ReadQuery, Parts::kQuery},
                                                 {kPostgresSource, ReadPostgres, Parts::kTables},
                                                 {kMySqlSource, ReadMySql, Parts::kTables}});

const Format* FindFormat(std::string_view extension) {
  const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                  [&](const Format& format) { return format.extension == extension; });
  return found == kFormats.end() ? nullptr : &*found;
}

}  // namespace

bool IsForeignExtension(const std::string& extension) { return FindFormat(extension) != nullptr; }

void RequireFittingPart(const std::string& path, const std::string& extension, const TablePart& part) {
  const Format* const format = FindFormat(extension);
  const Parts parts = format == nullptr ? Parts::kNone : format->parts;
  const auto refuse = [&](const std::string& option, const char* takers) {
    throw DataError(option + " is for " + takers + ", not for " + path + ".");
  };
  if (parts != Parts::kSheets && !part.sheet.empty()) refuse("--sheet", "workbooks such as .xlsx");
  if (parts != Parts::kSheets && !part.range.empty()) refuse("--range", "workbooks such as .xlsx");
  if (parts != Parts::kTables && !part.table.empty()) refuse("--table", "databases");
  if (parts != Parts::kTables && parts != Parts::kQuery && !part.query.empty())
    throw DataError("--sql-from reads a database, or the files that it names itself without DATA, not " +
                    path + ".");
}

void RunForeignReader(const ForeignFile& file, RowSink& sink) {
  FindFormat(file.extension)->read(file, sink);
}

std::uint64_t FileBytes(const ForeignFile& file) {
  return file.IsFile() ? std::filesystem::file_size(PathOf(file.path)) : 0;
}

ReaderLimits LimitsFor(const ForeignFile& file) {
  // DuckDB keeps about one row group per thread, ReadStat one row, so reading takes at most a fixed
  // multiple of the file's size. A reader that needs more than that, or more than the machine has,
  // is reading a damaged file.
  constexpr std::uint64_t kSmallest = std::uint64_t{4} << 30;
  constexpr std::uint64_t kPerByte = 16;
  constexpr std::uint64_t kIdleSeconds = 60;
  constexpr std::uint64_t kBytesPerSecond = std::uint64_t{4} << 20;
  // The size of the answer of a query or a server is unknown.
  constexpr std::uint64_t kBytesOfQuery = std::uint64_t{1} << 36;
  const std::uint64_t fileBytes = file.part.query.empty() && file.IsFile() ? FileBytes(file) : kBytesOfQuery;
  ReaderLimits limits;
  limits.memoryBytes = kSmallest + kPerByte * fileBytes;
  if (const std::uint64_t available = AvailableMemory(); available > 0)
    limits.memoryBytes = std::min(limits.memoryBytes, available);
  limits.idleCpuSeconds = kIdleSeconds + fileBytes / kBytesPerSecond;
  return limits;
}

}  // namespace velmora
