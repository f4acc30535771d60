#include "workbench/stats/ranks.h"

namespace velmora::stats {
namespace {

// Calls set(case, ranked weight below its value, ranked weight of its value) for every case of the
// order.
template <class Weight, class WeightAt, class Set>
void VisitTies(const SortedOrder& order, WeightAt weightAt, Set set) {
  Weight below = 0;
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const auto begin = static_cast<std::size_t>(order.starts[d]);
    const auto end = static_cast<std::size_t>(order.starts[d + 1]);
    Weight tied = 0;
    for (std::size_t i = begin; i < end; ++i) tied += weightAt(order.cases[i]);
    for (std::size_t i = begin; i < end; ++i) set(order.cases[i], below, tied);
    below += tied;
  }
}

}  // namespace

CaseRanks::CaseRanks(const SortedOrder& order, std::span<const std::uint8_t> ranked,
                     std::span<const double> weights) {
  if (weights.empty()) {
    doubled_.resize(ranked.size());
    VisitTies<std::uint32_t>(
        order, [&](std::uint32_t i) { return std::uint32_t{ranked[i]}; },
        [&](std::uint32_t i, std::uint32_t below, std::uint32_t tied) {
          doubled_[i] = 2 * below + tied + 1;
        });
  } else {
    weighted_.resize(ranked.size());
    VisitTies<double>(
        order, [&](std::uint32_t i) { return ranked[i] != 0 ? weights[i] : 0.0; },
        [&](std::uint32_t i, double below, double tied) { weighted_[i] = below + (tied + 1) / 2; });
  }
}

}  // namespace velmora::stats
