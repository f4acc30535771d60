#include "workbench/data/postgres_session.h"

#include "workbench/data/errors.h"

namespace velmora {

PostgresSession::PostgresSession(const std::string& address, std::string shown)
    : shown_(std::move(shown)), connection_(nullptr, library_.PQfinish) {
  connection_.reset(library_.PQconnectdb(address.c_str()));
  if (library_.PQstatus(connection_.get()) != CONNECTION_OK) Fail();
  library_.PQsetClientEncoding(connection_.get(), "UTF8");
}

void PostgresSession::BeginReading() const {
  Query("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  Query("SET LOCAL extra_float_digits = 3");
}

void PostgresSession::Fail(const char* purpose) const {
  std::string reason = library_.PQerrorMessage(connection_.get());
  reason = reason.substr(0, reason.find('\n'));
  if (reason.starts_with("ERROR:")) reason.erase(0, reason.find_first_not_of(' ', 6));
  while (!reason.empty() && (reason.back() == '.' || reason.back() == ' ')) reason.pop_back();
  throw DataError("Cannot " + std::string(purpose) + " " + shown_ + ": " + reason + ".");
}

PostgresResult PostgresSession::Query(const std::string& sql, const char* purpose) const {
  PostgresResult result(library_.PQexec(connection_.get(), sql.c_str()), library_.PQclear);
  const ExecStatusType status = library_.PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) Fail(purpose);
  return result;
}

std::vector<TableName> PostgresSession::Tables() const {
  const PostgresResult names = Query(
      "SELECT table_schema, table_name FROM information_schema.tables WHERE table_schema NOT IN "
      "('pg_catalog', 'information_schema') ORDER BY 1, 2");
  std::vector<TableName> tables;
  for (int i = 0; i < library_.PQntuples(names.get()); ++i)
    tables.push_back({library_.PQgetvalue(names.get(), i, 0), library_.PQgetvalue(names.get(), i, 1)});
  return tables;
}

}  // namespace velmora
