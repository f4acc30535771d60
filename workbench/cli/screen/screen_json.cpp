// The machine-readable result of screening.
#include <cmath>
#include <set>

#include "workbench/documents/page.h"
#include "workbench/report/json_text.h"
#include "workbench/report/screen_report.h"
#include "workbench/report/stability_report.h"

namespace velmora {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kShapeNames[] = {"any", "ascending", "descending", "peak", "valley"};

Json RunMembers(const ScreenReport& report) {
  return {{"dataFile", TextOrNull(report.dataFile)},
          {"cases", report.caseCount},
          {"selectedCases", report.selectedCases},
          {"weightVariable", TextOrNull(report.weightVariable)},
          {"countVariable", TextOrNull(report.countVariable)},
          {"strataVariable", TextOrNull(report.strataVariable)},
          {"clusterVariable", TextOrNull(report.clusterVariable)},
          {"rawWeights", !report.weightVariable.empty() && report.weights == WeightMeaning::kAsGiven},
          {"select", TextOrNull(report.select)},
          {"exclude", TextOrNull(report.exclude)},
          {"cutPointsFile", TextOrNull(report.cutPointsFile)},
          {"classic", report.classic},
          {"binning", report.optimal ? "optimal" : "tree"},
          {"pruned", report.optimal ? Json(nullptr) : Json(report.pruned)},
          {"permutations", report.permutations > 0 ? Json(report.permutations) : Json()},
          {"seed", report.permutations > 0 ? Json(report.seed) : Json()},
          {"provenance", report.provenance.version.empty() ? Json() : ProvenanceJson(report.provenance)},
          {"leftOut", LeftOutJson(report.leftOut)},
          {"notices", report.notices}};
}

// Names of the members that hold the counts: the codes' texts, numbered where two codes share one.
std::vector<std::string> CountNames(const std::vector<std::string>& codes) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const std::string& code : codes) {
    std::string name = code;
    for (int i = 2; !taken.insert(name).second; ++i) name = code + " (" + std::to_string(i) + ")";
    names.push_back(std::move(name));
  }
  return names;
}

Json Row(const ScreenedResponse& response, const std::vector<std::string>& countNames,
         const ScreenedBin& bin) {
  Json row = {{"label", DisplayLabel(bin.label)}};
  for (const ScreenBinColumn& column : BinColumnsOf(response.kind)) {
    row[column.name] = NumberOrNull(bin.figures.*column.value);
  }
  if (response.kind != vlm::kCategoricalResponse) return row;
  row["total"] = bin.figures.total;
  Json counts = Json::object();
  for (std::size_t c = 0; c < countNames.size(); ++c) counts[countNames[c]] = bin.counts[c];
  row["counts"] = std::move(counts);
  return row;
}

// The members of an object without the braces around them.
std::string Members(const Json& json) {
  const std::string text = JsonText(json);
  return text.substr(1, text.size() - 2);
}

// The figures of a predictor as a whole, as members.
std::string Figures(const ScreenedPredictor& predictor) {
  const vlm::ScreeningPredictor& figures = predictor.figures;
  // A minimum above the maximum means that there is no value.
  const bool any = figures.minimum <= figures.maximum;
  const Json json = {{"informationValue", NumberOrNull(figures.informationValue)},
                     {"giniBefore", NumberOrNull(figures.giniBefore)},
                     {"giniAfter", NumberOrNull(figures.giniAfter)},
                     {"chiSquare", NumberOrNull(figures.chiSquare)},
                     {"pValue", predictor.searched ? Json() : NumberOrNull(figures.chiSquareP)},
                     {"cramersV", NumberOrNull(figures.cramersV)},
                     {"rSquared", NumberOrNull(figures.rSquared)},
                     {"fStatistic", NumberOrNull(figures.fStatistic)},
                     {"rSquaredRanks", NumberOrNull(figures.rSquaredRanks)},
                     {"outOfFoldInformationValue", NumberOrNull(figures.heldOutInformationValue)},
                     {"outOfFoldGini", NumberOrNull(figures.heldOutGini)},
                     {"outOfFoldExplained", NumberOrNull(figures.heldOutExplained)},
                     {"noBetterThanChance", figures.noBetterThanChance != 0},
                     {"validN", figures.validN},
                     {"minimum", any ? Json(figures.minimum) : Json(nullptr)},
                     {"maximum", any ? Json(figures.maximum) : Json(nullptr)},
                     {"mean", NumberOrNull(figures.mean)},
                     {"standardDeviation", NumberOrNull(figures.standardDeviation)},
                     {"quartileRange", NumberOrNull(figures.quartileRange)}};
  return Members(json);
}

// The cases and settings that the predictor's line in the ranking is based on.
Json Basis(const ScreenedResponse& response, const ScreenedPredictor& predictor) {
  const auto orNull = [](double value) { return std::isnan(value) ? Json() : Json(value); };
  Json warnings = Json::array();
  for (const ScreenWarning& warning : predictor.warnings)
    warnings.push_back({{"kind", warning.kind}, {"text", warning.text}});
  const bool compared = predictor.cluster > 0;
  const auto ofSample = [&](double stats::Association::*figure) {
    return predictor.association ? orNull((*predictor.association).*figure) : Json();
  };
  const double logP = predictor.association ? predictor.association->logP : kNaN;
  return {{"cases", predictor.cases},
          {"missing", predictor.missing},
          {"outOfFoldLower", predictor.heldOutInterval ? Json(predictor.heldOutInterval->lower) : Json()},
          {"outOfFoldUpper", predictor.heldOutInterval ? Json(predictor.heldOutInterval->upper) : Json()},
          {"searchP", orNull(predictor.searchP)},
          {"adjustedSearchP", orNull(predictor.adjustedSearchP)},
          {"designEffect", ofSample(&stats::Association::designEffect)},
          {"testStatistic", ofSample(&stats::Association::testStatistic)},
          {"testDf1", ofSample(&stats::Association::testDf1)},
          {"testDf2", ofSample(&stats::Association::testDf2)},
          {"testP", orNull(std::exp(logP))},
          {"minusLog10TestP", orNull(-logP / std::log(10.0))},
          {"warnings", std::move(warnings)},
          {"cluster", compared ? Json(predictor.cluster) : Json()},
          {"saysTheSameAs", predictor.sameAs >= 0
                                ? Json(response.predictors[static_cast<std::size_t>(predictor.sameAs)].name)
                                : Json()},
          {"association", predictor.sameAs >= 0 ? Json(predictor.sameAsV) : Json()},
          {"addsPlace", predictor.addsPlace > 0 ? Json(predictor.addsPlace) : Json()},
          {"addsShare", predictor.addsPlace > 0 ? Json(predictor.addsShare) : Json()}};
}

void AppendPredictor(const ScreenedResponse& response, const std::vector<std::string>& countNames,
                     const ScreenedPredictor& predictor, std::string& text) {
  Json labels = Json::array();
  for (const ScreenedBin& bin : predictor.bins) labels.push_back(DisplayLabel(bin.label));
  text += "        {\"name\":" + JsonText(predictor.name);
  text += ",\"number\":" + std::to_string(predictor.figures.predictorNumber);
  text += std::string(",\"kind\":\"") + PredictorKindName(predictor) + "\"";
  text += ",\"cutPoints\":" + JsonText(predictor.cutPoints) + ",\"labels\":" + JsonText(labels);
  if (!predictor.levels.empty()) {  // of a continuous predictor its special codes
    Json levels = Json::array();
    for (const ScreenedLevel& level : predictor.levels) {
      levels.push_back({{"value", level.value}, {"label", level.text}, {"bin", level.bin}});
    }
    text += ",\"levels\":" + JsonText(levels);
  }
  text += ",\"missingBin\":" +
          (predictor.figures.missingBin < 0 ? "null" : std::to_string(predictor.figures.missingBin));
  text += std::string(",\"shape\":\"") + kShapeNames[predictor.figures.shape] + "\"";
  if (predictor.figures.mergedGreedily != 0) text += ",\"mergedGreedily\":true";
  text += ",\n         \"rows\":";
  AppendLines(text, predictor.bins, "         ", [&](const ScreenedBin& bin) {
    text += "          " + JsonText(Row(response, countNames, bin));
  });
  text += ",\n         \"total\":" + JsonText(Row(response, countNames, predictor.total));
  text += ",\n         " + Members(Basis(response, predictor));
  text += ",\n         " + Figures(predictor) + "}";
}

void AppendResponse(const ScreenedResponse& response, std::string& text) {
  const std::vector<std::string> countNames = CountNames(response.codes);
  Json order = Json::array();
  for (const ScreenedPredictor& predictor : response.predictors) order.push_back(predictor.name);
  text += "    {\n      \"name\": " + JsonText(response.name);
  text += ",\n      \"number\": " + std::to_string(response.run.responseNumber);
  text += std::string(",\n      \"kind\": \"") + ResponseKindName(response.kind) + "\"";
  const ScreenedCases& cases = response.cases;
  text += ",\n      \"cases\": " + JsonText({{"used", cases.used},
                                             {"notSelected", cases.notSelected},
                                             {"withoutWeight", cases.withoutWeight},
                                             {"withoutResponse", cases.withoutResponse},
                                             {"otherCodes", cases.otherCodes},
                                             {"totalWeight", cases.totalWeight},
                                             {"effective", cases.effective}});
  text += std::string(",\n      \"sortedBy\": \"") + RankingOf(response).name + "\"";
  text += ",\n      \"codes\": " + JsonText(countNames);
  text += ",\n      \"order\": " + JsonText(order) + ",\n      \"predictors\": ";
  AppendLines(text, response.predictors, "      ", [&](const ScreenedPredictor& predictor) {
    AppendPredictor(response, countNames, predictor, text);
  });
  text += ",\n      \"failed\": ";
  AppendLines(text, response.failed, "      ", [&](const FailedPredictor& failed) {
    text += "        " + JsonText({{"name", failed.name}, {"reason", failed.reason}});
  });
  text += "\n    }";
}

}  // namespace

std::string ScreenJson(const ScreenReport& report) {
  std::string text = "{\n  \"run\": " + Indented(JsonText(RunMembers(report), 2)) + ",\n  \"responses\": ";
  AppendLines(text, report.responses, "  ",
              [&](const ScreenedResponse& response) { AppendResponse(response, text); });
  if (report.stability) text += ",\n  \"stability\": " + Indented(StabilityJson(*report.stability));
  return text + "\n}\n";
}

}  // namespace velmora
