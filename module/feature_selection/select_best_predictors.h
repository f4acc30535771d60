// The one ranking rule that every output of feature selection applies.
#pragma once

#include <cstddef>
#include <span>

#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// No list is longer than this.
inline constexpr int kMaxListed = 5000;

// The predictors of one dependent in ranked order. Holds a block of the host's memory.
class BestPredictors {
 public:
  explicit BestPredictors(vlm::IEngineServices& services) : order_(services) {}

  // Ranks the predictors of the dependent (from 0, continuous ones first) and shows the notices
  // that apply, each time it is called. The settings must hold results. Returns kOk, or kFailed
  // when memory is short (nothing is shown).
  [[nodiscard]] int Select(const FeatureSelectionSettings& settings, int dependentIndex);

  // All predictor positions, from 1, continuous predictors first, in ranked order.
  std::span<const int> Order() { return order_.Elements(); }
  // How many of them are listed; 0: this dependent has no list.
  int Listed() const { return listed_; }
  std::span<const int> Best() { return Order().first(static_cast<std::size_t>(listed_)); }

 private:
  HostArray<int> order_;
  int listed_ = 0;
};

}  // namespace vlmfsl
