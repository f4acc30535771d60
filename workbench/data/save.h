// Saves a table whole or not at all.
//
//   .csv .tsv   texts as they are, other numbers in the shortest form that reads back to the same double,
//   dates as
//               YYYY-MM-DD and YYYY-MM-DD HH:MM:SS, missing cells empty. Everything else (bundles, long
//               names, codes, labels) goes to NAME.csv.bundles.json beside it; that file is removed when
//               there is nothing to say.
//   .parquet    the same types as columns, everything else inside the file.
//
// ReadTable reads both back: cells to the last bit, names, long names, missing-data codes, labels and
// bundles.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {

// Throws DataError for another ending and when the file cannot be written.
void SaveTable(const Table& table, const std::string& path);

// The table as a .csv file has it, handed to write in pieces of about a megabyte.
void WriteCsv(const Table& table, const std::function<void(std::string_view)>& write);

}  // namespace velmora
