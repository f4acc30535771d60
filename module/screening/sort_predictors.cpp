// The order of each result list, best first; predictors whose figure is not computable last, in the
// order of the list.
#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/index_heap_sort.h"
#include "module/frame/host_array.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

struct SortKey {
  RankingStatistic key;  // null: every key is 0
  bool smallestFirst;
};

SortKey KeyOf(const ScreeningState& state, int responseKind) {
  switch (responseKind) {
    case vlm::kBinaryResponse:
      if (state.binarySort == kSortByGini) return {GiniAfter, true};
      if (state.binarySort == kSortByInformationValue) return {InformationValue, false};
      return {nullptr, true};
    case vlm::kCategoricalResponse:
      if (state.categoricalSort == kSortByChiSquareP) return {ChiSquareP, true};
      return {ChiSquare, false};
    default:
      if (state.continuousSort == kSortByRSquared) return {RSquared, false};
      return {FStatistic, false};
  }
}

}  // namespace

bool CFeatureSelectionTemplate::SetOrder(int responseKind, std::span<const int> positions, int bestCount) {
  const std::size_t count = Results(responseKind).size();
  std::vector<bool> seen(count);
  for (const int position : positions) {
    if (position < 0 || static_cast<std::size_t>(position) >= count) return false;
    if (seen[static_cast<std::size_t>(position)]) return false;
    seen[static_cast<std::size_t>(position)] = true;
  }
  if (positions.size() != count) return false;
  Order(responseKind).assign(positions.begin(), positions.end());
  lists[responseKind].bestCount = std::max(bestCount, 0);
  return true;
}

void CFeatureSelectionTemplate::SortPredictors() {
  for (ResultList& list : lists) list.bestCount = std::numeric_limits<int>::max();
  const auto sortKind = [this](int responseKind) {
    const std::vector<PredSummary>& results = Results(responseKind);
    std::vector<int>& order = Order(responseKind);
    const std::size_t count = results.size();
    order.clear();
    if (count == 0) return;
    HostArray<double> keys(Services());
    HostArray<int> positions(Services());
    if (keys.AllocateZeroed(count) != 0 || positions.Allocate(count) != 0) throw std::bad_alloc();
    const SortKey sortKey = KeyOf(*this, responseKind);
    // Figures that are not computable cannot be sorted by a heap: every comparison with them is
    // false.
    std::vector<int> ranked, notComputable;
    for (std::size_t i = 0; i < count; ++i) {
      const double key = sortKey.key != nullptr ? sortKey.key(results[i]) : 0;
      if (!std::isnan(key)) keys[ranked.size()] = key;
      (std::isnan(key) ? notComputable : ranked).push_back(static_cast<int>(i));
    }
    // Largest key first; equal keys keep the heap's order, which the reverse order reverses too.
    vlm::MinHeapIndexSort<double>(keys.Elements().first(ranked.size()),
                                  positions.Elements().first(ranked.size()));
    for (std::size_t i = 0; i < ranked.size(); ++i) {
      const int place = positions[sortKey.smallestFirst ? ranked.size() - 1 - i : i] - 1;
      order.push_back(ranked[static_cast<std::size_t>(place)]);
    }
    order.insert(order.end(), notComputable.begin(), notComputable.end());
  };
  if (binaryResponseCount > 0) sortKind(vlm::kBinaryResponse);
  if (categoricalResponseCount > 0) sortKind(vlm::kCategoricalResponse);
  if (continuousResponseCount > 0) sortKind(vlm::kContinuousResponse);
}

}  // namespace vlmfsl
