// The one pass over the sorted cases of a predictor that a tree needs.
#include <array>

#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

// Runs of equal values shorter than this are totalled case by case, and the totals at the runs'
// ends are picked out afterwards: no branch depends on where a run ends.
constexpr std::size_t kLongRun = 8;

// totals[k] := sum of valueAt(position) over the positions before item k. totals has room for the
// cases and one more.
template <class Total, class ValueAt>
void RunningTotals(const SortedOrder& order, Total* totals, ValueAt valueAt) {
  const std::size_t count = order.CaseCount();
  const std::size_t items = order.DistinctCount();
  const std::int32_t* starts = order.starts.data();
  Total total = 0;
  totals[0] = 0;
  if (items * kLongRun > count) {
    for (std::size_t i = 0; i < count; ++i) {
      total += valueAt(i);
      totals[i + 1] = total;
    }
    if (items < count)
      for (std::size_t k = 1; k <= items; ++k) totals[k] = totals[starts[k]];
    return;
  }
  for (std::size_t k = 0; k < items; ++k) {
    Total run = 0;
    for (std::int32_t i = starts[k]; i < starts[k + 1]; ++i) run += valueAt(static_cast<std::size_t>(i));
    total += run;
    totals[k + 1] = total;
  }
}

// Counts of all classes but the first, one array per class.
void ClassTotals(const TreeResponse& response, const SortedOrder& order, TreeScratch& scratch,
                 Totals& totals) {
  const std::size_t items = order.DistinctCount();
  const auto channels = static_cast<std::size_t>(response.classCount) - 1;
  const std::uint16_t* classOf = response.classOf.data();
  const std::uint32_t* cases = order.cases.data();
  if (channels == 1) {
    std::int32_t* counts = scratch.classTotals.Reserve(order.CaseCount() + 1);
    RunningTotals(order, counts, [&](std::size_t i) { return static_cast<std::int32_t>(classOf[cases[i]]); });
    totals.classCounts = {counts};
    return;
  }
  std::int32_t* counts = scratch.classTotals.Reserve((items + 1) * channels);
  std::array<std::int32_t, kMaxTotalledClasses> running{};
  for (std::size_t c = 0; c < channels; ++c) {
    totals.classCounts.push_back(counts + c * (items + 1));
    counts[c * (items + 1)] = 0;
  }
  for (std::size_t k = 0; k < items; ++k) {
    for (std::int32_t i = order.starts[k]; i < order.starts[k + 1]; ++i)
      ++running[classOf[cases[static_cast<std::size_t>(i)]]];
    for (std::size_t c = 0; c < channels; ++c) counts[c * (items + 1) + k + 1] = running[c + 1];
  }
}

}  // namespace

Totals MakeTotals(const TreeResponse& response, const SortedOrder& order, TreeScratch& scratch) {
  const std::size_t count = order.CaseCount();
  const std::uint32_t* cases = order.cases.data();
  Totals totals;
  totals.items = static_cast<std::int32_t>(order.DistinctCount());
  totals.counts = order.starts.data();
  const bool weighted = !response.weights.empty();
  const bool totalled = response.continuous || response.classCount <= kMaxTotalledClasses;
  if (weighted) {
    double* weights = scratch.weights.Reserve(3 * (count + 1));
    double* sortedWeights = weights + count + 1;
    double* squaredWeights = sortedWeights + count + 1;
    for (std::size_t i = 0; i < count; ++i) sortedWeights[i] = response.weights[cases[i]];
    RunningTotals(order, weights, [&](std::size_t i) { return sortedWeights[i]; });
    RunningTotals(order, squaredWeights, [&](std::size_t i) {
      return response.weightsAreCounts ? sortedWeights[i] : sortedWeights[i] * sortedWeights[i];
    });
    totals.weights = weights;
    totals.sortedWeights = sortedWeights;
    totals.squaredWeights = squaredWeights;
  }
  if (response.continuous) {
    double* sorted = scratch.sorted.Reserve(count + 1);
    double* sums = scratch.sums.Reserve(count + 1);
    const double* deviations = response.deviations.data();
    if (weighted) {
      for (std::size_t i = 0; i < count; ++i) sorted[i] = deviations[cases[i]];
      RunningTotals(order, sums, [&](std::size_t i) { return totals.sortedWeights[i] * sorted[i]; });
    } else {
      RunningTotals(order, sums, [&](std::size_t i) { return sorted[i] = deviations[cases[i]]; });
    }
    totals.sorted = sorted;
    totals.sums = {sums};
  } else if (totalled && !weighted) {
    ClassTotals(response, order, scratch, totals);
  } else if (totalled) {
    const auto classes = static_cast<std::size_t>(response.classCount);
    double* sums = scratch.sums.Reserve((count + 1) * classes);
    for (std::size_t c = 0; c < classes; ++c) {
      const auto wanted = static_cast<std::uint16_t>(c);
      double* channel = sums + c * (count + 1);
      RunningTotals(order, channel, [&](std::size_t i) {
        return response.classOf[cases[i]] == wanted ? totals.sortedWeights[i] : 0.0;
      });
      if (c > 0) totals.sums.push_back(channel);
    }
    totals.firstClass = sums;
  }
  if (!response.continuous && !totalled) {
    std::uint16_t* classes = scratch.classes.Reserve(count + 1);
    for (std::size_t i = 0; i < count; ++i) classes[i] = response.classOf[cases[i]];
    totals.sortedClasses = classes;
  }
  return totals;
}

}  // namespace velmora::stats
