// Replaces the connection to PostgreSQL in builds without its library.
#include "workbench/data/database_connection.h"

namespace velmora {

DatabaseTable OpenPostgresTable(std::string_view, const std::string& shown, const TablePart&,
                                DatabaseAccess) {
  throw DataError("Cannot read " + shown +
                  ": tables of database servers are not read by this build of velmora; use a .duckdb file.");
}

}  // namespace velmora
