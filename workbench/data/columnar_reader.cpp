// Parquet and JSON through DuckDB. The types of the columns are known before the first cell, so every column
// has one way of taking a chunk's vector; a column of whole numbers that doubles cannot hold is read a second
// time as text.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "workbench/data/duckdb_session.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/table_companion.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

using TakeVector = void (*)(duckdb_vector vector, idx_t count, ColumnBuilder& builder);

// A column of the file and how it is taken; take null: left out.
struct SourceColumn {
  std::string expression;  // of SQL, over the columns c0, c1, ...
  TakeVector take = nullptr;
  DateUnit dateUnit = DateUnit::kNone;
  bool boolean = false;
};

template <class Cell, class Add>
void ForCells(duckdb_vector vector, idx_t count, ColumnBuilder& builder, Add add) {
  auto* cells = static_cast<Cell*>(duckdb_vector_get_data(vector));
  const std::uint64_t* validity = duckdb_vector_get_validity(vector);
  for (idx_t row = 0; row < count; ++row) {
    if (validity != nullptr && ((validity[row / 64] >> (row % 64)) & 1U) == 0)
      builder.AddMissing();
    else
      add(cells[row]);
  }
}

template <class Cell>
void TakeNumbers(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<Cell>(vector, count, builder, [&](Cell cell) { builder.AddNumber(static_cast<double>(cell)); });
}

// 64-bit whole numbers: beyond 2^53 the double must hold the very number, otherwise the column becomes text.
template <class Cell>
void TakeLongNumbers(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<Cell>(vector, count, builder, [&](Cell cell) {
    if (builder.NeedsTexts()) return;
    const auto value = static_cast<double>(cell);
    // 2^63 and 2^64 cannot be cast back.
    if (value < 9.2e18 && static_cast<Cell>(value) == cell) return builder.AddNumber(value);
    builder.AddBigWhole();
  });
}

void TakeTexts(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<duckdb_string_t>(vector, count, builder,
                            [&](duckdb_string_t& cell) { builder.AddText(TextOf(&cell)); });
}

// Decimals and 128-bit whole numbers arrive as digits, so that each becomes its nearest double.
void TakeDigits(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<duckdb_string_t>(vector, count, builder,
                            [&](duckdb_string_t& cell) { builder.AddField(TextOf(&cell)); });
}

void TakeDays(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<duckdb_date>(vector, count, builder, [&](duckdb_date cell) {
    builder.AddNumber(duckdb_is_finite_date(cell) ? cell.days : std::nan(""));
  });
}

void TakeMoments(duckdb_vector vector, idx_t count, ColumnBuilder& builder) {
  ForCells<duckdb_timestamp>(vector, count, builder, [&](duckdb_timestamp cell) {
    builder.AddNumber(duckdb_is_finite_timestamp(cell) ? static_cast<double>(cell.micros) / 1e6
                                                       : std::nan(""));
  });
}

SourceColumn ChooseColumn(std::size_t index, duckdb_type type, bool isJson) {
  const std::string cell = "c" + std::to_string(index);
  switch (type) {
    case DUCKDB_TYPE_BOOLEAN:
      return {cell, TakeNumbers<bool>, DateUnit::kNone, true};
    case DUCKDB_TYPE_TINYINT:
      return {cell, TakeNumbers<std::int8_t>};
    case DUCKDB_TYPE_SMALLINT:
      return {cell, TakeNumbers<std::int16_t>};
    case DUCKDB_TYPE_INTEGER:
      return {cell, TakeNumbers<std::int32_t>};
    case DUCKDB_TYPE_UTINYINT:
      return {cell, TakeNumbers<std::uint8_t>};
    case DUCKDB_TYPE_USMALLINT:
      return {cell, TakeNumbers<std::uint16_t>};
    case DUCKDB_TYPE_UINTEGER:
      return {cell, TakeNumbers<std::uint32_t>};
    case DUCKDB_TYPE_BIGINT:
      return {cell, TakeLongNumbers<std::int64_t>};
    case DUCKDB_TYPE_UBIGINT:
      return {cell, TakeLongNumbers<std::uint64_t>};
    case DUCKDB_TYPE_FLOAT:
      return {cell, TakeNumbers<float>};
    case DUCKDB_TYPE_DOUBLE:
      return {cell, TakeNumbers<double>};
    case DUCKDB_TYPE_HUGEINT:
    case DUCKDB_TYPE_UHUGEINT:
    case DUCKDB_TYPE_DECIMAL:
      return {"CAST(" + cell + " AS VARCHAR)", TakeDigits};
    case DUCKDB_TYPE_DATE:
      return {cell, TakeDays, DateUnit::kDays};
    case DUCKDB_TYPE_TIMESTAMP:
      return {cell, TakeMoments, DateUnit::kSeconds};
    case DUCKDB_TYPE_TIMESTAMP_S:
    case DUCKDB_TYPE_TIMESTAMP_MS:
    case DUCKDB_TYPE_TIMESTAMP_NS:
      return {"CAST(" + cell + " AS TIMESTAMP)", TakeMoments, DateUnit::kSeconds};
    // The instant itself, without the session's time zone.
    case DUCKDB_TYPE_TIMESTAMP_TZ:
      return {"make_timestamp(epoch_us(" + cell + "))", TakeMoments, DateUnit::kSeconds};
    case DUCKDB_TYPE_VARCHAR:
      return {isJson ? cell + "->>'$'" : cell, TakeTexts};
    case DUCKDB_TYPE_LIST:
    case DUCKDB_TYPE_STRUCT:
    case DUCKDB_TYPE_MAP:
    case DUCKDB_TYPE_ARRAY:
    case DUCKDB_TYPE_UNION:
      return {};
    default:
      return {"CAST(" + cell + " AS VARCHAR)", TakeTexts};
  }
}

class ColumnarReader {
 public:
  // source: the table function of SQL that gives the rows.
  ColumnarReader(const std::string& path, const ReadOptions& options, std::string source)
      : path_(path),
        options_(options),
        progress_(options),
        source_(std::move(source)),
        session_(options.threads) {
    session_.Run("SET TimeZone='UTC'");
  }

  DuckDbSession& Session() { return session_; }

  // caseCount: -1 when it is not known.
  void Read(std::int64_t caseCount, std::vector<std::string> trueNames, const TableCompanion* companion,
            Table& table, std::vector<std::string>& warnings) {
    caseCount_ = caseCount;
    Describe();
    if (trueNames.size() == names_.size()) names_ = std::move(trueNames);
    SettleNames(path_, names_, warnings);
    if (std::none_of(columns_.begin(), columns_.end(),
                     [](const SourceColumn& c) { return c.take != nullptr; }))
      throw DataError(path_ + " has no column of numbers or texts.");
    for (std::size_t i = 0; i < names_.size(); ++i)
      builders_.emplace_back(names_[i], static_cast<int>(i) + 1, false, &options_.missingTexts);
    if (companion != nullptr) ForceTexts(*companion, builders_);
    ReadTwice();
    Finish(table, warnings);
  }

 private:
  void Describe() {
    session_.Rows("DESCRIBE SELECT * FROM " + source_,
                  [&](const char* const* texts) { names_.emplace_back(texts[0]); });
    from_ = " FROM " + source_ + " AS t(";
    for (std::size_t i = 0; i < names_.size(); ++i) from_ += (i ? ",c" : "c") + std::to_string(i);
    from_ += ")";
    duckdb_result empty{};
    const std::unique_ptr<duckdb_result, void (*)(duckdb_result*)> owner(&empty, duckdb_destroy_result);
    if (duckdb_query(session_.Connection(), ("SELECT *" + from_ + " LIMIT 0").c_str(), &empty) == DuckDBError)
      throw DuckDbError(duckdb_result_error(&empty));
    for (idx_t i = 0; i < duckdb_column_count(&empty); ++i) {
      duckdb_logical_type type = duckdb_column_logical_type(&empty, i);
      char* alias = duckdb_logical_type_get_alias(type);
      columns_.push_back(
          ChooseColumn(i, duckdb_column_type(&empty, i), alias != nullptr && std::string(alias) == "JSON"));
      duckdb_free(alias);
      duckdb_destroy_logical_type(&type);
    }
  }

  void ReadTwice() {
    std::vector<std::size_t> wanted;
    for (std::size_t i = 0; i < columns_.size(); ++i)
      if (columns_[i].take != nullptr) wanted.push_back(i);
    ReadColumns(wanted);
    std::vector<std::size_t> again;
    for (std::size_t i : wanted) {
      if (!builders_[i].NeedsTexts()) continue;
      again.push_back(i);
      builders_[i].RestartAsText();
      columns_[i] = {"CAST(c" + std::to_string(i) + " AS VARCHAR)", TakeTexts};
    }
    if (!again.empty()) ReadColumns(again);
  }

  void ReadColumns(const std::vector<std::size_t>& wanted) {
    std::string sql = "SELECT ";
    for (std::size_t i = 0; i < wanted.size(); ++i) sql += (i ? "," : "") + columns_[wanted[i]].expression;
    if (caseCount_ > 0)
      for (std::size_t i : wanted) builders_[i].Reserve(caseCount_);
    std::int64_t cases = 0;
    const auto take = [&](duckdb_data_chunk chunk) {
      const idx_t count = duckdb_data_chunk_get_size(chunk);
      for (std::size_t i = 0; i < wanted.size(); ++i)
        columns_[wanted[i]].take(duckdb_data_chunk_get_vector(chunk, i), count, builders_[wanted[i]]);
      cases += static_cast<std::int64_t>(count);
    };
    session_.Stream(sql + from_, take, [&] {
      return progress_.Report(caseCount_ > 0 ? static_cast<double>(cases) / static_cast<double>(caseCount_)
                                             : 0);
    });
    caseCount_ = cases;
  }

  void Finish(Table& table, std::vector<std::string>& warnings) {
    if (caseCount_ == 0) throw DataError(path_ + " has columns but no cases.");
    table.caseCount = caseCount_;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].take == nullptr) {
        warnings.push_back("Columns of lists or structures are left out: \"" + names_[i] + "\" of " + path_ +
                           ".");
        continue;
      }
      Column column = builders_[i].Finish(path_, warnings);
      if (columns_[i].dateUnit != DateUnit::kNone) column.dateUnit = columns_[i].dateUnit;
      if (columns_[i].boolean) {
        column.fromBoolean = true;
        column.labels = {{0, "false"}, {1, "true"}};
      }
      table.columns.push_back(std::move(column));
    }
  }

  const std::string& path_;
  const ReadOptions& options_;
  ReadProgress progress_;
  std::string source_;
  std::string from_;
  DuckDbSession session_;
  std::vector<std::string> names_;
  std::vector<SourceColumn> columns_;
  std::vector<ColumnBuilder> builders_;
  std::int64_t caseCount_ = -1;
};

// The names of the top-level columns as the file has them: DuckDB renames those that differ only in case.
std::vector<std::string> ParquetNames(DuckDbSession& session, const std::string& path) {
  std::vector<std::string> names;
  std::vector<std::int64_t> open;  // children still to come of each open group
  bool root = true;
  session.Rows("SELECT name, num_children FROM parquet_schema(" + SqlPath(path) + ")",
               [&](const char* const* texts) {
                 const std::int64_t children = texts[1] != nullptr ? std::atoll(texts[1]) : 0;
                 if (!root && open.size() == 1) names.emplace_back(texts[0] != nullptr ? texts[0] : "");
                 if (!root) --open.back();
                 root = false;
                 if (children > 0) open.push_back(children);
                 while (open.size() > 1 && open.back() == 0) open.pop_back();
               });
  return names;
}

// The number of the first line that is neither blank nor a JSON object in UTF-8, or 0. DuckDB's own line
// numbers depend on how it cut the file for its threads.
std::int64_t FirstBadJsonLine(const std::string& path) {
  std::ifstream file(PathOf(path), std::ios::binary);
  std::string line;
  for (std::int64_t number = 1; std::getline(file, line); ++number) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) continue;
    if (line[first] != '{' || !nlohmann::json::accept(line)) return number;
  }
  return 0;
}

}  // namespace

void ReadParquet(const std::string& path, const ReadOptions& options, Table& table,
                 std::vector<std::string>& warnings) {
  try {
    ColumnarReader reader(path, options, "read_parquet(" + SqlPath(path) + ", hive_partitioning=false)");
    std::int64_t cases = -1;
    reader.Session().Rows(
        "SELECT sum(num_rows) FROM parquet_file_metadata(" + SqlPath(path) + ")",
        [&](const char* const* texts) { cases = texts[0] != nullptr ? std::atoll(texts[0]) : -1; });
    std::string companion;
    reader.Session().Rows(
        "SELECT decode(value) FROM parquet_kv_metadata(" + SqlPath(path) + ") WHERE key = 'velmora'::BLOB",
        [&](const char* const* texts) { companion = texts[0] != nullptr ? texts[0] : ""; });
    TableCompanion facts;
    if (!companion.empty()) facts = ParseCompanion(companion, "The description inside " + path);
    reader.Read(cases, ParquetNames(reader.Session(), path), &facts, table, warnings);
    ApplyCompanion(facts, table, warnings);
  } catch (const DuckDbError& error) {
    throw DataError("Cannot read " + path + ": " + error.what() + ".");
  }
}

void ReadJson(const std::string& path, const ReadOptions& options, bool newlineDelimited, Table& table,
              std::vector<std::string>& warnings) {
  try {
    ColumnarReader reader(
        path, options,
        "read_json(" + SqlPath(path) + ", format=" + (newlineDelimited ? "'newline_delimited'" : "'auto'") +
            ", records=true, sample_size=-1, convert_strings_to_integers=false, compression='uncompressed'" +
            ", maximum_object_size=268435456, hive_partitioning=false)");
    reader.Read(-1, {}, nullptr, table, warnings);
  } catch (const DuckDbError& error) {
    const std::string_view said = error.what();
    // A transform error names the line and the value that no number holds; the lines are objects then.
    if (newlineDelimited && said.find("transform error") == std::string_view::npos)
      if (const std::int64_t line = FirstBadJsonLine(path); line > 0)
        throw DataError("Cannot read " + path + ": line " + std::to_string(line) + " is not a JSON object.");
    if (said.find("non-record") != std::string_view::npos)
      throw DataError("Cannot read " + path + ": it holds no objects with named values.");
    throw DataError("Cannot read " + path + ": " + error.what() + ".");
  }
}

}  // namespace velmora
