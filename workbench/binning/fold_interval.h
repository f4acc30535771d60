// The 95 % interval of a cross-validated figure.
#pragma once

#include <vector>

#include "workbench/binning/optimal_bins.h"

namespace velmora::binning {

// About a figure whose values, or linearised deviations, are these in the kFoldCount folds.
Interval IntervalOfFolds(double figure, const std::vector<double>& ofFolds);

}  // namespace velmora::binning
