// The two passes as a plain loop: one case after the other, one ordered map for each pair. Slow,
// and written independently of the fast engine, whose every bit it decides.
#pragma once

#include <vector>

#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl::testing {

struct ReferenceResult {
  int result = 0;  // 0, or 1: too few valid cases
  int validCases = 0;
  double totalWeight = 0.0;
  std::vector<ContinuousVarMoments> predictorMoments;  // continuous predictors
  std::vector<ContinuousVarMoments> dependentMoments;  // continuous dependents, when cut
  std::vector<double> statistic, pValue;
  std::vector<int> notComputable;
  std::vector<PairBasis> basis;
  std::vector<int> dependentCases;
};

// Reads lists and options of the settings, and nothing that a run leaves in them.
ReferenceResult RunReference(vlm::IEngineServices& services, const FeatureSelectionSettings& settings);

}  // namespace vlmfsl::testing
