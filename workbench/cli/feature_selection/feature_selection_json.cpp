// The machine-readable result of feature selection.
#include <cmath>
#include <numbers>

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
  if (report.ranking) {
    const ReportedRanking& ranking = *report.ranking;
    facts["classic"] = false;
    facts["rankBy"] = RankKeyName(ranking.key);
    facts["adjust"] = AdjustmentName(ranking.adjustment);
    facts["adjustAcross"] = ranking.adjustedAcrossDependents;
    facts["alpha"] = ranking.alpha;
    facts["intervals"] = IntervalMethodName(ranking.intervals);
    facts["incompleteCases"] = ranking.incompleteCases;
    facts["weightDesignEffect"] = ranking.designEffect;
    facts["strataVariable"] = TextOrNull(ranking.strataVariable);
    facts["clusterVariable"] = TextOrNull(ranking.clusterVariable);
    facts["exactReplicates"] = ranking.replicates > 0 ? Json(ranking.replicates) : Json();
    facts["seed"] = ranking.replicates > 0 ? Json(ranking.seed) : Json();
  } else {
    facts["classic"] = true;
  }
  facts["notices"] = report.notices;
  facts["provenance"] = report.provenance.version.empty() ? Json() : ProvenanceJson(report.provenance);
  facts["leftOut"] = LeftOutJson(report.leftOut);
  return facts;
}

// Members of a pair that is not computable are null.
void AddEffect(const ranking::RankedPair& pair, Json& members) {
  const stats::Association& a = pair.association;
  const auto put = [&](const char* name, double value) {
    members[name] = a.computable && std::isfinite(value) ? Json(value) : Json();
  };
  put("effect", a.effect);
  put("effectLower", a.lower);
  put("effectUpper", a.upper);
  put("minusLog10P", std::fabs(a.logP / std::numbers::ln10));
  put("adjustedP", std::exp(pair.logAdjustedP));
  put("minusLog10AdjustedP", std::fabs(pair.logAdjustedP / std::numbers::ln10));
  members["betterThanChance"] = pair.better;
  members["levels"] = a.levels;
  put("frequency", pair.frequency);
  put("designEffect", a.designEffect);
  put("testStatistic", a.testStatistic);
  put("testDf1", a.testDf1);
  put("testDf2", a.testDf2 > 0 ? a.testDf2 : NAN);
  members["exact"] = pair.exact;
  members["smallExpectedCells"] = a.cells > 0 ? Json(a.smallCells) : Json();
}

void AppendDependent(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                     std::string& text) {
  text += "    {\n      \"name\": " + JsonText(dependent.name);
  text += ",\n      \"number\": " + std::to_string(dependent.number);
  text += std::string(",\n      \"kind\": \"") + KindName(dependent.kind) + "\"";
  text += ",\n      \"statisticName\": " + JsonText(dependent.statisticName);
  if (dependent.ranked)
    text += std::string(",\n      \"effectName\": ") + JsonText(EffectName(dependent.statistic));
  text += ",\n      \"cases\": " + std::to_string(dependent.cases.validCases);
  text += ",\n      \"missingCases\": " + std::to_string(dependent.cases.missingCases);
  text += ",\n      \"predictors\": ";
  AppendLines(text, report.predictors, "      ", [&](const ReportedPredictor& predictor) {
    const auto index = static_cast<std::size_t>(&predictor - report.predictors.data());
    const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
    Json members = {{"name", predictor.name},
                    {"number", predictor.number},
                    {"kind", KindName(predictor.kind)},
                    {"statistic", pair.statistic},
                    {"pValue", pair.pValue},
                    {"notComputable", pair.notComputable != 0},
                    {"cases", pair.usedCases},
                    {"missingCases", pair.missingCases},
                    {"df1", pair.notComputable ? Json() : Json(pair.df1)},
                    {"df2", pair.notComputable || pair.df2 <= 0 ? Json() : Json(pair.df2)}};
    if (dependent.ranked) AddEffect(dependent.ranked->pairs[index], members);
    text += "        " + JsonText(members);
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
