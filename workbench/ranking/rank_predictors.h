// Ranks the predictors of one or more outcomes by their association with them.
//
//   RankingPlan plan;
//   plan.continuousPredictors = {2, 3}, plan.categoricalDependents = {1};
//   WorkerPool pool;
//   const Ranking ranking = RankPredictors(table, selected, plan, pool);
//   const int best = ranking.outcomes[0].order[0];   // of a predictor, continuous ones first
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/selection.h"
#include "workbench/ranking/case_groups.h"
#include "workbench/stats/adjusted_p.h"
#include "workbench/stats/association.h"
#include "workbench/system/worker_pool.h"

namespace velmora::ranking {

enum class RankKey { kEffect, kStatistic, kP };

struct RankingPlan {
  // Variable numbers from 1.
  std::vector<int> continuousDependents, categoricalDependents;
  std::vector<int> continuousPredictors, categoricalPredictors;
  int weight = 0, count = 0;     // 0: none
  int strata = 0, clusters = 0;  // of a survey's design; 0: none
  IntervalRule predictorIntervals;
  bool cutDependents = false;  // continuous dependents are classes of intervals
  IntervalRule dependentIntervals;
  bool completeCases = false;  // only cases that have every dependent and predictor

  bool chiSquare = false;  // the statistic of classes is chi-square, not Cramer's V
  RankKey key = RankKey::kEffect;
  stats::Adjustment adjustment = stats::Adjustment::kBenjaminiHochberg;
  bool adjustAcrossDependents = false;
  // Fisher's or a Monte Carlo test where an expected count is below 5; not with weights.
  bool exact = false;
  int replicates = 9999;
  std::uint64_t seed = 1;
  double alpha = 0.05;  // an adjusted p above it counts as chance
};

// One predictor of one outcome.
struct RankedPair {
  stats::Association association;
  double logAdjustedP = 0;    // NaN when nothing was tested
  bool better = false;        // than chance: adjusted p at or below alpha
  std::int64_t cases = 0;     // that have both values
  std::int64_t missing = 0;   // the other cases of the run
  double frequency = 0;       // cases by the count variable
  std::size_t distinct = 0;   // values of the predictor
  bool exact = false;         // p is that of an exact test
  bool tooManyCells = false;  // not tested: the table has far more cells than cases
};

struct RankedOutcome {
  std::vector<RankedPair> pairs;  // by predictor
  std::vector<int> order;         // all predictors, best first
  std::int64_t cases = 0;         // with a value of the outcome
  std::int64_t missing = 0;
  bool hasClasses = false;  // classes, or intervals of a measured outcome
};

struct CrowdedPredictor {
  int number = 0;
  CrowdedIntervals intervals;
};

struct Ranking {
  std::vector<RankedOutcome> outcomes;  // the continuous ones first
  std::int64_t excludedCases = 0;       // not selected
  std::int64_t zeroWeightCases = 0;     // weight 0 or missing
  std::int64_t badCountCases = 0;       // count missing or below 1
  std::int64_t incompleteCases = 0;     // left out because a value of the run is missing
  std::int64_t usedCases = 0;
  double totalWeight = 0;   // of the used cases, as the file has them; their number without weights
  double designEffect = 1;  // Kish 1965: cases x sum of squared weights / squared sum
  std::vector<CrowdedPredictor> crowded;
  std::size_t strata = 0, clusters = 0;  // of a design, with cases that are used
  std::size_t lonelyStrata = 0;          // with one cluster
};

// Progress between 0 and 1; false cancels.
using RankingProgress = std::function<bool(double)>;

// The predictors are shared out among the threads of the pool; the figures are the same bits for
// any number of them. progress: called on the calling thread. Throws DataError for a weight below
// 0, Cancelled.
Ranking RankPredictors(const Table& table, const CaseBitmap& selected, const RankingPlan& plan,
                       WorkerPool& pool, const RankingProgress& progress = {});

}  // namespace velmora::ranking
