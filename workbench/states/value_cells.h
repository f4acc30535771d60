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
#include <vector>

#include "workbench/states/packed.h"

namespace velmora::states {

struct ValueCell {
  double low = 0, high = 0;
  double cases = 0;
  double mass = 0;  // sum of their weights
};

class ValueCells {
 public:
  explicit ValueCells(std::size_t most = 6400) : most_(most) {}

  // Not NaN. Infinities are values at the ends.
  void Add(double value, double cases, double mass);
  void Merge(const ValueCells& other);

  const std::vector<ValueCell>& Cells() const;
  // Every cell is one value.
  bool IsExact() const;
  // The largest share of the mass in a cell of more than one value; 0 when exact.
  double RankError() const;

  Packed Pack() const;
  static ValueCells Unpack(const Packed& packed);

 private:
  // Counted cells are ascending and complete, except for pending ones, which are in any order.
  void Settle() const;
  std::uint64_t KeyOf(double value) const;

  std::size_t most_;
  mutable int shift_ = 0;  // low bits that are ignored
  mutable std::vector<ValueCell> cells_, pending_;
};

}  // namespace velmora::states
