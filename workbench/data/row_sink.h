// The way of rows from a reader to the table, for every format except delimited text. A reader
// fills blocks of rows in the column layout of Apache Arrow (validity bitmap, values, offsets and
// UTF-8 bytes); a sink takes them, in the same process or on the other side of a process boundary.
//
//   sink.Begin({columns, caseCount, sidecar});
//   columns = sink.ColumnsToRead();                    // where the reader can skip some
//   while (there are rows) {
//     std::byte* block = sink.Buffer(byteCount);       // fill it
//     sink.Deliver(slices, rowCount, fractionRead);
//   }
//   for (std::size_t column : sink.ColumnsToRepeat())  // deliver its rows once more, as texts
//   sink.End(details);
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/data/user_missing.h"

namespace velmora {

// The type of the cells of a column. kWhole and kUnsigned are 64-bit integers, which a double may
// not hold exactly; kDigits are numbers as texts, each to become its nearest double. Columns of
// kLeftOut have no cells.
enum class CellKind : std::uint8_t { kLeftOut, kNumber, kWhole, kUnsigned, kText, kDigits };

struct ForeignColumn {
  std::string name;
  std::string longName;
  CellKind kind = CellKind::kLeftOut;
  DateUnit dateUnit = DateUnit::kNone;
  bool boolean = false;
  std::optional<Measurement> declared;
  std::string labelSet;  // of ForeignDetails::labelSets; empty: none
};

struct ForeignHeader {
  std::vector<ForeignColumn> columns;
  std::int64_t caseCount = -1;  // as the file claims, -1 when it does not say; not to be trusted
  std::string sidecar;          // of a Parquet file of our own (table_sidecar.h); may be empty
};

// The value labels of one set: of numbers or of texts.
struct LabelSet {
  std::map<double, std::string> numbers;
  std::map<std::string, std::string> texts;
};

// Facts that are known only after the last row.
struct ForeignDetails {
  std::map<std::string, LabelSet> labelSets;
  // The column that the file weights its cases by.
  std::int64_t weightColumn = -1;
  std::vector<std::string> warnings;                      // a sentence each
  std::map<std::uint64_t, UserMissingCells> userMissing;  // by column; empty unless asked for
};

inline constexpr std::uint64_t kNoBitmap = ~std::uint64_t{0};

// The cells of one column within a block: byte offsets from its begin. Bit i of the bitmap is 0
// where row i is missing. Values are rowCount doubles or 64-bit integers; of texts and digits they
// are rowCount + 1 64-bit offsets into the bytes.
struct ColumnSlice {
  std::uint64_t column = 0;
  CellKind kind = CellKind::kNumber;
  std::uint64_t bitmap = kNoBitmap;
  std::uint64_t values = 0;
  std::uint64_t bytes = 0;
  std::uint64_t byteCount = 0;
};

// Places for the parts of a block, each on a cache line of its own.
class BlockLayout {
 public:
  std::uint64_t Add(std::uint64_t byteCount) {
    const std::uint64_t place = size_;
    size_ += (byteCount + 63) / 64 * 64;
    return place;
  }
  std::uint64_t Size() const { return size_; }

 private:
  std::uint64_t size_ = 0;
};

class RowSink {
 public:
  virtual ~RowSink() = default;
  virtual void Begin(const ForeignHeader& header) = 0;
  // After Begin: the numbers of the columns to deliver, at least one. A reader that cannot skip
  // columns need not ask.
  virtual std::vector<std::size_t> ColumnsToRead() = 0;
  // Memory for one block, aligned to 64 bytes, until Deliver.
  virtual std::byte* Buffer(std::uint64_t byteCount) = 0;
  // fraction: how much of the file has been read, 0 to 1, or less when it is not known.
  virtual void Deliver(std::span<const ColumnSlice> slices, std::int64_t rowCount, double fraction) = 0;
  // False when the user has cancelled.
  virtual bool Progress(double fraction) = 0;
  // After all rows: the columns to deliver again, from the first row, as kText.
  virtual std::vector<std::size_t> ColumnsToRepeat() = 0;
  virtual void End(const ForeignDetails& details) = 0;
};

}  // namespace velmora
