// PostgreSQL as a database that answers statements.
#include <chrono>
#include <thread>

#include "workbench/data/database_connection.h"
#include "workbench/data/postgres_session.h"
#include "workbench/data/sql_text.h"

namespace velmora {

namespace {

class PostgresConnection final : public DatabaseConnection {
 public:
  PostgresConnection(const std::string& address, const std::string& shown)
      : session_(address, shown), library_(session_.Library()) {}

  const PostgresSession& Session() const { return session_; }

  std::vector<SqlRow> Rows(const std::string& sql, const std::function<bool()>& tick) override {
    if (library_.PQsendQuery(session_.Connection(), sql.c_str()) == 0) session_.Fail();
    Wait(tick);
    std::vector<SqlRow> rows;
    for (;;) {
      const PostgresResult result(library_.PQgetResult(session_.Connection()), library_.PQclear);
      if (result == nullptr) return rows;
      if (library_.PQresultStatus(result.get()) != PGRES_TUPLES_OK) session_.Fail();
      const int columns = library_.PQnfields(result.get());
      for (int r = 0; r < library_.PQntuples(result.get()); ++r) {
        SqlRow& row = rows.emplace_back(static_cast<std::size_t>(columns));
        for (int c = 0; c < columns; ++c) {
          if (library_.PQgetisnull(result.get(), r, c) == 0)
            row[static_cast<std::size_t>(c)] =
                std::string(library_.PQgetvalue(result.get(), r, c),
                            static_cast<std::size_t>(library_.PQgetlength(result.get(), r, c)));
        }
      }
    }
  }

  // A transaction that failed ends with the connection.
  void Change(const std::vector<std::string>& statements) override {
    session_.Query("BEGIN", "change");
    for (const std::string& sql : statements) session_.Query(sql, "change");
    session_.Query("COMMIT", "change");
  }

 private:
  // Waits until the server has answered.
  void Wait(const std::function<bool()>& tick) {
    std::chrono::microseconds pause(100);
    constexpr std::chrono::microseconds kLongest(20000);
    for (;;) {
      if (library_.PQconsumeInput(session_.Connection()) == 0) session_.Fail();
      if (library_.PQisBusy(session_.Connection()) == 0) return;
      if (!tick()) {
        Cancel();
        throw Cancelled();
      }
      std::this_thread::sleep_for(pause);
      pause = std::min(2 * pause, kLongest);
    }
  }

  void Cancel() {
    PGcancel* const request = library_.PQgetCancel(session_.Connection());
    char reason[256];
    if (request != nullptr) library_.PQcancel(request, reason, sizeof reason);
    library_.PQfreeCancel(request);
  }

  PostgresSession session_;
  const PostgresLibrary& library_;
};

}  // namespace

DatabaseTable OpenPostgresTable(std::string_view address, const std::string& shown, const TablePart& part,
                                DatabaseAccess access) {
  DatabaseTable table;
  table.kind = DatabaseKind::kPostgres;
  table.name = shown;
  auto connection = std::make_unique<PostgresConnection>(std::string(address), shown);
  if (access == DatabaseAccess::kRead) connection->Session().BeginReading();
  const ForeignFile file{shown, std::string(address), kPostgresSource, 0, part};
  RequireFittingPart(shown, kPostgresSource, part);
  table.source = RowSource(
      file, part.query.empty() ? connection->Session().Tables() : std::vector<TableName>(), SqlName);
  table.connection = std::move(connection);
  return table;
}

}  // namespace velmora
