// The machine-readable result of feature selection. Laid out by hand around the values, one line a predictor,
// so that thousands of predictors neither build a tree in memory nor make one unreadable line.
#include <nlohmann/json.hpp>

#include "workbench/app/feature_selection_report.h"

namespace velmora {
namespace {

using Json = nlohmann::ordered_json;

// Doubles read back to the same bits; what JSON has no number for becomes null; bytes that are not UTF-8
// become the replacement character.
std::string Text(const Json& value, int indent = -1) {
  return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json LeftOut(const FeatureSelectionReport& report) {
  Json list = Json::array();
  for (const LeftOutVariable& variable : report.leftOut) {
    list.push_back({{"name", variable.name},
                    {"number", variable.number},
                    {"role", variable.role},
                    {"reason", variable.reason}});
  }
  return list;
}

Json RunFacts(const FeatureSelectionReport& report) {
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
  facts["leftOut"] = LeftOut(report);
  return facts;
}

// text, an indented JSON value, moved one level to the right but for its first line.
std::string Indented(const std::string& text) {
  std::string moved;
  for (const char character : text) {
    moved += character;
    if (character == '\n') moved += "  ";
  }
  return moved;
}

void AppendDependent(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                     std::string& text) {
  text += "    {\n      \"name\": " + Text(dependent.name);
  text += ",\n      \"number\": " + std::to_string(dependent.number);
  text += std::string(",\n      \"kind\": \"") + KindName(dependent.kind) + "\"";
  text += ",\n      \"statisticName\": " + Text(dependent.statisticName);
  text += ",\n      \"predictors\": [";
  for (std::size_t j = 0; j < report.predictors.size(); ++j) {
    const ReportedPredictor& predictor = report.predictors[j];
    const vlm::FeatureSelectionPair& pair = dependent.pairs[j];
    text += j == 0 ? "\n        " : ",\n        ";
    text += Text({{"name", predictor.name},
                  {"number", predictor.number},
                  {"kind", KindName(predictor.kind)},
                  {"statistic", pair.statistic},
                  {"pValue", pair.pValue},
                  {"notComputable", pair.notComputable != 0}});
  }
  text += "\n      ],\n      \"best\": ";
  Json best = Json::array();
  for (const int index : dependent.best)
    best.push_back(report.predictors[static_cast<std::size_t>(index)].name);
  text += Text(best) + ",\n      \"notices\": " + Text(dependent.notices) + "\n    }";
}

}  // namespace

std::string FeatureSelectionJson(const FeatureSelectionReport& report) {
  std::string text = "{\n  \"run\": " + Indented(Text(RunFacts(report), 2)) + ",\n  \"dependents\": [";
  for (std::size_t d = 0; d < report.dependents.size(); ++d) {
    text += d == 0 ? "\n" : ",\n";
    AppendDependent(report, report.dependents[d], text);
  }
  return text + "\n  ]\n}\n";
}

}  // namespace velmora
