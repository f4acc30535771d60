// The workbench's output spreadsheet: rows x columns of doubles with names, formats, labels, texts
// and formula columns. Rows and columns are numbered from 1, like the references v1, v2, ... of its
// formulas.
//
// Formula values are kept up to date as cells are written, row by row, so reading changes nothing.
//
//   Sheet sheet(3, 2);
//   sheet.SetColumnName(1, "bad");
//   sheet.SetCell(1, 1, 12);
//   if (std::string error = sheet.SetFormula(2, "= v1 / 3"); !error.empty()) ...
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/formula.h"

namespace velmora {

// A cell that was never written: the double with every bit set, a NaN.
inline constexpr double kNeverWritten = std::bit_cast<double>(~std::uint64_t{0});

// True for a cell that renderers show as empty: the missing value (to 15 units in the last place)
// and the cell that was never written. Other NaNs and infinities are results and are shown as such.
bool IsEmptyCell(double value);

// The kind of a column's numbers, which decides how they are shown.
enum class NumberRole { kPlain, kCount, kProbability };

class Sheet {
 public:
  // All cells kNeverWritten, all names empty. Counts below zero are taken as zero.
  Sheet(int rowCount, int columnCount);

  int RowCount() const { return rowCount_; }
  int ColumnCount() const { return static_cast<int>(columns_.size()); }

  const std::string& Title() const { return title_; }
  void SetTitle(std::string_view title) { title_ = title; }
  // The title in full, where the title itself is cut; else the title.
  const std::string& LongTitle() const { return longTitle_.empty() ? title_ : longTitle_; }
  void SetLongTitle(std::string_view title) { longTitle_ = title; }

  // Longest names in characters (code points); longer ones are cut when set. 0 is no limit, the
  // default.
  int ColumnNameWidth() const { return columnNameWidth_; }
  void SetColumnNameWidth(int width) { columnNameWidth_ = width; }
  int RowNameWidth() const { return rowNameWidth_; }
  void SetRowNameWidth(int width) { rowNameWidth_ = width; }

  // Row and column numbers outside the sheet: setters return false and change nothing, getters
  // return an empty text or kNeverWritten.
  const std::string& ColumnName(int column) const;
  bool SetColumnName(int column, std::string_view name);
  // The long name of a formula column is its formula, with its references up to date.
  const std::string& ColumnLongName(int column) const;
  // Sets a plain long name, even one that begins with "="; an earlier formula is dropped, its
  // values stay.
  bool SetColumnLongName(int column, std::string_view longName);
  const std::string& RowName(int row) const;
  bool SetRowName(int row, std::string_view name);

  // format: empty (general: as many digits as are worth showing), "0", "0.0000" (fixed decimals),
  // "0.00E+00".
  const std::string& Format(int column) const;
  bool SetFormat(int column, std::string_view format);
  NumberRole Role(int column) const;
  bool SetRole(int column, NumberRole role);

  double Cell(int row, int column) const;
  // Returns false also for a cell of a formula column, whose values are computed.
  bool SetCell(int row, int column, double value);
  // SetCell, and gives the column the format "0" when it has none.
  bool SetInteger(int row, int column, std::int64_t value);
  // RowCount values of a column, in row order. Valid until rows or columns change.
  std::span<const double> Values(int column) const;
  // values beyond RowCount are ignored; fewer leave the other rows as they are.
  bool SetValues(int column, std::span<const double> values);

  // Text cells: the text is shown in place of the cell's number. An empty text removes it.
  const std::string& Text(int row, int column) const;
  bool SetText(int row, int column, std::string_view text);

  // Labels of a column's values: shown in place of a value that equals one exactly.
  const std::vector<ValueLabel>& Labels(int column) const;
  // Any order, the first of equal values counts.
  bool SetLabels(int column, std::vector<ValueLabel> labels);
  // Null when the value has no label.
  const std::string* LabelOf(int column, double value) const;
  // The text that is shown for the cell: its own, else its value's label, else null (its number is
  // shown).
  const std::string* ShownText(int row, int column) const;

  // Makes column a formula column: text is the formula, with its leading "=", and becomes the long
  // name. Returns an empty string, or one sentence that says what is wrong, and then nothing has
  // changed: the text is not a formula, refers to a column outside the sheet, or depends on itself.
  [[nodiscard]] std::string SetFormula(int column, std::string_view text);
  bool IsFormula(int column) const;

  // Inserts count empty columns after column `after` (0..ColumnCount()); formula references to
  // moved columns follow.
  bool InsertColumns(int after, int count = 1);
  // Inserts one column with name and format; longName that begins with "=" is a formula over the
  // columns as they are after the insertion. On failure returns the sentence of SetFormula and
  // inserts nothing.
  [[nodiscard]] std::string InsertColumn(int after, std::string_view name, std::string_view longName,
                                         std::string_view format);

 private:
  struct SheetColumn {
    std::string name;
    std::string longName;
    std::string format;
    NumberRole role = NumberRole::kPlain;
    std::vector<double> values;
    std::vector<ValueLabel> labels;              // ascending
    std::unordered_map<int, std::string> texts;  // by row index
    bool isFormula = false;
    Formula formula;
  };

  bool HasColumn(int column) const { return column >= 1 && column <= ColumnCount(); }
  bool HasRow(int row) const { return row >= 1 && row <= rowCount_; }
  SheetColumn& At(int column) { return columns_[static_cast<std::size_t>(column - 1)]; }
  const SheetColumn& At(int column) const { return columns_[static_cast<std::size_t>(column - 1)]; }
  bool OrderFormulas(std::vector<int>& order) const;
  void ComputeRow(std::size_t rowIndex, int column);
  void CellsChanged(std::size_t firstRow, std::size_t endRow);

  int rowCount_ = 0;
  std::string title_, longTitle_;
  int columnNameWidth_ = 0;
  int rowNameWidth_ = 0;
  std::vector<std::string> rowNames_;  // empty until one is set
  std::vector<SheetColumn> columns_;
  std::vector<int> formulaOrder_;  // formula columns, each after those it reads
};

}  // namespace velmora
