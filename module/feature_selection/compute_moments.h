// The first pass over the data.
#pragma once

#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// Forms minimum, maximum, mean, variance and interval width of every continuous predictor, and of
// every continuous dependent when these are cut, and the total weight. After PrepareRun.
//
// The mean and the sum of squares are updated case by case (Welford 1962, doi:10.2307/1266577, with
// weights); the divisor is the mass of all cases accepted so far, also for a variable that was
// missing in some of them.
//
// Returns kOk, or kFailed on cancellation, when the reader stops, or when memory is short; shows no
// message.
[[nodiscard]] int ComputeMoments(FeatureSelectionSettings& settings);

}  // namespace vlmfsl
