// The sink that makes a table of the rows, with a ColumnBuilder per column. Everything that blocks
// claim is checked.
#pragma once

#include "workbench/data/column_builder.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/row_sink.h"
#include "workbench/data/table_sidecar.h"

namespace velmora {

class TableSink : public RowSink {
 public:
  TableSink(const std::string& path, const ReadOptions& options, std::uint64_t fileBytes)
      : path_(path), options_(options), progress_(options), fileBytes_(fileBytes) {}

  void Begin(const ForeignHeader& header) override;
  std::byte* Buffer(std::uint64_t byteCount) override;
  void Deliver(std::span<const ColumnSlice> slices, std::int64_t rowCount, double fraction) override;
  bool Progress(double fraction) override { return progress_.Report(fraction); }
  std::vector<std::size_t> ColumnsToRead() override;
  std::vector<std::size_t> ColumnsToRepeat() override;
  void End(const ForeignDetails& details) override { details_ = details; }

  // Like Deliver, for rows in memory that another process owns and may be changing. Throws
  // DataError for a slice that does not lie within the block.
  void Take(std::span<const std::byte> block, std::span<const ColumnSlice> slices, std::int64_t rowCount);

  // After End: fills columns, caseCount, bundles and the declared weight.
  void MoveInto(Table& table, std::vector<std::string>& warnings);

 private:
  bool IsRead(std::size_t column) const;
  void ReserveCells();
  void StoreWhereLarge(std::uint64_t cells);
  void TakeSlice(std::span<const std::byte> block, const ColumnSlice& slice, std::int64_t rowCount);
  // missing: of the column; its texts get their labels where the column's do.
  void ApplyLabels(const ForeignColumn& source, Column& column, UserMissingCells& missing) const;

  std::string path_;
  const ReadOptions& options_;
  ReadProgress progress_;
  std::uint64_t fileBytes_;
  ColumnMemory memory_;
  bool isReserved_ = false;
  bool isStored_ = false;
  std::uint64_t cells_ = 0;  // of all columns so far
  ForeignHeader header_;
  ForeignDetails details_;
  TableSidecar sidecar_;
  std::vector<std::string> names_;
  std::vector<std::string> nameWarnings_;
  std::vector<ColumnBuilder> builders_;
  std::vector<bool> wanted_;
  std::vector<bool> cleaned_;  // columns with bytes that had to be replaced
  std::vector<std::byte> buffer_;
};

}  // namespace velmora
