// One run of feature selection through the module's dialogs and automation.
#include "workbench/cli/feature_selection/feature_selection_run.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "contract/text.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/errors.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/documents/texts.h"
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
                                TerminalFace& face, const vlm::FeatureSelectionRun& run, int index) {
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
  face.TakeSaid();
  vlm::IntegerSink best;
  if (results.SelectBest(index, &best) != 0)
    throw RunError("The predictors of " + dependent.name + " cannot be ranked.");
  dependent.best = best.numbers;
  dependent.notices = face.TakeSaid();
  return dependent;
}

// The host's reader skips a case of missing weight as it skips one that the selection leaves out.
void TellWeightFromSelection(Session& session, vlm::FeatureSelectionRun& run) {
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

FeatureSelectionReport RunFeatureSelection(Session& session, TerminalFace& face, const VariableChoice& choice,
                                           const FeatureSelectionSettings& settings) {
  const AutomationClient startup = session.StartFeatureSelection();
  PutAll(startup, StartupSettings(choice, settings));
  if (settings.cases.roundWeights) session.UseWeightsAsGiven(false);
  session.Notes().leftOut = choice.leftOut;
  PressOk(startup, session, face, kAnalysisName, settings.cases);
  const AutomationClient dialog = session.ResultsDialog();
  if (!dialog || session.FeatureSelectionResults() == nullptr)
    FailRun(session, face, kAnalysisName, settings.cases);
  PutAll(dialog, DisplaySettings(settings));
  return ReadFeatureSelection(session, face);
}

FeatureSelectionReport ReadFeatureSelection(Session& session, TerminalFace& face) {
  const AutomationClient dialog = session.ResultsDialog();
  vlm::IFeatureSelectionResults* const results = session.FeatureSelectionResults();
  FeatureSelectionReport report;
  const Table& table = session.Data();
  report.dataFile = table.fileName;
  results->GetRun(&report.run);
  if (report.run.weighted) TellWeightFromSelection(session, report.run);
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
    report.dependents.push_back(ReadDependent(*results, table, face, report.run, d));
    StopIfInterrupted();
  }
  return report;
}

}  // namespace velmora
