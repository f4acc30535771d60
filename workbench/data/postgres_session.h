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
struct PostgresLibrary {
  void* handle = ServerLibrary("libpq.so.5", "tables of PostgreSQL");
  template <class Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(ServerFunction(handle, name));
  }
#define VELMORA_FUNCTION(name) decltype(&::name) name = Find<decltype(::name)>(#name)
  VELMORA_FUNCTION(PQconnectdb);
  VELMORA_FUNCTION(PQstatus);
  VELMORA_FUNCTION(PQerrorMessage);
  VELMORA_FUNCTION(PQfinish);
  VELMORA_FUNCTION(PQsetClientEncoding);
  VELMORA_FUNCTION(PQexec);
  VELMORA_FUNCTION(PQresultStatus);
  VELMORA_FUNCTION(PQclear);
  VELMORA_FUNCTION(PQnfields);
  VELMORA_FUNCTION(PQntuples);
  VELMORA_FUNCTION(PQfname);
  VELMORA_FUNCTION(PQftype);
  VELMORA_FUNCTION(PQgetvalue);
  VELMORA_FUNCTION(PQgetlength);
  VELMORA_FUNCTION(PQgetisnull);
  VELMORA_FUNCTION(PQsendQuery);
  VELMORA_FUNCTION(PQsetSingleRowMode);
  VELMORA_FUNCTION(PQgetResult);
  VELMORA_FUNCTION(PQconsumeInput);
  VELMORA_FUNCTION(PQisBusy);
  VELMORA_FUNCTION(PQgetCancel);
  VELMORA_FUNCTION(PQcancel);
  VELMORA_FUNCTION(PQfreeCancel);
#undef VELMORA_FUNCTION
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
