// Tables as comma-separated values with the line ends of RFC 4180.
#include "workbench/data/csv_text.h"
#include "workbench/documents/csv_row.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {

void AppendCsvRow(std::string& text, const std::vector<std::string>& fields, std::string_view lineEnd) {
  // A line with a single empty field would be read as no row at all.
  if (fields.size() == 1 && fields.front().empty()) text += "\"\"";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) text += ',';
    if (!fields[i].empty()) AppendCsvField(fields[i], ',', text);
  }
  text += lineEnd;
}

std::string WriteCsv(const Sheet& sheet, const ShortNames& shortNames) {
  const TableView view(sheet, shortNames);
  std::string bytes;
  std::vector<std::string> fields;
  const auto appendRow = [&](const std::string& name, auto fieldOf) {
    fields.clear();
    if (view.HasRowNames()) fields.push_back(name);
    for (int column = 1; column <= sheet.ColumnCount(); ++column) fields.push_back(fieldOf(column));
    AppendCsvRow(bytes, fields, "\r\n");
  };
  appendRow("Name", [&](int column) { return view.Header(column); });
  for (int row = 1; row <= sheet.RowCount(); ++row) {
    appendRow(view.RowName(row), [&](int column) {
      if (const std::string* text = sheet.ShownText(row, column)) return Utf8Of(*text);
      const double value = sheet.Cell(row, column);
      return IsEmptyCell(value) ? std::string() : ShortestNumber(value);
    });
  }
  return bytes;
}

}  // namespace velmora
