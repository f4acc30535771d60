// Statistics of a categorical response: the crosstab of the coded predictor with Pearson's
// chi-square, and the measures of association of any crosstab.
#include <algorithm>
#include <cmath>
#include <set>

#include "base/format_text.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/failed_predictor.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

constexpr int kFirstCountColumn = 2;

// The bins' labels as a code list; all codes when two labels are alike, which a list of texts
// cannot tell apart.
std::string LevelCodes(const PredSummary& record) {
  const std::set<std::string> distinct(record.bins.names.begin(), record.bins.names.end());
  if (distinct.size() != record.bins.names.size()) return "*";
  std::string codes;
  for (const std::string& name : record.bins.names) codes += QuotedCode(name) + " ";
  return codes;
}

int CountClassesWithCases(const PredSummary& record, std::size_t classCount) {
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  int classes = 0;
  for (std::size_t c = 0; c < classCount; ++c) {
    classes += sheet.GetValue(sheet.GetRowCount(), kFirstCountColumn + static_cast<int>(c)) > 0 ? 1 : 0;
  }
  return classes;
}

}  // namespace

int CFeatureSelectionTemplate::CategoricalSummaryAnalysis(vlm::IDialogWindow* /*parentWindow*/,
                                                          PredSummary& record) {
  try {
    const auto crosstab = CreateStatisticsProcedure(record, vlm::kCrosstabProcedure);
    SetVariableList(*crosstab, " 3 | 2");
    SetPredictorCodes(*crosstab, LevelCodes(record));
    std::string codes;
    for (const double code : responseCodes) codes += CodeText(code) + " ";
    SetResponseCodes(*crosstab, codes);
    Run(*crosstab);
    ComputeAdditionalTemplateMultiCrossTabStats(GetResult(*crosstab, vlm::kCrosstabSummaryResult), record);
    const int levelRows = record.crosstab.summary->GetRowCount() - 1;
    if (levelRows < 1) return Fail(*this, record, kTextNoSelectedCases);
    if (levelRows < 2 && settings.acceptOneBin == 0) return Fail(*this, record, kTextOneBinLeft);
    if (CountClassesWithCases(record, responseCodes.size()) < 2)
      return Fail(*this, record, kTextConstantResponse);
    if (record.predictorKind == kContinuousPredictor) MakeUniqueValuesSpreadsheet(record);

    record.crosstab.statistics = GetResult(*crosstab, vlm::kCrosstabStatisticsResult);
    record.crosstab.chiSquare = ParseMachineNumber(CellText(*record.crosstab.statistics, 1, 1));
    record.crosstab.chiSquareP = PearsonPValue(*record.crosstab.statistics);
    for (int i = 0; i < 3; ++i) {
      record.crosstab.further[i] = GetResult(*crosstab, vlm::kCrosstabFurtherResult, i + 1);
    }
    return kOk;
  } catch (const HostCallError& error) {
    return FailAtHost(*this, record, error);
  }
}

void CFeatureSelectionTemplate::ComputeAdditionalTemplateMultiCrossTabStats(
    const vlm::Ref<vlm::ISpreadsheet>& crosstab, PredSummary& record) {
  record.crosstab.summary = crosstab;
  SetTitle(*crosstab,
           vlm::FormatText(Text(kTextSummaryCrosstabulation), {record.predictorName, record.responseName}));
}

void CFeatureSelectionTemplate::ComputeAssociation(PredSummary& record) {
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  const int totalsRow = sheet.GetRowCount();
  const int classCount =
      record.responseKind == vlm::kBinaryResponse ? 2 : static_cast<int>(responseCodes.size());
  std::vector<double> totals(static_cast<std::size_t>(classCount));
  double all = 0;
  int usedColumns = 0;
  for (int c = 0; c < classCount; ++c) {
    totals[static_cast<std::size_t>(c)] = sheet.GetValue(totalsRow, kFirstCountColumn + c);
    all += totals[static_cast<std::size_t>(c)];
    usedColumns += totals[static_cast<std::size_t>(c)] > 0 ? 1 : 0;
  }
  // Pearson: sum of (observed - expected)^2 / expected, expected = row total x column total / all.
  double chiSquare = 0;
  int usedRows = 0;
  std::vector<double> counts(static_cast<std::size_t>(classCount));
  for (int row = 1; row < totalsRow; ++row) {
    double rowTotal = 0;
    for (int c = 0; c < classCount; ++c) {
      rowTotal += counts[static_cast<std::size_t>(c)] = sheet.GetValue(row, kFirstCountColumn + c);
    }
    usedRows += rowTotal > 0 ? 1 : 0;
    for (int c = 0; c < classCount; ++c) {
      const double expected = rowTotal * totals[static_cast<std::size_t>(c)] / all;
      const double difference = counts[static_cast<std::size_t>(c)] - expected;
      if (expected > 0) chiSquare += difference * difference / expected;
    }
  }
  const int smaller = std::min(usedRows, usedColumns) - 1;
  if (smaller < 1 || !(all > 0)) return;
  record.crosstab.cramersV = std::sqrt(chiSquare / (all * smaller));
  if (record.responseKind == vlm::kBinaryResponse) record.crosstab.chiSquare = chiSquare;
}

}  // namespace vlmfsl
