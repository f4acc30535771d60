// The record of one (response, predictor) pair of a screening run: its identity, the statistics
// that rank it, its bins or levels, and its sheets. Plain and copied by value; copies share the
// sheets.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "contract/procedures.h"
#include "contract/ref.h"
#include "contract/screening_results.h"

namespace vlmfsl {

enum PredictorKind : int { kContinuousPredictor = 0, kCategoricalPredictor = 1 };

// A range minimum above the range maximum says that there are no values.
inline constexpr double kNoMinimum = 1.7e308;
inline constexpr double kNoMaximum = -1.7e308;

// Columns of PredSummary::binStatistics.
enum BinStatisticsColumn : int {
  kBinCode = 1,  // node number
  kBinN = 2,     // cases, or the sum of their weights
  kBinMean = 3,
  kBinStandardDeviation = 4,
  kBinVariance = 5,
  kBinMinimum = 6,
  kBinLowerQuartile = 7,
  kBinMedian = 8,
  kBinUpperQuartile = 9,
  kBinMaximum = 10,
  kBinLowerLimit = 11,  // of the mean's 95 % interval
  kBinUpperLimit = 12,
};

// Places in PredSummary::resultTexts.
enum ResultText : int { kRSquaredText = 0, kEventScriptText = 1 };

struct PredSummary {
  PredSummary(int kind, int variable, std::string name, int response, int responseNumber,
              std::string responseVariableName);
  // Of a binary response. The code texts are those that outputs show.
  PredSummary(int kind, int variable, std::string name, int responseNumber, std::string responseVariableName,
              std::string badText, std::string goodText);

  [[nodiscard]] std::size_t BinCount() const { return levelNames.size(); }
  // Row of a bin in a sheet whose first column holds node numbers; 0 when the bin has no cases
  // there.
  [[nodiscard]] int RowOfBin(vlm::ISpreadsheet& sheet, int binIndex) const;
  // Drops the cells of the sheets that can be made again.
  void EvictSheets();
  // Bins of values: all but those of special codes and the one that the missing cases have for
  // themselves.
  [[nodiscard]] std::size_t ValueBinCount() const { return BinCount() - extraBins; }
  [[nodiscard]] bool IsExtraBin(std::size_t binIndex) const { return binIndex >= ValueBinCount(); }
  [[nodiscard]] bool MissingHasOwnBin() const {
    return fit.missingBin >= 0 && IsExtraBin(static_cast<std::size_t>(fit.missingBin));
  }
  // Ends of the range; kMissingValue when there are no values.
  [[nodiscard]] double LowestValue() const { return HasRange() ? rangeMinimum : vlm::kMissingValue; }
  [[nodiscard]] double HighestValue() const { return HasRange() ? rangeMaximum : vlm::kMissingValue; }
  [[nodiscard]] bool HasRange() const { return rangeMinimum <= rangeMaximum; }

  int predictorKind;
  int predictorVariable;  // variable number
  std::string predictorName;
  int responseKind;
  int responseVariable;  // variable number
  int levelIndex = -1;   // until a level or bin is chosen
  std::string responseName;
  std::string labelTexts[3];
  // categorical predictor: value -> bin index; continuous predictor: the same of special codes
  std::map<double, int> levelOf;
  // continuous predictor, ascending; n cut points make n + 1 bins of values
  std::vector<double> cutPoints;
  // labels of the bins: of values, of special codes, of the missing cases
  std::vector<std::string> levelNames;
  double rangeMinimum = kNoMinimum;
  double rangeMaximum = kNoMaximum;
  double badShare = 0;  // of all bad and good cases
  double goodShare = 0;
  double informationValue = 0;
  double giniBefore = 0;  // over the predictor's values
  double giniAfter = 0;   // over its bins
  double chiSquareP = 0;
  double chiSquare = 0;
  double cramersV = 0;
  double rSquared = 0;
  double fStatistic = 0;
  int validN = 0;
  double mean = 0;  // of the predictor, as the next two
  double quartileRange = 0;
  double standardDeviation = 0;
  double rSquaredRanks = 0;      // of the ranked response
  double totalSumOfSquares = 0;  // of the response, at the root of the tree
  int nodeCount = 0;
  vlm::TreeFit fit = {-1, 0, 0, vlm::kAnyShape, vlm::kMissingValue, vlm::kMissingValue, vlm::kMissingValue};
  std::size_t extraBins = 0;  // after those of values

  // 1 predictor, 2 response, 3 coded predictor, 4 ranked response
  vlm::Ref<vlm::IWorkSheet> workSheet;
  vlm::Ref<vlm::ISpreadsheet> summaryCrosstab;
  vlm::Ref<vlm::ISpreadsheet> crosstabStatistics;
  vlm::Ref<vlm::ISpreadsheet> furtherCrosstabs[3];
  vlm::Ref<vlm::IDeferredSpreadsheet> uniqueValues;
  vlm::Ref<vlm::ISpreadsheet> breakdown;
  vlm::Ref<vlm::ISpreadsheet> binStatistics;  // see CFeatureSelectionTemplate::BinStatistics

  int badColumn = 0;  // columns of the summary crosstab, 0 until found
  int goodColumn = 0;
  int badRateColumn = 0;
  std::string conditionText;
  // Of the file with these conditions, without folders; empty until it is written.
  std::string recodeFileName;
  std::string resultTexts[3];

  std::vector<int> binNodes;            // node number of each bin: its code in the coded predictor
  std::vector<std::string> lowerTexts;  // bounds of the intervals, one per bin
  std::vector<std::string> upperTexts;
  std::string badCodeText;
  std::string goodCodeText;
  std::string failureReason;  // of a failed predictor, one sentence
};

}  // namespace vlmfsl
