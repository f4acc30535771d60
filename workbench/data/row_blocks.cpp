#include "workbench/data/row_blocks.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "workbench/data/errors.h"

namespace velmora {

void RowBlocks::Pending::Clear() {
  bitmap.clear();
  anyMissing = false;
  words.clear();
  if (IsText()) words.push_back(0);
  bytes.clear();
  rowCount = 0;
}

void RowBlocks::Pending::Mark(bool present) {
  if (rowCount % 8 == 0) bitmap.push_back(0);
  bitmap.back() = static_cast<std::uint8_t>(bitmap.back() | (present ? 1U << (rowCount % 8) : 0U));
  anyMissing |= !present;
  ++rowCount;
}

RowBlocks::RowBlocks(const std::string& path, const ForeignHeader& header, RowSink& sink)
    : path_(path), header_(header), sink_(sink) {
  sink_.Begin(header_);
  columns_.resize(header_.columns.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].kind = header_.columns[i].kind;
    columns_[i].wanted = columns_[i].kind != CellKind::kLeftOut;
    columns_[i].Clear();
  }
  ChooseRowsPerBlock();
}

void RowBlocks::Choose(const std::vector<std::size_t>& columns) {
  for (Pending& column : columns_) column.wanted = false;
  for (const std::size_t i : columns) columns_[i].wanted = true;
  ChooseRowsPerBlock();
}

void RowBlocks::Repeat(const std::vector<std::size_t>& columns) {
  Choose(columns);
  for (const std::size_t i : columns) columns_[i].kind = CellKind::kText;
  for (Pending& column : columns_) column.Clear();
  rowCount_ = 0;
  delivered_ = 0;
}

void RowBlocks::ChooseRowsPerBlock() {
  constexpr std::int64_t kCellsPerBlock = std::int64_t{1} << 17;
  const auto wanted =
      std::count_if(columns_.begin(), columns_.end(), [](const Pending& column) { return column.wanted; });
  rowsPerBlock_ = std::clamp<std::int64_t>(kCellsPerBlock / std::max<std::int64_t>(wanted, 1), 1, 8192);
}

void RowBlocks::AddMissing(std::size_t column) {
  Pending& pending = columns_[column];
  pending.words.push_back(pending.IsText() ? pending.bytes.size() : 0);
  pending.Mark(false);
}

void RowBlocks::AddNumber(std::size_t column, double value) {
  columns_[column].words.push_back(std::bit_cast<std::uint64_t>(value));
  columns_[column].Mark(true);
}

void RowBlocks::AddWhole(std::size_t column, std::int64_t value) {
  columns_[column].words.push_back(std::bit_cast<std::uint64_t>(value));
  columns_[column].Mark(true);
}

void RowBlocks::AddText(std::size_t column, std::string_view text) {
  Pending& pending = columns_[column];
  pending.bytes += text;
  pending.words.push_back(pending.bytes.size());
  pending.Mark(true);
}

void RowBlocks::EndRow(double fraction) { EndRows(1, fraction); }

void RowBlocks::EndRows(std::int64_t count, double fraction) {
  rowCount_ += count;
  if (rowCount_ == rowsPerBlock_) Flush(fraction);
}

void RowBlocks::Flush(double fraction) {
  if (rowCount_ == 0) return;
  BlockLayout layout;
  std::vector<ColumnSlice> slices;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Pending& column = columns_[i];
    if (!column.wanted) continue;
    if (column.rowCount != rowCount_)
      throw DataError("Cannot read " + path_ + ": variable \"" + header_.columns[i].name + "\" has " +
                      std::to_string(CellCount(i)) + " of " + std::to_string(delivered_ + rowCount_) +
                      " cases.");
    ColumnSlice slice{i, column.kind};
    if (column.anyMissing) slice.bitmap = layout.Add(column.bitmap.size());
    slice.values = layout.Add(8 * column.words.size());
    slice.byteCount = column.bytes.size();
    slice.bytes = layout.Add(slice.byteCount);
    slices.push_back(slice);
  }
  std::byte* const block = sink_.Buffer(layout.Size());
  for (const ColumnSlice& slice : slices) {
    Pending& column = columns_[slice.column];
    if (column.anyMissing) std::memcpy(block + slice.bitmap, column.bitmap.data(), column.bitmap.size());
    std::memcpy(block + slice.values, column.words.data(), 8 * column.words.size());
    if (!column.bytes.empty()) std::memcpy(block + slice.bytes, column.bytes.data(), column.bytes.size());
    column.Clear();
  }
  const std::int64_t rowCount = rowCount_;
  delivered_ += rowCount;
  rowCount_ = 0;
  sink_.Deliver(slices, rowCount, fraction);
}

}  // namespace velmora
