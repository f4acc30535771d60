// The steps of a ranking after the pass over the cases: tests of the sums of a pair, adjusted
// p-values, the order of the predictors. The sums may come from a table in memory or from states
// that were merged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "workbench/binning/optimal_bins.h"
#include "workbench/ranking/rank_predictors.h"
#include "workbench/stats/group_moments.h"

namespace velmora::ranking {

// Intervals of kTree before neighbours are joined.
inline constexpr int kFineIntervals = 50;

// A table of more cells per case says nothing, and may not fit the memory.
bool HasTooManyCells(std::size_t cells, std::size_t caseCount);

// Association and p-value of a table, and an exact test where the plan asks for one. seed: of a
// Monte Carlo test.
void TestTable(const stats::CellSums& sums, const RankingPlan& plan, std::uint64_t seed, RankedPair& pair);
// predictor: variable number; dependent: index of the outcome.
std::uint64_t SeedOfPair(const RankingPlan& plan, int predictor, std::size_t dependent);

// Sets the numbers of cases of a pair and returns the sums of its groups, with isSampled also of
// the squared weights. factor: of the weights.
stats::GroupSums CountGroups(std::span<const stats::GroupMoments> groups, double factor, bool isSampled,
                             RankedPair& pair);
// The largest difference that rounding makes between values at this distance from zero.
double RoundingAt(double distance);
// A measured outcome as JoinGroups takes it.
binning::PreBinSums PreBinsOf(std::span<const stats::GroupMoments> groups, double factor, bool isSampled);

// Joins neighbouring fine intervals to at most `intervals` for an outcome.
binning::OptimalBins JoinGroups(const binning::PreBinSums& sums, int intervals);
// Multiplies p by the number of partitions of the groups into `found` parts, and by the `most`
// numbers of parts that were compared (Bonferroni, with weights that are the same for every number
// of parts), so that a search among them does not make it small. ordered: only neighbours are
// joined; otherwise any groups, as of categories.
void CorrectForSearch(std::size_t fineGroups, std::size_t found, int most, bool ordered,
                      stats::Association& association);

// Adjusted p-values and the order of every outcome, whose pairs have been tested.
void AdjustAndOrder(const RankingPlan& plan, Ranking& ranking);

}  // namespace velmora::ranking
