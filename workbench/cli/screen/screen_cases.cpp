// Counts the cases that a screening did not use, by reason.
#include <cmath>

#include "workbench/cli/screen/screen_run.h"

namespace velmora {
namespace {

int ResponseNumber(const ScreenChoice& choice, vlm::ResponseKind kind) {
  if (kind == vlm::kBinaryResponse) return choice.binaryResponse;
  return kind == vlm::kContinuousResponse ? choice.continuousResponse : choice.categoricalResponse;
}

}  // namespace

void CountCases(const Table& table, const ScreenChoice& choice, const CaseBitmap& selected,
                ScreenReport& report) {
  report.selectedCases = selected.IncludedCount();
  const Column* const weights = choice.weight == 0 ? nullptr : &table.Variable(choice.weight);
  for (ScreenedResponse& response : report.responses) {
    const Column& column = table.Variable(ResponseNumber(choice, response.kind));
    const bool binary = response.kind == vlm::kBinaryResponse;
    ScreenedCases& cases = response.cases;
    for (std::size_t i = 0; i < column.values.size(); ++i) {
      const double value = column.values[i];
      if (!selected.Contains(static_cast<std::int64_t>(i))) {
        ++cases.notSelected;
      } else if (weights != nullptr &&
                 (IsMissing(weights->values[i], weights->missingCode) || !(weights->values[i] > 0))) {
        ++cases.withoutWeight;
      } else if (std::isnan(value) || IsMissing(value, column.missingCode)) {
        ++cases.withoutResponse;
      } else if (binary && !NearlyEqualDoubles(value, choice.good) &&
                 !NearlyEqualDoubles(value, choice.bad)) {
        ++cases.otherCodes;
      } else {
        ++cases.used;
      }
    }
  }
}

}  // namespace velmora
