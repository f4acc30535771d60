// Ranks of a column: 1 for the smallest value, equal values share the mean of their ranks. A case
// weight is a frequency: a weight of 2 ranks as the case twice.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/stats/sorted_order.h"

namespace velmora::stats {

// Ranks of some cases of a column, one entry per case of the column. Without weights a rank is a
// multiple of one half.
class CaseRanks {
 public:
  // order: of the whole column. ranked: one byte per case, 0 = left out. weights: of each case, 0 =
  // left out; empty: every ranked case counts once.
  CaseRanks(const SortedOrder& order, std::span<const std::uint8_t> ranked, std::span<const double> weights);

  double operator[](std::size_t caseIndex) const {
    return weighted_.empty() ? 0.5 * doubled_[caseIndex] : weighted_[caseIndex];
  }

 private:
  std::vector<std::uint32_t> doubled_;  // without weights: half the memory
  std::vector<double> weighted_;
};

}  // namespace velmora::stats
