// Tables and queries of a PostgreSQL server, through its client library. The server gives every
// column as a text that reads back to the same value: dates as days and points in time as seconds
// since 1970, both counted by the server.
#include <vector>

#include "workbench/data/foreign_file.h"
#include "workbench/data/postgres_session.h"
#include "workbench/data/sql_text.h"

namespace velmora {

namespace {

constexpr int kRowsPerTick = 1024;

// How a column is selected, with $ for its name, and how its texts are read.
struct SourceColumn {
  std::string expression = "$::text";
  CellKind kind = CellKind::kText;
  DateUnit dateUnit = DateUnit::kNone;
  bool boolean = false;
};

// type: the server's number of it (pg_type.dat).
SourceColumn ColumnOfType(Oid type) {
  switch (type) {
    case 16:  // bool
      return {"$::int", CellKind::kNumber, DateUnit::kNone, true};
    case 17:  // bytea
      return {"", CellKind::kLeftOut};
    case 20:  // int8
    case 26:  // oid
      return {"$", CellKind::kWhole};
    case 21:   // int2
    case 23:   // int4
    case 700:  // float4
    case 701:  // float8
      return {"$", CellKind::kNumber};
    case 1700:  // numeric
      return {"$", CellKind::kDigits};
    case 1082:  // date
      return {"CASE WHEN isfinite($) THEN $ - DATE '1970-01-01' END", CellKind::kNumber, DateUnit::kDays};
    case 1114:  // timestamp
    case 1184:  // timestamptz
      return {"CASE WHEN isfinite($) THEN extract(epoch FROM $) END", CellKind::kNumber, DateUnit::kSeconds};
    default:
      return {};
  }
}

class PostgresReader {
 public:
  PostgresReader(const ForeignFile& file, RowSink& sink)
      : file_(file),
        sink_(sink),
        session_(ParseDatabaseAddress(file.openPath).withoutTable, file.path),
        library_(session_.Library()) {
    session_.BeginReading();
  }

  void Read() {
    const std::string source =
        RowSource(file_, file_.part.query.empty() ? session_.Tables() : std::vector<TableName>(), SqlName);
    const PostgresResult empty = session_.Query("SELECT * FROM " + source + " AS t LIMIT 0");
    ForeignHeader header;
    std::vector<std::size_t> wanted;
    for (int i = 0; i < library_.PQnfields(empty.get()); ++i) {
      const SourceColumn column = ColumnOfType(library_.PQftype(empty.get(), i));
      columns_.push_back(column);
      header.columns.push_back(
          {library_.PQfname(empty.get(), i), "", column.kind, column.dateUnit, column.boolean, {}, ""});
      alias_ += (i == 0 ? "c" : ",c") + std::to_string(i);
      if (column.kind != CellKind::kLeftOut) wanted.push_back(static_cast<std::size_t>(i));
    }
    RowBlocks blocks(file_.path, header, sink_);
    Deliver(source, wanted, header, false, blocks);
    const std::vector<std::size_t> again = sink_.ColumnsToRepeat();
    blocks.Repeat(again);
    for (const std::size_t i : again) columns_[i] = {};
    if (!again.empty()) Deliver(source, again, header, true, blocks);
    sink_.End({});
  }

 private:
  std::string Selected(std::size_t index) const {
    std::string selected;
    for (const char c : columns_[index].expression) {
      if (c == '$')
        selected += "c" + std::to_string(index);
      else
        selected += c;
    }
    return selected;
  }

  void Deliver(const std::string& source, const std::vector<std::size_t>& wanted, const ForeignHeader& header,
               bool asText, RowBlocks& blocks) {
    std::string sql = "SELECT ";
    for (const std::size_t i : wanted) sql += (i == wanted.front() ? "" : ",") + Selected(i);
    sql += " FROM " + source + " AS t(" + alias_ + ")";
    if (library_.PQsendQuery(session_.Connection(), sql.c_str()) == 0) session_.Fail();
    library_.PQsetSingleRowMode(session_.Connection());
    std::int64_t row = 0;
    for (;;) {
      const PostgresResult result(library_.PQgetResult(session_.Connection()), library_.PQclear);
      if (result == nullptr) break;
      const ExecStatusType status = library_.PQresultStatus(result.get());
      if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK) session_.Fail();
      for (int r = 0; r < library_.PQntuples(result.get()); ++r) {
        for (std::size_t k = 0; k < wanted.size(); ++k) {
          const auto field = static_cast<int>(k);
          if (library_.PQgetisnull(result.get(), r, field) != 0)
            blocks.AddMissing(wanted[k]);
          else
            AddServerCell(header.columns[wanted[k]], asText, wanted[k],
                          {library_.PQgetvalue(result.get(), r, field),
                           static_cast<std::size_t>(library_.PQgetlength(result.get(), r, field))},
                          blocks);
        }
        blocks.EndRow(0);
        if (++row % kRowsPerTick == 0 && !sink_.Progress(0)) throw Cancelled();
      }
    }
    blocks.Flush(1);
  }

  const ForeignFile& file_;
  RowSink& sink_;
  PostgresSession session_;
  const PostgresLibrary& library_;
  std::vector<SourceColumn> columns_;
  std::string alias_;  // numbers the columns, whose names may be equal
};

}  // namespace

void ReadPostgres(const ForeignFile& file, RowSink& sink) { PostgresReader(file, sink).Read(); }

}  // namespace velmora
