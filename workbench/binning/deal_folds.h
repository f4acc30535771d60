// Folds of cases that are known by their counts alone.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/binning/pre_bins.h"

namespace velmora::binning {

// Deals the cases of every class out to the folds of the groups, each class evenly, as if they had
// been shuffled first: a draw from the multivariate hypergeometric distribution. groups: sums of
// classes, whose folds are made; cases: the unweighted cases of each of their bins in turn, by
// class. The weight of a bin and class is spread over its cases evenly. Equal counts give equal
// folds.
void DealFolds(std::span<PreBins* const> groups, const std::vector<std::vector<double>>& cases);

}  // namespace velmora::binning
