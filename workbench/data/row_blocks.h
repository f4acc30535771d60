// Gathers the cells of rows one by one and hands them to a sink in blocks, for readers whose
// libraries give cells or rows.
//
//   RowBlocks rows(path, header, sink);  // calls sink.Begin
//   while (there are rows) {
//     rows.AddNumber(0, 1.5);            // every column that is not left out, in any order
//     rows.AddText(1, "owner");
//     rows.EndRow(fractionRead);
//   }
//   rows.Flush(1);
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/row_sink.h"

namespace velmora {

class RowBlocks {
 public:
  // path is for messages; all three outlive the object.
  RowBlocks(const std::string& path, const ForeignHeader& header, RowSink& sink);

  // Before the first cell: only these columns are delivered.
  void Choose(const std::vector<std::size_t>& columns);

  // Starts a second delivery, of these columns only, as texts.
  void Repeat(const std::vector<std::size_t>& columns);

  void AddMissing(std::size_t column);
  void AddNumber(std::size_t column, double value);         // of kNumber
  void AddWhole(std::size_t column, std::int64_t value);    // of kWhole, and by its bits of kUnsigned
  void AddText(std::size_t column, std::string_view text);  // of kText and kDigits

  // Throws DataError when a column has no cell in a row or two, Cancelled.
  void EndRow(double fraction);
  // Ends rows that were added column by column, at most RowsLeft() of them.
  void EndRows(std::int64_t count, double fraction);
  // How many rows fit before the block is full; at least 1.
  std::int64_t RowsLeft() const { return rowsPerBlock_ - rowCount_; }
  void Flush(double fraction);

  // Cells of the column so far, delivered or not.
  std::int64_t CellCount(std::size_t column) const { return delivered_ + columns_[column].rowCount; }

 private:
  struct Pending {
    bool wanted = false;
    CellKind kind = CellKind::kLeftOut;
    std::vector<std::uint8_t> bitmap;  // a bit per row
    bool anyMissing = false;
    // Doubles or whole numbers by their bits, or ends of texts after a 0.
    std::vector<std::uint64_t> words;
    std::string bytes;
    std::int64_t rowCount = 0;

    bool IsText() const { return kind == CellKind::kText || kind == CellKind::kDigits; }
    void Clear();
    void Mark(bool present);
  };

  void ChooseRowsPerBlock();

  const std::string& path_;
  const ForeignHeader& header_;
  RowSink& sink_;
  std::vector<Pending> columns_;
  std::int64_t rowsPerBlock_ = 1;
  std::int64_t rowCount_ = 0;   // complete rows that wait
  std::int64_t delivered_ = 0;  // rows
};

}  // namespace velmora
