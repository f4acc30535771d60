#include "workbench/ranking/rank_predictors.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <utility>

#include "workbench/data/absent_value.h"
#include "workbench/data/errors.h"
#include "workbench/ranking/ranking_memory.h"
#include "workbench/ranking/survey_design.h"
#include "workbench/ranking/test_pairs.h"
#include "workbench/stats/cluster_covariance.h"

namespace velmora::ranking {
namespace {

// The cases of a run and the mass of each.
struct Cases {
  std::vector<std::uint8_t> used;
  std::vector<double> weight;     // relative to their mean, times the count; empty: 1
  std::vector<double> squares;    // count x weight^2; empty without sampling weights
  std::vector<double> frequency;  // empty: 1
  stats::SurveyDesign design;

  std::size_t Count() const { return used.size(); }
};

class CaseCollector {
 public:
  CaseCollector(const Table& table, const RankingPlan& plan, Ranking& ranking)
      : table_(table), plan_(plan), ranking_(ranking) {}

  Cases Collect(const CaseBitmap& selected) {
    const auto count = static_cast<std::size_t>(table_.caseCount);
    Cases cases;
    cases.used.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      const bool isSelected = selected.Contains(static_cast<std::int64_t>(i));
      cases.used[i] = isSelected ? 1 : 0;
      if (!isSelected) ++ranking_.excludedCases;
    }
    if (plan_.weight != 0) LeaveOutWithoutWeight(cases);
    if (plan_.count != 0) LeaveOutWithoutCount(cases);
    if (plan_.strata != 0 || plan_.clusters != 0) TakeDesign(cases);
    if (plan_.completeCases) LeaveOutIncomplete(cases);
    ranking_.usedCases = std::count(cases.used.begin(), cases.used.end(), std::uint8_t{1});
    if (plan_.count != 0) TakeCounts(cases);
    TakeWeights(cases);
    return cases;
  }

 private:
  void LeaveOutWithoutWeight(Cases& cases) {
    const Column& weights = table_.Variable(plan_.weight);
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (cases.used[i] == 0) continue;
      const double weight = weights.values[i];
      if (IsAbsent(weights, i) || !std::isfinite(weight) || vlm::NearlyEqual(weight, 0)) {
        cases.used[i] = 0;
        ++ranking_.zeroWeightCases;
      } else if (weight < 0) {
        throw DataError("The weight variable " + weights.name + " is negative in case " +
                        std::to_string(i + 1) + "; weights are 0 or more.");
      }
    }
  }

  void LeaveOutWithoutCount(Cases& cases) {
    const Column& counts = table_.Variable(plan_.count);
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      const bool counted = !IsAbsent(counts, i) && std::isfinite(counts.values[i]) && counts.values[i] >= 1;
      if (cases.used[i] == 0 || counted) continue;
      cases.used[i] = 0;
      ++ranking_.badCountCases;
    }
  }

  void LeaveOutIncomplete(Cases& cases) {
    for (const std::vector<int>* numbers : {&plan_.continuousDependents, &plan_.categoricalDependents,
                                            &plan_.continuousPredictors, &plan_.categoricalPredictors}) {
      for (const int number : *numbers) {
        const Column& column = table_.Variable(number);
        for (std::size_t i = 0; i < cases.Count(); ++i) {
          if (cases.used[i] == 0 || !IsAbsent(column, i)) continue;
          cases.used[i] = 0;
          ++ranking_.incompleteCases;
        }
        column.values.Release();
      }
    }
  }

  void TakeDesign(Cases& cases) {
    SurveySample sample = MakeSurveySample(table_, cases.used, {plan_.strata, plan_.clusters, plan_.weight});
    cases.design = std::move(sample.design);
    ranking_.strata = sample.strata;
    ranking_.clusters = sample.clusters;
    ranking_.lonelyStrata = sample.lonelyStrata;
  }

  void TakeCounts(Cases& cases) {
    const ColumnValues& counts = table_.Variable(plan_.count).values;
    cases.frequency.assign(counts.begin(), counts.end());
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (cases.used[i] == 0) cases.frequency[i] = 0;
    }
  }

  void TakeWeights(Cases& cases) {
    if (plan_.weight == 0) {
      cases.weight = cases.frequency;
      if (!cases.design.IsPlain()) {
        if (cases.weight.empty()) cases.weight.assign(cases.used.begin(), cases.used.end());
        cases.squares = cases.weight;
      }
      ranking_.totalWeight = cases.frequency.empty()
                                 ? static_cast<double>(ranking_.usedCases)
                                 : std::accumulate(cases.frequency.begin(), cases.frequency.end(), 0.0);
      return;
    }
    const ColumnValues& weights = table_.Variable(plan_.weight).values;
    cases.weight.assign(weights.begin(), weights.end());
    cases.squares.resize(cases.Count());
    double number = 0, total = 0, squares = 0;
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      const double frequency = cases.used[i] == 0 ? 0 : cases.frequency.empty() ? 1 : cases.frequency[i];
      if (frequency == 0) cases.weight[i] = 0;  // also where it is missing
      number += frequency;
      total += frequency * cases.weight[i];
    }
    ranking_.totalWeight = total;
    if (!std::isfinite(total))
      throw DataError("The weights of " + table_.Variable(plan_.weight).name +
                      " are too large to be added up.");
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (cases.used[i] == 0) continue;
      const double relative = cases.weight[i] / total * number;
      const double frequency = cases.frequency.empty() ? 1 : cases.frequency[i];
      cases.weight[i] = frequency * relative;
      cases.squares[i] = frequency * relative * relative;
      squares += cases.squares[i];
    }
    if (number > 0) ranking_.designEffect = squares / number;
  }

  const Table& table_;
  const RankingPlan& plan_;
  Ranking& ranking_;
};

// An outcome in the form that the pass over a pair reads.
struct Outcome {
  // Classes.
  std::vector<std::uint32_t> classOf;  // by case; classes: without one
  std::uint32_t classes = 0;           // 0: measured
  // A measured outcome: times a power of two, which changes no figure; 0 where absent, and
  // everywhere if the outcome is constant.
  std::vector<double> values;
  std::vector<std::uint8_t> present;  // used, with a value
  bool finite = true;
};

// Values that differ by less than 1, so that no square of a difference overflows or vanishes.
void TakeValues(const Column& column, const Cases& cases, Outcome& outcome) {
  outcome.values.assign(cases.Count(), 0.0);
  outcome.present.assign(cases.Count(), 0);
  double lowest = std::numeric_limits<double>::infinity(), highest = -lowest;
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (cases.used[i] == 0 || IsAbsent(column, i)) continue;
    outcome.present[i] = 1;
    lowest = std::min(lowest, column.values[i]);
    highest = std::max(highest, column.values[i]);
  }
  const double largest = std::max(std::fabs(lowest), std::fabs(highest));
  outcome.finite = std::isfinite(largest) || lowest > highest;
  // Values that differ by rounding only, such as 0.3 and 0.1 * 3, are one value.
  if (!outcome.finite || !(lowest < highest) || vlm::NearlyEqual(lowest, highest)) return;
  int exponent = 0;
  std::frexp(highest / 2 - lowest / 2, &exponent);
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (outcome.present[i] != 0) outcome.values[i] = std::ldexp(column.values[i], -exponent - 1);
  }
}

// The pass over the cases of one pair.
class PairPass {
 public:
  PairPass(const Cases& cases, const RankingPlan& plan) : cases_(cases), plan_(plan) {}

  // seed: of a Monte Carlo test.
  void Run(const CaseGroups& groups, const Outcome& outcome, std::uint64_t seed, RankedPair& pair) {
    if (outcome.classes > 0) {
      Tabulate(groups, outcome, seed, pair);
    } else if (outcome.finite) {
      const auto groupAt = [&](std::size_t i) { return groups.groupOf[i]; };
      const double origin = OriginOf(groups, outcome);
      Compare(MomentsOf(groups, outcome, origin), groupAt, outcome, origin, pair);
    }
  }

  // The same of neighbouring groups joined to at most `intervals` for this outcome. p is multiplied
  // by the number of partitions that were compared (Bonferroni), so that the search alone does not
  // make it small.
  void RunJoined(const CaseGroups& groups, const Outcome& outcome, std::uint64_t seed, int intervals,
                 RankedPair& pair) {
    if (outcome.classes == 0 && !outcome.finite) return;
    const double origin = OriginOf(groups, outcome);
    std::vector<stats::GroupMoments> moments;
    binning::PreBinSums sums;
    if (outcome.classes > 0) {
      sums = ClassSums(groups, outcome);
    } else {
      moments = MomentsOf(groups, outcome, origin);
      sums = PreBinsOf(moments, 1, IsSampled());
    }
    if (sums.Count() < 2) return Run(groups, outcome, seed, pair);
    const binning::OptimalBins bins = JoinGroups(sums, intervals);
    const auto joinedAt = [&](std::size_t i) {
      const std::uint32_t g = groups.groupOf[i];
      return g < groups.count ? static_cast<std::uint32_t>(bins.binOf[g])
                              : static_cast<std::uint32_t>(bins.count);
    };
    if (outcome.classes > 0) {
      joined_ = groups;
      joined_.count = static_cast<std::uint32_t>(bins.count);
      for (std::size_t i = 0; i < cases_.Count(); ++i) joined_.groupOf[i] = joinedAt(i);
      Tabulate(joined_, outcome, seed, pair);
    } else {
      std::vector<stats::GroupMoments> joined(static_cast<std::size_t>(bins.count));
      for (std::size_t g = 0; g < moments.size(); ++g)
        joined[static_cast<std::size_t>(bins.binOf[g])].Merge(moments[g]);
      Compare(joined, joinedAt, outcome, origin, pair);
    }
    CorrectForSearch(sums.Count(), pair.association.levels, intervals, true, pair.association);
  }

 private:
  binning::PreBinSums ClassSums(const CaseGroups& groups, const Outcome& outcome) const {
    binning::PreBinSums sums;
    sums.classCount = static_cast<int>(outcome.classes);
    const std::size_t stride = sums.Stride();
    sums.values.resize(groups.count * stride);
    sums.cases.resize(groups.count);
    for (std::size_t i = 0; i < cases_.Count(); ++i) {
      const std::uint32_t g = groups.groupOf[i];
      if (g >= groups.count || outcome.classOf[i] >= outcome.classes) continue;
      const double weight = IsWeighted() ? cases_.weight[i] : 1;
      sums.values[g * stride + outcome.classOf[i]] += weight;
      sums.cases[g] += 1;
      sums.squaredWeights += IsSampled() ? cases_.squares[i] : weight;
    }
    return sums;
  }

  // A value of the outcome from any case in which the predictor has a value.
  double OriginOf(const CaseGroups& groups, const Outcome& outcome) const {
    if (outcome.classes > 0) return 0;
    for (std::size_t i = 0; i < cases_.Count(); ++i) {
      if (outcome.present[i] != 0 && groups.groupOf[i] < groups.count) return outcome.values[i];
    }
    return 0;
  }

  std::vector<stats::GroupMoments> MomentsOf(const CaseGroups& groups, const Outcome& outcome,
                                             double origin) const {
    const auto forEach = [&](auto visit) {
      for (std::size_t i = 0; i < cases_.Count(); ++i) {
        const std::uint32_t g = groups.groupOf[i];
        if (outcome.present[i] == 0 || g >= groups.count) continue;
        stats::CaseMass mass;
        if (IsWeighted()) {
          mass.frequency = cases_.frequency.empty() ? 1 : cases_.frequency[i];
          mass.weight = cases_.weight[i];
          mass.squares = IsSampled() ? cases_.squares[i] : mass.weight;
        }
        visit(g, outcome.values[i], mass);
      }
    };
    return IsWeighted() ? stats::CollectMoments<true>(groups.count, origin, forEach)
                        : stats::CollectMoments<false>(groups.count, origin, forEach);
  }

  bool IsWeighted() const { return !cases_.weight.empty(); }
  bool IsSampled() const { return !cases_.squares.empty(); }

  // The last row and the last column collect the cases that take no part.
  void Tabulate(const CaseGroups& groups, const Outcome& outcome, std::uint64_t seed, RankedPair& pair) {
    const std::size_t stride = std::size_t{outcome.classes} + 1;
    const std::size_t cells = stride * (std::size_t{groups.count} + 1);
    pair.tooManyCells = HasTooManyCells(cells, cases_.Count());
    if (pair.tooManyCells) return;
    counts_.assign(cells, 0);
    for (std::size_t i = 0; i < cases_.Count(); ++i)
      ++counts_[groups.groupOf[i] * stride + outcome.classOf[i]];
    stats::CellSums sums(groups.count, outcome.classes);
    if (IsWeighted()) AddUp(cases_.weight, groups, outcome, stride, cells);
    const auto take = [&](const auto& from, std::vector<double>& to) {
      for (std::size_t g = 0; g < groups.count; ++g) {
        for (std::size_t c = 0; c < outcome.classes; ++c)
          to[g * outcome.classes + c] = static_cast<double>(from[g * stride + c]);
      }
    };
    take(counts_, sums.weights);
    pair.cases = static_cast<std::int64_t>(std::accumulate(sums.weights.begin(), sums.weights.end(), 0.0));
    if (IsWeighted()) take(sums_, sums.weights);
    pair.frequency =
        PairFrequency(groups, pair, [&](std::size_t i) { return outcome.classOf[i] < outcome.classes; });
    if (IsSampled()) {
      AddUp(cases_.squares, groups, outcome, stride, cells);
      sums.squaredWeights.resize(sums.weights.size());
      take(sums_, sums.squaredWeights);
      sums.cases = pair.frequency;
      AddDesign(groups, outcome, sums);
    }
    TestTable(sums, plan_, seed, pair);
  }

  // Adds the design by the cell of each case, with weights as shares of the table's weight.
  void AddDesign(const CaseGroups& groups, const Outcome& outcome, stats::CellSums& sums) {
    if (cases_.design.IsPlain()) return;
    sums.design.isClustered = true;
    sums.design.degreesOfFreedom = cases_.design.degreesOfFreedom;
    const std::size_t cells = sums.weights.size();
    if (cells > 2 * (stats::kMostObservedInteractions + 1)) return;
    const double total = std::accumulate(sums.weights.begin(), sums.weights.end(), 0.0);
    std::vector<double> shares = sums.weights;
    for (double& share : shares) share /= total;
    sums.design.matrix = stats::ClusterCovariance(
        cases_.design, cells,
        [&](std::uint32_t i, auto add) {
          if (groups.groupOf[i] < groups.count && outcome.classOf[i] < outcome.classes)
            add(std::size_t{groups.groupOf[i]} * outcome.classes + outcome.classOf[i],
                cases_.weight[i] / total);
        },
        shares);
  }

  void AddUp(const std::vector<double>& mass, const CaseGroups& groups, const Outcome& outcome,
             std::size_t stride, std::size_t cells) {
    sums_.assign(cells, 0);
    for (std::size_t i = 0; i < cases_.Count(); ++i)
      sums_[groups.groupOf[i] * stride + outcome.classOf[i]] += mass[i];
  }

  // groupAt: of each case, from the number of groups on: none.
  template <typename GroupAt>
  void Compare(const std::vector<stats::GroupMoments>& groups, const GroupAt& groupAt, const Outcome& outcome,
               double origin, RankedPair& pair) const {
    stats::GroupSums sums = CountGroups(groups, 1, IsSampled(), pair);
    sums.rounding = RoundingAt(std::fabs(origin));
    if (!cases_.design.IsPlain()) {
      sums.design.isClustered = true;
      sums.design.degreesOfFreedom = cases_.design.degreesOfFreedom;
      if (groups.size() <= stats::kMostObservedInteractions + 1)
        sums.design.matrix =
            stats::ClusterCovariance(cases_.design, groups.size(), [&](std::uint32_t i, auto add) {
              const std::uint32_t g = groupAt(i);
              if (outcome.present[i] == 0 || g >= groups.size()) return;
              const double deviation = outcome.values[i] - origin - sums.means[g];
              add(g, cases_.weight[i] * deviation / sums.weights[g]);
            });
    }
    pair.association = stats::MeanAssociation(sums);
  }

  template <typename HasOutcome>
  double PairFrequency(const CaseGroups& groups, const RankedPair& pair, HasOutcome hasOutcome) const {
    if (cases_.frequency.empty()) return static_cast<double>(pair.cases);
    double sum = 0;
    for (std::size_t i = 0; i < cases_.Count(); ++i) {
      if (groups.groupOf[i] < groups.count && hasOutcome(i)) sum += cases_.frequency[i];
    }
    return sum;
  }

  const Cases& cases_;
  const RankingPlan& plan_;
  CaseGroups joined_;
  std::vector<std::uint32_t> counts_;
  std::vector<double> sums_;
};

class RankingRun {
 public:
  RankingRun(const Table& table, const CaseBitmap& selected, const RankingPlan& plan, WorkerPool& pool,
             const RankingProgress& progress)
      : table_(table),
        plan_(plan),
        pool_(pool),
        progress_(progress),
        cases_(CaseCollector(table, plan, ranking_).Collect(selected)),
        workers_(static_cast<std::size_t>(pool.ThreadCount())) {}

  Ranking Run() {
    const std::vector<Variable> dependents =
        VariablesOf(plan_.continuousDependents, plan_.categoricalDependents);
    const std::vector<Variable> predictors =
        VariablesOf(plan_.continuousPredictors, plan_.categoricalPredictors);
    outcomes_.resize(dependents.size());
    ranking_.outcomes.resize(dependents.size());
    for (RankedOutcome& outcome : ranking_.outcomes) outcome.pairs.resize(predictors.size());
    crowded_.resize(predictors.size());
    total_ = static_cast<double>(dependents.size() + predictors.size());
    ForEach(dependents, &RankingRun::AddOutcome);
    ForEach(predictors, &RankingRun::AddPredictor);
    for (std::size_t j = 0; j < predictors.size(); ++j) {
      if (crowded_[j]) ranking_.crowded.push_back({predictors[j].number, *crowded_[j]});
    }
    for (std::size_t d = 0; d < outcomes_.size(); ++d)
      ranking_.outcomes[d].hasClasses = outcomes_[d].classes > 0;
    AdjustAndOrder(plan_, ranking_);
    return std::move(ranking_);
  }

 private:
  struct Variable {
    int number;
    bool continuous;
  };

  // The scratch memory of one thread.
  struct Worker {
    Worker(const Cases& cases, const RankingPlan& plan)
        : grouper(cases.used, cases.weight), pass(cases, plan) {}
    CaseGrouper grouper;
    PairPass pass;
  };

  static std::vector<Variable> VariablesOf(const std::vector<int>& continuous,
                                           const std::vector<int>& categorical) {
    std::vector<Variable> variables;
    for (const int number : continuous) variables.push_back({number, true});
    for (const int number : categorical) variables.push_back({number, false});
    return variables;
  }

  // Each variable is processed by one thread, which sees the cases in their order.
  void ForEach(const std::vector<Variable>& variables,
               void (RankingRun::*add)(const Variable&, std::size_t index, Worker&)) {
    const auto task = [&](std::size_t index, int workerIndex) {
      std::unique_ptr<Worker>& worker = workers_[static_cast<std::size_t>(workerIndex)];
      if (!worker) worker = std::make_unique<Worker>(cases_, plan_);
      (this->*add)(variables[index], index, *worker);
      table_.Variable(variables[index].number).values.Release();
    };
    const double count = static_cast<double>(variables.size());
    const auto progress = [&](double fraction) {
      return !progress_ || progress_((done_ + fraction * count) / total_);
    };
    if (!pool_.Run(variables.size(), task, progress)) throw Cancelled();
    done_ += count;
  }

  void AddOutcome(const Variable& variable, std::size_t index, Worker& worker) {
    const Column& column = table_.Variable(variable.number);
    Outcome& outcome = outcomes_[index];
    RankedOutcome& ranked = ranking_.outcomes[index];
    if (variable.continuous && !plan_.cutDependents) {
      TakeValues(column, cases_, outcome);
      ranked.cases = std::count(outcome.present.begin(), outcome.present.end(), std::uint8_t{1});
    } else {
      const CaseGroups& groups = variable.continuous ? worker.grouper.Group(column, plan_.dependentIntervals)
                                                     : worker.grouper.Group(column);
      outcome.classOf = groups.groupOf;
      outcome.classes = std::max(groups.count, std::uint32_t{1});
      if (groups.count == 0) outcome.classOf.assign(cases_.Count(), outcome.classes);
      ranked.cases = groups.cases;
    }
    ranked.missing = ranking_.usedCases - ranked.cases;
  }

  void AddPredictor(const Variable& variable, std::size_t index, Worker& worker) {
    const Column& column = table_.Variable(variable.number);
    const bool joins = variable.continuous && plan_.predictorIntervals.method == IntervalMethod::kTree;
    const IntervalRule fine = {IntervalMethod::kTree, kFineIntervals};
    const CaseGroups& groups = variable.continuous
                                   ? worker.grouper.Group(column, joins ? fine : plan_.predictorIntervals)
                                   : worker.grouper.Group(column);
    crowded_[index] = groups.crowded;
    for (std::size_t d = 0; d < outcomes_.size(); ++d) {
      RankedPair& pair = ranking_.outcomes[d].pairs[index];
      pair.distinct = groups.distinctValues;
      const std::uint64_t seed = SeedOfPair(plan_, variable.number, d);
      if (joins && outcomes_[d].finite) {
        worker.pass.RunJoined(groups, outcomes_[d], seed, plan_.predictorIntervals.intervals, pair);
      } else {
        worker.pass.Run(groups, outcomes_[d], seed, pair);
      }
      pair.missing = ranking_.usedCases - pair.cases;
      if (pool_.IsStopping()) return;
    }
  }

  const Table& table_;
  const RankingPlan& plan_;
  WorkerPool& pool_;
  const RankingProgress& progress_;
  Ranking ranking_;
  Cases cases_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<Outcome> outcomes_;
  std::vector<std::optional<CrowdedIntervals>> crowded_;  // by predictor
  double done_ = 0, total_ = 0;
};

}  // namespace

RankingMemory MemoryOf(const RankingPlan& plan, std::int64_t caseCount) {
  // Bytes per case. A continuous outcome that is cut has classes, too.
  constexpr std::uint64_t kUsed = 2, kMeasured = sizeof(double) + 1, kClass = sizeof(std::uint32_t);
  // For sorting, quantiles of as many values as cases, groups, and the predictor itself.
  constexpr std::uint64_t kPredictor = 80;
  const auto cases = static_cast<std::uint64_t>(caseCount);
  std::uint64_t shared =
      kUsed + kMeasured * plan.continuousDependents.size() + kClass * plan.categoricalDependents.size();
  if (plan.weight != 0) shared += 2 * sizeof(double);
  if (plan.count != 0) shared += 2 * sizeof(double);
  if (plan.strata != 0 || plan.clusters != 0) shared += 4 * sizeof(double);
  return {cases * shared, cases * kPredictor};
}

Ranking RankPredictors(const Table& table, const CaseBitmap& selected, const RankingPlan& plan,
                       WorkerPool& pool, const RankingProgress& progress) {
  return RankingRun(table, selected, plan, pool, progress).Run();
}

}  // namespace velmora::ranking
