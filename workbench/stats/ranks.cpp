#include "workbench/stats/ranks.h"

#include <algorithm>

namespace velmora::stats {

void AverageRanks(const SortedOrder& order, double missingCode, std::span<double> ranks) {
  std::fill(ranks.begin(), ranks.end(), missingCode);
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const std::int32_t first = order.starts[d];
    const std::int32_t end = order.starts[d + 1];
    const double rank = 0.5 * (static_cast<double>(first) + static_cast<double>(end) + 1);
    for (std::int32_t i = first; i < end; ++i) ranks[order.cases[static_cast<std::size_t>(i)]] = rank;
  }
}

}  // namespace velmora::stats
