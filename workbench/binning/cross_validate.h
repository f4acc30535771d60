// Figures of bins on cases that had no part in finding them.
//
//   const Validation honest = CrossValidate(
//       pre, [&](const PreBinSums& sums) { return FindOrderedBins(sums, rules).binOf; });
#pragma once

#include <functional>
#include <vector>

#include "contract/procedures.h"
#include "workbench/binning/pre_bins.h"

namespace velmora::binning {

// A figure of cross-validation with its 95 % interval: the mean over folds plus and minus the
// 97.5 % point of t (folds - 1 degrees of freedom) times the standard error. Its square, the
// variance over folds times (1/folds + 1/(folds - 1)), allows for the cases that training sets
// share (Nadeau and Bengio 2003, doi:10.1023/A:1024068626366).
struct Interval {
  double lower = 0, upper = 0;
};

// Figures on cases that had no part in finding the bins, by kFoldCount-fold cross-validation. Folds
// without cases of both classes, or without any variation, take no part: clusters may fill few
// folds.
struct Validation {
  // Two classes: sum over bins of (share of goods - share of bads) of the held-out cases, times the
  // weight of evidence that the other folds give the bin; the mean over folds. Near 0, or below,
  // for noise.
  double informationValue = 0;
  double gini = 0;  // two classes: 2 AUC - 1 of that weight of evidence; the mean over folds
  // Measured response: 1 - squared error / squared error of the other folds' mean. Classes: the
  // share of the held-out deviance that the bins explain (McFadden 1974).
  double explained = 0;
  Interval informationValueInterval, giniInterval, explainedInterval;
};

// The cases without a value of the predictor, as MakeMissingBin gives them, and the bin that they
// are in.
struct MissingCases {
  const PreBins* cases = nullptr;  // null: there are none
  vlm::MissingBin place = vlm::kMissingLeftOut;
};

// A search for bins: the bin of each pre-bin, from 0.
using BinFinder = std::function<std::vector<int>(const PreBinSums&)>;

// pre must have folds. find: called kFoldCount times, with the sums of all folds but one. Missing
// cases that are left out have no weight of evidence and the overall mean, so that predictors are
// compared on all cases.
Validation CrossValidate(const PreBins& pre, const BinFinder& find, const MissingCases& missing = {});

// The interval of a figure whose values, or linearised deviations, are these in the folds.
Interval IntervalOfFolds(double figure, const std::vector<double>& ofFolds);

}  // namespace velmora::binning
