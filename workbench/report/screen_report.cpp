// Shared by the writers of screening results: the statistics of each response kind, in their order.
#include "workbench/report/screen_report.h"

#include <cmath>

#include "workbench/documents/presentation.h"

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

const char* ResponseKindName(vlm::ResponseKind kind) {
  if (kind == vlm::kBinaryResponse) return "binary";
  return kind == vlm::kContinuousResponse ? "continuous" : "categorical";
}

const char* PredictorKindName(const ScreenedPredictor& predictor) {
  return predictor.figures.categorical ? "categorical" : "continuous";
}

const std::vector<ScreenStatistic>& StatisticsOf(vlm::ResponseKind kind) {
  // The sort choices of a kind come first, in the order of their numbers.
  static const std::vector<ScreenStatistic> binary = {
      {"Gini", &Predictor::giniAfter, "0.0000"},
      {"Information value", &Predictor::informationValue, "0.0000"},
      {"Cramer's V", &Predictor::cramersV, "0.0000"}};
  static const std::vector<ScreenStatistic> continuous = {
      {"R-squared", &Predictor::rSquared, "0.0000"},
      {"F-statistic", &Predictor::fStatistic, "0.000"},
      {"R-squared of ranks", &Predictor::rSquaredRanks, "0.0000"}};
  static const std::vector<ScreenStatistic> categorical = {{"p-value", &Predictor::chiSquareP, nullptr},
                                                           {"Chi-square", &Predictor::chiSquare, "0.000"},
                                                           {"Cramer's V", &Predictor::cramersV, "0.0000"}};
  if (kind == vlm::kBinaryResponse) return binary;
  return kind == vlm::kContinuousResponse ? continuous : categorical;
}

const ScreenStatistic& SortStatisticOf(const ScreenedResponse& response) {
  return StatisticsOf(response.kind)[response.run.sortChoice == 0 ? 0 : 1];
}

double StrengthOf(const ScreenedResponse& response, const vlm::ScreeningPredictor& figures) {
  const bool first = response.run.sortChoice == 0;
  double strength = 0;
  switch (response.kind) {
    case vlm::kBinaryResponse:
      // The decrease of the impurity of all cases by the bins.
      strength =
          first ? 2 * figures.badShare * figures.goodShare - figures.giniAfter : figures.informationValue;
      break;
    case vlm::kContinuousResponse:
      strength = first ? figures.rSquared : figures.fStatistic;
      break;
    case vlm::kCategoricalResponse:
      strength = first ? figures.cramersV : figures.chiSquare;
      break;
  }
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
