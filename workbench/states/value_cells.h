// The distinct values of a variable with the mass of their cases, in bounded memory.
//
//   ValueCells cells(6400);
//   cells.Add(42.5, 1, 1);
//   cells.Merge(others);
//   for (const ValueCell& cell : cells.Cells()) ...   // ascending
//
// Up to `most` distinct values every cell is one value. Beyond that a cell holds the values whose
// positions among all doubles (vlm::OrderedBits) share their leading bits, as many bits as leave at
// most `most` cells. The number of bits is the largest that the values allow, so cells depend on
// the values alone: not on how cases were cut into parts, nor on the order in which parts were
// merged. Every cell knows its lowest and highest value, and RankError() says how far a quantile
// that is taken from the cells can be from the true one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "workbench/states/packed.h"

namespace velmora::states {

// Aligned: a cell is within one line of the cache.
struct alignas(32) ValueCell {
  double low = 0, high = 0;
  double cases = 0;
  double mass = 0;  // sum of their weights
};

class ValueCells {
 public:
  explicit ValueCells(std::size_t most = 6400) : most_(most) {}

  // Not NaN. Infinities are values at the ends.
  void Add(double value, double cases, double mass);
  // Each of them once, with a mass of 1.
  void AddAll(std::span<const double> values);
  void Merge(const ValueCells& other);

  const std::vector<ValueCell>& Cells() const;
  // Every cell is one value.
  bool IsExact() const;
  // The largest share of the mass in a cell of more than one value; 0 when exact.
  double RankError() const;

  Packed Pack() const;
  static ValueCells Unpack(const Packed& packed);

 private:
  // Values are gathered in a hash table of cells and go from there to the ascending ones: the
  // cells are either in the one or in the other.
  void FillSlots();
  void Grow();
  void Place(const ValueCell& cell);
  // Where the search for the cell of a key begins.
  std::size_t StartOf(std::uint64_t key) const;
  // The slot of the cell, which is free when it is the first one there.
  ValueCell& SlotOf(double value);
  void Settle() const;
  // Joins ascending cells until there are at most most_.
  void Coarsen() const;
  std::uint64_t KeyOf(double value) const;

  std::size_t most_;
  mutable int shift_ = 0;  // low bits that are ignored
  mutable std::vector<ValueCell> cells_;
  mutable std::vector<ValueCell> slots_;  // a power of two of them; NaN: free
  mutable std::size_t filled_ = 0;
};

}  // namespace velmora::states
