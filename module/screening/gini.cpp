// Gini before categorisation, and the unique-values sheet that it is read from.
#include "module/screening/gini.h"

#include <algorithm>

#include "base/tolerant.h"
#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening/run_progress.h"
#include "module/screening/unique_values.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 1024;

// A block of rows of the unique-values sheet.
struct UniqueRows {
  std::vector<double> rate = std::vector<double>(kBlockRows);
  std::vector<double> bad = std::vector<double>(kBlockRows);
  std::vector<double> good = std::vector<double>(kBlockRows);
};

bool IsFilled(double rate, vlm::MissingRange missing) { return rate < missing.low || rate > missing.high; }

// Adds each filled row, in order. Takes the sum by value and is not inlined, so that the sum stays
// in a register.
[[gnu::noinline]] WeightedGini AddRows(const UniqueRows& rows, std::size_t count, vlm::MissingRange missing,
                                       WeightedGini gini) {
  for (std::size_t i = 0; i < count; ++i) {
    if (IsFilled(rows.rate[i], missing)) gini.Add(rows.bad[i], rows.good[i]);
  }
  return gini;
}

double GiniBeforeContinuous(const PredSummary& record) {
  if (!record.binary.uniqueValues || record.binary.uniqueValues->GetRowCount() < 1) return 0;
  vlm::ISpreadsheet& sheet = *record.binary.uniqueValues;
  // The sheet has one row per case of the work sheet; the filled rows count each case once.
  const int rowCount = sheet.GetRowCount();
  WeightedGini gini(rowCount);
  UniqueRows rows;
  const vlm::MissingRange missing(vlm::kMissingValue);
  for (int first = 1; first <= rowCount; first += kBlockRows) {
    const int count = std::min(kBlockRows, rowCount - first + 1);
    sheet.ReadColumn(kUniqueRateColumn, first, count, rows.rate.data());
    if (!IsFilled(rows.rate[0], missing)) {
      if (first == 1) throw HostCallError("The host cannot make the sheet of unique values.");
      break;  // the filled rows come first
    }
    sheet.ReadColumn(kUniqueBadColumn, first, count, rows.bad.data());
    sheet.ReadColumn(kUniqueGoodColumn, first, count, rows.good.data());
    gini = AddRows(rows, static_cast<std::size_t>(count), missing, gini);
  }
  return gini.Sum();
}

// 0 after an error message.
double GiniBeforeCategorical(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  try {
    const auto crosstab = analysis.CreateStatisticsProcedure(record, vlm::kCrosstabProcedure);
    SetVariableList(*crosstab, " 1 | 2");
    SetResponseCodes(*crosstab, CodeText(analysis.badCode) + "|" + CodeText(analysis.goodCode));
    Run(*crosstab);
    const auto sheet = GetResult(*crosstab, vlm::kCrosstabSummaryResult);
    const int totalsRow = sheet->GetRowCount();
    WeightedGini gini(sheet->GetValue(totalsRow, 4));
    for (int row = 1; row < totalsRow; ++row) gini.Add(sheet->GetValue(row, 2), sheet->GetValue(row, 3));
    return gini.Sum();
  } catch (const HostCallError&) {
    if (analysis.progress && analysis.progress->IsCancelled()) throw;  // no error: the run ends
    analysis.ShowMessage(kTextFatalError);
    return 0;
  }
}

}  // namespace

void CFeatureSelectionTemplate::MakeUniqueValuesSpreadsheet(PredSummary& record) {
  const auto maker = MakeUniqueValuesMaker(
      record.workSheet, badCodeText,
      {record.predictorName, Text(kTextUniqueDefaultRate), Text(kTextBad), Text(kTextGood)});
  record.binary.uniqueValues = vlm::Ref<vlm::IDeferredSpreadsheet>::Adopt(
      record.workSheet->CreateDeferredSpreadsheet(record.workSheet->GetRowCount(), 4, maker.Get()));
  if (!record.binary.uniqueValues) throw HostCallError("The host cannot make the sheet of unique values.");
}

double CFeatureSelectionTemplate::ComputeGiniBeforeCategorization(PredSummary& record) {
  return record.predictorKind != kContinuousPredictor ? GiniBeforeCategorical(*this, record)
                                                      : GiniBeforeContinuous(record);
}

}  // namespace vlmfsl
