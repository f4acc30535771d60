// A connection to a PostgreSQL server through libpq, which is loaded when it is needed. Included by
// files that are built where libpq is.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <vector>

#include "workbench/data/database_address.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/server_rows.h"

namespace velmora {

// The functions of libpq that are called.
struct PostgresLibrary : ServerLibrary {
  PostgresLibrary() : ServerLibrary("libpq.so.5", "tables of PostgreSQL") {}
  VELMORA_SERVER_FUNCTION(PQconnectdb);
  VELMORA_SERVER_FUNCTION(PQstatus);
  VELMORA_SERVER_FUNCTION(PQerrorMessage);
  VELMORA_SERVER_FUNCTION(PQfinish);
  VELMORA_SERVER_FUNCTION(PQsetClientEncoding);
  VELMORA_SERVER_FUNCTION(PQexec);
  VELMORA_SERVER_FUNCTION(PQresultStatus);
  VELMORA_SERVER_FUNCTION(PQclear);
  VELMORA_SERVER_FUNCTION(PQnfields);
  VELMORA_SERVER_FUNCTION(PQntuples);
  VELMORA_SERVER_FUNCTION(PQfname);
  VELMORA_SERVER_FUNCTION(PQftype);
  VELMORA_SERVER_FUNCTION(PQgetvalue);
  VELMORA_SERVER_FUNCTION(PQgetlength);
  VELMORA_SERVER_FUNCTION(PQgetisnull);
  VELMORA_SERVER_FUNCTION(PQsendQuery);
  VELMORA_SERVER_FUNCTION(PQsetSingleRowMode);
  VELMORA_SERVER_FUNCTION(PQgetResult);
  VELMORA_SERVER_FUNCTION(PQconsumeInput);
  VELMORA_SERVER_FUNCTION(PQisBusy);
  VELMORA_SERVER_FUNCTION(PQgetCancel);
  VELMORA_SERVER_FUNCTION(PQcancel);
  VELMORA_SERVER_FUNCTION(PQfreeCancel);
};

using PostgresResult = std::unique_ptr<PGresult, decltype(&::PQclear)>;

class PostgresSession {
 public:
  // address: without a table. shown: what messages call it. Throws DataError.
  PostgresSession(const std::string& address, std::string shown);

  // From here on all statements see the same rows, and none changes any.
  void BeginReading() const;
  // purpose: what a message says cannot be done when the statement fails.
  PostgresResult Query(const std::string& sql, const char* purpose = "read") const;
  // Of all schemas but the server's own, in order.
  std::vector<TableName> Tables() const;
  // Throws DataError with the reason of the latest failure.
  [[noreturn]] void Fail(const char* purpose = "read") const;

  const PostgresLibrary& Library() const { return library_; }
  PGconn* Connection() const { return connection_.get(); }

 private:
  PostgresLibrary library_;
  std::string shown_;
  std::unique_ptr<PGconn, decltype(&::PQfinish)> connection_;
};

}  // namespace velmora
