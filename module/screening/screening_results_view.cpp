#include "module/screening/screening_results_view.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "module/frame/guarded.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

// Columns of the summary crosstab once its screening columns are in place.
enum CrosstabColumn : int {
  kBad = 2,
  kGood = 3,
  kTotal = 4,
  kPercentValidN = 5,
  kBadRateRow = 6,
  kBadRateColumn = 7,
  kGoodRateColumn = 8,
  kWoe = 9,
  kGini = 10,
  kOdds = 11,
  kInformationValue = 12,
};

// Columns of the breakdown with its sums of squares.
enum BreakdownColumn : int { kN = 2, kMean = 3, kVariance = 5, kSse = 10, kSseRanks = 11 };

void Assign(vlm::ITextSink* sink, std::string_view text) { sink->Assign(text.data(), vlm::LengthOf(text)); }

double OrMissing(double value) { return std::isfinite(value) ? value : vlm::kMissingValue; }

void FillBinaryBin(vlm::ISpreadsheet& sheet, int row, vlm::ScreeningBin& bin) {
  bin.bad = sheet.GetValue(row, kBad);
  bin.good = sheet.GetValue(row, kGood);
  bin.total = sheet.GetValue(row, kTotal);
  bin.percentValidN = sheet.GetValue(row, kPercentValidN);
  bin.badRateRow = sheet.GetValue(row, kBadRateRow);
  bin.badRateColumn = sheet.GetValue(row, kBadRateColumn);
  bin.goodRateColumn = sheet.GetValue(row, kGoodRateColumn);
  bin.woe = sheet.GetValue(row, kWoe);
  bin.gini = sheet.GetValue(row, kGini);
  bin.odds = sheet.GetValue(row, kOdds);
  bin.informationValue = sheet.GetValue(row, kInformationValue);
}

void FillContinuousBin(vlm::ISpreadsheet& sheet, int row, vlm::ScreeningBin& bin) {
  bin.total = sheet.GetValue(row, kN);
  bin.mean = sheet.GetValue(row, kMean);
  bin.variance = sheet.GetValue(row, kVariance);
  bin.sumOfSquares = sheet.GetValue(row, kSse);
  bin.sumOfSquaresRanks = sheet.GetValue(row, kSseRanks);
}

// A special code that no case has: new cases that have it count as an average case.
void FillBinWithoutCases(vlm::ISpreadsheet& sheet, const PredSummary& record, vlm::ScreeningBin& bin) {
  bin.total = 0;
  if (record.responseKind == vlm::kContinuousResponse) bin.mean = sheet.GetValue(sheet.GetRowCount(), kMean);
  if (record.responseKind != vlm::kBinaryResponse) return;
  bin.bad = bin.good = bin.percentValidN = bin.badRateColumn = bin.goodRateColumn = 0;
  bin.badRateRow = bin.gini = bin.odds = vlm::kMissingValue;
  bin.woe = bin.informationValue = 0;
}

// The row of a bin in the record's sheet: of all cases for binIndex == number of bins, 0 for an
// empty bin.
int RowOf(const PredSummary& record, vlm::ISpreadsheet& sheet, int binIndex) {
  const int binCount = static_cast<int>(record.bins.nodes.size());
  if (binIndex == binCount) return sheet.GetRowCount();
  return binIndex >= 0 && binIndex < binCount ? record.bins.RowOf(sheet, binIndex) : 0;
}

}  // namespace

const PredSummary* ScreeningResultsView::Find(int response, int predictorIndex) const {
  const auto& results = analysis_.Results(response);
  const bool exists = predictorIndex >= 0 && predictorIndex < static_cast<int>(results.size());
  return exists ? &results[static_cast<std::size_t>(predictorIndex)] : nullptr;
}

const PredSummary* ScreeningResultsView::FindFailed(int response, int failedIndex) const {
  const auto& failed = analysis_.Failed(response);
  const bool exists = failedIndex >= 0 && failedIndex < static_cast<int>(failed.size());
  return exists ? &failed[static_cast<std::size_t>(failedIndex)] : nullptr;
}

void ScreeningResultsView::GetRun(int response, vlm::ScreeningRun* run) {
  const int kind = response;
  *run = {};
  run->selected = analysis_.ResponseCount(kind) > 0 ? 1 : 0;
  if (!run->selected) return;
  run->responseNumber = analysis_.ResponseVariable(kind);
  run->predictorCount = static_cast<int>(analysis_.Results(kind).size());
  run->failedCount = static_cast<int>(analysis_.Failed(kind).size());
  run->sortChoice = kind == vlm::kBinaryResponse        ? analysis_.binarySort
                    : kind == vlm::kCategoricalResponse ? analysis_.categoricalSort
                                                        : analysis_.continuousSort;
  if (kind == vlm::kBinaryResponse) {
    run->classCount = 2;
    run->badCode = analysis_.badCode;
    run->goodCode = analysis_.goodCode;
  }
  if (kind == vlm::kCategoricalResponse) run->classCount = static_cast<int>(analysis_.responseCodes.size());
}

void ScreeningResultsView::GetResponseName(int response, vlm::ITextSink* name) {
  Assign(name, analysis_.ResponseName(response));
}

void ScreeningResultsView::GetClassText(int response, int classIndex, vlm::ITextSink* text) {
  GuardedCommand("IScreeningResults::GetClassText", [&] {
    if (response == vlm::kBinaryResponse) {
      return Assign(text, classIndex == 0 ? analysis_.badCodeText : analysis_.goodCodeText);
    }
    const auto& codes = analysis_.responseCodes;
    if (classIndex < 0 || classIndex >= static_cast<int>(codes.size())) return Assign(text, "");
    Assign(text, analysis_.DisplayText(analysis_.ResponseVariable(vlm::kCategoricalResponse),
                                       codes[static_cast<std::size_t>(classIndex)]));
  });
}

void ScreeningResultsView::GetOrder(int response, vlm::IIntegerSink* predictorIndices) {
  predictorIndices->Clear();
  for (const int position : analysis_.Order(response)) predictorIndices->Append(position);
}

void ScreeningResultsView::GetPredictor(int response, int predictorIndex,
                                        vlm::ScreeningPredictor* predictor) {
  constexpr double kNone = vlm::kMissingValue;
  *predictor = {};
  const PredSummary* record = Find(response, predictorIndex);
  if (record == nullptr) return;
  const bool binary = record->responseKind == vlm::kBinaryResponse;
  const bool continuous = record->responseKind == vlm::kContinuousResponse;
  predictor->predictorNumber = record->predictorVariable;
  predictor->categorical = record->predictorKind == kCategoricalPredictor ? 1 : 0;
  predictor->nodeCount = record->bins.nodeCount;
  predictor->cutPointCount = static_cast<int>(record->bins.cutPoints.size());
  predictor->binCount = static_cast<int>(record->bins.nodes.size());
  predictor->missingBin = record->bins.fit.missingBin;
  predictor->validN = record->values.validN;
  predictor->minimum = record->values.Lowest();
  predictor->maximum = record->values.Highest();
  predictor->mean = OrMissing(record->values.mean);
  predictor->standardDeviation = OrMissing(record->values.standardDeviation);
  predictor->quartileRange = OrMissing(record->values.quartileRange);
  predictor->badShare = binary ? OrMissing(record->binary.badShare) : kNone;
  predictor->goodShare = binary ? OrMissing(record->binary.goodShare) : kNone;
  predictor->informationValue = binary ? record->binary.informationValue : kNone;
  predictor->giniBefore = binary ? OrMissing(record->binary.giniBefore) : kNone;
  predictor->giniAfter = binary ? record->binary.giniAfter : kNone;
  predictor->chiSquare = continuous ? kNone : OrMissing(record->crosstab.chiSquare);
  predictor->chiSquareP = continuous ? kNone : OrMissing(record->crosstab.chiSquareP);
  predictor->cramersV = continuous ? kNone : OrMissing(record->crosstab.cramersV);
  predictor->rSquared = continuous ? OrMissing(record->continuous.rSquared) : kNone;
  predictor->fStatistic = continuous ? OrMissing(record->continuous.fStatistic) : kNone;
  predictor->rSquaredRanks = continuous ? OrMissing(record->continuous.rSquaredRanks) : kNone;
  predictor->totalSumOfSquares = continuous ? OrMissing(record->continuous.totalSumOfSquares) : kNone;
  predictor->noBetterThanChance = record->bins.fit.noBetterThanChance;
  predictor->mergedGreedily = record->bins.fit.mergedGreedily;
  predictor->shape = record->bins.fit.shape;
  predictor->heldOutInformationValue = record->bins.fit.heldOutInformationValue;
  predictor->heldOutGini = record->bins.fit.heldOutGini;
  predictor->heldOutExplained = record->bins.fit.heldOutExplained;
}

void ScreeningResultsView::SetOrder(int response, const int* predictorIndices, int count, int bestCount) {
  GuardedCommand("IScreeningResults::SetOrder", [&] {
    analysis_.SetOrder(response, {predictorIndices, static_cast<std::size_t>(std::max(count, 0))}, bestCount);
  });
}

void ScreeningResultsView::GetPredictorName(int response, int predictorIndex, vlm::ITextSink* name) {
  const PredSummary* record = Find(response, predictorIndex);
  Assign(name, record != nullptr ? std::string_view(record->predictorName) : std::string_view());
}

void ScreeningResultsView::GetCutPoints(int response, int predictorIndex, double* cutPoints) {
  const PredSummary* record = Find(response, predictorIndex);
  if (record != nullptr) std::copy(record->bins.cutPoints.begin(), record->bins.cutPoints.end(), cutPoints);
}

void ScreeningResultsView::GetBinLabel(int response, int predictorIndex, int binIndex,
                                       vlm::ITextSink* label) {
  const PredSummary* record = Find(response, predictorIndex);
  const bool exists =
      record != nullptr && binIndex >= 0 && binIndex < static_cast<int>(record->bins.names.size());
  Assign(label, exists ? std::string_view(record->bins.names[static_cast<std::size_t>(binIndex)])
                       : std::string_view());
}

void ScreeningResultsView::GetBin(int response, int predictorIndex, int binIndex, vlm::ScreeningBin* bin) {
  constexpr double kNone = vlm::kMissingValue;
  *bin = {0,     kNone, kNone, kNone, kNone, kNone, kNone, kNone,
          kNone, kNone, kNone, kNone, kNone, kNone, kNone};
  const PredSummary* record = Find(response, predictorIndex);
  if (record == nullptr) return;
  const bool continuous = record->responseKind == vlm::kContinuousResponse;
  const vlm::Ref<vlm::ISpreadsheet>& sheet =
      continuous ? record->continuous.breakdown : record->crosstab.summary;
  if (!sheet) return;
  const int row = RowOf(*record, *sheet, binIndex);
  if (row > 0) {
    if (continuous) {
      FillContinuousBin(*sheet, row, *bin);
    } else if (record->responseKind == vlm::kBinaryResponse) {
      FillBinaryBin(*sheet, row, *bin);
    } else {
      bin->total = sheet->GetValue(row, static_cast<int>(analysis_.responseCodes.size()) + 2);
    }
  }
  const bool isExtra = binIndex >= 0 && binIndex < static_cast<int>(record->bins.Count()) &&
                       record->bins.IsExtra(static_cast<std::size_t>(binIndex));
  if (isExtra && !(bin->total > 0)) FillBinWithoutCases(*sheet, *record, *bin);
}

void ScreeningResultsView::GetClassCounts(int response, int predictorIndex, int binIndex, double* counts) {
  const PredSummary* record = Find(response, predictorIndex);
  if (record == nullptr || !record->crosstab.summary) return;
  const int classCount =
      record->responseKind == vlm::kBinaryResponse ? 2 : static_cast<int>(analysis_.responseCodes.size());
  const int row = RowOf(*record, *record->crosstab.summary, binIndex);
  for (int c = 0; c < classCount; ++c) {
    counts[c] = row == 0 ? 0 : record->crosstab.summary->GetValue(row, c + 2);
  }
}

int ScreeningResultsView::GetLevelCount(int response, int predictorIndex) {
  const PredSummary* record = Find(response, predictorIndex);
  return record != nullptr ? static_cast<int>(record->bins.levelOf.size()) : 0;
}

void ScreeningResultsView::GetLevels(int response, int predictorIndex, double* values, int* binIndices) {
  const PredSummary* record = Find(response, predictorIndex);
  if (record == nullptr) return;
  for (const auto& [value, bin] : record->bins.levelOf) {
    *values++ = value;
    *binIndices++ = bin;
  }
}

void ScreeningResultsView::GetRecodeFileName(int response, int predictorIndex, vlm::ITextSink* name) {
  const PredSummary* record = Find(response, predictorIndex);
  Assign(name, record != nullptr ? std::string_view(record->recodeFileName) : std::string_view());
}

int ScreeningResultsView::GetFailedNumber(int response, int failedIndex) {
  const PredSummary* record = FindFailed(response, failedIndex);
  return record != nullptr ? record->predictorVariable : 0;
}

void ScreeningResultsView::GetFailedName(int response, int failedIndex, vlm::ITextSink* name) {
  const PredSummary* record = FindFailed(response, failedIndex);
  Assign(name, record != nullptr ? std::string_view(record->predictorName) : std::string_view());
}

void ScreeningResultsView::GetFailedReason(int response, int failedIndex, vlm::ITextSink* reason) {
  const PredSummary* record = FindFailed(response, failedIndex);
  Assign(reason, record != nullptr ? std::string_view(record->failureReason) : std::string_view());
}

}  // namespace vlmfsl
