// Which part of a data file is read where a file holds more than one table.
#pragma once

#include <string>

namespace velmora {

// Empty members: the file's own choice, its first visible sheet or its only table.
struct TablePart {
  std::string sheet;  // of a workbook: a name, or a number from 1
  std::string range;  // of a sheet: B3:F200, B:F, 3:200 or B3
  std::string table;  // of a database: a name, or SCHEMA.NAME
  std::string query;  // SQL over a database, or over the files that it names

  bool Any() const { return !(sheet.empty() && range.empty() && table.empty() && query.empty()); }
  bool operator==(const TablePart&) const = default;
};

}  // namespace velmora
