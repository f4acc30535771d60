// Statistics of a continuous response: the breakdown of the response and its ranks by the coded
// predictor, with the one-way analysis of variance that follows from it; and the predictor's own
// descriptive figures.
#include <algorithm>
#include <cmath>
#include <limits>

#include "base/format_text.h"
#include "base/tolerant.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/failed_predictor.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

// Breakdown columns: level, then N, mean, standard deviation, variance of each analysed variable.
constexpr int kResponseN = 2;
constexpr int kResponseVariance = 5;
constexpr int kRanksN = 6;
constexpr int kRanksVariance = 9;

// Sums of squares outside these limits have lost digits, or have overflowed or vanished on the way.
constexpr double kSmallestSquares = 1e-280;
constexpr double kLargestSquares = 1e300;

// Sums of squares of one analysed variable, in any unit that they share; NaN where all values are
// equal.
struct SumsOfSquares {
  double within = 0;
  double total = 0;
};

// shares: level rows x variables, called only where the cells of the breakdown are not enough.
template <class Shares>
SumsOfSquares SumSquares(vlm::ISpreadsheet& breakdown, int sseColumn, int varianceColumn, bool weighted,
                         Shares shares) {
  const int allRow = breakdown.GetRowCount();
  const double n = breakdown.GetValue(allRow, kResponseN);
  const double variance = breakdown.GetValue(allRow, varianceColumn);
  const double total = (n - 1) * variance;
  const bool inRange = HasValue(variance) && total > kSmallestSquares && total < kLargestSquares;
  double within = 0;
  double shareWithin = 0;
  for (int row = 1; row < allRow; ++row) {
    // Without weights a level of one case has no variance and adds nothing.
    const double cell = breakdown.GetValue(row, sseColumn);
    const bool needsShare = !inRange || (weighted && !HasValue(cell));
    const double share = needsShare ? shares(row) : 0;
    shareWithin += HasValue(share) ? share : std::numeric_limits<double>::quiet_NaN();
    if (inRange) within += HasValue(cell) ? cell : share * total;
  }
  return inRange ? SumsOfSquares{within, total} : SumsOfSquares{shareWithin, 1};
}

// Stores the sheet of the breakdown in the record and returns the procedure.
vlm::Ref<vlm::IProcedure> BreakdownResponseByCodedPredictor(CFeatureSelectionTemplate& analysis,
                                                            PredSummary& record) {
  const auto ranks = analysis.CreateStatisticsProcedure(record, vlm::kRanksProcedure);
  SetVariableList(*ranks, "2");
  Run(*ranks);
  auto breakdown = analysis.CreateStatisticsProcedure(record, vlm::kBreakdownProcedure);
  SetVariableList(*breakdown, "2 4 | 3");
  Run(*breakdown);
  record.continuous.breakdown = GetResult(*breakdown, vlm::kBreakdownResult);
  return breakdown;
}

}  // namespace

int CFeatureSelectionTemplate::ContinuousSummaryAnalysis(vlm::IDialogWindow* /*parentWindow*/,
                                                         PredSummary& record) {
  try {
    const auto breakdown = BreakdownResponseByCodedPredictor(*this, record);
    const int levelRows = record.continuous.breakdown->GetRowCount() - 1;
    if (levelRows < 1) return Fail(*this, record, kTextNoSelectedCases);
    if (levelRows < 2 && settings.acceptOneBin == 0) return Fail(*this, record, kTextOneBinLeft);
    ComputeAdditionalBreakdownStats(*breakdown, *record.continuous.breakdown, record);
    return std::isnan(record.continuous.rSquared) ? Fail(*this, record, kTextConstantResponse) : kOk;
  } catch (const HostCallError& error) {
    return FailAtHost(*this, record, error);
  }
}

void CFeatureSelectionTemplate::ComputeAdditionalBreakdownStats(vlm::IProcedure& procedure,
                                                                vlm::ISpreadsheet& breakdown,
                                                                PredSummary& record) {
  const auto addSse = [&](int nColumn, int varianceColumn) {
    return InsertColumn(breakdown, breakdown.GetColumnCount(), Text(kTextSse),
                        "=(v" + std::to_string(nColumn) + "-1)*v" + std::to_string(varianceColumn), "");
  };
  const int sseColumn = addSse(kResponseN, kResponseVariance);
  const int sseRanksColumn = addSse(kRanksN, kRanksVariance);

  vlm::Ref<vlm::ISpreadsheet> shareSheet;
  const auto sharesOf = [&](int variable) {
    return [&procedure, &shareSheet, variable](int row) {
      if (!shareSheet) shareSheet = GetResult(procedure, vlm::kBreakdownSharesResult);
      return shareSheet->GetValue(row, 1 + variable);
    };
  };
  const bool weighted = caseWeight != 0;
  const SumsOfSquares response = SumSquares(breakdown, sseColumn, kResponseVariance, weighted, sharesOf(1));
  const SumsOfSquares ranks = SumSquares(breakdown, sseRanksColumn, kRanksVariance, weighted, sharesOf(2));
  record.continuous.rSquared = 1 - response.within / response.total;
  record.continuous.rSquaredRanks = 1 - ranks.within / ranks.total;

  const int allRow = breakdown.GetRowCount();
  const int levels = allRow - 1;
  const double errorDf = breakdown.GetValue(allRow, kResponseN) - levels;
  const double meanSquareError = response.within / errorDf;
  // Below 0 by rounding alone.
  const double between = std::max(response.total - response.within, 0.0);
  // When the weights have a small sum, there may be no degrees of freedom: F is then not
  // computable.
  record.continuous.fStatistic = !(errorDf > 0) ? std::numeric_limits<double>::quiet_NaN()
                                 : vlm::NearlyZero(meanSquareError)
                                     ? vlm::kMissingValue
                                     : (between / (levels - 1)) / meanSquareError;
  record.resultTexts[kRSquaredText] =
      vlm::FormatText(Text(kTextRSquaredLine), {record.continuous.rSquared, record.continuous.rSquaredRanks});
}

void CFeatureSelectionTemplate::ComputeBasicStatsForCovariate(PredSummary& record) {
  const auto descriptives = CreateStatisticsProcedure(record, vlm::kDescriptivesProcedure);
  SetVariableList(*descriptives, "1");
  Run(*descriptives);
  const auto sheet = GetResult(*descriptives, vlm::kDescriptivesResult);
  // Half away from zero; a sum of weights may be more than the record can hold.
  record.values.validN = static_cast<int>(
      std::min(std::round(sheet->GetValue(1, 1)), static_cast<double>(std::numeric_limits<int>::max())));
  record.values.mean = sheet->GetValue(1, 2);
  const double minimum = sheet->GetValue(1, 3);
  const double maximum = sheet->GetValue(1, 4);
  // otherwise the range keeps saying that there are no values
  if (HasValue(minimum) && HasValue(maximum)) {
    record.values.minimum = minimum;
    record.values.maximum = maximum;
  }
  record.values.quartileRange = sheet->GetValue(1, 5);
  record.values.standardDeviation = sheet->GetValue(1, 6);
}

}  // namespace vlmfsl
