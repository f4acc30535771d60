// The query of BinsSql over a table that the program names, such as for a view in its database.
#pragma once

#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"

namespace velmora {

// source: the table as FROM names it. notices: as of BinsSql.
std::string BinsSqlOver(const std::string& source, const SavedBins& bins, std::vector<std::string>& notices,
                        SqlDialect dialect);

}  // namespace velmora
