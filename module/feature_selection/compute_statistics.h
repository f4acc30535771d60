// The second pass over the data.
#pragma once

#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// Scores every pair of a dependent and a predictor: a one-way F for a continuous dependent,
// Chi-square or Cramer's V of the cross-tabulation for a categorical one and for a continuous one
// cut into intervals. Fills statistic, pValue, notComputable and basis in new matrices,
// dependentCases, and facts. After ComputeMoments.
//
// Returns kOk, or kFailed on cancellation, when the reader stops, when memory is short, or with
// fewer than 3 valid cases, which a notice reports. On failure the caller releases the results.
[[nodiscard]] int ComputeStatistics(FeatureSelectionSettings& settings);

}  // namespace vlmfsl
