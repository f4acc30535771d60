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
  vlm::StringSink name;
  results.GetStatisticName(index, &name);
  dependent.statisticName = name.Text();
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

std::string ShownPredictors(const FeatureSelectionReport& report) {
  switch (report.displayMode) {
    case DisplayMode::kBelowP:
      return "those with p up to " + ShownNumber(report.pCriterion, "");
    case DisplayMode::kBestByP:
      return "the best by p-value, at most " + std::to_string(report.bestByP);
    case DisplayMode::kBest:
      break;
  }
  return "the best by statistic, at most " + std::to_string(report.best);
}

// Every ranking of a dependent repeats its notices; the workbook keeps each once, with its dependent.
void SettleNotices(Workbook& workbook, const FeatureSelectionReport& report) {
  const std::vector<Notice> all = std::exchange(workbook.notices, {});
  const auto addOnce = [&](const std::string& text, int group) {
    const bool known = std::any_of(workbook.notices.begin(), workbook.notices.end(),
                                   [&](const Notice& notice) { return notice.text == text; });
    if (!known) workbook.AddNotice(text, group);
  };
  for (const ReportedDependent& dependent : report.dependents) {
    const auto group =
        std::find_if(workbook.Groups().begin(), workbook.Groups().end(),
                     [&](const DocumentGroup& candidate) { return candidate.name == dependent.name; });
    for (const std::string& text : dependent.notices) {
      addOnce(text, group == workbook.Groups().end() ? 0 : group->id);
    }
  }
  for (const Notice& notice : all) addOnce(notice.text, notice.group);
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
  for (int d = 0; d < report.run.continuousDependents + report.run.categoricalDependents; ++d) {
    report.dependents.push_back(ReadDependent(*results, table, face, report.run, d));
    StopIfInterrupted();
  }
  return report;
}

void MakeFeatureSelectionDocuments(Session& session, const FeatureSelectionReport& report) {
  Workbook& workbook = session.Documents();
  const vlm::FeatureSelectionRun& run = report.run;
  workbook.title = "Feature selection: " + report.dataFile;
  workbook.SetFact("Data file", report.dataFile);
  workbook.SetFact("Cases", std::to_string(run.caseCount));
  workbook.SetFact("Cases used", std::to_string(run.validCases));
  const auto count = [&](const char* key, int value) {
    if (value > 0) workbook.SetFact(key, std::to_string(value));
  };
  count("Left out by the selection", run.excludedCases);
  count("Without weight", run.zeroWeightCases);
  count("Without a count", run.badCountCases);
  count("Dropped for missing values", run.acceptedCases - run.validCases);
  if (!report.select.empty()) workbook.SetFact("Selection", report.select);
  if (!report.exclude.empty()) workbook.SetFact("Exclusion", report.exclude);
  if (run.weighted) {
    workbook.SetFact("Weight", report.weightVariable + (run.useWeightsAsGiven ? "" : ", rounded"));
    workbook.SetFact("Total weight", ShownNumber(run.totalWeight, ""));
  }
  if (!report.countVariable.empty()) workbook.SetFact("Count", report.countVariable);
  workbook.SetFact("Missing values", run.casewiseDeletion ? "casewise deletion" : "left out pair by pair");
  workbook.SetFact("Intervals of continuous predictors", std::to_string(run.cutsContinuousPredictor));
  if (run.treatContinuousDependentAsCategorical) {
    workbook.SetFact("Intervals of continuous dependents", std::to_string(run.cutsContinuousDependent));
  }
  workbook.SetFact("Statistic of categorical dependents", run.useCramersV ? "Cramer's V" : "Chi-square");
  workbook.SetFact("Predictors", std::to_string(report.predictors.size()));
  workbook.SetFact("Shown", ShownPredictors(report));
  for (const LeftOutVariable& variable : report.leftOut) {
    workbook.SetFact("Not screened: " + variable.name,
                     variable.reason.empty() ? variable.role : variable.reason);
  }
  const AutomationClient results = session.ResultsDialog();
  for (const char* member :
       {"Summary", "HistogramOfImportanceForBestPredictors", "ReportOfBestKPredictors"}) {
    results.Get(member);
    StopIfInterrupted();
  }
  SettleNotices(workbook, report);
}

}  // namespace velmora
