// Pre-bins: what every search for bins works on instead of cases.
//
// An ordered predictor with few distinct values keeps them all; one with many is cut at weighted
// quantiles. A categorical predictor has one pre-bin per level, the rare ones pooled. The
// response's sums are taken once, per fold too, and everything after that (search, choice of the
// number of bins, cross-validation, corrections by hand) is independent of the number of cases.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/binning/partition.h"
#include "workbench/stats/cluster_covariance.h"
#include "workbench/stats/sorted_order.h"
#include "workbench/stats/tree.h"

namespace velmora::binning {

inline constexpr int kFoldCount = 10;

struct PreBins {
  // Ordered predictor: the lowest and highest value of each pre-bin. A level: its code twice.
  std::vector<double> first, last;
  PreBinSums sums;
  // The part of sums that falls into each fold; empty when no folds were given.
  std::vector<PreBinSums> folds;

  std::size_t Count() const { return first.size(); }
};

// A fold for every case, 0 to kFoldCount - 1: each class, or each stretch of ten neighbouring
// values of a measured response, is spread evenly over the folds, in an order that depends on the
// case numbers alone. So equal data give equal folds, and a period in the order of the cases does
// not matter.
std::vector<std::uint8_t> StratifiedFolds(const stats::TreeResponse& response);

// The same for a sample of clusters within strata: whole clusters, each ten of a stratum with
// neighbouring means of the response spread over the folds.
std::vector<std::uint8_t> ClusterFolds(const stats::TreeResponse& response,
                                       const stats::SurveyDesign& design);

// The pre-bins of an ordered predictor: order is its sorted column, cases that do not count for the
// response are left out. At most limit (>= 2) of them; a value that alone holds 1/limit of the
// weight is a pre-bin of its own.
// folds: of StratifiedFolds, or empty. Time: O(cases).
PreBins MakePreBins(const stats::TreeResponse& response, std::span<const double> column,
                    const stats::SortedOrder& order, int limit, std::span<const std::uint8_t> folds = {});

// The bins that binOf gives the distinct values of an order, -1 for a value in none of them; first
// and last are the ends of the values in a bin.
PreBins MakeBins(const stats::TreeResponse& response, std::span<const double> column,
                 const stats::SortedOrder& order, const std::vector<int>& binOf,
                 std::span<const std::uint8_t> folds = {});

// Cases without a value as one pre-bin, whose ends mean nothing.
PreBins MakeMissingBin(const stats::TreeResponse& response, std::span<const std::uint32_t> cases,
                       std::span<const std::uint8_t> folds = {});

// Appends the pre-bins of more to those of bins. The two must hold different cases.
void Append(const PreBins& more, PreBins& bins);
// The sums of the first pre-bins, which get their share by weight of the squared weights.
PreBinSums FirstPreBins(const PreBinSums& sums, std::size_t count);

// Whether a case has a response and a weight.
bool CountsForResponse(const stats::TreeResponse& response, std::size_t caseIndex);

// The pre-bin of each distinct value by its weight, -1 for those without: one pre-bin per value if
// there are at most limit, else weighted quantiles.
std::vector<int> AssignPreBins(const std::vector<double>& weights, std::size_t limit);

// One pre-bin per level that has cases, in order of code.
PreBins MakeLevels(const stats::TreeResponse& response, std::span<const double> column,
                   const stats::SortedOrder& order, std::span<const std::uint8_t> folds = {});

}  // namespace velmora::binning
