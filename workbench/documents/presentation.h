// Shared by the writers for people: how a table's headers, row names and cells read.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/aligned_numbers.h"
#include "workbench/documents/workbook.h"

namespace velmora {

// One table as texts. Texts are valid UTF-8, whatever bytes the documents hold.
class TableView {
 public:
  TableView(const Sheet& sheet, const ShortNames& shortNames);

  const Sheet& Source() const { return *sheet_; }
  bool HasRowNames() const { return hasRowNames_; }
  std::string RowName(int row) const;
  // The full name of a column: its long name if that is not a formula, else the full form of its
  // name, else "Column 3".
  std::string Header(int column) const;
  // True when no cell of the column shows a text or a label.
  bool IsNumeric(int column) const { return styles_[static_cast<std::size_t>(column - 1)].numeric; }
  // Empty for an empty cell. Columns without a format show the same number of decimals in every
  // cell, enough for six digits of the largest.
  std::string Cell(int row, int column) const;
  // The column's number format in the syntax of spreadsheet programs.
  std::string SpreadsheetFormat(int column) const;

 private:
  struct ColumnStyle {
    bool numeric = true;
    AlignedNumbers numbers;
  };

  const Sheet* sheet_;
  const ShortNames* shortNames_;
  bool hasRowNames_ = false;
  std::vector<ColumnStyle> styles_;  // by column
};

// The full name of a column: its long name if that is not a formula, else the full form of its
// name; may be empty.
std::string FullColumnName(const Sheet& sheet, int column, const ShortNames& shortNames);

// A label of a graph, or a row name, in full.
std::string FullText(const ShortNames& shortNames, std::string_view text);

// The name of a kind of series in data formats: "line", "boxes"...
const char* NameOf(SeriesKind kind);

// 12345 -> "12,345".
std::string GroupedDigits(long long number);

}  // namespace velmora
