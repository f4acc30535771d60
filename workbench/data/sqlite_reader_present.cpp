// SQLite databases. A column's cells may be of any type, so a first pass over the rows finds out
// which types each column has, and a second one delivers them.
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "workbench/data/csv_text.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/row_blocks.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr int kRowsPerTick = 4096;

class SqliteReader {
 public:
  SqliteReader(const ForeignFile& file, RowSink& sink) : file_(file), sink_(sink) {
    RequireWholeFile();
    sqlite3* database = nullptr;
    // Reads only this file, without a journal beside it, and writes nothing.
    const int code =
        sqlite3_open_v2(Uri().c_str(), &database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    database_.reset(database);
    if (code != SQLITE_OK) Fail();
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_progress_handler(database, 100000, OnProgress, this);
  }

  void Read() {
    Statement rows = Prepare("SELECT * FROM " + RowSource(file_, Tables(), SqlName));
    const ForeignHeader header = Survey(rows.get());
    RowBlocks blocks(file_.path, header, sink_);
    std::vector<std::size_t> wanted;
    for (std::size_t i = 0; i < header.columns.size(); ++i)
      if (header.columns[i].kind != CellKind::kLeftOut) wanted.push_back(i);
    Deliver(rows.get(), wanted, header, false, blocks);
    const std::vector<std::size_t> again = sink_.ColumnsToRepeat();
    blocks.Repeat(again);
    if (!again.empty()) Deliver(rows.get(), again, header, true, blocks);
    sink_.End({});
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

  // A second file holds changes that a program has not yet copied into this one.
  void RequireWholeFile() const {
    std::error_code error;
    const std::string log = file_.path + "-wal";
    if (std::filesystem::file_size(PathOf(log), error) > 0 && !error)
      throw DataError("Cannot read " + file_.path + ": " + log +
                      " holds changes that are not in it yet; close the program that writes to it first.");
  }

  std::string Uri() const {
    std::string uri = "file:";
    for (const char c : file_.openPath) {
      if (c == '?' || c == '#' || c == '%') {
        constexpr char kDigits[] = "0123456789ABCDEF";
        uri += '%';
        uri += kDigits[static_cast<unsigned char>(c) / 16];
        uri += kDigits[static_cast<unsigned char>(c) % 16];
      } else {
        uri += c;
      }
    }
    return uri + "?immutable=1";
  }

  static int OnProgress(void* context) {
    return static_cast<SqliteReader*>(context)->sink_.Progress(0) ? 0 : 1;
  }

  [[noreturn]] void Fail() const {
    if (sqlite3_errcode(database_.get()) == SQLITE_INTERRUPT) throw Cancelled();
    throw DataError("Cannot read " + file_.path + ": " + sqlite3_errmsg(database_.get()) + ".");
  }

  Statement Prepare(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) Fail();
    return Statement(statement);
  }

  bool Step(sqlite3_stmt* statement) const {
    const int code = sqlite3_step(statement);
    if (code != SQLITE_ROW && code != SQLITE_DONE) Fail();
    return code == SQLITE_ROW;
  }

  std::vector<TableName> Tables() const {
    std::vector<TableName> tables;
    const Statement names = Prepare(
        "SELECT name FROM sqlite_schema WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite\\_%' "
        "ESCAPE '\\' "
        "ORDER BY rowid");
    while (Step(names.get())) tables.push_back({"", std::string(Text(names.get(), 0))});
    return tables;
  }

  static std::string_view Text(sqlite3_stmt* row, int column) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return {text != nullptr ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, column))};
  }

  ForeignHeader Survey(sqlite3_stmt* rows) {
    const int count = sqlite3_column_count(rows);
    ForeignHeader header;
    header.caseCount = 0;
    std::vector<unsigned> seen(static_cast<std::size_t>(count));
    std::vector<bool> beyondOne(seen.size());
    while (Step(rows)) {
      ++header.caseCount;
      for (int i = 0; i < count; ++i) {
        const int type = sqlite3_column_type(rows, i);
        const auto index = static_cast<std::size_t>(i);
        seen[index] |= 1U << type;
        if (type == SQLITE_INTEGER && (sqlite3_column_int64(rows, i) & ~sqlite3_int64{1}) != 0)
          beyondOne[index] = true;
      }
    }
    for (int i = 0; i < count; ++i) {
      const auto index = static_cast<std::size_t>(i);
      ForeignColumn column;
      column.name = sqlite3_column_name(rows, i);
      const char* const declared = sqlite3_column_decltype(rows, i);
      column.boolean = declared != nullptr && sqlite3_strnicmp(declared, "BOOL", 4) == 0 &&
                       (seen[index] & ~(1U << SQLITE_NULL)) == 1U << SQLITE_INTEGER && !beyondOne[index];
      column.kind = KindOf(seen[index]);
      header.columns.push_back(std::move(column));
    }
    sqlite3_reset(rows);
    return header;
  }

  static CellKind KindOf(unsigned seen) {
    const auto has = [&](int type) { return (seen & (1U << type)) != 0; };
    if (has(SQLITE_TEXT))
      return has(SQLITE_INTEGER) || has(SQLITE_FLOAT) ? CellKind::kDigits : CellKind::kText;
    if (has(SQLITE_FLOAT)) return CellKind::kNumber;
    if (has(SQLITE_INTEGER)) return CellKind::kWhole;
    return has(SQLITE_BLOB) ? CellKind::kLeftOut : CellKind::kNumber;
  }

  void Deliver(sqlite3_stmt* rows, const std::vector<std::size_t>& wanted, const ForeignHeader& header,
               bool asText, RowBlocks& blocks) {
    std::int64_t row = 0;
    const auto expected = static_cast<double>(std::max<std::int64_t>(header.caseCount, 1));
    while (Step(rows)) {
      for (const std::size_t i : wanted)
        AddCell(rows, i, asText ? CellKind::kText : header.columns[i].kind, blocks);
      const double fraction = static_cast<double>(++row) / expected;
      if (row % kRowsPerTick == 0 && !sink_.Progress(fraction)) throw Cancelled();
      blocks.EndRow(fraction);
    }
    blocks.Flush(1);
    sqlite3_reset(rows);
  }

  void AddCell(sqlite3_stmt* row, std::size_t index, CellKind kind, RowBlocks& blocks) {
    const auto column = static_cast<int>(index);
    const int type = sqlite3_column_type(row, column);
    if (type == SQLITE_NULL || type == SQLITE_BLOB) return blocks.AddMissing(index);
    if (kind == CellKind::kNumber) return blocks.AddNumber(index, sqlite3_column_double(row, column));
    if (kind == CellKind::kWhole) return blocks.AddWhole(index, sqlite3_column_int64(row, column));
    if (type != SQLITE_FLOAT) return blocks.AddText(index, Text(row, column));
    text_.clear();
    AppendShortestNumber(sqlite3_column_double(row, column), text_);
    blocks.AddText(index, text_);
  }

  const ForeignFile& file_;
  RowSink& sink_;
  std::unique_ptr<sqlite3, Close> database_;
  std::string text_;
};

}  // namespace

bool ReadsDatabases() { return true; }

void ReadSqlite(const ForeignFile& file, RowSink& sink) { SqliteReader(file, sink).Read(); }

}  // namespace velmora
