// A workbook or one document as bytes of a file format. Each returns the whole text, so that the caller can
// write the file whole or not at all. Short names are shown as the full names they stand for. Doubles of
// CSV and JSON read back to the same bits (XLSX holds 16 digits); an empty cell is an empty field, null, or
// an empty cell.
#pragma once

#include <string>

#include "workbench/documents/workbook.h"

namespace velmora {

struct TerminalOptions {
  int width = 80;       // columns of the terminal; 0 for no limit
  bool utf8 = true;     // false: frames and cut marks in ASCII, other characters escaped as ?
  bool colour = false;  // ANSI colours
  int maximumRows = 0;  // rows shown of a table, with a line telling how many more; 0 for all
};

// Facts, notices and documents, group by group. Bars of an importance graph stand beside the table of its
// group; graphs of other kinds are named only.
std::string WriteTerminalText(const Workbook& workbook, const TerminalOptions& options);
std::string WriteTerminalText(const Sheet& sheet, const ShortNames& shortNames,
                              const TerminalOptions& options);

// RFC 4180 with a header row; the first column holds the row names when the sheet has any.
std::string WriteCsv(const Sheet& sheet, const ShortNames& shortNames);

// The whole workbook; the layout is drawn in json_writer.cpp. Indented for people when indent is 0 or more.
std::string WriteJson(const Workbook& workbook, int indent = 1);

// Whether this build writes XLSX files; otherwise WriteXlsx always fails, and says so.
[[nodiscard]] bool WritesXlsx();

// One worksheet a table, one a text document, and first a sheet with the run's facts, notices and contents;
// NaN, infinities and numbers from 1e308 on are written as texts. Returns false and sets error to one
// sentence when the file cannot be made (no space for the library's temporary file).
[[nodiscard]] bool WriteXlsx(const Workbook& workbook, std::string& bytes, std::string& error);

// One self-contained page: no address in it is fetched.
std::string WriteHtml(const Workbook& workbook);

}  // namespace velmora
