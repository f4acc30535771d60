// Gini before categorisation, and the unique-values sheet that it is read from.
#include "screening/gini.h"

#include <algorithm>

#include "base/tolerant.h"
#include "resources/text_ids.h"
#include "screening/feature_selection_template.h"
#include "screening/unique_values.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 4096;

// Calls row(bad, good) for each filled row of the unique-values sheet, in order.
template <typename Row>
void ForEachUniqueValue(vlm::ISpreadsheet& sheet, Row&& row) {
  std::vector<double> rate(kBlockRows);
  std::vector<double> bad(kBlockRows);
  std::vector<double> good(kBlockRows);
  const MissingRange missing = MissingRangeOf(vlm::kMissingValue);
  const auto isFilled = [&](double value) { return value < missing.first || value > missing.last; };
  const int rowCount = sheet.GetRowCount();
  for (int first = 1; first <= rowCount; first += kBlockRows) {
    const int count = std::min(kBlockRows, rowCount - first + 1);
    sheet.ReadColumn(kUniqueRateColumn, first, count, rate.data());
    if (!isFilled(rate[0])) return;  // the filled rows stand first
    sheet.ReadColumn(kUniqueBadColumn, first, count, bad.data());
    sheet.ReadColumn(kUniqueGoodColumn, first, count, good.data());
    for (int i = 0; i < count; ++i) {
      const auto at = static_cast<std::size_t>(i);
      if (isFilled(rate[at])) row(bad[at], good[at]);
    }
  }
}

}  // namespace

void CFeatureSelectionTemplate::MakeUniqueValuesSpreadsheet(PredSummary& record) {
  const auto maker = MakeUniqueValuesMaker(
      record.workSheet, badCodeText,
      {record.predictorName, Text(kTextUniqueDefaultRate), Text(kTextBad), Text(kTextGood)});
  record.uniqueValues = Ref<vlm::IDeferredSpreadsheet>::Adopt(
      record.workSheet->CreateDeferredSpreadsheet(record.workSheet->GetRowCount(), 4, maker.Get()));
  if (!record.uniqueValues) throw HostCallError("The host cannot make the sheet of unique values.");
}

double CFeatureSelectionTemplate::ComputeGiniBeforeCategorization(PredSummary& record) {
  return record.predictorKind != kContinuousPredictor ? GiniBeforeCategorical(record)
                                                      : GiniBeforeContinuous(record);
}

double CFeatureSelectionTemplate::GiniBeforeContinuous(PredSummary& record) {
  if (!record.uniqueValues || record.uniqueValues->GetRowCount() < 1) return 0;
  double total = 0;
  ForEachUniqueValue(*record.uniqueValues, [&](double bad, double good) { total += good + bad; });
  WeightedGini gini(total);
  ForEachUniqueValue(*record.uniqueValues, [&](double bad, double good) { gini.Add(bad, good); });
  return gini.Sum();
}

double CFeatureSelectionTemplate::GiniBeforeCategorical(PredSummary& record) {
  try {
    const auto crosstab = CreateStatisticsAnalysis(record, vlm::kCrosstabAnalysis);
    SetVariableList(*crosstab, " 1 | 2");
    SetResponseCodes(*crosstab, CodeText(badCode) + "|" + CodeText(goodCode));
    Run(*crosstab);
    const auto sheet = GetResult(*crosstab, vlm::kCrosstabSummaryResult);
    const int totalsRow = sheet->GetRowCount();
    WeightedGini gini(sheet->GetValue(totalsRow, 4));
    for (int row = 1; row < totalsRow; ++row) gini.Add(sheet->GetValue(row, 2), sheet->GetValue(row, 3));
    return gini.Sum();
  } catch (const HostCallError&) {
    ShowMessage(kTextFatalError);
    return 0;
  }
}

}  // namespace vlmfsl
