// Screening of data in parts: the pre-bins that the second pass counts, and the report from its
// sums.
#include <algorithm>
#include <cmath>
#include <limits>

#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/states/predictor_screening.h"
#include "workbench/cli/states/survey_groups.h"
#include "workbench/cli/states/survey_run.h"
#include "workbench/data/measurement.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

class ScreeningSurvey final : public SurveyRun {
 public:
  ScreeningSurvey(PartRunKey key, states::CaseRules rules, ScreenOptions options)
      : SurveyRun(std::move(key), std::move(rules), options.data), options_(std::move(options)) {}

 private:
  std::unique_ptr<FinishedRun> FinishRun(Table table, const SumsRun& sums,
                                         const std::vector<std::string>& words) const override {
    const ScreenChoice choice = Choose(table);
    auto run = std::make_unique<FinishedRun>(
        true, MakeSessionOptions(ParseScreen(words).module, Readers::kPrograms));
    run->session.SetTable(table);
    run->hasNoCases = true;
    run->screening = Report(table, choice, sums, run->bins.emplace());
    return run;
  }

  ScreenChoice Choose(const Table& table) const {
    // Only cases with a weight have been surveyed.
    Table weighted = table;
    const int weight = ChooseWeight(table, Rules().weight, true);
    if (weight != 0)
      weighted.Variable(weight).values = std::vector(static_cast<std::size_t>(table.caseCount), 1.0);
    ScreenChoice choice = ChooseForScreening(weighted, options_.request, CaseBitmap(table.caseCount), weight);
    std::erase_if(choice.categoricalPredictors, [&](int number) {
      if (!IsUncounted(number)) return false;
      choice.leftOut.push_back(
          {number, table.Variable(number).name, RoleName(Role::kIdentifier), "too many different levels"});
      return true;
    });
    return choice;
  }

  // Sampling weights are taken relative to their mean.
  double WeightUnit() const {
    const bool isSampling = !Rules().weight.empty() && !options_.settings.cases.rawWeights;
    return isSampling ? Totals().weight / Totals().used : 1;
  }

  int ResponseOf(const ScreenChoice& choice) const {
    return choice.binaryResponse + choice.continuousResponse + choice.categoricalResponse;
  }

  struct Groups {
    states::Grouping grouping;
    GroupEnds ends;
  };
  Groups GroupsOf(const Table& table, int number, bool categorical, int preBins) const {
    const states::VariableSurvey& survey = Survey(number);
    Groups groups;
    if (categorical && survey.HoldsKind() == states::VariableSurvey::Kind::kTexts) {
      groups.grouping = LevelsOf(survey);
      for (const std::string& level : groups.grouping.levels) {
        const double code = *table.Variable(number).ValueOf(level);
        groups.ends.emplace_back(code, code);
      }
      return groups;
    }
    groups.grouping.variable = survey.Name();
    const std::vector<SurveyedValue> values = ValuesOf(survey);
    std::vector<double> masses;
    for (const SurveyedValue& value : values) masses.push_back(value.mass);
    const std::vector<int> binOf = binning::AssignPreBins(
        masses, categorical ? masses.size() + 1 : static_cast<std::size_t>(std::max(preBins, 2)));
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (binOf[i] < 0) continue;  // a value without cases: its pre-bin begins with the next value
      if (static_cast<std::size_t>(binOf[i]) == groups.ends.size()) {
        const bool isMarked = i > 0 && binOf[i - 1] < 0;
        groups.ends.emplace_back(values[isMarked ? i - 1 : i].low, values[i].high);
        groups.grouping.highest.push_back(values[i].high);
      }
      groups.ends.back().second = groups.grouping.highest.back() = values[i].high;
    }
    if (categorical) {
      for (auto& [low, high] : groups.ends) high = low;
    }
    return groups;
  }

  void PlanSums(const Table& table, SumsRun::Plan& plan) const override {
    const ScreenChoice choice = Choose(table);
    const states::VariableSurvey& response = Survey(ResponseOf(choice));
    SumsRun::Outcome& outcome = plan.outcomes.emplace_back();
    if (choice.continuousResponse != 0) {
      outcome.measured = states::MeasuredOutcome::Of(response.Name(), response.Lowest(), response.Highest(),
                                                     response.UsedMoments().mean);
      plan.folds = binning::kFoldCount;
    } else {
      outcome.classes = LevelsOf(response);
    }
    const auto add = [&](int number, bool categorical) {
      plan.AddPredictor(GroupsOf(table, number, categorical, options_.binning.preBins).grouping);
    };
    for (const int number : choice.continuousPredictors) add(number, false);
    for (const int number : choice.categoricalPredictors) add(number, true);
  }

  ResponseCounts CountsOf(const Table& table, const ScreenChoice& choice, const SumsRun& sums) const {
    ResponseCounts counts;
    const SumsRun::Outcome& outcome = sums.ThePlan().outcomes.front();
    counts.measured = outcome.measured;
    if (choice.continuousResponse != 0) {
      counts.kind = vlm::kContinuousResponse;
      if (!counts.measured.finite) throw RunError("The response has infinite values.");
      return counts;
    }
    counts.kind = choice.binaryResponse != 0 ? vlm::kBinaryResponse : vlm::kCategoricalResponse;
    const Column& column = table.Variable(ResponseOf(choice));
    const auto placeOf = [&](double code) {
      const states::Grouping& classes = outcome.classes;
      if (classes.isText) {
        const std::string* const text = column.LabelOf(code);
        return static_cast<std::uint32_t>(
            std::lower_bound(classes.levels.begin(), classes.levels.end(), text == nullptr ? "" : *text) -
            classes.levels.begin());
      }
      return static_cast<std::uint32_t>(
          std::lower_bound(classes.highest.begin(), classes.highest.end(), code) - classes.highest.begin());
    };
    if (counts.kind == vlm::kBinaryResponse) {
      counts.columnOf = {placeOf(choice.bad), placeOf(choice.good)};
    } else {
      for (std::uint32_t c = 0; c < outcome.classes.Count(); ++c) counts.columnOf.push_back(c);
    }
    for (const std::uint32_t place : counts.columnOf) {
      if (place >= outcome.classes.Count()) throw RunError("A code of the response is in no case.");
    }
    counts.columns = counts.columnOf.size();
    return counts;
  }

  ScreenReport Report(const Table& table, const ScreenChoice& choice, const SumsRun& sums,
                      SavedBins& bins) const {
    const auto plan = options_.binning.MakePlan(table, choice);
    const states::CaseTotals& totals = Totals();
    const auto whole = [](double count) { return static_cast<std::int64_t>(count); };
    ScreenReport report;
    report.caseCount = whole(totals.rows);
    report.selectedCases = whole(totals.rows - totals.notSelected);
    report.weightVariable = Rules().weight;
    report.select = Rules().select;
    report.exclude = Rules().exclude;
    report.classic = false;
    report.optimal = true;
    report.weights = plan->weights;
    report.correctsPureBins = plan->screening.correctPureBins != 0;
    report.best = options_.settings.best;
    report.leftOut = choice.leftOut;
    if (const std::string notice = PrecisionNotice(choice.continuousPredictors); !notice.empty())
      report.notices.push_back(notice);
    const ResponseCounts counts = CountsOf(table, choice, sums);
    ScreenedResponse& response = report.responses.emplace_back();
    const Column& column = table.Variable(ResponseOf(choice));
    response.kind = counts.kind;
    response.name = column.name;
    response.rankedBy = options_.settings.rankBy;
    response.savesChance = options_.settings.saveChance;
    response.cases = {whole(totals.used),
                      whole(totals.notSelected),
                      whole(totals.withoutWeight),
                      whole(totals.withoutResponse),
                      whole(totals.otherCodes),
                      totals.weight,
                      totals.weight * totals.weight / totals.squares};
    response.run.selected = 1;
    response.run.responseNumber = ResponseOf(choice);
    response.run.sortChoice = counts.kind == vlm::kBinaryResponse       ? options_.settings.sortBinary
                              : counts.kind == vlm::kContinuousResponse ? options_.settings.sortContinuous
                                                                        : options_.settings.sortCategorical;
    response.run.classCount = counts.IsMeasured() ? 0 : static_cast<int>(counts.columns);
    for (const double code : CodesOf(column, choice)) response.codes.push_back(CodeTextOf(column, code));
    const std::vector<std::unique_ptr<PredictorScreening>> screenings =
        ScreenAll(table, choice, sums, counts, *plan, response);
    bins = SavedBinsOf(report, table, std::numeric_limits<int>::max());
    for (std::size_t i = 0; i < bins.responses[0].predictors.size(); ++i)
      screenings[i]->AddCounts(response.predictors[i], bins.responses[0].predictors[i]);
    return report;
  }

  std::vector<double> CodesOf(const Column& column, const ScreenChoice& choice) const {
    if (choice.binaryResponse != 0) return {choice.bad, choice.good};
    std::vector<double> codes;
    if (choice.categoricalResponse == 0) return codes;
    for (const double value : column.values) {
      if (!IsMissing(value, column.missingCode)) codes.push_back(value);
    }
    std::sort(codes.begin(), codes.end());
    return codes;
  }

  // The predictors of the response, best first, and how each was screened.
  std::vector<std::unique_ptr<PredictorScreening>> ScreenAll(const Table& table, const ScreenChoice& choice,
                                                             const SumsRun& sums,
                                                             const ResponseCounts& counts,
                                                             const BinningPlan& plan,
                                                             ScreenedResponse& response) const {
    struct Screened {
      ScreenedPredictor predictor;
      std::unique_ptr<PredictorScreening> screening;
    };
    std::vector<Screened> all;
    std::size_t place = 0;
    const auto screen = [&](int number, bool categorical) {
      const std::size_t p = place++;
      const Column& column = table.Variable(number);
      try {
        if (sums.ThePlan().counted[p] == 0)
          throw DataError("It has too many levels and classes to be counted.");
        auto screening = std::make_unique<PredictorScreening>(
            counts, sums.Sums(p, 0), plan,
            binning::RulesThatApply(plan.RulesFor(number),
                                    counts.IsMeasured() ? 0 : static_cast<int>(counts.columns)),
            Survey(number), WeightUnit());
        ScreenedPredictor predictor = screening->Screen(
            number, column, categorical, GroupsOf(table, number, categorical, options_.binning.preBins).ends);
        all.push_back({std::move(predictor), std::move(screening)});
      } catch (const DataError& error) {
        response.failed.push_back({number, column.name, error.what()});
      }
    };
    for (const int number : choice.continuousPredictors) screen(number, false);
    for (const int number : choice.categoricalPredictors) screen(number, true);
    const ScreenRanking& ranking = RankingOf(response);
    const bool chanceLast = response.rankedBy != RankBy::kPrescribed;
    const auto key = [&](const ScreenedPredictor& one) {
      const double value = one.figures.*ranking.statistic.value;
      if (value == kMissing || std::isnan(value)) return -std::numeric_limits<double>::infinity();
      return ranking.smallestFirst ? -value : value;
    };
    std::stable_sort(all.begin(), all.end(), [&](const Screened& a, const Screened& b) {
      const int chanceA = a.predictor.figures.noBetterThanChance,
                chanceB = b.predictor.figures.noBetterThanChance;
      if (chanceLast && chanceA != chanceB) return chanceB != 0;
      return key(a.predictor) > key(b.predictor);
    });
    std::vector<std::unique_ptr<PredictorScreening>> screenings;
    for (Screened& one : all) {
      response.predictors.push_back(std::move(one.predictor));
      screenings.push_back(std::move(one.screening));
    }
    response.run.predictorCount = static_cast<int>(response.predictors.size());
    response.run.failedCount = static_cast<int>(response.failed.size());
    return screenings;
  }

  ScreenOptions options_;
};

}  // namespace

std::unique_ptr<PartRun> StartScreeningSurvey(const PartRunKey& key) {
  ScreenOptions options = ParseScreen(key.words);
  const ScreenRequest& request = options.request;
  const auto refuse = [](bool is, const char* option) {
    if (is) throw UsageError(std::string(option) + " needs all cases in one place.");
  };
  refuse(options.binning.classic, "--classic");
  refuse(options.binning.search == 1, "--binning tree");
  refuse(!options.settings.cutPointsFile.empty(), "--cut-points");
  refuse(!options.special.codes.empty(), "--special");
  refuse(!options.settings.cases.count.empty(), "--count");
  refuse(options.evidence.permutations > 0, "--permutations");
  refuse(options.redundancy.distinct, "--distinct");
  refuse(!options.design.strata.empty(), "--strata");
  refuse(!options.design.clusters.empty(), "--clusters");
  refuse(!options.by.variable.empty(), "--by");
  if ((request.binary.empty() ? 0 : 1) + (request.continuous.empty() ? 0 : 1) +
          (request.categorical.empty() ? 0 : 1) !=
      1)
    throw UsageError("A run on data in parts takes one response.");
  if (!request.binary.empty() && (request.good.empty() || request.bad.empty()))
    throw UsageError("--binary-response " + request.binary + " needs --good CODE and --bad CODE.");
  states::CaseRules rules;
  rules.select = options.settings.cases.select;
  rules.exclude = options.settings.cases.exclude;
  rules.weight = options.settings.cases.weight;
  rules.response = request.binary + request.continuous + request.categorical;
  if (!request.binary.empty()) rules.codes = {request.bad, request.good};
  rules.cases = key.settings.cases;
  rules.squares = key.settings.squares;
  return std::make_unique<ScreeningSurvey>(key, std::move(rules), std::move(options));
}

}  // namespace velmora
