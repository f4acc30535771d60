// From the value of a variable to one of several outcomes: bins by cut points, bins by levels, or
// any conditions that come down to ranges of the variable.
//
//   const ValueLookup bins({{-inf, 25, 0}, {-inf, 40, 1}}, ValueLookup::Winner::kFirst);
//   bins.Find(30) == 1; bins.Find(50) == -1;
#pragma once

#include <cstddef>
#include <vector>

namespace velmora {

class ValueLookup {
 public:
  // From low to high, both included.
  struct Range {
    double low, high;
    int outcome;  // not below -1, which is no outcome
  };
  enum class Winner { kFirst, kLast };  // of the ranges that hold a value

  // Costs n log n for n ranges, however they overlap.
  ValueLookup(std::vector<Range> ranges, Winner winner);

  // The outcome of a finite value, -1 for none. Costs log n.
  int Find(double value) const {
    std::size_t first = 0;  // of the pieces that the value may be in
    // No branch depends on the value: neighbouring cases have little to do with each other.
    for (std::size_t left = starts_.size(); left > 0;) {
      const std::size_t half = (left + 1) / 2;
      first += starts_[first + half - 1] <= value ? half : 0;
      left -= half;
    }
    return outcomes_[first];
  }

 private:
  std::vector<double> starts_;  // of the pieces into which the ranges divide the numbers, ascending
  std::vector<int> outcomes_;   // before the first start, then of each piece
};

}  // namespace velmora
