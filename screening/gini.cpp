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

struct CountSum {
  double total = 0;
  void Add(double bad, double good) { total += good + bad; }
};

// A block of rows of the unique-values sheet.
struct UniqueRows {
  std::vector<double> rate = std::vector<double>(kBlockRows);
  std::vector<double> bad = std::vector<double>(kBlockRows);
  std::vector<double> good = std::vector<double>(kBlockRows);
};

bool IsFilled(double rate, MissingRange missing) { return rate < missing.first || rate > missing.last; }

// Adds (bad, good) of each filled row to figure, in order. By value and on its own, so that its sums stay in
// registers.
template <typename Figure>
[[gnu::noinline]] Figure AddRows(const UniqueRows& rows, std::size_t count, MissingRange missing,
                                 Figure figure) {
  for (std::size_t i = 0; i < count; ++i) {
    if (IsFilled(rows.rate[i], missing)) figure.Add(rows.bad[i], rows.good[i]);
  }
  return figure;
}

template <typename Figure>
Figure AddUniqueValues(vlm::ISpreadsheet& sheet, Figure figure) {
  UniqueRows rows;
  const MissingRange missing = MissingRangeOf(vlm::kMissingValue);
  const int rowCount = sheet.GetRowCount();
  for (int first = 1; first <= rowCount; first += kBlockRows) {
    const int count = std::min(kBlockRows, rowCount - first + 1);
    sheet.ReadColumn(kUniqueRateColumn, first, count, rows.rate.data());
    if (!IsFilled(rows.rate[0], missing)) break;  // the filled rows stand first
    sheet.ReadColumn(kUniqueBadColumn, first, count, rows.bad.data());
    sheet.ReadColumn(kUniqueGoodColumn, first, count, rows.good.data());
    figure = AddRows(rows, static_cast<std::size_t>(count), missing, figure);
  }
  return figure;
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
  const double total = AddUniqueValues(*record.uniqueValues, CountSum{}).total;
  return AddUniqueValues(*record.uniqueValues, WeightedGini(total)).Sum();
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
