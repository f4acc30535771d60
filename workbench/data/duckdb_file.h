// A DuckDB database as a file, attached to a session.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/duckdb_session.h"
#include "workbench/data/part_choice.h"

namespace velmora {

// The session uses the file from then on. Returns its tables and views, in order. shown: what
// messages call it. changes: statements may change it. Throws DataError and DuckDbError.
std::vector<TableName> AttachDuckDbFile(DuckDbSession& session, const std::string& path,
                                        const std::string& shown, bool changes);

// DuckDB's reason, in a sentence about the file as the user named it.
DataError DuckDbCannotRead(const std::string& path, const std::string& shown, std::string_view reason);

}  // namespace velmora
