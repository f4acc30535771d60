// The first rows of a large file, to be shown while the whole file is being read.
//
//   std::optional<Table> rows = ReadFirstRows("credit.parquet", reading);
#pragma once

#include <optional>
#include <string>

#include "workbench/data/readers.h"
#include "workbench/server/table_view.h"

namespace velmora {

// Nothing for a file that is small, and for one whose beginning cannot be read alone: those of
// statistical packages, workbooks, databases and packed text. Numbers and dates may look different
// from those of the whole table, where all rows decide the type of a column.
std::optional<Table> ReadFirstRows(const std::string& path, const ReadOptions& reading);

// {"names", "rows", "cells"}: as many rows as fit into 20,000 cells, of the first 300 columns.
std::string FirstRowsJson(const Table& table);

// The part of such cells that a block of the grid shows, as GridJson gives it.
std::string GridOfFirstRows(const std::string& firstRows, const GridBlock& block);

}  // namespace velmora
