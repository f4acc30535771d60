// Headers, row names and cells of tables as people read them.
#include "workbench/documents/presentation.h"

#include <algorithm>
#include <cmath>

#include "workbench/documents/texts.h"

namespace velmora {

TableView::TableView(const Sheet& sheet, const ShortNames& shortNames)
    : sheet_(&sheet), shortNames_(&shortNames) {
  for (int row = 1; row <= sheet.RowCount() && !hasRowNames_; ++row)
    hasRowNames_ = !sheet.RowName(row).empty();
  for (int column = 1; column <= sheet.ColumnCount(); ++column) {
    ColumnStyle style;
    for (int row = 1; row <= sheet.RowCount(); ++row) {
      if (sheet.ShownText(row, column)) {
        style.numeric = false;
        continue;
      }
      style.numbers.Add(sheet.Cell(row, column));
    }
    styles_.push_back(style);
  }
}

std::string TableView::RowName(int row) const { return FullText(*shortNames_, sheet_->RowName(row)); }

std::string TableView::Header(int column) const {
  const std::string name = FullColumnName(*sheet_, column, *shortNames_);
  return name.empty() ? "Column " + std::to_string(column) : name;
}

std::string TableView::Cell(int row, int column) const {
  if (const std::string* text = sheet_->ShownText(row, column)) return Utf8Of(*text);
  const double value = sheet_->Cell(row, column);
  if (IsEmptyCell(value)) return {};
  if (sheet_->Role(column) == NumberRole::kProbability) return ShownProbability(value);
  const std::string& format = sheet_->Format(column);
  if (!format.empty()) return ShownNumber(value, format);
  return styles_[static_cast<std::size_t>(column - 1)].numbers.Text(value);
}

std::string TableView::SpreadsheetFormat(int column) const {
  if (sheet_->Role(column) == NumberRole::kProbability) return "[<0.001]0.00E+00;[<0.01]0.00000;0.0000";
  const std::string& format = sheet_->Format(column);
  const AlignedNumbers& numbers = styles_[static_cast<std::size_t>(column - 1)].numbers;
  if (sheet_->Role(column) == NumberRole::kCount) return numbers.AreWhole() ? "#,##0" : "#,##0.00";
  if (!format.empty() && format.find_first_not_of("0.Ee+-#,%") == std::string::npos) return format;
  if (numbers.AreWhole()) return "General";
  return "0." + std::string(static_cast<std::size_t>(numbers.Decimals()), '0');
}

std::string FullColumnName(const Sheet& sheet, int column, const ShortNames& shortNames) {
  const std::string& longName = sheet.ColumnLongName(column);
  if (!longName.empty() && !sheet.IsFormula(column)) return Utf8Of(longName);
  return FullText(shortNames, sheet.ColumnName(column));
}

std::string FullText(const ShortNames& shortNames, std::string_view text) {
  return Utf8Of(shortNames.FullNameOf(text));
}

const char* NameOf(SeriesKind kind) {
  switch (kind) {
    case SeriesKind::kBars:
      return "bars";
    case SeriesKind::kLine:
      return "line";
    case SeriesKind::kScatter:
      return "scatter";
    case SeriesKind::kBoxes:
      return "boxes";
    case SeriesKind::kDiamonds:
      return "diamonds";
    case SeriesKind::kBars3D:
      return "3d bars";
  }
  return "";
}

std::string GroupedDigits(long long number) {
  std::string digits = std::to_string(number);
  const std::size_t first = digits[0] == '-' ? 1 : 0;
  for (std::size_t end = digits.size(); end > first + 3; end -= 3) digits.insert(end - 3, ",");
  return digits;
}

}  // namespace velmora
