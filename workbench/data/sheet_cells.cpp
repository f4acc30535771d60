#include "workbench/data/sheet_cells.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "base/trim_blanks.h"
#include "workbench/data/csv_text.h"
#include "workbench/data/date_text.h"
#include "workbench/data/errors.h"
#include "workbench/data/row_blocks.h"

namespace velmora {

namespace {

constexpr std::size_t kMostRows = 1048576;  // of a sheet
constexpr std::size_t kMostColumns = 16384;

// Takes the letters of a column from the front of text; no letters leave column alone.
bool TakeColumn(std::string_view& text, std::size_t& column) {
  std::size_t number = 0;
  std::size_t length = 0;
  for (; length < text.size() && length <= 3; ++length) {
    const char c = text[length];
    if (c >= 'A' && c <= 'Z')
      number = 26 * number + static_cast<std::size_t>(c - 'A' + 1);
    else if (c >= 'a' && c <= 'z')
      number = 26 * number + static_cast<std::size_t>(c - 'a' + 1);
    else
      break;
  }
  if (length == 0) return true;
  if (number > kMostColumns) return false;
  text.remove_prefix(length);
  column = number - 1;
  return true;
}

bool TakeRow(std::string_view& text, std::size_t& row) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end == text.data()) return true;
  if (error != std::errc() || number < 1 || number > kMostRows) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  row = number - 1;
  return true;
}

// One end of a range; a part that it does not name is left alone.
bool ParseEnd(std::string_view text, std::size_t& row, std::size_t& column) {
  if (text.empty()) return false;
  if (text.front() == '$') text.remove_prefix(1);
  if (!TakeColumn(text, column)) return false;
  if (!text.empty() && text.front() == '$') text.remove_prefix(1);
  return TakeRow(text, row) && text.empty();
}

}  // namespace

bool ParseCellReference(std::string_view text, std::size_t& row, std::size_t& column) {
  row = column = kMostRows;
  return ParseEnd(text, row, column) && row < kMostRows && column < kMostColumns;
}

CellRange ParseCellRange(std::string_view text) {
  CellRange range;
  if (text.empty()) return range;
  const std::size_t colon = text.find(':');
  const bool sound =
      ParseEnd(text.substr(0, colon), range.firstRow, range.firstColumn) &&
      (colon == std::string_view::npos || ParseEnd(text.substr(colon + 1), range.lastRow, range.lastColumn));
  if (!sound)
    throw DataError("The range " + std::string(text) + " is not one of cells, such as B3:F200 or B:F.");
  if (range.firstRow > range.lastRow || range.firstColumn > range.lastColumn)
    throw DataError("The range " + std::string(text) + " ends before it begins.");
  return range;
}

void SheetCells::Add(std::size_t row, std::size_t column, Kind kind, double value) {
  if (!range_.Contains(row, column)) return;
  if (row >= kMostRows || column >= kMostColumns)
    throw DataError("Cannot read " + path_ + ": a cell is beyond the last row or column of a sheet.");
  row -= range_.firstRow;
  column -= range_.firstColumn;
  if (columns_.size() <= column) columns_.resize(column + 1);
  if (rowHasCells_.size() <= row) rowHasCells_.resize(row + 1);
  rowHasCells_[row] = true;
  Column& cells = columns_[column];
  if (cells.values.size() <= row) {
    cells.values.resize(row + 1);
    cells.kinds.resize(row + 1);
  }
  cells.values[row] = value;
  cells.kinds[row] = kind;
}

void SheetCells::AddNumber(std::size_t row, std::size_t column, double value) {
  Add(row, column, kNumber, value);
}

void SheetCells::AddBoolean(std::size_t row, std::size_t column, bool value) {
  Add(row, column, kBoolean, value ? 1 : 0);
}

void SheetCells::AddMoment(std::size_t row, std::size_t column, double seconds, bool wholeDay) {
  Add(row, column, wholeDay ? kDay : kMoment, seconds);
}

void SheetCells::AddText(std::size_t row, std::size_t column, std::string_view text) {
  text = vlm::TrimBlanks(text, " \t\r\n");
  if (text.empty() || !range_.Contains(row, column)) return;
  Add(row, column, kText, texts_.Intern(text));
}

SheetCells::Kind SheetCells::KindAt(std::size_t row, std::size_t column) const {
  const std::vector<Kind>& kinds = columns_[column].kinds;
  return row < kinds.size() ? kinds[row] : kEmpty;
}

// The text of the cell as a field of a text file would have it.
std::string SheetCells::TextAt(std::size_t row, std::size_t column) const {
  const Kind kind = KindAt(row, column);
  if (kind == kEmpty) return {};
  const double value = columns_[column].values[row];
  std::string text;
  switch (kind) {
    case kText:
      return std::string(texts_.Text(static_cast<std::uint32_t>(value)));
    case kDay:
      return IsoDate(value / kSecondsPerDay);
    case kMoment:
      return IsoDateTime(value);
    case kBoolean:
      return value != 0 ? "true" : "false";
    default:
      AppendShortestNumber(value, text);
      return text;
  }
}

ForeignColumn SheetCells::Describe(std::size_t column, std::size_t nameRow) const {
  ForeignColumn described;
  described.name = TextAt(nameRow, column);
  unsigned seen = 0;
  const std::vector<Kind>& kinds = columns_[column].kinds;
  for (std::size_t row = nameRow + 1; row < kinds.size(); ++row) seen |= kinds[row];
  described.kind = CellKind::kNumber;
  if (seen == kBoolean) {
    described.boolean = true;
  } else if (seen == kDay) {
    described.dateUnit = DateUnit::kDays;
  } else if (seen == kMoment || seen == (kDay | kMoment)) {
    described.dateUnit = DateUnit::kSeconds;
  } else if (seen == kText || (seen & (kDay | kMoment)) != 0) {
    described.kind = CellKind::kText;
  } else if ((seen & kText) != 0) {
    described.kind = CellKind::kDigits;
  }
  return described;
}

void SheetCells::Deliver(const ForeignDetails& details, RowSink& sink) const {
  const auto nameAt = std::find(rowHasCells_.begin(), rowHasCells_.end(), true);
  if (nameAt == rowHasCells_.end())
    throw DataError("Cannot read " + path_ + ": the sheet, or its range, has no cells.");
  const auto nameRow = static_cast<std::size_t>(nameAt - rowHasCells_.begin());
  ForeignHeader header;
  std::vector<std::size_t> sources;  // of the delivered columns
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const auto isUsed = [](Kind kind) { return kind != kEmpty; };
    if (std::none_of(columns_[i].kinds.begin(), columns_[i].kinds.end(), isUsed)) continue;
    sources.push_back(i);
    header.columns.push_back(Describe(i, nameRow));
  }
  std::vector<std::size_t> rows;
  for (std::size_t row = nameRow + 1; row < rowHasCells_.size(); ++row)
    if (rowHasCells_[row] || sources.size() == 1) rows.push_back(row);
  if (rows.empty())
    throw DataError("Cannot read " + path_ + ": the sheet, or its range, has names but no cases." +
                    (details.warnings.empty() ? "" : " " + details.warnings.front()));
  header.caseCount = static_cast<std::int64_t>(rows.size());
  RowBlocks blocks(path_, header, sink);

  const auto add = [&](std::size_t row, std::size_t i, CellKind kind) {
    if (KindAt(row, sources[i]) == kEmpty) return blocks.AddMissing(i);
    if (kind != CellKind::kNumber) return blocks.AddText(i, TextAt(row, sources[i]));
    const double value = columns_[sources[i]].values[row];
    blocks.AddNumber(
        i, header.columns[i].dateUnit == DateUnit::kDays ? std::floor(value / kSecondsPerDay) : value);
  };
  for (const std::size_t row : rows) {
    for (std::size_t i = 0; i < sources.size(); ++i) add(row, i, header.columns[i].kind);
    blocks.EndRow(1);
  }
  blocks.Flush(1);
  const std::vector<std::size_t> again = sink.ColumnsToRepeat();
  blocks.Repeat(again);
  for (const std::size_t row : rows) {
    for (const std::size_t i : again) add(row, i, CellKind::kText);
    if (!again.empty()) blocks.EndRow(1);
  }
  blocks.Flush(1);
  sink.End(details);
}

}  // namespace velmora
