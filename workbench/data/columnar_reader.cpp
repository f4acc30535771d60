// Parquet and JSON files, DuckDB's databases and queries through DuckDB. The types of the columns
// are known before the first cell, so every column has one way of copying a vector of DuckDB's into
// a block; a column of whole numbers that doubles cannot hold is delivered a second time, as text.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "workbench/data/duckdb_file.h"
#include "workbench/data/foreign_file.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

// DuckDB's planner takes time with the square of the columns of a query, so wide files are read in
// slices of columns.
constexpr std::size_t kColumnsPerQuery = 500;
// Only the fields of records become columns: lists and objects in them are left out, so deeper
// levels need no type.
constexpr int kJsonDepth = 3;
constexpr std::uintmax_t kSmallestJsonObject = std::uintmax_t{1} << 20;
constexpr std::uintmax_t kLargestJsonObject = std::uintmax_t{1} << 28;

using CopyVector = void (*)(duckdb_vector vector, idx_t count, std::byte* values);

// How a column is selected and copied. copy null: a column of texts, or left out.
struct SourceColumn {
  std::string expression;  // of SQL, with $ for the column
  CellKind kind = CellKind::kLeftOut;
  CopyVector copy = nullptr;
  DateUnit dateUnit = DateUnit::kNone;
  bool boolean = false;
};

template <class Cell, class Convert>
void Copy(duckdb_vector vector, idx_t count, std::byte* values, Convert convert) {
  const auto* cells = static_cast<const Cell*>(duckdb_vector_get_data(vector));
  using Value = decltype(convert(cells[0]));
  auto* const out = reinterpret_cast<Value*>(values);
  // The cells of missing rows hold anything but a signalling value, and are not read.
  for (idx_t row = 0; row < count; ++row) out[row] = convert(cells[row]);
}

template <class Cell>
void CopyNumbers(duckdb_vector vector, idx_t count, std::byte* values) {
  Copy<Cell>(vector, count, values, [](Cell cell) { return static_cast<double>(cell); });
}

// Bytes, since the cell of a missing row need not be a bool's.
void CopyBooleans(duckdb_vector vector, idx_t count, std::byte* values) {
  Copy<std::uint8_t>(vector, count, values, [](std::uint8_t cell) { return cell == 0 ? 0.0 : 1.0; });
}

template <class Cell>
void CopyWhole(duckdb_vector vector, idx_t count, std::byte* values) {
  Copy<Cell>(vector, count, values, [](Cell cell) { return cell; });
}

void CopyDays(duckdb_vector vector, idx_t count, std::byte* values) {
  Copy<duckdb_date>(vector, count, values, [](duckdb_date cell) {
    return duckdb_is_finite_date(cell) ? static_cast<double>(cell.days) : std::nan("");
  });
}

void CopyMoments(duckdb_vector vector, idx_t count, std::byte* values) {
  Copy<duckdb_timestamp>(vector, count, values, [](duckdb_timestamp cell) {
    return duckdb_is_finite_timestamp(cell) ? static_cast<double>(cell.micros) / 1e6 : std::nan("");
  });
}

SourceColumn ChooseColumn(duckdb_type type, bool isJson) {
  switch (type) {
    case DUCKDB_TYPE_BOOLEAN:
      return {"$", CellKind::kNumber, CopyBooleans, DateUnit::kNone, true};
    case DUCKDB_TYPE_TINYINT:
      return {"$", CellKind::kNumber, CopyNumbers<std::int8_t>};
    case DUCKDB_TYPE_SMALLINT:
      return {"$", CellKind::kNumber, CopyNumbers<std::int16_t>};
    case DUCKDB_TYPE_INTEGER:
      return {"$", CellKind::kNumber, CopyNumbers<std::int32_t>};
    case DUCKDB_TYPE_UTINYINT:
      return {"$", CellKind::kNumber, CopyNumbers<std::uint8_t>};
    case DUCKDB_TYPE_USMALLINT:
      return {"$", CellKind::kNumber, CopyNumbers<std::uint16_t>};
    case DUCKDB_TYPE_UINTEGER:
      return {"$", CellKind::kNumber, CopyNumbers<std::uint32_t>};
    case DUCKDB_TYPE_BIGINT:
      return {"$", CellKind::kWhole, CopyWhole<std::int64_t>};
    case DUCKDB_TYPE_UBIGINT:
      return {"$", CellKind::kUnsigned, CopyWhole<std::uint64_t>};
    case DUCKDB_TYPE_FLOAT:
      return {"$", CellKind::kNumber, CopyNumbers<float>};
    case DUCKDB_TYPE_DOUBLE:
      return {"$", CellKind::kNumber, CopyNumbers<double>};
    // Read as digits, so that each becomes its nearest double.
    case DUCKDB_TYPE_HUGEINT:
    case DUCKDB_TYPE_UHUGEINT:
    case DUCKDB_TYPE_DECIMAL:
      return {"CAST($ AS VARCHAR)", CellKind::kDigits};
    case DUCKDB_TYPE_DATE:
      return {"$", CellKind::kNumber, CopyDays, DateUnit::kDays};
    case DUCKDB_TYPE_TIMESTAMP:
      return {"$", CellKind::kNumber, CopyMoments, DateUnit::kSeconds};
    case DUCKDB_TYPE_TIMESTAMP_S:
    case DUCKDB_TYPE_TIMESTAMP_MS:
    case DUCKDB_TYPE_TIMESTAMP_NS:
      return {"CAST($ AS TIMESTAMP)", CellKind::kNumber, CopyMoments, DateUnit::kSeconds};
    // The instant itself, without the session's time zone.
    case DUCKDB_TYPE_TIMESTAMP_TZ:
      return {"make_timestamp(epoch_us($))", CellKind::kNumber, CopyMoments, DateUnit::kSeconds};
    case DUCKDB_TYPE_VARCHAR:
      return {isJson ? "$->>'$'" : "$", CellKind::kText};
    case DUCKDB_TYPE_LIST:
    case DUCKDB_TYPE_STRUCT:
    case DUCKDB_TYPE_MAP:
    case DUCKDB_TYPE_ARRAY:
    case DUCKDB_TYPE_UNION:
      return {};
    default:
      return {"CAST($ AS VARCHAR)", CellKind::kText};
  }
}

bool IsValid(const std::uint64_t* validity, idx_t row) {
  return validity == nullptr || ((validity[row / 64] >> (row % 64)) & 1U) != 0;
}

class ColumnarReader {
 public:
  // source: what gives the rows, as SQL names it after FROM.
  ColumnarReader(const ForeignFile& file, std::string source, RowSink& sink)
      : sink_(sink), source_(std::move(source)), session_(file.threads) {
    session_.Run("SET TimeZone='UTC'");
  }

  DuckDbSession& Session() { return session_; }
  void SetSource(std::string source) { source_ = std::move(source); }

  // trueNames: the names in the file, when DuckDB renames columns; otherwise empty.
  void Read(std::int64_t caseCount, const std::vector<std::string>& trueNames, std::string sidecar) {
    ForeignHeader header;
    header.caseCount = caseCount;
    header.sidecar = std::move(sidecar);
    caseCount_ = caseCount;
    Describe();
    const bool renamed = trueNames.size() == names_.size();
    for (std::size_t i = 0; i < columns_.size(); ++i)
      header.columns.push_back({renamed ? trueNames[i] : names_[i],
                                "",
                                columns_[i].kind,
                                columns_[i].dateUnit,
                                columns_[i].boolean,
                                {},
                                ""});
    sink_.Begin(header);
    ReadInSlices(sink_.ColumnsToRead(), 0, 1);
    const std::vector<std::size_t> again = sink_.ColumnsToRepeat();
    for (const std::size_t i : again) columns_[i] = {"CAST($ AS VARCHAR)", CellKind::kText};
    ReadInSlices(again, 1, 1);
    sink_.End({});
  }

 private:
  void Describe() {
    duckdb_result empty{};
    const std::unique_ptr<duckdb_result, void (*)(duckdb_result*)> owner(&empty, duckdb_destroy_result);
    if (duckdb_query(session_.Connection(), ("SELECT * FROM " + source_ + " LIMIT 0").c_str(), &empty) ==
        DuckDBError)
      throw DuckDbError(duckdb_result_error(&empty));
    for (idx_t i = 0; i < duckdb_column_count(&empty); ++i) {
      names_.emplace_back(duckdb_column_name(&empty, i));
      duckdb_logical_type type = duckdb_column_logical_type(&empty, i);
      char* alias = duckdb_logical_type_get_alias(type);
      columns_.push_back(
          ChooseColumn(duckdb_column_type(&empty, i), alias != nullptr && std::string(alias) == "JSON"));
      duckdb_free(alias);
      duckdb_destroy_logical_type(&type);
    }
    if (names_.size() > kColumnsPerQuery) return;
    for (std::size_t i = 0; i < names_.size(); ++i) alias_ += (i ? ",c" : " AS t(c") + std::to_string(i);
    alias_ += ")";
  }

  // SQL cannot express every name. Where the columns fit into one query, they are numbered
  // instead.
  std::string SelectedName(std::size_t index) const {
    return alias_.empty() ? SqlName(names_[index]) : "c" + std::to_string(index);
  }

  // begin, length: the part of the progress bar.
  void ReadInSlices(const std::vector<std::size_t>& wanted, double begin, double length) {
    const std::size_t slices = (wanted.size() + kColumnsPerQuery - 1) / kColumnsPerQuery;
    for (std::size_t slice = 0; slice < slices; ++slice) {
      const std::size_t first = slice * kColumnsPerQuery;
      const std::size_t count = std::min(kColumnsPerQuery, wanted.size() - first);
      begin_ = begin + length * static_cast<double>(slice) / static_cast<double>(slices);
      length_ = length / static_cast<double>(slices);
      ReadColumns(std::span(wanted).subspan(first, count));
    }
  }

  double Fraction(std::int64_t cases) const {
    if (caseCount_ <= 0) return begin_;
    return begin_ + length_ * static_cast<double>(cases) / static_cast<double>(caseCount_);
  }

  void ReadColumns(std::span<const std::size_t> wanted) {
    std::string sql = "SELECT ";
    for (const std::size_t i : wanted) {
      const std::string& expression = columns_[i].expression;
      const std::size_t place = expression.find('$');
      sql += (i == wanted.front() ? "" : ",") + expression.substr(0, place) + SelectedName(i) +
             expression.substr(place + 1);
    }
    std::int64_t cases = 0;
    const auto take = [&](duckdb_data_chunk chunk) {
      cases += static_cast<std::int64_t>(duckdb_data_chunk_get_size(chunk));
      Deliver(chunk, wanted, Fraction(cases));
    };
    session_.Stream(sql + " FROM " + source_ + alias_, take, [&] { return sink_.Progress(Fraction(cases)); });
    caseCount_ = cases;
  }

  void Deliver(duckdb_data_chunk chunk, std::span<const std::size_t> wanted, double fraction) {
    const idx_t count = duckdb_data_chunk_get_size(chunk);
    BlockLayout layout;
    slices_.clear();
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, i);
      const std::uint64_t* validity = duckdb_vector_get_validity(vector);
      ColumnSlice slice{wanted[i], columns_[wanted[i]].kind};
      if (validity != nullptr) slice.bitmap = layout.Add((count + 7) / 8);
      if (columns_[wanted[i]].copy != nullptr) {
        slice.values = layout.Add(8 * count);
      } else {
        slice.values = layout.Add(8 * (count + 1));
        auto* cells = static_cast<duckdb_string_t*>(duckdb_vector_get_data(vector));
        for (idx_t row = 0; row < count; ++row)
          if (IsValid(validity, row)) slice.byteCount += TextOf(cells[row]).size();
        slice.bytes = layout.Add(slice.byteCount);
      }
      slices_.push_back(slice);
    }
    std::byte* const block = sink_.Buffer(layout.Size());
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, i);
      const std::uint64_t* validity = duckdb_vector_get_validity(vector);
      const ColumnSlice& slice = slices_[i];
      if (validity != nullptr) std::memcpy(block + slice.bitmap, validity, (count + 7) / 8);
      if (columns_[wanted[i]].copy != nullptr)
        columns_[wanted[i]].copy(vector, count, block + slice.values);
      else
        CopyTexts(vector, count, validity, block + slice.values, block + slice.bytes);
    }
    sink_.Deliver(slices_, static_cast<std::int64_t>(count), fraction);
  }

  static void CopyTexts(duckdb_vector vector, idx_t count, const std::uint64_t* validity, std::byte* offsets,
                        std::byte* bytes) {
    auto* cells = static_cast<duckdb_string_t*>(duckdb_vector_get_data(vector));
    auto* const ends = reinterpret_cast<std::uint64_t*>(offsets);
    std::uint64_t end = 0;
    ends[0] = 0;
    for (idx_t row = 0; row < count; ++row) {
      if (IsValid(validity, row)) {
        const std::string_view text = TextOf(cells[row]);
        std::memcpy(bytes + end, text.data(), text.size());
        end += text.size();
      }
      ends[row + 1] = end;
    }
  }

  RowSink& sink_;
  std::string source_;
  std::string alias_;  // of SQL, numbers the columns; empty in wide files
  DuckDbSession session_;
  std::vector<std::string> names_;  // as DuckDB calls them
  std::vector<SourceColumn> columns_;
  std::vector<ColumnSlice> slices_;
  std::int64_t caseCount_ = -1;
  double begin_ = 0;
  double length_ = 1;
};

// The names of the top-level columns as the file has them: DuckDB renames those that differ only in
// case.
std::vector<std::string> ParquetNames(DuckDbSession& session, const std::string& literal) {
  std::vector<std::string> names;
  std::vector<std::int64_t> open;  // children still to come of each open group
  bool root = true;
  session.Rows("SELECT name, num_children FROM parquet_schema(" + literal + ")",
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

// The number of the first line that is neither blank nor a JSON object in UTF-8, or 0. DuckDB's own
// line numbers depend on how it divides the file among its threads.
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

DataError CannotRead(const ForeignFile& file, std::string_view reason) {
  return DuckDbCannotRead(file.openPath, file.path, reason);
}

}  // namespace

void ReadParquet(const ForeignFile& file, RowSink& sink) {
  const std::string literal = SqlPath(file.openPath);
  try {
    ColumnarReader reader(file, "read_parquet(" + literal + ", hive_partitioning=false)", sink);
    std::int64_t cases = -1;
    reader.Session().Rows(
        "SELECT sum(num_rows) FROM parquet_file_metadata(" + literal + ")",
        [&](const char* const* texts) { cases = texts[0] != nullptr ? std::atoll(texts[0]) : -1; });
    std::string sidecar;
    reader.Session().Rows(
        "SELECT decode(value) FROM parquet_kv_metadata(" + literal + ") WHERE key = 'velmora'::BLOB",
        [&](const char* const* texts) { sidecar = texts[0] != nullptr ? texts[0] : ""; });
    reader.Read(cases, ParquetNames(reader.Session(), literal), std::move(sidecar));
  } catch (const DuckDbError& error) {
    throw CannotRead(file, error.what());
  }
}

void ReadJson(const ForeignFile& file, RowSink& sink) {
  const bool newlineDelimited = file.extension != "json";
  const std::uintmax_t objectSize = std::clamp(std::filesystem::file_size(PathOf(file.openPath)) + 1,
                                               kSmallestJsonObject, kLargestJsonObject);
  try {
    ColumnarReader reader(file,
                          "read_json(" + SqlPath(file.openPath) +
                              ", format=" + (newlineDelimited ? "'newline_delimited'" : "'auto'") +
                              ", records=true, sample_size=-1, convert_strings_to_integers=false" +
                              ", compression='uncompressed', maximum_depth=" + std::to_string(kJsonDepth) +
                              ", maximum_object_size=" + std::to_string(objectSize) +
                              ", hive_partitioning=false)",
                          sink);
    reader.Read(-1, {}, "");
  } catch (const DuckDbError& error) {
    const std::string_view message = error.what();
    // A transform error already names the line and the value that does not fit into a number; the
    // lines are then objects.
    if (newlineDelimited && message.find("transform error") == std::string_view::npos)
      if (const std::int64_t line = FirstBadJsonLine(file.openPath); line > 0)
        throw DataError("Cannot read " + file.path + ": line " + std::to_string(line) +
                        " is not a JSON object.");
    if (message.find("non-record") != std::string_view::npos)
      throw DataError("Cannot read " + file.path + ": it holds no objects with named values.");
    throw CannotRead(file, message);
  }
}

void ReadDuckDb(const ForeignFile& file, RowSink& sink) {
  try {
    ColumnarReader reader(file, "", sink);
    const std::vector<TableName> tables = AttachDuckDbFile(reader.Session(), file.openPath, file.path, false);
    reader.SetSource(RowSource(file, tables, SqlName));
    reader.Read(-1, {}, "");
  } catch (const DuckDbError& failure) {
    throw CannotRead(file, failure.what());
  }
}

void ReadQuery(const ForeignFile& file, RowSink& sink) {
  try {
    ColumnarReader reader(file, RowSource(file, {}, SqlName), sink);
    reader.Read(-1, {}, "");
  } catch (const DuckDbError& failure) {
    throw CannotRead(file, failure.what());
  }
}

}  // namespace velmora
