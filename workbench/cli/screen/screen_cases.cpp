// Counts the cases that a screening did not use, by reason.
#include <algorithm>
#include <cmath>

#include "workbench/cli/screen/screen_run.h"

namespace velmora {
namespace {

// How many of the used cases have a value of each predictor. The module counts them differently: by
// weight, and without special codes.
void CountValues(const Table& table, const std::vector<std::uint8_t>& used, bool asModule,
                 ScreenedResponse& response) {
  for (ScreenedPredictor& predictor : response.predictors) {
    predictor.cases = predictor.figures.validN;
    if (!asModule) {
      const Column& column = table.Variable(predictor.figures.predictorNumber);
      const MissingRange missing(column.missingCode);
      predictor.cases = 0;
      for (std::size_t i = 0; i < used.size(); ++i) {
        const double value = column.values[i];
        if (used[i] != 0 && !std::isnan(value) && !missing.Contains(value)) ++predictor.cases;
      }
    }
    predictor.missing = std::max<std::int64_t>(response.cases.used - predictor.cases, 0);
  }
}

}  // namespace

void CountCases(const Table& table, const ScreenChoice& choice, const CaseBitmap& selected,
                ScreenReport& report) {
  report.selectedCases = selected.IncludedCount();
  const Column* const weights = choice.weight == 0 ? nullptr : &table.Variable(choice.weight);
  for (ScreenedResponse& response : report.responses) {
    const Column& column = table.Variable(choice.Response(response.kind));
    const bool binary = response.kind == vlm::kBinaryResponse;
    ScreenedCases& cases = response.cases;
    double squares = 0;
    std::vector<std::uint8_t> used(column.values.size());
    for (std::size_t i = 0; i < column.values.size(); ++i) {
      const double value = column.values[i];
      if (!selected.Contains(static_cast<std::int64_t>(i))) {
        ++cases.notSelected;
      } else if (weights != nullptr &&
                 (IsMissing(weights->values[i], weights->missingCode) || !(weights->values[i] > 0))) {
        ++cases.withoutWeight;
      } else if (std::isnan(value) || IsMissing(value, column.missingCode)) {
        ++cases.withoutResponse;
      } else if (binary && !vlm::NearlyEqual(value, choice.good) && !vlm::NearlyEqual(value, choice.bad)) {
        ++cases.otherCodes;
      } else {
        ++cases.used;
        const double weight = weights == nullptr ? 1 : weights->values[i];
        cases.totalWeight += weight;
        squares += weight * weight;
        used[i] = 1;
      }
    }
    cases.effective = weights == nullptr || report.weights == WeightMeaning::kCounts
                          ? cases.totalWeight
                          : cases.totalWeight * cases.totalWeight / squares;
    CountValues(table, used, weights == nullptr && report.classic, response);
  }
}

}  // namespace velmora
