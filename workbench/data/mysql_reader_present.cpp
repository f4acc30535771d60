// Tables and queries of a MySQL or MariaDB server, through MariaDB's client library, which is
// loaded when it is needed. The server sends texts; the time zone of the connection is UTC.
#include <mysql.h>

#include <memory>
#include <vector>

#include "workbench/data/database_address.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/server_rows.h"
#include "workbench/data/sql_text.h"

namespace velmora {

namespace {

constexpr int kRowsPerTick = 1024;
constexpr unsigned kBytes = 63;  // the character set of columns that hold no texts

// The functions of the client library that are called.
struct Library : ServerLibrary {
  Library() : ServerLibrary("libmariadb.so.3", "tables of MySQL and MariaDB") {}
  VELMORA_SERVER_FUNCTION(mysql_init);
  VELMORA_SERVER_FUNCTION(mysql_options);
  VELMORA_SERVER_FUNCTION(mysql_real_connect);
  VELMORA_SERVER_FUNCTION(mysql_error);
  VELMORA_SERVER_FUNCTION(mysql_errno);
  VELMORA_SERVER_FUNCTION(mysql_close);
  VELMORA_SERVER_FUNCTION(mysql_query);
  VELMORA_SERVER_FUNCTION(mysql_use_result);
  VELMORA_SERVER_FUNCTION(mysql_free_result);
  VELMORA_SERVER_FUNCTION(mysql_num_fields);
  VELMORA_SERVER_FUNCTION(mysql_fetch_fields);
  VELMORA_SERVER_FUNCTION(mysql_fetch_row);
  VELMORA_SERVER_FUNCTION(mysql_fetch_lengths);
};

ForeignColumn DescribeField(const MYSQL_FIELD& field) {
  ForeignColumn column;
  column.name = field.name;
  switch (field.type) {
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_YEAR:
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
      column.kind = CellKind::kNumber;
      break;
    case MYSQL_TYPE_LONGLONG:
      column.kind = (field.flags & UNSIGNED_FLAG) != 0 ? CellKind::kDigits : CellKind::kWhole;
      break;
    case MYSQL_TYPE_DECIMAL:
    case MYSQL_TYPE_NEWDECIMAL:
      column.kind = CellKind::kDigits;
      break;
    case MYSQL_TYPE_DATE:
    case MYSQL_TYPE_NEWDATE:
      column.kind = CellKind::kNumber;
      column.dateUnit = DateUnit::kDays;
      break;
    case MYSQL_TYPE_DATETIME:
    case MYSQL_TYPE_TIMESTAMP:
      column.kind = CellKind::kNumber;
      column.dateUnit = DateUnit::kSeconds;
      break;
    case MYSQL_TYPE_BIT:
    case MYSQL_TYPE_GEOMETRY:
      column.kind = CellKind::kLeftOut;
      break;
    case MYSQL_TYPE_TIME:
      column.kind = CellKind::kText;
      break;
    default:
      column.kind = field.charsetnr == kBytes ? CellKind::kLeftOut : CellKind::kText;
      break;
  }
  return column;
}

class MySqlReader {
 public:
  MySqlReader(const ForeignFile& file, RowSink& sink)
      : file_(file), sink_(sink), connection_(library_.mysql_init(nullptr), library_.mysql_close) {
    if (!connection_) throw std::bad_alloc();
    const DatabaseAddress address = ParseDatabaseAddress(file.openPath);
    const auto orNull = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
    library_.mysql_options(connection_.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
    library_.mysql_options(connection_.get(), MYSQL_READ_DEFAULT_GROUP, "client");
    if (library_.mysql_real_connect(connection_.get(), orNull(address.host), orNull(address.user),
                                    orNull(address.password), orNull(address.database),
                                    static_cast<unsigned>(address.port), nullptr, 0) == nullptr)
      Fail();
    Execute("SET time_zone = '+00:00'");
    // Both passes see the same rows, and neither changes any.
    Execute("SET TRANSACTION ISOLATION LEVEL REPEATABLE READ");
    Execute("START TRANSACTION READ ONLY");
  }

  void Read() {
    const std::string source =
        RowSource(file_, file_.part.query.empty() ? Tables() : std::vector<TableName>(), MySqlName);
    Result rows = Query("SELECT * FROM " + source + " AS t");
    ForeignHeader header;
    std::vector<std::size_t> wanted;
    for (unsigned i = 0; i < library_.mysql_num_fields(rows.get()); ++i) {
      header.columns.push_back(DescribeField(library_.mysql_fetch_fields(rows.get())[i]));
      if (header.columns.back().kind != CellKind::kLeftOut) wanted.push_back(i);
    }
    RowBlocks blocks(file_.path, header, sink_);
    Deliver(rows.get(), wanted, header, false, blocks);
    const std::vector<std::size_t> again = sink_.ColumnsToRepeat();
    blocks.Repeat(again);
    if (!again.empty()) {
      rows.reset();
      rows = Query("SELECT * FROM " + source + " AS t");
      Deliver(rows.get(), again, header, true, blocks);
    }
    sink_.End({});
  }

 private:
  using Result = std::unique_ptr<MYSQL_RES, decltype(&::mysql_free_result)>;

  [[noreturn]] void Fail() const {
    std::string reason = library_.mysql_error(connection_.get());
    while (!reason.empty() && reason.back() == '.') reason.pop_back();
    throw DataError("Cannot read " + file_.path + ": " + reason + ".");
  }

  void Execute(const char* sql) const {
    if (library_.mysql_query(connection_.get(), sql) != 0) Fail();
  }

  Result Query(const std::string& sql) const {
    Execute(sql.c_str());
    Result result(library_.mysql_use_result(connection_.get()), library_.mysql_free_result);
    if (!result) Fail();
    return result;
  }

  std::vector<TableName> Tables() const {
    const Result names = Query(
        "SELECT table_schema, table_name FROM information_schema.tables WHERE table_schema = database() "
        "ORDER BY 2");
    std::vector<TableName> tables;
    while (MYSQL_ROW row = library_.mysql_fetch_row(names.get())) tables.push_back({row[0], row[1]});
    return tables;
  }

  void Deliver(MYSQL_RES* rows, const std::vector<std::size_t>& wanted, const ForeignHeader& header,
               bool asText, RowBlocks& blocks) {
    std::int64_t count = 0;
    while (MYSQL_ROW row = library_.mysql_fetch_row(rows)) {
      const unsigned long* const lengths = library_.mysql_fetch_lengths(rows);
      for (const std::size_t i : wanted) {
        if (row[i] == nullptr)
          blocks.AddMissing(i);
        else
          AddServerCell(header.columns[i], asText, i, {row[i], lengths[i]}, blocks);
      }
      blocks.EndRow(0);
      if (++count % kRowsPerTick == 0 && !sink_.Progress(0)) throw Cancelled();
    }
    if (library_.mysql_errno(connection_.get()) != 0) Fail();
    blocks.Flush(1);
  }

  Library library_;
  const ForeignFile& file_;
  RowSink& sink_;
  std::unique_ptr<MYSQL, decltype(&::mysql_close)> connection_;
};

}  // namespace

void ReadMySql(const ForeignFile& file, RowSink& sink) { MySqlReader(file, sink).Read(); }

}  // namespace velmora
