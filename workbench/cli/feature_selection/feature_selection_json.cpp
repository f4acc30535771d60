// The machine-readable result of feature selection.
#include "workbench/report/feature_selection_report.h"
#include "workbench/report/json_text.h"

namespace velmora {
namespace {

Json RunMembers(const FeatureSelectionReport& report) {
  static constexpr const char* kDisplayNames[] = {"best", "p", "best-by-p"};
  const vlm::FeatureSelectionRun& run = report.run;
  Json facts;
  facts["dataFile"] = TextOrNull(report.dataFile);
  facts["cases"] = run.caseCount;
  facts["excludedCases"] = run.excludedCases;
  facts["zeroWeightCases"] = run.zeroWeightCases;
  facts["badCountCases"] = run.badCountCases;
  facts["acceptedCases"] = run.acceptedCases;
  facts["validCases"] = run.validCases;
  facts["weighted"] = run.weighted != 0;
  facts["totalWeight"] = run.totalWeight;
  facts["weightVariable"] = TextOrNull(report.weightVariable);
  facts["countVariable"] = TextOrNull(report.countVariable);
  facts["select"] = TextOrNull(report.select);
  facts["exclude"] = TextOrNull(report.exclude);
  facts["roundWeights"] = run.useWeightsAsGiven == 0;
  facts["casewiseDeletion"] = run.casewiseDeletion != 0;
  facts["cuts"] = run.cutsContinuousPredictor;
  facts["cutDependents"] = run.treatContinuousDependentAsCategorical != 0;
  facts["dependentCuts"] = run.cutsContinuousDependent;
  facts["categoricalStatistic"] = run.useCramersV ? "Cramer's V" : "Chi-square";
  facts["show"] = kDisplayNames[static_cast<int>(report.displayMode)];
  facts["best"] = report.best;
  facts["bestByP"] = report.bestByP;
  facts["pCriterion"] = report.pCriterion;
  facts["leftOut"] = LeftOutJson(report.leftOut);
  return facts;
}

void AppendDependent(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                     std::string& text) {
  text += "    {\n      \"name\": " + JsonText(dependent.name);
  text += ",\n      \"number\": " + std::to_string(dependent.number);
  text += std::string(",\n      \"kind\": \"") + KindName(dependent.kind) + "\"";
  text += ",\n      \"statisticName\": " + JsonText(dependent.statisticName);
  text += ",\n      \"cases\": " + std::to_string(dependent.cases.validCases);
  text += ",\n      \"missingCases\": " + std::to_string(dependent.cases.missingCases);
  text += ",\n      \"predictors\": ";
  AppendLines(text, report.predictors, "      ", [&](const ReportedPredictor& predictor) {
    const auto index = static_cast<std::size_t>(&predictor - report.predictors.data());
    const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
    text += "        " + JsonText({{"name", predictor.name},
                                   {"number", predictor.number},
                                   {"kind", KindName(predictor.kind)},
                                   {"statistic", pair.statistic},
                                   {"pValue", pair.pValue},
                                   {"notComputable", pair.notComputable != 0},
                                   {"cases", pair.usedCases},
                                   {"missingCases", pair.missingCases},
                                   {"df1", pair.notComputable ? Json() : Json(pair.df1)},
                                   {"df2", pair.notComputable || pair.df2 <= 0 ? Json() : Json(pair.df2)}});
  });
  text += ",\n      \"best\": ";
  Json best = Json::array();
  for (const int index : dependent.best)
    best.push_back(report.predictors[static_cast<std::size_t>(index)].name);
  text += JsonText(best);
  text += std::string(",\n      \"noneMeetsCriterion\": ") +
          (report.NoneMeetsCriterion(dependent) ? "true" : "false");
  text += ",\n      \"notices\": " + JsonText(dependent.notices) + "\n    }";
}

}  // namespace

std::string FeatureSelectionJson(const FeatureSelectionReport& report) {
  std::string text = "{\n  \"run\": " + Indented(JsonText(RunMembers(report), 2)) + ",\n  \"dependents\": ";
  AppendLines(text, report.dependents, "  ",
              [&](const ReportedDependent& dependent) { AppendDependent(report, dependent, text); });
  return text + "\n}\n";
}

}  // namespace velmora
