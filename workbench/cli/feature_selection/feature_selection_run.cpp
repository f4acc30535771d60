// One run of feature selection through the module's dialogs and automation.
#include "workbench/cli/feature_selection/feature_selection_run.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "contract/text.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/words.h"
#include "workbench/data/errors.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/evidence/likely_codes.h"
#include "workbench/evidence/warning_signs.h"
#include "workbench/language/selection.h"

namespace velmora {
namespace {

constexpr char kAnalysisName[] = "feature selection";
constexpr const char* kModeMembers[] = {"DisplayFixedNumberOfBestPredictors",
                                        "DisplayBestPredictorsWithFixedPValue",
                                        "DisplayFixedNumberOfBestPredictorsByPValue"};

void PutAll(const AutomationClient& dialog, const std::vector<MemberValue>& settings) {
  for (const MemberValue& setting : settings) dialog.Put(setting.member, setting.value);
}

// The dialog's display mode, read back.
DisplayMode DisplayModeOf(const AutomationClient& results) {
  if (results.Get(kModeMembers[1]).AsInt() != 0) return DisplayMode::kBelowP;
  return results.Get(kModeMembers[2]).AsInt() != 0 ? DisplayMode::kBestByP : DisplayMode::kBest;
}

Measurement KindOf(int index, int continuousCount) {
  return index < continuousCount ? Measurement::kContinuous : Measurement::kCategorical;
}

ReportedDependent ReadDependent(vlm::IFeatureSelectionResults& results, const Table& table,
                                TerminalFrontend& frontend, const vlm::FeatureSelectionRun& run, int index) {
  ReportedDependent dependent;
  dependent.number = results.GetDependentNumber(index);
  dependent.name = table.Variable(dependent.number).name;
  dependent.kind = KindOf(index, run.continuousDependents);
  const bool crossTabulated =
      dependent.kind == Measurement::kCategorical || run.treatContinuousDependentAsCategorical != 0;
  dependent.statistic = !crossTabulated   ? PairStatistic::kF
                        : run.useCramersV ? PairStatistic::kCramersV
                                          : PairStatistic::kChiSquare;
  vlm::StringSink name;
  results.GetStatisticName(index, &name);
  dependent.statisticName = name.Text();
  results.GetDependent(index, &dependent.cases);
  const int predictorCount = run.continuousPredictors + run.categoricalPredictors;
  dependent.pairs.resize(static_cast<std::size_t>(predictorCount));
  for (int j = 0; j < predictorCount; ++j) {
    results.GetPair(index, j, &dependent.pairs[static_cast<std::size_t>(j)]);
  }
  frontend.TakeNotices();
  vlm::IntegerSink best;
  if (results.SelectBest(index, &best) != 0)
    throw RunError("The predictors of " + dependent.name + " cannot be ranked.");
  dependent.best = best.numbers;
  dependent.notices = frontend.TakeNotices();
  return dependent;
}

// The host's reader skips a case without a weight just as it skips one that is not selected.
void SeparateWeightFromSelection(Session& session, vlm::FeatureSelectionRun& run) {
  const CaseSelectionText& selection = session.Selection();
  if (session.WeightVariable() == 0) return;
  const CaseBitmap selected = SelectCases(session.Data(), {selection.include, selection.exclude});
  const Column& weights = session.Data().Variable(session.WeightVariable());
  int withoutWeight = 0;
  for (std::size_t i = 0; i < weights.values.size(); ++i) {
    const double weight = weights.values[i];
    const bool isMissing = !std::isfinite(weight) || IsMissing(weight, weights.missingCode);
    if (isMissing && selected.Contains(static_cast<std::int64_t>(i))) ++withoutWeight;
  }
  withoutWeight = std::min(withoutWeight, run.excludedCases);
  run.excludedCases -= withoutWeight;
  run.zeroWeightCases += withoutWeight;
}

std::string NameOf(const Table& table, int number) {
  return number == 0 ? std::string() : table.Variable(number).name;
}

}  // namespace

std::vector<MemberValue> StartupSettings(const VariableChoice& choice,
                                         const FeatureSelectionSettings& settings) {
  std::vector<MemberValue> put = {
      {"Variables", Variant::Array{choice.continuousDependents, choice.categoricalDependents,
                                   choice.continuousPredictors, choice.categoricalPredictors}}};
  if (choice.count != 0) put.push_back({"CountVariable", choice.count});
  put.push_back({"NumberOfCutsForContinuousPredictor", settings.cuts});
  put.push_back({"TreatContinuousDependentAsCategorical", settings.cutDependents});
  put.push_back({"NumberOfCutsForContinuousDependentVariable", settings.dependentCuts});
  put.push_back({"CasewiseDeletionOfMD", settings.casewise});
  put.push_back({settings.chiSquare ? "UseChiSquareForCategoricalDependentVariable"
                                    : "UseCramerVForCategoricalDependentVariable",
                 true});
  return put;
}

std::vector<MemberValue> DisplaySettings(const FeatureSelectionSettings& settings) {
  return {{"FixedNumberOfBestPredictors", settings.best},
          {"FixedNumberOfBestPredictorsByPValue", settings.bestByP},
          {"FixedPValueOfBestPredictors", settings.pCriterion},
          {kModeMembers[static_cast<int>(settings.displayMode)], true}};
}

namespace {

PairStatistic StatisticOf(Measurement kind, const FeatureSelectionSettings& settings) {
  if (kind == Measurement::kContinuous && !settings.cutDependents) return PairStatistic::kF;
  return settings.chiSquare ? PairStatistic::kChiSquare : PairStatistic::kCramersV;
}

vlm::FeatureSelectionPair PairOf(const ranking::RankedPair& ranked, PairStatistic statistic) {
  const stats::Association& a = ranked.association;
  vlm::FeatureSelectionPair pair{};
  pair.notComputable = a.computable ? 0 : 1;
  pair.statistic = !a.computable ? 0 : statistic == PairStatistic::kCramersV ? a.rawEffect : a.statistic;
  pair.pValue = a.computable ? std::exp(a.logP) : 1;
  pair.usedCases = static_cast<int>(ranked.cases);
  pair.missingCases = static_cast<int>(ranked.missing);
  pair.count = ranked.frequency;
  pair.df1 = a.df1;
  pair.df2 = a.df2;
  return pair;
}

// The predictors that the display settings choose, best first.
std::vector<int> BestOf(const ranking::RankedOutcome& outcome, const FeatureSelectionSettings& settings) {
  std::vector<int> best;
  const bool byEffect =
      settings.displayMode == DisplayMode::kBest && settings.rankBy == ranking::RankKey::kEffect;
  const std::size_t limit = settings.displayMode == DisplayMode::kBelowP ? outcome.order.size()
                            : settings.displayMode == DisplayMode::kBest
                                ? static_cast<std::size_t>(settings.best)
                                : static_cast<std::size_t>(settings.bestByP);
  for (const int index : outcome.order) {
    const ranking::RankedPair& pair = outcome.pairs[static_cast<std::size_t>(index)];
    if (best.size() == limit) break;
    if (!pair.association.computable || (byEffect && !pair.better)) continue;
    if (settings.displayMode == DisplayMode::kBelowP && !(pair.logAdjustedP <= std::log(settings.pCriterion)))
      continue;
    best.push_back(index);
  }
  return best;
}

std::vector<ReportedPredictor> PredictorsOf(const Table& table, const VariableChoice& choice) {
  std::vector<ReportedPredictor> predictors;
  for (const int number : choice.continuousPredictors)
    predictors.push_back({number, table.Variable(number).name, Measurement::kContinuous});
  for (const int number : choice.categoricalPredictors)
    predictors.push_back({number, table.Variable(number).name, Measurement::kCategorical});
  return predictors;
}

// The settings and counts of the run in the form that the module gives them.
vlm::FeatureSelectionRun RunOf(const Table& table, const ranking::RankingPlan& plan,
                               const ranking::Ranking& ranking, bool useCramersV) {
  vlm::FeatureSelectionRun run{};
  run.caseCount = static_cast<int>(table.caseCount);
  run.excludedCases = static_cast<int>(ranking.excludedCases);
  run.zeroWeightCases = static_cast<int>(ranking.zeroWeightCases);
  run.badCountCases = static_cast<int>(ranking.badCountCases);
  run.acceptedCases = static_cast<int>(ranking.usedCases + ranking.incompleteCases);
  run.validCases = static_cast<int>(ranking.usedCases);
  run.weighted = plan.weight != 0 ? 1 : 0;
  run.totalWeight = plan.weight != 0 ? ranking.totalWeight : 1;
  run.continuousDependents = static_cast<int>(plan.continuousDependents.size());
  run.categoricalDependents = static_cast<int>(plan.categoricalDependents.size());
  run.continuousPredictors = static_cast<int>(plan.continuousPredictors.size());
  run.categoricalPredictors = static_cast<int>(plan.categoricalPredictors.size());
  run.treatContinuousDependentAsCategorical = plan.cutDependents ? 1 : 0;
  run.useCramersV = useCramersV ? 1 : 0;
  run.casewiseDeletion = plan.completeCases ? 1 : 0;
  run.useWeightsAsGiven = 1;
  run.cutsContinuousPredictor = plan.predictorIntervals.intervals;
  run.cutsContinuousDependent = plan.dependentIntervals.intervals;
  run.countVariableNumber = plan.count;
  return run;
}

std::string MissingHint(const Column& column, const std::string& value) {
  return "--missing " + ShellWord(column.name + "=" + value);
}

// A few outliers, or a code that was not declared, may leave all other values in one interval of
// equal width.
std::string CrowdedNotice(const Table& table, const ranking::CrowdedPredictor& predictor) {
  const Column& column = table.Variable(predictor.number);
  const ranking::CrowdedIntervals& crowded = predictor.intervals;
  const std::string value = ShownNumber(crowded.farValue, "");
  std::string text = ShownNumber(std::floor(crowded.share * 1000) / 10, "0.0") + " % of the cases of " +
                     column.name + " are in one interval of equal width, because of values as far as " +
                     value;
  if (crowded.farCases > 1)
    text += " (" + Counted(static_cast<std::size_t>(crowded.farCases), "case", "cases") +
            "; if that is a code for missing, use " + MissingHint(column, value) + ")";
  return text + "; --intervals quantiles puts as many cases in each interval.";
}

// Adds the first sentences of one kind, one per predictor, and the number of the others.
void AddFirst(std::vector<std::string> sentences, std::vector<std::string>& notices) {
  constexpr std::size_t kMost = 10;
  const std::size_t count = sentences.size();
  if (count > kMost) {
    sentences.resize(kMost);
    sentences.push_back("The same holds for " +
                        Counted(count - kMost, "more predictor.", "more predictors."));
  }
  notices.insert(notices.end(), sentences.begin(), sentences.end());
}

// Continuous predictors with numbers that look like codes for missing, unless a notice on crowded
// intervals names them.
std::vector<std::string> CodeNotices(const Table& table, const CaseBitmap& selected,
                                     const std::vector<ReportedPredictor>& predictors,
                                     const std::vector<ranking::CrowdedPredictor>& crowded) {
  std::vector<std::string> notices;
  for (const ReportedPredictor& predictor : predictors) {
    if (predictor.kind != Measurement::kContinuous) continue;
    if (std::any_of(crowded.begin(), crowded.end(), [&](const ranking::CrowdedPredictor& one) {
          return one.number == predictor.number && one.intervals.farCases > 1;
        }))
      continue;
    const Column& column = table.Variable(predictor.number);
    for (const evidence::LikelyCode& code : evidence::LikelyCodes(column, selected)) {
      const std::string value = ShownNumber(code.value, "");
      notices.push_back(Counted(static_cast<std::size_t>(code.cases), "case holds", "cases hold") + " " +
                        value + " in " + column.name +
                        ", apart from all other values; if that is a code for missing, use " +
                        MissingHint(column, value) + ".");
    }
    column.values.Release();
  }
  return notices;
}

// The names of the first few predictors for which holds(predictorIndex) is true.
template <typename Holds>
std::string NamesWhere(const FeatureSelectionReport& report, Holds holds) {
  constexpr std::size_t kMostNamed = 3;
  std::vector<std::string> names;
  for (std::size_t j = 0; j < report.predictors.size(); ++j) {
    if (holds(j)) names.push_back(report.predictors[j].name);
  }
  return JoinFirst(std::move(names), kMostNamed);
}

// What a reader should know before acting on the ranking: p-values that are approximate, predictors
// that look like identifiers, and those too good to be known before the outcome.
void AddWarnings(const Table& table, const FeatureSelectionReport& report, ReportedDependent& dependent) {
  const auto pairOf = [&](std::size_t j) -> const ranking::RankedPair& { return dependent.ranked->pairs[j]; };
  const auto add = [&](const std::string& what, const std::string& names, const std::string& rest) {
    if (!names.empty()) dependent.notices.push_back(what + ": " + names + rest);
  };
  const bool isSurvey = report.run.weighted != 0 || !report.ranking->clusterVariable.empty() ||
                        !report.ranking->strataVariable.empty();
  add("Some expected counts are below 5, so the p-value is approximate",
      NamesWhere(report,
                 [&](std::size_t j) {
                   return pairOf(j).association.computable && pairOf(j).association.smallCells > 0 &&
                          !pairOf(j).exact;
                 }),
      isSurvey ? "." : "; --exact tests such tables exactly.");
  add("Nearly a level per case, as an identifier has",
      NamesWhere(report,
                 [&](std::size_t j) {
                   const ranking::RankedPair& pair = pairOf(j);
                   return report.predictors[j].kind == Measurement::kCategorical &&
                          evidence::HasNearlyALevelPerCase(static_cast<std::int64_t>(pair.association.levels),
                                                           pair.cases);
                 }),
      ".");
  add("Whole numbers of which none occurs twice, as of an identifier",
      NamesWhere(report,
                 [&](std::size_t j) {
                   const ReportedPredictor& predictor = report.predictors[j];
                   return predictor.kind == Measurement::kContinuous &&
                          evidence::HasNoNumberTwice(table.Variable(predictor.number),
                                                     static_cast<std::int64_t>(pairOf(j).distinct),
                                                     pairOf(j).cases);
                 }),
      ".");
  add("Close to determining " + dependent.name,
      NamesWhere(report,
                 [&](std::size_t j) {
                   return pairOf(j).association.computable && pairOf(j).better &&
                          pairOf(j).association.effect >= evidence::kGivesAway;
                 }),
      "; a predictor must be known before the outcome and must not be made from it.");
  add("Not tested, because there are too many groups, or too few clusters, for the design",
      NamesWhere(report,
                 [&](std::size_t j) {
                   return pairOf(j).association.computable && std::isnan(pairOf(j).association.logP);
                 }),
      ".");
  add("Not tested, because the table has far more cells than there are cases",
      NamesWhere(report, [&](std::size_t j) { return pairOf(j).tooManyCells; }), ".");
}

}  // namespace

ranking::RankingPlan PlanOf(const VariableChoice& choice, const FeatureSelectionSettings& settings) {
  ranking::RankingPlan plan;
  plan.continuousDependents = choice.continuousDependents;
  plan.categoricalDependents = choice.categoricalDependents;
  plan.continuousPredictors = choice.continuousPredictors;
  plan.categoricalPredictors = choice.categoricalPredictors;
  plan.weight = choice.weight;
  plan.count = choice.count;
  plan.strata = choice.strata;
  plan.clusters = choice.clusters;
  plan.exact = settings.exact;
  plan.replicates = settings.replicates;
  plan.seed = static_cast<std::uint64_t>(settings.seed);
  plan.predictorIntervals = {settings.intervals, settings.cuts};
  plan.dependentIntervals = {settings.intervals, settings.dependentCuts};
  plan.cutDependents = settings.cutDependents;
  plan.completeCases = settings.casewise;
  plan.chiSquare = settings.chiSquare;
  plan.key = settings.displayMode == DisplayMode::kBestByP ? ranking::RankKey::kP : settings.rankBy;
  plan.adjustment = settings.adjustment;
  plan.adjustAcrossDependents = settings.adjustAcross;
  plan.alpha = settings.alpha;
  return plan;
}

FeatureSelectionReport ReportRanking(const Table& table, const VariableChoice& choice,
                                     const FeatureSelectionSettings& settings, ranking::Ranking ranked) {
  const ranking::RankingPlan plan = PlanOf(choice, settings);
  constexpr std::int64_t kFewestCases = 3;
  if (ranked.usedCases < kFewestCases)
    throw RunError("The feature selection failed: there are fewer than three valid cases" +
                   std::string(settings.cases.select.empty() && settings.cases.exclude.empty()
                                   ? "."
                                   : " (the selection leaves out " + std::to_string(ranked.excludedCases) +
                                         " of " + std::to_string(table.caseCount) + " cases)."));

  FeatureSelectionReport report;
  report.dataFile = table.fileName;
  report.run = RunOf(table, plan, ranked, !settings.chiSquare);
  report.weightVariable = NameOf(table, choice.weight);
  report.countVariable = NameOf(table, choice.count);
  report.select = settings.cases.select;
  report.exclude = settings.cases.exclude;
  report.displayMode = settings.displayMode;
  report.best = settings.best;
  report.bestByP = settings.bestByP;
  report.pCriterion = settings.pCriterion;
  report.leftOut = choice.leftOut;
  report.predictors = PredictorsOf(table, choice);
  report.ranking = {plan.key,
                    plan.adjustment,
                    plan.adjustAcrossDependents,
                    plan.alpha,
                    settings.intervals,
                    ranked.incompleteCases,
                    ranked.designEffect,
                    settings.exact ? settings.replicates : 0,
                    settings.seed,
                    NameOf(table, choice.strata),
                    NameOf(table, choice.clusters),
                    ranked.strata,
                    ranked.clusters};
  if (ranked.lonelyStrata > 0)
    report.notices.push_back(Counted(ranked.lonelyStrata, "stratum has", "strata have") +
                             " one cluster only, which counts with its distance from the overall mean.");
  std::vector<std::string> crowded;
  for (const ranking::CrowdedPredictor& predictor : ranked.crowded)
    crowded.push_back(CrowdedNotice(table, predictor));
  AddFirst(std::move(crowded), report.notices);

  for (std::size_t d = 0; d < ranked.outcomes.size(); ++d) {
    ranking::RankedOutcome& outcome = ranked.outcomes[d];
    const bool continuous = d < choice.continuousDependents.size();
    ReportedDependent dependent;
    dependent.number = continuous ? choice.continuousDependents[d]
                                  : choice.categoricalDependents[d - choice.continuousDependents.size()];
    dependent.name = NameOf(table, dependent.number);
    dependent.kind = continuous ? Measurement::kContinuous : Measurement::kCategorical;
    dependent.statistic = StatisticOf(dependent.kind, settings);
    dependent.statisticName = StatisticName(dependent.statistic);
    dependent.cases = {static_cast<int>(outcome.cases), static_cast<int>(outcome.missing)};
    for (const ranking::RankedPair& pair : outcome.pairs)
      dependent.pairs.push_back(PairOf(pair, dependent.statistic));
    dependent.best = BestOf(outcome, settings);
    dependent.ranked = std::move(outcome);
    AddWarnings(table, report, dependent);
    report.dependents.push_back(std::move(dependent));
  }
  return report;
}

namespace {

FeatureSelectionReport Rank(Session& session, const VariableChoice& choice,
                            const FeatureSelectionSettings& settings) {
  const Table& table = session.Data();
  const ranking::RankingPlan plan = PlanOf(choice, settings);
  ProgressBar bar;
  bar.Start("Comparing predictors...");
  WorkerPool pool(settings.threads);
  const CaseBitmap selected = SelectedCases(table, settings.cases);
  ranking::Ranking ranked = ranking::RankPredictors(table, selected, plan, pool, [&](double fraction) {
    bar.Update(fraction);
    return !WasInterrupted();
  });
  bar.Finish();
  const std::vector<ranking::CrowdedPredictor> crowded = ranked.crowded;
  FeatureSelectionReport report = ReportRanking(table, choice, settings, std::move(ranked));
  AddFirst(CodeNotices(table, selected, report.predictors, crowded), report.notices);
  return report;
}

}  // namespace

FeatureSelectionReport RunFeatureSelection(Session& session, TerminalFrontend& frontend,
                                           const VariableChoice& choice,
                                           const FeatureSelectionSettings& settings) {
  if (!settings.classic) return Rank(session, choice, settings);
  const AutomationClient startup = session.StartFeatureSelection();
  PutAll(startup, StartupSettings(choice, settings));
  if (settings.cases.roundWeights) session.UseWeightsAsGiven(false);
  session.Notes().leftOut = choice.leftOut;
  PressOk(startup, session, frontend, kAnalysisName, settings.cases);
  const AutomationClient dialog = session.ResultsDialog();
  if (!dialog || session.FeatureSelectionResults() == nullptr)
    FailRun(session, frontend, kAnalysisName, settings.cases);
  PutAll(dialog, DisplaySettings(settings));
  return ReadFeatureSelection(session, frontend);
}

FeatureSelectionReport ReadFeatureSelection(Session& session, TerminalFrontend& frontend) {
  const AutomationClient dialog = session.ResultsDialog();
  vlm::IFeatureSelectionResults* const results = session.FeatureSelectionResults();
  FeatureSelectionReport report;
  const Table& table = session.Data();
  report.dataFile = table.fileName;
  results->GetRun(&report.run);
  if (report.run.weighted) SeparateWeightFromSelection(session, report.run);
  report.weightVariable = NameOf(table, session.WeightVariable());
  report.countVariable = NameOf(table, report.run.countVariableNumber);
  report.select = session.Selection().include;
  report.exclude = session.Selection().exclude;
  report.displayMode = DisplayModeOf(dialog);
  report.best = dialog.Get("FixedNumberOfBestPredictors").AsInt();
  report.bestByP = dialog.Get("FixedNumberOfBestPredictorsByPValue").AsInt();
  report.pCriterion = dialog.Get("FixedPValueOfBestPredictors").AsReal();
  report.leftOut = session.Notes().leftOut;
  for (int j = 0; j < report.run.continuousPredictors + report.run.categoricalPredictors; ++j) {
    const int number = results->GetPredictorNumber(j);
    report.predictors.push_back(
        {number, table.Variable(number).name, KindOf(j, report.run.continuousPredictors)});
  }
  const StrictCriterion strict(*results);
  for (int d = 0; d < report.run.continuousDependents + report.run.categoricalDependents; ++d) {
    report.dependents.push_back(ReadDependent(*results, table, frontend, report.run, d));
    StopIfInterrupted();
  }
  return report;
}

}  // namespace velmora
