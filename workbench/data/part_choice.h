// Which sheet of a workbook and which table of a database is read.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/foreign_file.h"
#include "workbench/data/row_sink.h"

namespace velmora {

struct SheetName {
  std::string name;
  bool hidden = false;
};

struct TableName {
  std::string schema;
  std::string name;
};

// The index of the sheet that the file's part names, by its name or its number from 1; without one
// the first visible sheet, with a warning that there are others. Throws DataError.
std::size_t ChooseSheet(const ForeignFile& file, const std::vector<SheetName>& sheets,
                        ForeignDetails& details);

// The index of the table that the file's part names, as NAME or SCHEMA.NAME; without one the only
// table. Throws DataError that names the tables.
std::size_t ChooseTable(const ForeignFile& file, const std::vector<TableName>& tables);

// The source of a SELECT: the query of the part in parentheses, or the table of ChooseTable.
// quote: makes an identifier of a name.
std::string RowSource(const ForeignFile& file, const std::vector<TableName>& tables,
                      std::string (*quote)(std::string_view));

}  // namespace velmora
