// Comma-separated values as RFC 4180 has them (https://www.rfc-editor.org/rfc/rfc4180): CR LF line ends,
// quotes doubled inside quoted fields.
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

void AppendField(std::string& bytes, std::string_view field) {
  // A field of blanks at its ends, or the only empty one of a line, would be lost to some readers without
  // quotes.
  const bool quoted = field.find_first_of(",\"\r\n") != std::string_view::npos ||
                      (!field.empty() && (field.front() == ' ' || field.back() == ' '));
  if (!quoted) {
    bytes += field;
    return;
  }
  bytes += '"';
  for (const char c : field) {
    if (c == '"') bytes += '"';
    bytes += c;
  }
  bytes += '"';
}

}  // namespace

std::string WriteCsv(const Sheet& sheet, const ShortNames& shortNames) {
  const TableView view(sheet, shortNames);
  std::string bytes;
  if (view.HasRowNames()) bytes += "Name";
  for (int column = 1; column <= sheet.ColumnCount(); ++column) {
    if (column > 1 || view.HasRowNames()) bytes += ',';
    AppendField(bytes, view.Header(column));
  }
  bytes += "\r\n";
  for (int row = 1; row <= sheet.RowCount(); ++row) {
    if (view.HasRowNames()) AppendField(bytes, view.RowName(row));
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      if (column > 1 || view.HasRowNames()) bytes += ',';
      if (const std::string* text = sheet.ShownText(row, column)) {
        AppendField(bytes, Utf8Of(*text));
      } else if (const double value = sheet.Cell(row, column); !IsEmptyCell(value)) {
        bytes += ShortestNumber(value);
      }
    }
    // A line with nothing on it would read as no row at all.
    if (sheet.ColumnCount() == 1 && !view.HasRowNames() && bytes.ends_with('\n')) bytes += "\"\"";
    bytes += "\r\n";
  }
  return bytes;
}

}  // namespace velmora
