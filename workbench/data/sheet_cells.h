// The cells of a spreadsheet's sheet, gathered one by one, then delivered as columns of the type
// that their cells share.
//
//   SheetCells cells(path, ParseCellRange("B3:F200"));
//   cells.AddText(2, 1, "age");     // B3, the first row of the range: a name
//   cells.AddNumber(3, 1, 42);
//   cells.Deliver(details, sink);
//
// The first row with a cell names the columns; rows and columns without any are skipped. A column
// of numbers and texts is read as fields of a text file are: NA, NULL and the like are missing, and
// one real text makes all of it text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/row_sink.h"
#include "workbench/data/text_dictionary.h"

namespace velmora {

// Rows and columns count from 0; the last ones belong to the range.
struct CellRange {
  std::size_t firstRow = 0, lastRow = ~std::size_t{0};
  std::size_t firstColumn = 0, lastColumn = ~std::size_t{0};

  bool Contains(std::size_t row, std::size_t column) const {
    return row >= firstRow && row <= lastRow && column >= firstColumn && column <= lastColumn;
  }
};

// B3:F200, B:F, 3:200, or B3 for everything from there on; empty: the whole sheet. Throws DataError
// that names the range.
CellRange ParseCellRange(std::string_view text);

// Row and column of a reference such as B3, with or without $; false for anything else.
bool ParseCellReference(std::string_view text, std::size_t& row, std::size_t& column);

class SheetCells {
 public:
  // path is for messages, and outlives the object.
  SheetCells(const std::string& path, const CellRange& range) : path_(path), range_(range) {}

  // Cells outside of the range are dropped.
  void AddNumber(std::size_t row, std::size_t column, double value);
  void AddBoolean(std::size_t row, std::size_t column, bool value);
  // seconds since 1970-01-01; wholeDay: the cell shows no time of day.
  void AddMoment(std::size_t row, std::size_t column, double seconds, bool wholeDay);
  void AddText(std::size_t row, std::size_t column, std::string_view text);

  // Throws DataError, Cancelled.
  void Deliver(const ForeignDetails& details, RowSink& sink) const;

 private:
  enum Kind : std::uint8_t { kEmpty = 0, kNumber = 1, kBoolean = 2, kDay = 4, kMoment = 8, kText = 16 };

  struct Column {
    std::vector<double> values;  // numbers of texts_ where the kind is kText
    std::vector<Kind> kinds;
  };

  void Add(std::size_t row, std::size_t column, Kind kind, double value);
  Kind KindAt(std::size_t row, std::size_t column) const;
  std::string TextAt(std::size_t row, std::size_t column) const;
  ForeignColumn Describe(std::size_t column, std::size_t nameRow) const;

  const std::string& path_;
  CellRange range_;
  std::vector<Column> columns_;    // from the range's first column on
  std::vector<bool> rowHasCells_;  // from the range's first row on
  TextDictionary texts_;
};

}  // namespace velmora
