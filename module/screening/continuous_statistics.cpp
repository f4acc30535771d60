// Statistics of a continuous response: the breakdown of the response and its ranks by the coded predictor, with
// the one-way analysis of variance that follows from it; and the predictor's own descriptive figures.
#include <algorithm>
#include <cmath>
#include <limits>

#include "base/format_text.h"
#include "base/tolerant.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

// Breakdown columns: level, then N, mean, standard deviation, variance of each analysed variable.
constexpr int kResponseN = 2;
constexpr int kResponseVariance = 5;
constexpr int kRanksN = 6;
constexpr int kRanksVariance = 9;

// (n_i - 1) variance_i summed over the levels; a level of one case has no variance and adds nothing.
double SumOverLevels(vlm::ISpreadsheet& sheet, int column) {
  double sum = 0;
  for (int row = 1; row < sheet.GetRowCount(); ++row) {
    const double cell = sheet.GetValue(row, column);
    if (HasValue(cell)) sum += cell;
  }
  return sum;
}

}  // namespace

int CFeatureSelectionTemplate::ContinuousSummaryAnalysis(vlm::IDialogWindow* /*parentWindow*/,
                                                         PredSummary& record) {
  try {
    BreakdownResponseByCodedPredictor(record);
    ComputeAdditionalBreakdownStats(*record.breakdown, record);
    return kOk;
  } catch (const HostCallError& error) {
    record.failureReason = error.what();
    ShowMessage(kTextFatalError);
    return kFailed;
  }
}

void CFeatureSelectionTemplate::BreakdownResponseByCodedPredictor(PredSummary& record) {
  const auto ranks = CreateStatisticsProcedure(record, vlm::kRanksProcedure);
  SetVariableList(*ranks, "2");
  Run(*ranks);
  const auto breakdown = CreateStatisticsProcedure(record, vlm::kBreakdownProcedure);
  SetVariableList(*breakdown, "2 4 | 3");
  Run(*breakdown);
  record.breakdown = GetResult(*breakdown, vlm::kBreakdownResult);
}

void CFeatureSelectionTemplate::ComputeAdditionalBreakdownStats(vlm::ISpreadsheet& breakdown,
                                                                PredSummary& record) {
  const auto addSse = [&](int nColumn, int varianceColumn) {
    return InsertColumn(breakdown, breakdown.GetColumnCount(), Text(kTextSse),
                        "=(v" + std::to_string(nColumn) + "-1)*v" + std::to_string(varianceColumn), "");
  };
  const int sseColumn = addSse(kResponseN, kResponseVariance);
  const int sseRanksColumn = addSse(kRanksN, kRanksVariance);
  const double sse = SumOverLevels(breakdown, sseColumn);
  const double sseRanks = SumOverLevels(breakdown, sseRanksColumn);

  const int allRow = breakdown.GetRowCount();
  const double n = breakdown.GetValue(allRow, kResponseN);
  const double sst = (n - 1) * breakdown.GetValue(allRow, kResponseVariance);
  const double sstRanks = (n - 1) * breakdown.GetValue(allRow, kRanksVariance);
  record.rSquared = 1 - sse / sst;
  record.rSquaredRanks = 1 - sseRanks / sstRanks;

  const int levels = allRow - 1;
  const double meanSquareError = sse / (n - levels);
  record.fStatistic =
      vlm::NearlyZero(meanSquareError) ? vlm::kMissingValue : ((sst - sse) / (levels - 1)) / meanSquareError;
  record.resultTexts[kRSquaredText] =
      vlm::FormatText(Text(kTextRSquaredLine), {record.rSquared, record.rSquaredRanks});
}

void CFeatureSelectionTemplate::ComputeBasicStatsForCovariate(PredSummary& record) {
  const auto descriptives = CreateStatisticsProcedure(record, vlm::kDescriptivesProcedure);
  SetVariableList(*descriptives, "1");
  Run(*descriptives);
  const auto sheet = GetResult(*descriptives, vlm::kDescriptivesResult);
  // Half away from zero; a sum of weights may be more than the record can say.
  record.validN = static_cast<int>(
      std::min(std::round(sheet->GetValue(1, 1)), static_cast<double>(std::numeric_limits<int>::max())));
  record.mean = sheet->GetValue(1, 2);
  record.rangeMinimum = sheet->GetValue(1, 3);
  record.rangeMaximum = sheet->GetValue(1, 4);
  record.quartileRange = sheet->GetValue(1, 5);
  record.standardDeviation = sheet->GetValue(1, 6);
}

}  // namespace vlmfsl
