// The bins of one predictor: the best partition of its pre-bins, with as many bins as the data
// support.
//
//   BinningRules rules;   // eight bins at most, 5 % of the cases in each
//   const PreBins pre = MakePreBins(response, column, order, 100, StratifiedFolds(response));
//   const OptimalBins bins = FindOrderedBins(pre.sums, rules);
//   bins.binOf[i];        // bin of pre-bin i
#pragma once

#include <functional>
#include <vector>

#include "contract/procedures.h"
#include "workbench/binning/partition.h"
#include "workbench/binning/pre_bins.h"

namespace velmora::binning {

struct BinningRules {
  PartitionRules partition;
  int minBins = 1;
  int exactBins = 0;  // 0: as many as the data support
  // Categorical predictor: levels below this share of the weight are pooled before the search.
  double minLevelShare = 0.01;
  std::size_t candidates = 1;  // predictors that are searched for the same response
};

// The cost of choosing one of so many predictors to have more than one bin: ln(candidates / 20),
// but not below 0. Without it, the best of many searches would gain from chance alone.
double SelectionCost(const BinningRules& rules);

// The fewest and the most bins that the rules ask for.
struct BinCounts {
  int least, most;
};
BinCounts AllowedCounts(const BinningRules& rules);

struct OptimalBins {
  std::vector<int> binOf;  // by pre-bin, from 0
  int count = 0;           // 1: no partition is better than chance; 0: cancelled
  Shape shape = Shape::kFree;
  // Levels with a response of more than two classes are merged step by step; not all partitions
  // are compared.
  bool greedy = false;
};

// Neighbouring pre-bins, all partitions compared.
OptimalBins FindOrderedBins(const PreBinSums& sums, const BinningRules& rules,
                            const std::function<bool()>& isCancelled = {});

// Levels in any combination. Two classes or a measured response: levels in order of rate or mean,
// where the best partition is one of neighbours (Fisher 1958; Breiman et al. 1984, section 9.4);
// more than kMostGroups of them are joined before.
// More classes: the two groups whose merger costs least deviance are merged until one is left, and
// the best number is kept (Kass 1980, doi:10.2307/2986296, without its tests).
OptimalBins FindLevelBins(const PreBinSums& sums, const BinningRules& rules,
                          const std::function<bool()>& isCancelled = {});

// By how much the best partition that the rules allow shortens the description of the response
// against one bin of all cases; below 0 where none does. One bin itself is not among the
// partitions, so random responses give all kinds of gains. separate: pre-bins that are bins of
// their own in every partition; it may be empty. -infinity: no partition.
double SearchGain(const PreBinSums& values, const PreBinSums& separate, const BinningRules& rules,
                  bool categorical);

// More groups of levels than this are joined, neighbours in order of rate or mean (of more than two
// classes: of the first principal component of their shares), so that none but a single large one
// has more than this part of the weight. The number of bins is chosen as from all of them.
inline constexpr std::size_t kMostGroups = 500;
// The joined group of each group in order, from 0.
std::vector<int> JoinNeighbours(const std::vector<double>& weights);

// A group for each level, but the last group for all that have less than minShare of the weight and
// less than half of the average weight of a level.
std::vector<int> PoolRareLevels(const PreBinSums& sums, double minShare, std::size_t& groupCount);

// The sums of each bin. binOf: the bin of each pre-bin, -1 for none.
PreBinSums SumBins(const PreBinSums& preBins, const std::vector<int>& binOf, std::size_t binCount);

// The bin of the missing cases: one more than there are for a bin of their own, -1 where they are
// left out.
int PlaceOfMissing(vlm::MissingBin place, const PreBinSums& bins, const PreBinSums& missing);

// Whether describing the missing cases apart from all others shortens the description (see
// DescriptionLength), although it takes one more bit.
bool MissingCasesDiffer(const PreBinSums& values, const PreBinSums& missing, double selectionCost = 0);

// The cut between two neighbouring pre-bins: the number with the fewest digits that is at least
// `last`, the highest value below, and less than `first`, the lowest value above; the one nearest
// to their middle among those.
double CutBetween(double last, double first);

}  // namespace velmora::binning
