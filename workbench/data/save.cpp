#include "workbench/data/save.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <thread>

#include "workbench/data/atomic_file.h"
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

// How the cells of a column are written.
enum class CellForm { kNumber, kText, kBoolean, kDate, kDateTime };

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

void AppendCell(const Column& column, CellForm form, double value, char delimiter, std::string& out) {
  switch (form) {
    case CellForm::kText:
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
  }
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
  const Table* table;
  std::vector<CellForm> forms;
  const SaveTableOptions* options;
  std::thread::id owner;  // the only thread that progress is reported on
  std::atomic<std::int64_t> nextCase = 0;
  bool cancelled = false;

  double Fraction() const { return static_cast<double>(nextCase) / static_cast<double>(table->caseCount); }
};

duckdb_type ParquetType(CellForm form) {
  switch (form) {
    case CellForm::kText:
      return DUCKDB_TYPE_VARCHAR;
    case CellForm::kBoolean:
      return DUCKDB_TYPE_BOOLEAN;
    case CellForm::kDate:
      return DUCKDB_TYPE_DATE;
    case CellForm::kDateTime:
      return DUCKDB_TYPE_TIMESTAMP;
    case CellForm::kNumber:
      break;
  }
  return DUCKDB_TYPE_DOUBLE;
}

void BindSource(duckdb_bind_info info) {
  const auto& source = *static_cast<ParquetSource*>(duckdb_bind_get_extra_info(info));
  for (std::size_t i = 0; i < source.forms.size(); ++i) {
    duckdb_logical_type type = duckdb_create_logical_type(ParquetType(source.forms[i]));
    duckdb_bind_add_result_column(info, ("c" + std::to_string(i)).c_str(), type);
    duckdb_destroy_logical_type(&type);
  }
  duckdb_bind_set_cardinality(info, static_cast<idx_t>(source.table->caseCount), true);
}

void InitSource(duckdb_init_info info) { duckdb_init_set_max_threads(info, 1); }

void WriteCell(const Column& column, CellForm form, double value, duckdb_vector vector, idx_t row) {
  void* data = duckdb_vector_get_data(vector);
  switch (form) {
    case CellForm::kNumber:
      static_cast<double*>(data)[row] = value;
      return;
    case CellForm::kBoolean:
      static_cast<bool*>(data)[row] = value != 0;
      return;
    case CellForm::kDate:
      static_cast<duckdb_date*>(data)[row].days = static_cast<std::int32_t>(value);
      return;
    case CellForm::kDateTime:
      static_cast<duckdb_timestamp*>(data)[row].micros = std::llround(value * 1e6);
      return;
    case CellForm::kText:
      break;
  }
  if (const std::string* text = TextOfCode(column, value)) {
    duckdb_vector_assign_string_element_len(vector, row, text->data(), text->size());
  } else {
    std::string number;
    AppendShortestNumber(value, number);
    duckdb_vector_assign_string_element_len(vector, row, number.data(), number.size());
  }
}

void FillChunk(duckdb_function_info info, duckdb_data_chunk chunk) {
  auto& source = *static_cast<ParquetSource*>(duckdb_function_get_extra_info(info));
  // DuckDB may run the whole query on the thread that waits for it.
  if (std::this_thread::get_id() == source.owner && !Continues(*source.options, source.Fraction())) {
    source.cancelled = true;
    return duckdb_function_set_error(info, "cancelled");
  }
  const std::int64_t count = std::min<std::int64_t>(static_cast<std::int64_t>(duckdb_vector_size()),
                                                    source.table->caseCount - source.nextCase);
  for (std::size_t i = 0; i < source.forms.size(); ++i) {
    const Column& column = source.table->columns[i];
    const MissingRange missing(column.missingCode);
    duckdb_vector vector = duckdb_data_chunk_get_vector(chunk, i);
    std::uint64_t* validity = nullptr;
    for (std::int64_t row = 0; row < count; ++row) {
      const double value = column.values[static_cast<std::size_t>(source.nextCase + row)];
      if (!missing.Contains(value)) {
        WriteCell(column, source.forms[i], value, vector, static_cast<idx_t>(row));
        continue;
      }
      if (validity == nullptr) {
        duckdb_vector_ensure_validity_writable(vector);
        validity = duckdb_vector_get_validity(vector);
      }
      duckdb_validity_set_row_invalid(validity, static_cast<idx_t>(row));
    }
  }
  duckdb_data_chunk_set_size(chunk, static_cast<idx_t>(count));
  source.nextCase += count;
}

// DuckDB takes only UTF-8 for a path, which a file's name need not be: it gets another name for the
// open file, where the system has one.
class WritablePath {
 public:
  explicit WritablePath(const std::string& path) : file_(OpenFile(PathOf(path), "r+b")) {
    if (file_ != nullptr) name_ = NameOfOpenFile(file_);
    if (!name_.empty()) return;
    // DuckDB opens it by its path, and some systems let nobody else have it open then.
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

std::string CopySql(const Table& table, const std::string& target) {
  std::string sql = "COPY (SELECT ";
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    sql += (i ? ",c" : "c") + std::to_string(i) + " AS " + SqlName(table.columns[i].name);
  sql += " FROM table_to_save()) TO " + SqlText(target) + " (FORMAT parquet, USE_TMP_FILE false";
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
  ParquetSource source{&table, {}, &options, std::this_thread::get_id()};
  for (const Column& column : table.columns) source.forms.push_back(FormOf(column));
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
      std::string reason = error.what();
      if (const std::size_t at = reason.find(target.Name()); at != std::string::npos)
        reason.replace(at, target.Name().size(), file.ShownPath());
      reason.erase(reason.find_last_not_of(".\r\n ") + 1);  // ends of the system's own sentence
      throw DataError("Cannot write " + file.ShownPath() + ": " + reason + ".");
    }
  }
  file.Commit();
}

enum class SaveFormat { kNone, kCsv, kTsv, kParquet };

SaveFormat FormatOfName(const std::string& path) {
  std::string extension = PathOf(path).extension().string();
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  if (extension == ".csv") return SaveFormat::kCsv;
  if (extension == ".tsv") return SaveFormat::kTsv;
  return extension == ".parquet" ? SaveFormat::kParquet : SaveFormat::kNone;
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
