// The order of each result list, best first.
#include <new>

#include "base/index_heap_sort.h"
#include "module/frame/host_array.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

struct SortKey {
  double PredSummary::*key;  // null: every key is 0
  bool smallestFirst;
};

SortKey KeyOf(const ScreeningState& state, int responseKind) {
  switch (responseKind) {
    case vlm::kBinaryResponse:
      if (state.binarySort == kSortByGini) return {&PredSummary::giniAfter, true};
      if (state.binarySort == kSortByInformationValue) return {&PredSummary::informationValue, false};
      return {nullptr, true};
    case vlm::kCategoricalResponse:
      if (state.categoricalSort == kSortByChiSquareP) return {&PredSummary::chiSquareP, true};
      return {&PredSummary::chiSquare, false};
    default:
      if (state.continuousSort == kSortByRSquared) return {&PredSummary::rSquared, false};
      return {&PredSummary::fStatistic, false};
  }
}

}  // namespace

void CFeatureSelectionTemplate::SortPredictors() {
  const auto sortKind = [this](int responseKind) {
    const std::vector<PredSummary>& results = Results(responseKind);
    std::vector<int>& order = Order(responseKind);
    const std::size_t count = results.size();
    order.resize(count);
    if (count == 0) return;
    HostArray<double> keys(Services());
    HostArray<int> positions(Services());
    if (keys.AllocateZeroed(count) != 0 || positions.Allocate(count) != 0) throw std::bad_alloc();
    const SortKey sortKey = KeyOf(*this, responseKind);
    for (std::size_t i = 0; sortKey.key != nullptr && i < count; ++i) keys[i] = results[i].*sortKey.key;
    // Largest key first; equal keys keep the heap's order, which reversing turns round as well.
    vlm::MinHeapIndexSort<double>(keys.Elements(), positions.Elements());
    for (std::size_t i = 0; i < count; ++i) {
      order[i] = positions[sortKey.smallestFirst ? count - 1 - i : i] - 1;
    }
  };
  if (binaryResponseCount > 0) sortKind(vlm::kBinaryResponse);
  if (categoricalResponseCount > 0) sortKind(vlm::kCategoricalResponse);
  if (continuousResponseCount > 0) sortKind(vlm::kContinuousResponse);
}

}  // namespace vlmfsl
