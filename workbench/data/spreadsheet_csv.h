// CSV for programs that compute: a spreadsheet takes a cell that begins with =, +, - or @ for a
// formula, which a name or a label in hostile data could be. Such texts get an apostrophe in front;
// numbers stay.
//
//   SpreadsheetCsv("name,x\n=1+1,-2\n")   is "name,x\n'=1+1,-2\n"
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// csv: whole rows of well-formed delimited text.
std::string SpreadsheetCsv(std::string_view csv, char delimiter = ',');

}  // namespace velmora
