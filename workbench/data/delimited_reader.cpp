// Delimited text: ScanCsv settles the shape and refuses a file that is not whole; DuckDB then splits the
// records into texts, on its threads and in order; ColumnBuilder parses them. Columns that turn out to be
// text after numbers have been parsed are read a second time, alone.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "workbench/data/csv_scan.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/table_companion.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

// The shares of the bar: the scan of the bytes, then the reading of the cells.
constexpr double kScanShare = 0.15;

std::string ReadCsvSql(const std::string& path, const CsvShape& shape,
                       const std::vector<std::size_t>& wanted) {
  std::string sql = "SELECT ";
  for (std::size_t i = 0; i < wanted.size(); ++i) sql += (i ? ",c" : "c") + std::to_string(wanted[i]);
  sql += " FROM read_csv(" + SqlPath(path) +
         ", auto_detect=false, header=false, quote='\"', escape='\"', nullstr=''";
  sql += ", null_padding=false, compression='none', hive_partitioning=false, delim=" +
         SqlText({&shape.delimiter, 1});
  sql += ", skip=" + std::to_string(shape.recordsBeforeData);
  // Strict means one kind of line end; the scan has checked everything else that it means.
  sql += shape.mixedLineEnds ? ", strict_mode=false" : ", strict_mode=true";
  sql += ", max_line_size=" + std::to_string(std::max<std::int64_t>(2097152, 2 * shape.longestRecord + 1024));
  sql += ", columns={";
  for (std::size_t i = 0; i < shape.names.size(); ++i)
    sql += (i ? ",'c" : "'c") + std::to_string(i) + "':'VARCHAR'";
  return sql + "})";
}

void TakeTexts(duckdb_data_chunk chunk, std::size_t column, ColumnBuilder& builder) {
  duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, column);
  auto* cells = static_cast<duckdb_string_t*>(duckdb_vector_get_data(vector));
  const std::uint64_t* validity = duckdb_vector_get_validity(vector);
  const idx_t count = duckdb_data_chunk_get_size(chunk);
  for (idx_t row = 0; row < count; ++row) {
    if (validity != nullptr && ((validity[row / 64] >> (row % 64)) & 1U) == 0)
      builder.AddField({});
    else
      builder.AddField(TextOf(&cells[row]));
  }
}

std::optional<TableCompanion> LoadCompanion(const std::string& path) {
  const std::string companionPath = CompanionPath(path);
  std::ifstream file(PathOf(companionPath), std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return ParseCompanion(text.str(), companionPath);
}

class DelimitedReader {
 public:
  DelimitedReader(const std::string& path, const ReadOptions& options)
      : path_(path), progress_(options), session_(options.threads) {}

  void Read(const CsvShape& shape, std::vector<ColumnBuilder>& builders) {
    std::vector<std::size_t> all(builders.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    ReadColumns(shape, all, builders);
    if (shape.delimiter != ',') SettleMarks(builders);
    std::vector<std::size_t> again;
    for (std::size_t i = 0; i < builders.size(); ++i)
      if (builders[i].NeedsTexts()) again.push_back(i);
    if (again.empty()) return;
    for (std::size_t i : again) builders[i].RestartAsText();
    ReadColumns(shape, again, builders);
  }

 private:
  // 1,022 is a number either way; 10.5 or 0,25 elsewhere in the file says what its mark means.
  static void SettleMarks(std::vector<ColumnBuilder>& builders) {
    const auto any = [&](char mark) {
      return std::any_of(builders.begin(), builders.end(),
                         [&](const ColumnBuilder& builder) { return builder.ShowsDecimal(mark); });
    };
    const bool point = any('.');
    const bool comma = any(',');
    for (ColumnBuilder& builder : builders) {
      if (point != comma) {
        builder.SetGroupMark(point ? ',' : '.');
      } else if (!point && builder.CouldGroup(',')) {
        builder.WarnOfCommas();
      }
    }
  }

  void ReadColumns(const CsvShape& shape, const std::vector<std::size_t>& wanted,
                   std::vector<ColumnBuilder>& builders) {
    for (std::size_t i : wanted) builders[i].Reserve(shape.caseCount);
    std::int64_t cases = 0;
    const auto take = [&](duckdb_data_chunk chunk) {
      for (std::size_t i = 0; i < wanted.size(); ++i) TakeTexts(chunk, i, builders[wanted[i]]);
      cases += static_cast<std::int64_t>(duckdb_data_chunk_get_size(chunk));
    };
    const auto tick = [&] {
      return progress_.Report(kScanShare + (1 - kScanShare) * static_cast<double>(cases) /
                                               static_cast<double>(shape.caseCount));
    };
    try {
      session_.Stream(ReadCsvSql(path_, shape, wanted), take, tick);
    } catch (const DuckDbError& error) {
      throw DataError("Cannot read " + path_ + ": " + error.what() + ".");
    }
    if (cases != shape.caseCount)
      throw DataError("Cannot read " + path_ +
                      ": its quotes and line ends can be understood in two ways, as " +
                      std::to_string(shape.caseCount) + " or as " + std::to_string(cases) + " cases.");
  }

  const std::string& path_;
  ReadProgress progress_;
  DuckDbSession session_;
};

}  // namespace

void ForceTexts(const TableCompanion& companion, std::vector<ColumnBuilder>& builders) {
  for (ColumnBuilder& builder : builders) {
    const auto found = companion.variables.find(builder.Name());
    if (found != companion.variables.end() && found->second.kind == "text") builder.ForceText();
  }
}

void ReadDelimited(const std::string& path, const ReadOptions& options, char delimiter, Table& table,
                   std::vector<std::string>& warnings) {
  const ReadProgress progress(options);
  const auto bytes = static_cast<double>(std::filesystem::file_size(PathOf(path)));
  CsvShape shape = ScanCsv(path, delimiter, [&](std::int64_t done) {
    progress.Check(kScanShare * static_cast<double>(done) / bytes);
  });
  SettleNames(path, shape.names, warnings);
  std::vector<ColumnBuilder> builders;
  builders.reserve(shape.names.size());
  for (std::size_t i = 0; i < shape.names.size(); ++i)
    builders.emplace_back(shape.names[i], static_cast<int>(i) + 1, shape.delimiter != ',',
                          &options.missingTexts);
  const std::optional<TableCompanion> companion = LoadCompanion(path);
  if (companion) ForceTexts(*companion, builders);
  DelimitedReader(path, options).Read(shape, builders);
  table.caseCount = shape.caseCount;
  for (ColumnBuilder& builder : builders) table.columns.push_back(builder.Finish(path, warnings));
  if (companion) ApplyCompanion(*companion, table, warnings);
}

}  // namespace velmora
