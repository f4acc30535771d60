// The ascending order of one column, the start of every tree: cases sorted by (value, case index)
// and the places where the value changes. Made once per predictor and shared by all responses.
//
//   SortColumn(column.values, column.missingCode, {}, scratch, order);
//   for (std::size_t d = 0; d < order.DistinctCount(); ++d) Use(order.Value(column.values, d));
//
// Values within 15 units in the last place of their predecessor are one value: the trees, tables
// and work sheets made from an order then agree with all code that compares the data with the
// tolerance. The order inside such a run is exact.
//
// The top 32 of the values' ordered bits, counted from the column's minimum, are sorted by counting
// passes over (bits, case) pairs of eight bytes; pairs that agree in those bits are then sorted by
// insertion, or by a second set of counting passes over the remaining bits where insertion would be
// slow. Columns with at most four decimals are sorted as the whole numbers that they are multiples
// of, which leaves no pairs that agree, and counted directly where those numbers have a small
// range.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <span>
#include <vector>

namespace velmora::stats {

// Memory that only grows and is not cleared, which kernels keep between predictors.
template <class T>
class Buffer {
 public:
  // Room for count elements; the contents are lost when the buffer grows.
  T* Reserve(std::size_t count) {
    if (count > capacity_) {
      data_.reset(new T[count]);
      capacity_ = count;
    }
    return data_.get();
  }
  T* data() { return data_.get(); }

 private:
  std::unique_ptr<T[]> data_;
  std::size_t capacity_ = 0;
};

// Memory of orders, from any resource, not cleared before it is written.
template <class T>
struct OrderAllocator : std::pmr::polymorphic_allocator<T> {
  using std::pmr::polymorphic_allocator<T>::polymorphic_allocator;
  using std::pmr::polymorphic_allocator<T>::construct;
  void construct(T* place) { ::new (static_cast<void*>(place)) T; }
};
template <class T>
using OrderVector = std::vector<T, OrderAllocator<T>>;

// Cases of a column in ascending order of value. Equal values keep the order of their case indices.
struct SortedOrder {
  explicit SortedOrder(std::pmr::memory_resource* memory = std::pmr::get_default_resource())
      : cases(memory), starts(memory) {}

  OrderVector<std::uint32_t> cases;  // 0-based case indices
  // DistinctCount() + 1 positions in cases: value d has [starts[d], starts[d + 1]).
  OrderVector<std::int32_t> starts;

  std::size_t CaseCount() const { return cases.size(); }
  std::size_t DistinctCount() const { return starts.empty() ? 0 : starts.size() - 1; }
  // The d-th smallest value, read from the column that was sorted: the lowest of its run, and the
  // highest.
  double Value(std::span<const double> column, std::size_t d) const {
    return column[cases[static_cast<std::size_t>(starts[d])]] + 0.0;
  }
  double HighestValue(std::span<const double> column, std::size_t d) const {
    return column[cases[static_cast<std::size_t>(starts[d + 1]) - 1]] + 0.0;
  }
  std::size_t Bytes() const {
    return cases.capacity() * sizeof(cases[0]) + starts.capacity() * sizeof(starts[0]);
  }
};

struct SortScratch {
  Buffer<std::uint64_t> pairs[2];
  Buffer<std::uint32_t> counts;
  Buffer<std::uint32_t> kept;
  Buffer<double> values;
  Buffer<std::int32_t> starts;
};

// Sorts the cases of column that selected lets through (one byte per case, 0 = left out; empty =
// all) and whose value is neither missing nor NaN. Minus zero equals zero; infinities are values
// like any other, at the ends of the order. order is overwritten and keeps its memory. At most 2^31
// - 2 cases; throws std::length_error above that.
void SortColumn(std::span<const double> column, double missingCode, std::span<const std::uint8_t> selected,
                SortScratch& scratch, SortedOrder& order);

// The part of an order whose cases are marked (one byte per case, 0 = left out), without the values
// that lose all their cases.
void FilterOrder(const SortedOrder& order, std::span<const std::uint8_t> marked, SortedOrder& filtered);

}  // namespace velmora::stats
