#include "workbench/ranking/test_pairs.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>

#include "base/tolerant.h"
#include "workbench/stats/exact_tests.h"

namespace velmora::ranking {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Only for whole counts: of cases, or of a count variable without fractions.
void TestExactly(const stats::CellSums& sums, const RankingPlan& plan, std::uint64_t seed, RankedPair& pair) {
  std::vector<double> counts;
  std::vector<double> columnTotals(sums.columns);
  for (std::size_t g = 0; g < sums.rows; ++g) {
    for (std::size_t c = 0; c < sums.columns; ++c) columnTotals[c] += sums.weights[g * sums.columns + c];
  }
  for (std::size_t g = 0; g < sums.rows; ++g) {
    const auto row = sums.weights.begin() + static_cast<std::ptrdiff_t>(g * sums.columns);
    if (std::accumulate(row, row + static_cast<std::ptrdiff_t>(sums.columns), 0.0) == 0) continue;
    for (std::size_t c = 0; c < sums.columns; ++c) {
      if (columnTotals[c] == 0) continue;
      if (row[static_cast<std::ptrdiff_t>(c)] != std::floor(row[static_cast<std::ptrdiff_t>(c)])) return;
      counts.push_back(row[static_cast<std::ptrdiff_t>(c)]);
    }
  }
  stats::Association& association = pair.association;
  const double p = counts.size() == 4 ? stats::FisherP(counts[0], counts[1], counts[2], counts[3])
                                      : stats::MonteCarloP(counts, association.levels, association.classes,
                                                           plan.replicates, seed);
  association.logP = std::log(p);
  pair.exact = true;
}

double LogP(const RankedPair& pair) { return pair.association.computable ? pair.association.logP : kNaN; }

void Adjust(std::span<RankedOutcome> outcomes, const RankingPlan& plan) {
  std::vector<double> logP;
  for (const RankedOutcome& outcome : outcomes) {
    for (const RankedPair& pair : outcome.pairs) logP.push_back(LogP(pair));
  }
  const std::vector<double> adjusted = stats::AdjustLogP(logP, plan.adjustment);
  std::size_t at = 0;
  for (RankedOutcome& outcome : outcomes) {
    for (RankedPair& pair : outcome.pairs) {
      pair.logAdjustedP = adjusted[at++];
      pair.better = pair.logAdjustedP <= std::log(plan.alpha);
    }
  }
}

// Predictors that are no better than chance come after the others, unless the user asks for another
// order; those that cannot be tested come last. Equal predictors keep their order.
void Order(RankedOutcome& outcome, const RankingPlan& plan) {
  const bool useV = outcome.hasClasses && !plan.chiSquare;
  struct Key {
    int place;
    double first, second;
    bool operator<(const Key& other) const {
      if (place != other.place) return place < other.place;
      if (first != other.first) return first < other.first;
      return second < other.second;
    }
  };
  std::vector<Key> keys;
  for (const RankedPair& pair : outcome.pairs) {
    const stats::Association& association = pair.association;
    const double p = pair.logAdjustedP;
    if (!association.computable || std::isnan(p)) {
      keys.push_back({2, -association.rawEffect, 0});
    } else if (plan.key == RankKey::kStatistic) {
      keys.push_back({0, -(useV ? association.rawEffect : association.statistic), association.logP});
    } else if (plan.key == RankKey::kP) {
      keys.push_back({0, association.logP, -association.effect});
    } else {
      keys.push_back({pair.better ? 0 : 1, -association.effect, association.logP});
    }
  }
  outcome.order.resize(outcome.pairs.size());
  std::iota(outcome.order.begin(), outcome.order.end(), 0);
  std::stable_sort(outcome.order.begin(), outcome.order.end(), [&](int a, int b) {
    return keys[static_cast<std::size_t>(a)] < keys[static_cast<std::size_t>(b)];
  });
}

}  // namespace

bool HasTooManyCells(std::size_t cells, std::size_t caseCount) {
  constexpr std::size_t kManyCells = 1000000;
  constexpr std::size_t kMostCellsPerCase = 16;
  return cells > kManyCells && cells / kMostCellsPerCase > caseCount;
}

void TestTable(const stats::CellSums& sums, const RankingPlan& plan, std::uint64_t seed, RankedPair& pair) {
  pair.association = stats::TableAssociation(sums);
  if (plan.exact && pair.association.computable && pair.association.smallCells > 0)
    TestExactly(sums, plan, seed, pair);
}

std::uint64_t SeedOfPair(const RankingPlan& plan, int predictor, std::size_t dependent) {
  return plan.seed * 1000003 + static_cast<std::uint64_t>(predictor) * 1000 + std::uint64_t{dependent};
}

stats::GroupSums CountGroups(std::span<const stats::GroupMoments> groups, double factor, bool isSampled,
                             RankedPair& pair) {
  stats::GroupSums sums(groups.size());
  pair.cases = 0;
  pair.frequency = 0;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const stats::GroupMoments& group = groups[g];
    pair.cases += static_cast<std::int64_t>(group.cases);
    pair.frequency += group.frequency;
    sums.weights[g] = factor * group.weight;
    sums.means[g] = group.mean;
    sums.sumsOfSquares[g] = factor * group.deviations;
    if (!isSampled) continue;
    const double apart = group.squaresMean - group.mean;
    sums.squaredWeights.push_back(factor * factor * group.squares);
    sums.squaredWeightsSquares.push_back(factor * factor *
                                         (group.squaresDeviations + group.squares * apart * apart));
  }
  if (isSampled) sums.cases = pair.frequency;
  return sums;
}

double RoundingAt(double distance) {
  return static_cast<double>(vlm::kToleranceUlps) * std::numeric_limits<double>::epsilon() * distance;
}

// Moments are taken about the mean of the pair, so that the squares do not hide the spread of
// values far from zero.
binning::PreBinSums PreBinsOf(std::span<const stats::GroupMoments> groups, double factor, bool isSampled) {
  stats::GroupMoments all;
  for (const stats::GroupMoments& group : groups) all.Merge(group);
  binning::PreBinSums sums;
  sums.classCount = 0;
  for (const stats::GroupMoments& group : groups) {
    const double weight = factor * group.weight, mean = group.weight > 0 ? group.mean - all.mean : 0;
    sums.values.insert(sums.values.end(),
                       {weight, weight * mean, factor * group.deviations + weight * mean * mean});
    sums.cases.push_back(group.cases);
    sums.squaredWeights += isSampled ? factor * factor * group.squares : weight;
  }
  return sums;
}

binning::OptimalBins JoinGroups(const binning::PreBinSums& sums, int intervals) {
  binning::BinningRules rules;
  rules.partition.maxBins = std::max(intervals, 2);
  return binning::FindOrderedBins(sums, rules);
}

void CorrectForSearch(std::size_t fineGroups, std::size_t found, int most, bool ordered,
                      stats::Association& association) {
  if (found < 1 || found > fineGroups) return;
  const auto numbers = std::min(static_cast<double>(most), static_cast<double>(fineGroups));
  const double partitions =
      ordered ? binning::LogChoose(fineGroups - 1, found - 1) : binning::LogStirling(fineGroups, found);
  association.logP = std::min(0.0, association.logP + std::log(std::max(numbers, 1.0)) + partitions);
}

void AdjustAndOrder(const RankingPlan& plan, Ranking& ranking) {
  if (plan.adjustAcrossDependents) {
    Adjust(ranking.outcomes, plan);
  } else {
    for (RankedOutcome& outcome : ranking.outcomes) Adjust({&outcome, 1}, plan);
  }
  for (RankedOutcome& outcome : ranking.outcomes) Order(outcome, plan);
}

}  // namespace velmora::ranking
