// The cells of arrays of the Arrow C data interface, each as a value that a variable can hold.
//
//   const ArrowColumn column(*schema.children[i]);  // or (name, format, format of indices)
//   column.Read(*batch.children[i], first, count, cells);  // cells.AddNumber(1.5), ...
//
// Cells takes the cells in order: AddMissing(), AddNumber(double), AddWhole(std::int64_t or
// std::uint64_t), AddText(std::string_view) and AddDigits(std::string_view), a decimal number.
// HasEnough() ends the reading early.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "include/velmora.h"  // the structures of the interface
#include "workbench/data/row_sink.h"
#include "workbench/data/table.h"

namespace velmora {

template <typename Value>
const Value* BufferOf(const ArrowArray& array, std::int64_t index) {
  return index < array.n_buffers ? static_cast<const Value*>(array.buffers[index]) : nullptr;
}

inline bool BitAt(const std::uint8_t* bits, std::int64_t index) {
  return ((static_cast<unsigned>(bits[index / 8]) >> (index % 8)) & 1U) != 0;
}

// The validity bits of the cells; null when no cell is null.
inline const std::uint8_t* ValidityOf(const ArrowArray& array) {
  return array.null_count == 0 ? nullptr : BufferOf<std::uint8_t>(array, 0);
}

// How a cell is read.
enum class ArrowCells {
  kLeftOut,
  kNull,
  kBool,
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,
  kUint64,
  kHalf,
  kFloat,
  kDouble,
  kText32,
  kText64,
  kTextView,
  kDecimal
};

struct ArrowCellType {
  ArrowCells cells = ArrowCells::kLeftOut;
  DateUnit dateUnit = DateUnit::kNone;
  double divisor = 1;        // of whole numbers that count parts of a unit
  bool nanoseconds = false;  // truncated to microseconds, as for Parquet
  int decimals = 0;          // of kDecimal
  int bytes = 0;             // of a kDecimal value

  bool IsText() const {
    return cells == ArrowCells::kText32 || cells == ArrowCells::kText64 || cells == ArrowCells::kTextView;
  }
  // The kind of the column that the cells make.
  CellKind Kind() const;
};

// Of a format text of the C data interface.
ArrowCellType ArrowCellTypeOf(std::string_view format);

// A number of 16 bits.
double HalfValue(std::uint16_t bits);
// A two's complement number of as many bytes, with a decimal point.
std::string DecimalText(const std::byte* bytes, int byteCount, int decimals);

// A column of a table: the type of its cells, and the cells of its arrays.
class ArrowColumn {
 public:
  // indexFormat: where the cells are entries of a dictionary.
  ArrowColumn(std::string name, std::string_view format, std::string_view indexFormat)
      : name_(std::move(name)),
        isDictionary_(!indexFormat.empty()),
        indexType_(ArrowCellTypeOf(indexFormat)),
        type_(ArrowCellTypeOf(format)) {}
  explicit ArrowColumn(const ArrowSchema& field)
      : ArrowColumn(field.name == nullptr ? "" : field.name,
                    field.dictionary != nullptr ? field.dictionary->format : field.format,
                    field.dictionary != nullptr ? field.format : "") {}

  const std::string& Name() const { return name_; }
  bool IsDictionary() const { return isDictionary_; }
  // The type of the cells, or of the dictionary's entries if there is one.
  const ArrowCellType& Type() const { return type_; }
  bool IsLeftOut() const {
    return type_.cells == ArrowCells::kLeftOut || (isDictionary_ && indexType_.cells == ArrowCells::kLeftOut);
  }

  // The cells from first on, counted from the array's own first one. False when one refers to an
  // entry that its dictionary does not have.
  template <class Cells>
  [[nodiscard]] bool Read(const ArrowArray& array, std::int64_t first, std::int64_t count,
                          Cells& cells) const {
    const std::int64_t begin = array.offset + first;
    if (!isDictionary_) {
      ReadRange(array, begin, count, cells);
      return true;
    }
    const std::uint8_t* const valid = ValidityOf(array);
    const ArrowArray& entries = *array.dictionary;
    for (std::int64_t i = begin; i < begin + count && !cells.HasEnough(); ++i) {
      if (valid != nullptr && !BitAt(valid, i)) {
        cells.AddMissing();
        continue;
      }
      const std::int64_t place = DictionaryIndex(array, i);
      if (place < 0 || place >= entries.length) return false;
      AddCell(entries, ValidityOf(entries), entries.offset + place, cells);
    }
    return true;
  }

  // False where a text of a view does not lie within its buffer. Producers in the same process are
  // trusted, files are not.
  bool ViewsFit(const ArrowArray& array) const;

 private:
  template <class Cells>
  void ReadRange(const ArrowArray& array, std::int64_t begin, std::int64_t count, Cells& cells) const {
    const std::uint8_t* const valid = ValidityOf(array);
    if (type_.cells == ArrowCells::kDouble && valid == nullptr) {
      const double* const values = BufferOf<double>(array, 1) + begin;
      for (std::int64_t i = 0; i < count; ++i) cells.AddNumber(values[i]);
      return;
    }
    for (std::int64_t i = begin; i < begin + count && !cells.HasEnough(); ++i)
      AddCell(array, valid, i, cells);
  }

  template <class Cells>
  void AddCell(const ArrowArray& array, const std::uint8_t* valid, std::int64_t i, Cells& cells) const {
    if (type_.cells == ArrowCells::kNull || (valid != nullptr && !BitAt(valid, i))) return cells.AddMissing();
    switch (type_.cells) {
      case ArrowCells::kBool:
        return cells.AddNumber(BitAt(BufferOf<std::uint8_t>(array, 1), i) ? 1 : 0);
      case ArrowCells::kInt8:
        return AddWhole<std::int8_t>(array, i, cells);
      case ArrowCells::kUint8:
        return AddWhole<std::uint8_t>(array, i, cells);
      case ArrowCells::kInt16:
        return AddWhole<std::int16_t>(array, i, cells);
      case ArrowCells::kUint16:
        return AddWhole<std::uint16_t>(array, i, cells);
      case ArrowCells::kInt32:
        return AddWhole<std::int32_t>(array, i, cells);
      case ArrowCells::kUint32:
        return AddWhole<std::uint32_t>(array, i, cells);
      case ArrowCells::kInt64:
        return AddWhole<std::int64_t>(array, i, cells);
      case ArrowCells::kUint64:
        return AddWhole<std::uint64_t>(array, i, cells);
      case ArrowCells::kHalf:
        return cells.AddNumber(HalfValue(BufferOf<std::uint16_t>(array, 1)[i]));
      case ArrowCells::kFloat:
        return cells.AddNumber(static_cast<double>(BufferOf<float>(array, 1)[i]));
      case ArrowCells::kDouble:
        return cells.AddNumber(BufferOf<double>(array, 1)[i]);
      case ArrowCells::kText32:
        return cells.AddText(OffsetText<std::int32_t>(array, i));
      case ArrowCells::kText64:
        return cells.AddText(OffsetText<std::int64_t>(array, i));
      case ArrowCells::kTextView:
        return cells.AddText(ViewText(array, i));
      case ArrowCells::kDecimal:
        return cells.AddDigits(
            DecimalText(BufferOf<std::byte>(array, 1) + type_.bytes * i, type_.bytes, type_.decimals));
      case ArrowCells::kNull:
      case ArrowCells::kLeftOut:
        return cells.AddMissing();
    }
  }

  template <typename Whole, class Cells>
  void AddWhole(const ArrowArray& array, std::int64_t i, Cells& cells) const {
    const Whole cell = BufferOf<Whole>(array, 1)[i];
    if constexpr (sizeof(Whole) == 8) {
      if (type_.divisor == 1 && type_.dateUnit == DateUnit::kNone) return cells.AddWhole(cell);
    }
    if (!type_.nanoseconds) return cells.AddNumber(static_cast<double>(cell) / type_.divisor);
    const std::int64_t microseconds = static_cast<std::int64_t>(cell) / 1000;
    cells.AddNumber(static_cast<double>(microseconds) / type_.divisor);
  }

  std::int64_t DictionaryIndex(const ArrowArray& array, std::int64_t i) const;

  template <typename Offset>
  static std::string_view OffsetText(const ArrowArray& array, std::int64_t i) {
    const auto* const offsets = BufferOf<Offset>(array, 1);
    const Offset begin = offsets[i];
    if (offsets[i + 1] == begin) return {};
    return {BufferOf<char>(array, 2) + begin, static_cast<std::size_t>(offsets[i + 1] - begin)};
  }

  static std::string_view ViewText(const ArrowArray& array, std::int64_t i);

  std::string name_;
  bool isDictionary_;
  ArrowCellType indexType_, type_;
};

}  // namespace velmora
