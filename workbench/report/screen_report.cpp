// Shared by the writers of screening results: the statistics of each response kind, in their order.
#include "workbench/report/screen_report.h"

#include <cmath>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"

namespace velmora {

using Predictor = vlm::ScreeningPredictor;
using Bin = vlm::ScreeningBin;

std::string CasesText(const ScreenedCases& cases) {
  std::string left;
  const auto add = [&](std::int64_t count, const char* why) {
    if (count == 0) return;
    left += left.empty() ? "; left out: " : ", ";
    left += GroupedDigits(count) + " " + why;
  };
  add(cases.notSelected, "not selected");
  add(cases.withoutWeight, "without a weight above 0");
  add(cases.withoutResponse, "without a value");
  add(cases.otherCodes, "with other codes");
  return GroupedDigits(cases.used) + " used" + left;
}

std::string WeightsText(const ScreenReport& report, const ScreenedCases& cases) {
  const std::string used = GroupedDigits(cases.used) + (cases.used == 1 ? " case" : " cases");
  if (!report.countVariable.empty()) {
    std::string counted = used + " count as " + ShownNumber(cases.totalWeight, "");
    if (report.clusterVariable.empty() && report.strataVariable.empty()) return counted;
    return counted + ", worth " + ShownNumber(cases.effective, "0") + " (design effect " +
           ShownNumber(cases.totalWeight / cases.effective, "0.00") + ")";
  }
  const bool designed = !report.strataVariable.empty() || !report.clusterVariable.empty();
  if ((report.weightVariable.empty() && !designed) || !(cases.effective > 0)) return "";
  if (!designed && report.weights == WeightMeaning::kAsGiven)
    return "weights as in the file: " + used + " count as " + ShownNumber(cases.totalWeight, "");
  return used + " are worth " + ShownNumber(cases.effective, "0") + " (design effect " +
         ShownNumber(static_cast<double>(cases.used) / cases.effective, "0.00") + ")";
}

const char* ResponseKindName(vlm::ResponseKind kind) {
  if (kind == vlm::kBinaryResponse) return "binary";
  return kind == vlm::kContinuousResponse ? "continuous" : "categorical";
}

const char* PredictorKindName(const ScreenedPredictor& predictor) {
  return predictor.figures.categorical ? "categorical" : "continuous";
}

const std::vector<ScreenRanking>& ScreenRankings() {
  using enum RankBy;
  constexpr vlm::ResponseKind kB = vlm::kBinaryResponse, kM = vlm::kContinuousResponse,
                              kC = vlm::kCategoricalResponse;
  static const std::vector<ScreenRanking> rankings = {
      {kOutOfFold, kB, "out-of-fold", {"IV (CV)", &Predictor::heldOutInformationValue, "0.0000"}, false},
      {kOutOfFold, kM, "out-of-fold", {"R2 (CV)", &Predictor::heldOutExplained, "0.0000"}, false},
      {kOutOfFold, kC, "out-of-fold", {"deviance (CV)", &Predictor::heldOutExplained, "0.0000"}, false},
      {kOutOfFoldGini, kB, "out-of-fold-gini", {"Gini (CV)", &Predictor::heldOutGini, "0.0000"}, false},
      {kInformationValue, kB, "iv", {"Information value", &Predictor::informationValue, "0.0000"}, false},
      {kGini, kB, "gini", {"Gini", &Predictor::giniAfter, "0.0000"}, true},
      {kChiSquare, kB, "chi-square", {"Chi-square", &Predictor::chiSquare, "0.000"}, false},
      {kChiSquare, kC, "chi-square", {"Chi-square", &Predictor::chiSquare, "0.000"}, false},
      {kP, kB, "p", {"p-value", &Predictor::chiSquareP, nullptr}, true},
      {kP, kC, "p", {"p-value", &Predictor::chiSquareP, nullptr}, true},
      {kCramersV, kB, "v", {"Cramer's V", &Predictor::cramersV, "0.0000"}, false},
      {kCramersV, kC, "v", {"Cramer's V", &Predictor::cramersV, "0.0000"}, false},
      {kRSquared, kM, "r2", {"R-squared", &Predictor::rSquared, "0.0000"}, false},
      {kF, kM, "f", {"F-statistic", &Predictor::fStatistic, "0.000"}, false},
      {kRSquaredOfRanks, kM, "r2-ranks", {"R-squared of ranks", &Predictor::rSquaredRanks, "0.0000"}, false}};
  return rankings;
}

const ScreenRanking& RankingOf(vlm::ResponseKind kind, RankBy by, int sortChoice) {
  const bool first = sortChoice == 0;
  const RankBy prescribed = kind == vlm::kBinaryResponse ? (first ? RankBy::kGini : RankBy::kInformationValue)
                            : kind == vlm::kContinuousResponse ? (first ? RankBy::kRSquared : RankBy::kF)
                                                               : (first ? RankBy::kP : RankBy::kChiSquare);
  const ScreenRanking* found = nullptr;
  for (const ScreenRanking& ranking : ScreenRankings()) {
    if (ranking.kind != kind) continue;
    if (ranking.by == by) return ranking;
    if (ranking.by == prescribed) found = &ranking;
  }
  return *found;
}

const ScreenRanking& RankingOf(const ScreenedResponse& response) {
  return RankingOf(response.kind, response.rankedBy, response.run.sortChoice);
}

std::vector<ScreenStatistic> StatisticsOf(const ScreenedResponse& response) {
  using enum RankBy;
  std::vector<RankBy> shown;
  const bool validated = IsCrossValidated(response);
  switch (response.kind) {
    case vlm::kBinaryResponse:
      shown = validated ? std::vector{kOutOfFold, kInformationValue, kOutOfFoldGini, kCramersV}
                        : std::vector{kGini, kInformationValue, kCramersV};
      break;
    case vlm::kContinuousResponse:
      shown = validated ? std::vector{kOutOfFold, kRSquared, kF, kRSquaredOfRanks}
                        : std::vector{kRSquared, kF, kRSquaredOfRanks};
      break;
    case vlm::kCategoricalResponse:
      shown =
          validated ? std::vector{kOutOfFold, kChiSquare, kCramersV} : std::vector{kP, kChiSquare, kCramersV};
      break;
  }
  const RankBy by = RankingOf(response).by;
  // The prescribed tables keep their order; in the others the figure of the ranking comes first.
  if (std::find(shown.begin(), shown.end(), by) == shown.end()) shown.insert(shown.begin(), by);
  std::vector<ScreenStatistic> statistics;
  for (const RankBy one : shown)
    statistics.push_back(RankingOf(response.kind, one, response.run.sortChoice).statistic);
  for (ScreenStatistic& statistic : statistics) {
    if (validated && statistic.value == &Predictor::informationValue) statistic.header = "IV";
  }
  return statistics;
}

bool IsCrossValidated(const ScreenedResponse& response) {
  return std::any_of(
      response.predictors.begin(), response.predictors.end(),
      [](const ScreenedPredictor& one) { return !IsMissing(one.figures.heldOutExplained, kMissing); });
}

std::size_t CountAboveChance(const ScreenedResponse& response) {
  return static_cast<std::size_t>(
      std::count_if(response.predictors.begin(), response.predictors.end(),
                    [](const ScreenedPredictor& one) { return one.figures.noBetterThanChance == 0; }));
}

double StrengthOf(const ScreenedResponse& response, const vlm::ScreeningPredictor& figures) {
  const ScreenRanking& ranking = RankingOf(response);
  double strength = figures.*ranking.statistic.value;
  // By how much the bins decrease the impurity of all cases.
  if (ranking.by == RankBy::kGini) strength = 2 * figures.badShare * figures.goodShare - figures.giniAfter;
  if (ranking.by == RankBy::kP) strength = figures.cramersV;
  return std::isfinite(strength) && !IsMissing(strength, kMissing) ? std::max(strength, 0.0) : 0;
}

const std::vector<ScreenBinColumn>& BinColumnsOf(vlm::ResponseKind kind) {
  static const std::vector<ScreenBinColumn> binary = {
      {"bad", "bad", &Bin::bad, ""},
      {"good", "good", &Bin::good, ""},
      {"total", "total", &Bin::total, ""},
      {"% valid N", "pctValidN", &Bin::percentValidN, "0.00"},
      {"bad rate", "badRateRow", &Bin::badRateRow, "0.0000"},
      {"share of bad", "badRateCol", &Bin::badRateColumn, nullptr},
      {"share of good", "goodRateCol", &Bin::goodRateColumn, nullptr},
      {"WOE", "woe", &Bin::woe, "0.00"},
      {"Gini", "gini", &Bin::gini, "0.0000"},
      {"odds", "odds", &Bin::odds, "0.000"},
      {"IV", "informationValue", &Bin::informationValue, "0.0000"}};
  static const std::vector<ScreenBinColumn> continuous = {{"n", "n", &Bin::total, ""},
                                                          {"mean", "mean", &Bin::mean, ""},
                                                          {"variance", "variance", &Bin::variance, ""},
                                                          {"SSE", "SSE", &Bin::sumOfSquares, ""}};
  static const std::vector<ScreenBinColumn> categorical;
  if (kind == vlm::kBinaryResponse) return binary;
  return kind == vlm::kContinuousResponse ? continuous : categorical;
}

}  // namespace velmora
