// Feature selection of data in parts: the plan of the second pass, and the ranking from its sums.
#include <algorithm>
#include <cmath>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/feature_selection/feature_selection_run.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/states/survey_groups.h"
#include "workbench/cli/states/survey_run.h"
#include "workbench/data/measurement.h"
#include "workbench/ranking/test_pairs.h"

namespace velmora {
namespace {

using Cell = states::PairSums::Cell;

// The cells of a pair, without the cases in which the predictor is missing.
struct Grid {
  std::size_t groups = 0, columns = 1;
  const states::MeasuredOutcome* measured = nullptr;  // the outcome, unless it has classes
  std::vector<Cell> cells;

  const Cell& At(std::size_t group, std::size_t column) const { return cells[group * columns + column]; }
};

Grid GridOf(const states::PairSums& sums, const SumsRun::Outcome& outcome) {
  Grid grid;
  grid.groups = sums.Groups();
  if (outcome.IsMeasured()) grid.measured = &outcome.measured;
  grid.columns = outcome.IsMeasured() ? 1 : sums.Classes();
  for (std::uint32_t g = 0; g < grid.groups; ++g) {
    for (std::uint32_t c = 0; c < grid.columns; ++c) grid.cells.push_back(sums.At(g, c));
  }
  return grid;
}

Grid Joined(const Grid& grid, const binning::OptimalBins& bins) {
  Grid joined = grid;
  joined.groups = static_cast<std::size_t>(bins.count);
  joined.cells.assign(joined.groups * joined.columns, {});
  for (std::size_t g = 0; g < grid.groups; ++g) {
    for (std::size_t c = 0; c < grid.columns; ++c)
      joined.cells[static_cast<std::size_t>(bins.binOf[g]) * grid.columns + c].Merge(grid.At(g, c));
  }
  return joined;
}

// Tests pairs from their sums.
class PairTester {
 public:
  // massFactor: see SurveyRun. isSampled: with sampling weights, whose squares count.
  PairTester(const ranking::RankingPlan& plan, double massFactor)
      : plan_(plan), factor_(massFactor), isSampled_(plan.weight != 0) {}

  void Test(const Grid& grid, std::uint64_t seed, ranking::RankedPair& pair) const {
    if (grid.measured != nullptr) return TestMeans(grid, *grid.measured, pair);
    pair.cases = 0;
    pair.frequency = 0;
    for (const Cell& cell : grid.cells) {
      pair.cases += static_cast<std::int64_t>(cell.cases);
      pair.frequency += cell.frequency;
    }
    stats::CellSums sums(grid.groups, grid.columns);
    for (std::size_t i = 0; i < grid.cells.size(); ++i) sums.weights[i] = factor_ * grid.cells[i].weight;
    if (isSampled_) {
      sums.cases = pair.frequency;
      for (const Cell& cell : grid.cells) sums.squaredWeights.push_back(factor_ * factor_ * cell.squares);
    }
    ranking::TestTable(sums, plan_, seed, pair);
  }

  void TestJoined(const Grid& grid, std::uint64_t seed, int intervals, ranking::RankedPair& pair) const {
    if (grid.groups < 2) return Test(grid, seed, pair);
    Test(Joined(grid, ranking::JoinGroups(PreBinsOf(grid), intervals)), seed, pair);
    ranking::CorrectForSearch(grid.groups, pair.association.levels, intervals, true, pair.association);
  }

 private:
  void TestMeans(const Grid& grid, const states::MeasuredOutcome& measured, ranking::RankedPair& pair) const {
    stats::GroupSums sums = ranking::CountGroups(grid.cells, factor_, isSampled_, pair);
    Cell all;
    for (const Cell& cell : grid.cells) all.Merge(cell);
    sums.rounding = ranking::RoundingAt(measured.DistanceFromZero(all.mean));
    pair.association = stats::MeanAssociation(sums);
  }

  binning::PreBinSums PreBinsOf(const Grid& grid) const {
    if (grid.measured != nullptr) return ranking::PreBinsOf(grid.cells, factor_, isSampled_);
    binning::PreBinSums sums;
    sums.classCount = static_cast<int>(grid.columns);
    for (std::size_t g = 0; g < grid.groups; ++g) {
      double cases = 0;
      for (std::size_t c = 0; c < grid.columns; ++c) {
        const Cell& cell = grid.At(g, c);
        const double weight = factor_ * cell.weight;
        cases += cell.cases;
        sums.squaredWeights += isSampled_ ? factor_ * factor_ * cell.squares : weight;
        sums.values.push_back(weight);
      }
      sums.cases.push_back(cases);
    }
    return sums;
  }

  const ranking::RankingPlan& plan_;
  double factor_;
  bool isSampled_;
};

class RankingSurvey final : public SurveyRun {
 public:
  RankingSurvey(PartRunKey key, states::CaseRules rules, FeatureSelectionOptions options)
      : SurveyRun(std::move(key), std::move(rules), options.data), options_(std::move(options)) {}

 private:
  std::unique_ptr<FinishedRun> FinishRun(Table table, const SumsRun& sums,
                                         const std::vector<std::string>& words) const override {
    const FeatureSelectionOptions options = ParseFeatureSelection(words);
    const VariableChoice choice = Choose(table);
    auto run = std::make_unique<FinishedRun>(true, MakeSessionOptions(options.module, Readers::kPrograms, 1));
    run->session.SetTable(table);
    table.caseCount = static_cast<std::int64_t>(Totals().rows);
    run->featureSelection = ReportRanking(table, choice, options_.settings, Rank(choice, sums));
    std::vector<int> cut = choice.continuousPredictors;
    if (options_.settings.cutDependents)
      cut.insert(cut.end(), choice.continuousDependents.begin(), choice.continuousDependents.end());
    if (const std::string notice = PrecisionNotice(cut); !notice.empty())
      run->featureSelection->notices.push_back(notice);
    return run;
  }

  VariableChoice Choose(const Table& table) const {
    VariableChoice choice = ChooseVariables(table, options_.variables);
    for (const int number : choice.categoricalDependents) {
      if (IsUncounted(number))
        throw UsageError("--dependents: " + table.Variable(number).name +
                         " has too many different values to be an outcome of classes.");
    }
    std::erase_if(choice.categoricalPredictors, [&](int number) {
      if (!IsUncounted(number)) return false;
      const auto most =
          Survey(number).HasTooManyLevels() ? Key().settings.limits.levels : Key().settings.limits.cells;
      choice.leftOut.push_back({number, table.Variable(number).name, RoleName(Role::kIdentifier),
                                "more than " + std::to_string(most) + " levels"});
      return true;
    });
    return choice;
  }

  states::Grouping GroupsOf(int number, bool isContinuous, const ranking::RankingPlan& plan) const {
    if (!isContinuous) return LevelsOf(Survey(number));
    const bool joins = plan.predictorIntervals.method == ranking::IntervalMethod::kTree;
    return IntervalsOf(Survey(number),
                       joins ? ranking::IntervalRule{ranking::IntervalMethod::kTree, ranking::kFineIntervals}
                             : plan.predictorIntervals,
                       MassFactor());
  }

  void PlanSums(const Table& table, SumsRun::Plan& plan) const override {
    const VariableChoice choice = Choose(table);
    const ranking::RankingPlan ranking = PlanOf(choice, options_.settings);
    for (const int number : choice.continuousDependents) {
      SumsRun::Outcome& outcome = plan.outcomes.emplace_back();
      const states::VariableSurvey& survey = Survey(number);
      if (ranking.cutDependents) {
        outcome.classes = IntervalsOf(survey, ranking.dependentIntervals, MassFactor());
      } else {
        outcome.measured = states::MeasuredOutcome::Of(table.Variable(number).name, survey.Lowest(),
                                                       survey.Highest(), survey.UsedMoments().mean);
      }
    }
    for (const int number : choice.categoricalDependents)
      plan.outcomes.emplace_back().classes = LevelsOf(Survey(number));
    for (const int number : choice.continuousPredictors) plan.AddPredictor(GroupsOf(number, true, ranking));
    for (const int number : choice.categoricalPredictors) plan.AddPredictor(GroupsOf(number, false, ranking));
  }

  ranking::Ranking Rank(const VariableChoice& choice, const SumsRun& sums) const {
    const ranking::RankingPlan plan = PlanOf(choice, options_.settings);
    const states::CaseTotals& totals = Totals();
    ranking::Ranking ranking;
    ranking.excludedCases = static_cast<std::int64_t>(totals.notSelected);
    ranking.zeroWeightCases = static_cast<std::int64_t>(totals.withoutWeight);
    ranking.badCountCases = static_cast<std::int64_t>(totals.withoutCount);
    ranking.incompleteCases = static_cast<std::int64_t>(totals.incomplete);
    ranking.usedCases = static_cast<std::int64_t>(totals.used);
    ranking.totalWeight = totals.weight;
    if (plan.weight != 0)
      ranking.designEffect = MassFactor() * MassFactor() * totals.squares / totals.frequency;
    std::vector<int> dependents = choice.continuousDependents, predictors = choice.continuousPredictors;
    dependents.insert(dependents.end(), choice.categoricalDependents.begin(),
                      choice.categoricalDependents.end());
    predictors.insert(predictors.end(), choice.categoricalPredictors.begin(),
                      choice.categoricalPredictors.end());
    const SumsRun::Plan& counted = sums.ThePlan();
    const PairTester tester(plan, MassFactor());
    for (std::size_t d = 0; d < dependents.size(); ++d) {
      ranking::RankedOutcome outcome;
      outcome.cases = static_cast<std::int64_t>(Survey(dependents[d]).UsedCases());
      outcome.missing = ranking.usedCases - outcome.cases;
      outcome.hasClasses = !counted.outcomes[d].IsMeasured();
      for (std::size_t p = 0; p < predictors.size(); ++p) {
        ranking::RankedPair pair;
        pair.distinct = counted.predictors[p].isText ? counted.predictors[p].levels.size()
                                                     : ValuesOf(Survey(predictors[p])).size();
        Test(counted, sums, p, d, ranking::SeedOfPair(plan, predictors[p], d),
             p < choice.continuousPredictors.size(), plan, tester, pair);
        pair.missing = ranking.usedCases - pair.cases;
        outcome.pairs.push_back(std::move(pair));
      }
      ranking.outcomes.push_back(std::move(outcome));
    }
    ranking::AdjustAndOrder(plan, ranking);
    return ranking;
  }

  void Test(const SumsRun::Plan& counted, const SumsRun& sums, std::size_t p, std::size_t d,
            std::uint64_t seed, bool isContinuous, const ranking::RankingPlan& plan, const PairTester& tester,
            ranking::RankedPair& pair) const {
    const SumsRun::Outcome& outcome = counted.outcomes[d];
    const std::size_t columns = outcome.IsMeasured() ? 0 : std::size_t{outcome.classes.Count()} + 1;
    pair.tooManyCells = counted.counted[p * counted.outcomes.size() + d] == 0 ||
                        ranking::HasTooManyCells((counted.predictors[p].Count() + std::size_t{1}) * columns,
                                                 static_cast<std::size_t>(Totals().rows));
    if (pair.tooManyCells || (outcome.IsMeasured() && !outcome.measured.finite)) return;
    const Grid grid = GridOf(sums.Sums(p, d), outcome);
    const bool joins = isContinuous && plan.predictorIntervals.method == ranking::IntervalMethod::kTree;
    if (joins) {
      tester.TestJoined(grid, seed, plan.predictorIntervals.intervals, pair);
    } else {
      tester.Test(grid, seed, pair);
    }
  }

  FeatureSelectionOptions options_;
};

}  // namespace

std::unique_ptr<PartRun> StartRankingSurvey(const PartRunKey& key) {
  FeatureSelectionOptions options = ParseFeatureSelection(key.words);
  const FeatureSelectionSettings& settings = options.settings;
  if (settings.classic) throw UsageError("--classic needs all cases in one place.");
  if (!options.variables.strata.empty() || !options.variables.clusters.empty())
    throw UsageError("--strata and --clusters need all cases in one place.");
  states::CaseRules rules;
  rules.select = settings.cases.select;
  rules.exclude = settings.cases.exclude;
  rules.weight = settings.cases.weight;
  rules.count = options.variables.count;
  rules.refusesNegativeWeights = true;
  rules.cases = key.settings.cases;
  rules.squares = key.settings.squares;
  if (settings.casewise) {
    if (options.variables.predictors.empty())
      throw UsageError(
          "--casewise on data in parts needs --predictors: the complete cases must be known in the first "
          "pass.");
    rules.complete = SplitList(options.variables.dependents);
    for (const std::string& name : SplitList(options.variables.predictors)) rules.complete.push_back(name);
  }
  return std::make_unique<RankingSurvey>(key, std::move(rules), std::move(options));
}

}  // namespace velmora
