// A workbook or one document as bytes of a file format. Each returns the whole text, so that the
// caller can write the file completely or not at all. Short names appear in full. Doubles in CSV
// and JSON read back to the same bits (XLSX holds 16 digits); an empty cell is an empty field,
// null, or an empty cell.
//
//   std::string bytes, error;
//   if (!WriteXlsx(workbook, bytes, error)) throw DataError(error);
#pragma once

#include <string>

#include "workbench/documents/workbook.h"

namespace velmora {

// Facts, notices and documents, group by group, as plain text; graphs are named only.
std::string WriteText(const Workbook& workbook);

// RFC 4180 with a header row; the first column holds the row names when the sheet has any.
std::string WriteCsv(const Sheet& sheet, const ShortNames& shortNames);

// The whole workbook; json_writer.cpp shows the layout. Indented for people when indent is 0 or
// more.
std::string WriteJson(const Workbook& workbook, int indent = 1);

// One worksheet per table and per text document, and first a sheet with the run's facts, notices
// and contents; NaN, infinities and numbers from 1e308 on are written as texts. Returns false and
// sets error to one sentence when the file cannot be made (no space for the library's temporary
// file).
[[nodiscard]] bool WriteXlsx(const Workbook& workbook, std::string& bytes, std::string& error);

// One self-contained page: no address in it is fetched.
std::string WriteHtml(const Workbook& workbook);

}  // namespace velmora
