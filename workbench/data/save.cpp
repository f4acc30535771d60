#include "workbench/data/save.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <filesystem>
#include <span>
#include <thread>
#include <unordered_set>

#include "workbench/data/atomic_file.h"
#include "workbench/data/column_store.h"
#include "workbench/data/csv_text.h"
#include "workbench/data/date_text.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/file_kinds.h"
#include "workbench/data/spreadsheet_csv.h"
#include "workbench/data/table_sidecar.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

// How the cells of a column are written. kLevel: as texts that are all among the labels.
enum class CellForm { kNumber, kText, kLevel, kBoolean, kDate, kDateTime };

// Enough for every list of levels, and few enough for a number of two bytes.
constexpr std::size_t kMostLevels = 65535;

bool ReadsBack(double value, DateUnit unit) {
  if (!InCalendar(value, unit)) return false;
  if (unit == DateUnit::kDays) return value == std::floor(value);
  const auto back = ParseIsoDateTime(IsoDateTime(value));
  return back && *back == value;
}

// Dates whose text would not read back to the last bit are written as numbers.
CellForm FormOf(const Column& column) {
  if (column.fromText) return CellForm::kText;
  if (column.fromBoolean) return CellForm::kBoolean;
  if (column.dateUnit == DateUnit::kNone) return CellForm::kNumber;
  const MissingRange missing(column.missingCode);
  const bool all = std::all_of(column.values.begin(), column.values.end(), [&](double value) {
    return missing.Contains(value) || ReadsBack(value, column.dateUnit);
  });
  if (!all) return CellForm::kNumber;
  return column.dateUnit == DateUnit::kDays ? CellForm::kDate : CellForm::kDateTime;
}

// The label of a code. Most text columns have the codes 1..k, so the look-up is a subscript.
const std::string* TextOfCode(const Column& column, double value) {
  if (value >= 1 && value <= static_cast<double>(column.labels.size())) {
    const ValueLabel& guess = column.labels[static_cast<std::size_t>(value) - 1];
    if (guess.value == value) return &guess.text;
  }
  return column.LabelOf(value);
}

// Whether the column holds texts that fit into a dictionary.
bool IsOfLevels(const Column& column) {
  if (column.labels.size() > kMostLevels) return false;
  std::unordered_set<std::string_view> texts;
  for (std::size_t i = 0; i < column.labels.size(); ++i) {
    const std::string& text = column.labels[i].text;
    if (column.labels[i].value != static_cast<double>(i) + 1 || !texts.insert(text).second ||
        text.find('\0') != std::string::npos)
      return false;
  }
  const MissingRange missing(column.missingCode);
  const auto most = static_cast<double>(column.labels.size());
  return std::all_of(column.values.begin(), column.values.end(), [&](double value) {
    return missing.Contains(value) || (value >= 1 && value <= most && value == std::floor(value));
  });
}

void AppendCell(const Column& column, CellForm form, double value, char delimiter, std::string& out) {
  switch (form) {
    case CellForm::kText:
    case CellForm::kLevel:
      if (const std::string* text = TextOfCode(column, value)) return AppendCsvField(*text, delimiter, out);
      return AppendShortestNumber(value, out);
    case CellForm::kDate:
      out += IsoDate(value);
      return;
    case CellForm::kDateTime:
      out += IsoDateTime(value);
      return;
    case CellForm::kBoolean:
    case CellForm::kNumber:
      return AppendShortestNumber(value, out);
  }
}

// Gives back the memory of stored columns while their rows are written.
class WrittenRows {
 public:
  explicit WrittenRows(const Table& table) : table_(table) { Release(); }
  ~WrittenRows() { Release(); }
  WrittenRows(const WrittenRows&) = delete;
  WrittenRows& operator=(const WrittenRows&) = delete;

  void UpTo(std::int64_t row) {
    if (row < next_) return;
    Release();
    next_ = row + rows_;
  }

 private:
  void Release() const {
    for (const Column& column : table_.columns) column.values.Release();
  }

  const Table& table_;
  std::int64_t rows_ = static_cast<std::int64_t>(kCellsHeld / table_.columns.size()) + 1;
  std::int64_t next_ = rows_;
};

// write gets the fraction of the cases that its piece ends with.
using WritePiece = std::function<void(std::string_view bytes, double fraction)>;

void WriteDelimited(const Table& table, char delimiter, bool forSpreadsheet, const WritePiece& write) {
  const auto writeRows = [&](const std::string& rows, double fraction) {
    write(forSpreadsheet ? SpreadsheetCsv(rows, delimiter) : rows, fraction);
  };
  constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
  std::string out;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (i > 0) out += delimiter;
    AppendCsvField(table.columns[i].name, delimiter, out);
  }
  out += '\n';
  std::vector<CellForm> forms;
  std::vector<MissingRange> missing;
  for (const Column& column : table.columns) {
    forms.push_back(FormOf(column));
    missing.emplace_back(column.missingCode);
    column.values.Release();
  }
  WrittenRows release(table);
  for (std::int64_t row = 0; row < table.caseCount; ++row) {
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (i > 0) out += delimiter;
      const double value = table.columns[i].values[static_cast<std::size_t>(row)];
      if (!missing[i].Contains(value)) AppendCell(table.columns[i], forms[i], value, delimiter, out);
    }
    out += '\n';
    if (out.size() < kPieceBytes) continue;
    writeRows(out, static_cast<double>(row + 1) / static_cast<double>(table.caseCount));
    out.clear();
    release.UpTo(row);
  }
  writeRows(out, 1);
}

bool Continues(const SaveTableOptions& options, double fraction) {
  return !options.progress || options.progress(fraction);
}

void SaveDelimited(const Table& table, const std::string& path, char delimiter,
                   const SaveTableOptions& options) {
  AtomicFile file(path, options.shownPath);
  WriteDelimited(table, delimiter, options.forSpreadsheet, [&](std::string_view bytes, double fraction) {
    file.Write(bytes);
    if (!Continues(options, fraction)) throw Cancelled();
  });
  // Both files are complete on the disk before either takes its place.
  file.Close();
  const std::string sidecar = PrintSidecar(table, false);
  const std::string sidecarPath = SidecarPath(path);
  if (sidecar.empty()) {
    file.Commit();
    std::error_code code;
    std::filesystem::remove(PathOf(sidecarPath), code);
    return;
  }
  AtomicFile sidecarFile(sidecarPath, SidecarPath(file.ShownPath()));
  sidecarFile.Write(sidecar);
  sidecarFile.Close();
  if (!Continues(options, 1)) throw Cancelled();
  file.Commit();
  sidecarFile.Commit();
}

// DuckDB pulls the table through a table function, chunk by chunk, so there is never a second copy
// of it.
struct ParquetSource {
  ParquetSource(const Table& saved, const SaveTableOptions& saveOptions)
      : table(&saved), options(&saveOptions), written(saved) {}

  const Table* table;
  std::vector<CellForm> forms;
  const SaveTableOptions* options;
  std::thread::id owner = std::this_thread::get_id();  // progress is reported only on this thread
  WrittenRows written;
  std::atomic<std::int64_t> nextCase = 0;
  bool cancelled = false;
  std::int64_t madeCases = 0;  // of the maker's columns
  std::exception_ptr failure;  // of the maker

  double Fraction() const { return static_cast<double>(nextCase) / static_cast<double>(table->caseCount); }
};

duckdb_logical_type ParquetType(CellForm form, const Column& column) {
  switch (form) {
    case CellForm::kLevel: {
      std::vector<const char*> texts;
      for (const ValueLabel& label : column.labels) texts.push_back(label.text.c_str());
      return duckdb_create_enum_type(texts.data(), texts.size());
    }
    case CellForm::kText:
      return duckdb_create_logical_type(DUCKDB_TYPE_VARCHAR);
    case CellForm::kBoolean:
      return duckdb_create_logical_type(DUCKDB_TYPE_BOOLEAN);
    case CellForm::kDate:
      return duckdb_create_logical_type(DUCKDB_TYPE_DATE);
    case CellForm::kDateTime:
      return duckdb_create_logical_type(DUCKDB_TYPE_TIMESTAMP);
    case CellForm::kNumber:
      break;
  }
  return duckdb_create_logical_type(DUCKDB_TYPE_DOUBLE);
}

void BindSource(duckdb_bind_info info) {
  const auto& source = *static_cast<ParquetSource*>(duckdb_bind_get_extra_info(info));
  for (std::size_t i = 0; i < source.forms.size(); ++i) {
    duckdb_logical_type type = ParquetType(source.forms[i], source.table->columns[i]);
    duckdb_bind_add_result_column(info, ("c" + std::to_string(i)).c_str(), type);
    duckdb_destroy_logical_type(&type);
  }
  duckdb_bind_set_cardinality(info, static_cast<idx_t>(source.table->caseCount), true);
}

void InitSource(duckdb_init_info info) { duckdb_init_set_max_threads(info, 1); }

void WriteText(const Column& column, double value, duckdb_vector vector, idx_t row) {
  if (const std::string* text = TextOfCode(column, value)) {
    duckdb_vector_assign_string_element_len(vector, row, text->data(), text->size());
  } else {
    std::string number;
    AppendShortestNumber(value, number);
    duckdb_vector_assign_string_element_len(vector, row, number.data(), number.size());
  }
}

// Calls write(row, value) for the values that are not missing, and marks the others.
template <class Write>
void FillValues(const Column& column, std::span<const double> values, duckdb_vector vector, Write write) {
  const MissingRange missing(column.missingCode);
  std::uint64_t* validity = nullptr;
  for (std::size_t row = 0; row < values.size(); ++row) {
    if (!missing.Contains(values[row])) {
      write(row, values[row]);
      continue;
    }
    if (validity == nullptr) {
      duckdb_vector_ensure_validity_writable(vector);
      validity = duckdb_vector_get_validity(vector);
    }
    duckdb_validity_set_row_invalid(validity, row);
  }
}

template <class Cell>
void FillLevels(const Column& column, std::span<const double> values, duckdb_vector vector) {
  auto* const cells = static_cast<Cell*>(duckdb_vector_get_data(vector));
  FillValues(column, values, vector,
             [cells](std::size_t row, double value) { cells[row] = static_cast<Cell>(value - 1); });
}

void FillVector(const Column& column, CellForm form, std::span<const double> values, duckdb_vector vector) {
  void* const data = duckdb_vector_get_data(vector);
  switch (form) {
    case CellForm::kNumber:
      return FillValues(
          column, values, vector,
          [cells = static_cast<double*>(data)](std::size_t row, double value) { cells[row] = value; });
    case CellForm::kLevel:
      // DuckDB chooses the width like this.
      if (column.labels.size() <= 255) return FillLevels<std::uint8_t>(column, values, vector);
      return FillLevels<std::uint16_t>(column, values, vector);
    case CellForm::kText:
      return FillValues(column, values, vector,
                        [&](std::size_t row, double value) { WriteText(column, value, vector, row); });
    case CellForm::kBoolean:
      return FillValues(
          column, values, vector,
          [cells = static_cast<bool*>(data)](std::size_t row, double value) { cells[row] = value != 0; });
    case CellForm::kDate:
      return FillValues(column, values, vector,
                        [cells = static_cast<duckdb_date*>(data)](std::size_t row, double value) {
                          cells[row].days = static_cast<std::int32_t>(value);
                        });
    case CellForm::kDateTime:
      return FillValues(column, values, vector,
                        [cells = static_cast<duckdb_timestamp*>(data)](std::size_t row, double value) {
                          cells[row].micros = std::llround(value * 1e6);
                        });
  }
}

// Has the next rows made where those that are have all been written.
void MakeRows(ParquetSource& source) {
  if (source.options->maker == nullptr || source.nextCase < source.madeCases) return;
  const std::int64_t count =
      std::min<std::int64_t>(RowMaker::kMostRows, source.table->caseCount - source.nextCase);
  if (count > 0) source.options->maker->Make(source.nextCase, static_cast<std::size_t>(count));
  source.madeCases = source.nextCase + count;
}

void FillChunk(duckdb_function_info info, duckdb_data_chunk chunk) {
  auto& source = *static_cast<ParquetSource*>(duckdb_function_get_extra_info(info));
  // DuckDB may run the whole query on the thread that waits for it.
  if (std::this_thread::get_id() == source.owner && !Continues(*source.options, source.Fraction())) {
    source.cancelled = true;
    return duckdb_function_set_error(info, "cancelled");
  }
  try {
    MakeRows(source);
  } catch (...) {
    source.failure = std::current_exception();
    return duckdb_function_set_error(info, "no rows");
  }
  const RowMaker* const maker = source.options->maker;
  const std::int64_t first = source.nextCase;
  const std::int64_t end = maker != nullptr ? source.madeCases : source.table->caseCount;
  const std::int64_t count =
      std::min<std::int64_t>(static_cast<std::int64_t>(duckdb_vector_size()), end - first);
  for (std::size_t i = 0; i < source.forms.size(); ++i) {
    const Column& column = source.table->columns[i];
    std::span<const double> values;
    if (maker != nullptr) values = maker->Rows(i);
    if (values.empty())
      values = {column.values.data() + first, static_cast<std::size_t>(count)};
    else
      values = values.last(static_cast<std::size_t>(end - first)).first(static_cast<std::size_t>(count));
    FillVector(column, source.forms[i], values, duckdb_data_chunk_get_vector(chunk, i));
  }
  source.written.UpTo(source.nextCase);
  duckdb_data_chunk_set_size(chunk, static_cast<idx_t>(count));
  source.nextCase += count;
}

// DuckDB takes only UTF-8 paths, but a file's name need not be UTF-8: DuckDB gets another name of
// the open file, if the system has one.
class WritablePath {
 public:
  explicit WritablePath(const std::string& path) : file_(OpenFile(PathOf(path), "r+b")) {
    if (file_ != nullptr) name_ = NameOfOpenFile(file_);
    if (!name_.empty()) return;
    // DuckDB opens the file by its path, which some systems refuse while it is open here.
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    name_ = AbsolutePath(PathOf(path)).string();
  }
  WritablePath(const WritablePath&) = delete;
  WritablePath& operator=(const WritablePath&) = delete;
  ~WritablePath() {
    if (file_ != nullptr) std::fclose(file_);
  }
  const std::string& Name() const { return name_; }

 private:
  std::FILE* file_;
  std::string name_;
};

// DuckDB holds the rows of a group in memory until the group is complete: its default number of
// rows, but fewer for wide tables.
std::size_t RowsPerGroup(std::size_t columns) {
  constexpr std::size_t kMostRows = 122880, kFewestRows = 2048, kMostCells = std::size_t{1} << 22;
  return std::clamp(kMostCells / columns, kFewestRows, kMostRows);
}

std::string CopySql(const Table& table, const std::string& target) {
  std::string sql = "COPY (SELECT ";
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    sql += (i ? ",c" : "c") + std::to_string(i) + " AS " + SqlName(table.columns[i].name);
  sql += " FROM table_to_save()) TO " + SqlText(target) + " (FORMAT parquet, USE_TMP_FILE false";
  sql += ", ROW_GROUP_SIZE " + std::to_string(RowsPerGroup(table.columns.size()));
  const std::string sidecar = PrintSidecar(table, true);
  if (!sidecar.empty()) sql += ", KV_METADATA {velmora: " + SqlText(sidecar) + "}";
  return sql + ")";
}

void RegisterSource(DuckDbSession& session, ParquetSource& source) {
  duckdb_table_function function = duckdb_create_table_function();
  duckdb_table_function_set_name(function, "table_to_save");
  duckdb_table_function_set_extra_info(function, &source, nullptr);
  duckdb_table_function_set_bind(function, BindSource);
  duckdb_table_function_set_init(function, InitSource);
  duckdb_table_function_set_function(function, FillChunk);
  const duckdb_state state = duckdb_register_table_function(session.Connection(), function);
  duckdb_destroy_table_function(&function);
  if (state == DuckDBError) throw DuckDbError("the table cannot be handed over");
}

void SaveParquet(const Table& table, const std::string& path, const SaveTableOptions& options) {
  ParquetSource source(table, options);
  for (const Column& column : table.columns) {
    const CellForm form = FormOf(column);
    source.forms.push_back(form == CellForm::kText && IsOfLevels(column) ? CellForm::kLevel : form);
    column.values.Release();
  }
  AtomicFile file(path, options.shownPath);
  file.Close();
  {
    const WritablePath target(file.TemporaryPath());
    try {
      DuckDbSession session(0);
      RegisterSource(session, source);
      session.Stream(
          CopySql(table, target.Name()), [](duckdb_data_chunk) {},
          [&] { return Continues(options, source.Fraction()); });
    } catch (const DuckDbError& error) {
      if (source.cancelled) throw Cancelled();
      if (source.failure) std::rethrow_exception(source.failure);
      std::string reason = error.what();
      if (const std::size_t at = reason.find(target.Name()); at != std::string::npos)
        reason.replace(at, target.Name().size(), file.ShownPath());
      reason.erase(reason.find_last_not_of(".\r\n ") + 1);  // the end of the system's sentence
      throw DataError("Cannot write " + file.ShownPath() + ": " + reason + ".");
    }
  }
  // DuckDB's threads may have written the rest while this one waited.
  if (!Continues(options, 1)) throw Cancelled();
  file.Commit();
}

enum class SaveFormat { kNone, kCsv, kTsv, kParquet };

SaveFormat FormatOfName(const std::string& path) {
  const std::string extension = LowerExtension(path);
  if (extension == "csv") return SaveFormat::kCsv;
  if (extension == "tsv") return SaveFormat::kTsv;
  return extension == "parquet" ? SaveFormat::kParquet : SaveFormat::kNone;
}

}  // namespace

void WriteCsv(const Table& table, bool forSpreadsheet, const std::function<void(std::string_view)>& write) {
  WriteDelimited(table, ',', forSpreadsheet, [&](std::string_view bytes, double) { write(bytes); });
}

std::vector<std::string> WritableExtensions() { return {".csv", ".parquet", ".tsv"}; }

void CheckSavable(const std::string& path) {
  if (FormatOfName(path) != SaveFormat::kNone) return;
  throw DataError("The name " + path +
                  " does not say how to write a table; it has to end with .csv, .tsv or .parquet.");
}

void SaveTable(const Table& table, const std::string& path, const SaveTableOptions& options) {
  const std::string& shown = options.shownPath.empty() ? path : options.shownPath;
  RequirePath(path);
  if (table.columns.empty()) throw DataError("Cannot write " + shown + ": the table has no variables.");
  for (const Column& column : table.columns)
    if (column.name.find('\0') != std::string::npos)
      throw DataError("Cannot write " + shown + ": the name of a variable holds a NUL character.");
  CheckSavable(path);
  const SaveFormat format = FormatOfName(path);
  if (format == SaveFormat::kParquet) return SaveParquet(table, path, options);
  SaveDelimited(table, path, format == SaveFormat::kCsv ? ',' : '\t', options);
}

}  // namespace velmora
