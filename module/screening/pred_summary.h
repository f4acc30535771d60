// The record of one (response, predictor) pair of a screening run: its identity, the bins of the
// predictor, statistics by kind of response, and texts of the outputs. Copied by value; copies
// share the sheets.
#pragma once

#include <algorithm>
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

// Columns of ContinuousStatistics::binStatistics.
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

// The bins of a predictor: first those of its values, then one per special code, and last the bin
// of the missing cases, if they have their own.
struct PredictorBins {
  [[nodiscard]] std::size_t Count() const { return names.size(); }
  [[nodiscard]] std::size_t ValueCount() const { return Count() - extraCount; }
  [[nodiscard]] bool IsExtra(std::size_t binIndex) const { return binIndex >= ValueCount(); }
  [[nodiscard]] bool HasLevels(int binIndex) const {
    return std::any_of(levelOf.begin(), levelOf.end(),
                       [binIndex](const auto& level) { return level.second == binIndex; });
  }
  [[nodiscard]] bool MissingHasOwn() const {
    return fit.missingBin >= 0 && IsExtra(static_cast<std::size_t>(fit.missingBin)) &&
           !HasLevels(fit.missingBin);
  }
  // Row of a bin in a sheet whose first column holds node numbers; 0 when the bin has no cases
  // there.
  [[nodiscard]] int RowOf(vlm::ISpreadsheet& sheet, int binIndex) const;

  // categorical predictor: value -> bin index; continuous predictor: the same of special codes
  std::map<double, int> levelOf;
  // continuous predictor, ascending; n cut points make n + 1 bins of values
  std::vector<double> cutPoints;
  std::vector<std::string> names;
  std::vector<std::string> lowerTexts;  // bounds of the intervals, one per bin
  std::vector<std::string> upperTexts;
  std::vector<int> nodes;  // node number of each bin: its code in the coded predictor
  std::size_t extraCount = 0;
  int nodeCount = 0;
  vlm::TreeFit fit = {-1, 0, 0, vlm::kAnyShape, vlm::kMissingValue, vlm::kMissingValue, vlm::kMissingValue};
};

// Descriptive statistics of the predictor's own values.
struct PredictorValues {
  [[nodiscard]] bool HasAny() const { return minimum <= maximum; }
  // Ends of the range; kMissingValue when there are no values.
  [[nodiscard]] double Lowest() const { return HasAny() ? minimum : vlm::kMissingValue; }
  [[nodiscard]] double Highest() const { return HasAny() ? maximum : vlm::kMissingValue; }

  double minimum = kNoMinimum;
  double maximum = kNoMaximum;
  int validN = 0;
  double mean = 0;
  double quartileRange = 0;
  double standardDeviation = 0;
};

struct BinaryStatistics {
  double badShare = 0;  // of all bad and good cases
  double goodShare = 0;
  double informationValue = 0;
  double giniBefore = 0;  // over the predictor's values
  double giniAfter = 0;   // over its bins
  int badColumn = 0;      // columns of the summary crosstab, 0 until found
  int goodColumn = 0;
  int badRateColumn = 0;
  vlm::Ref<vlm::IDeferredSpreadsheet> uniqueValues;
};

// Of the bins by the classes of a binary or categorical response.
struct CrosstabStatistics {
  double chiSquareP = 0;
  double chiSquare = 0;
  double cramersV = 0;
  vlm::Ref<vlm::ISpreadsheet> summary;
  vlm::Ref<vlm::ISpreadsheet> statistics;
  vlm::Ref<vlm::ISpreadsheet> further[3];
};

struct ContinuousStatistics {
  double rSquared = 0;
  double fStatistic = 0;
  double rSquaredRanks = 0;      // of the ranked response
  double totalSumOfSquares = 0;  // of the response, at the root of the tree
  vlm::Ref<vlm::ISpreadsheet> breakdown;
  vlm::Ref<vlm::ISpreadsheet> binStatistics;  // see BinStatisticsColumn
};

struct PredSummary {
  PredSummary(int kind, int variable, std::string name, int response, int responseNumber,
              std::string responseVariableName);

  // Drops the cells of the sheets that can be made again.
  void EvictSheets();

  int predictorKind;
  int predictorVariable;  // variable number
  std::string predictorName;
  int responseKind;
  int responseVariable;  // variable number
  std::string responseName;
  std::string badCodeText;  // of a binary response, as outputs show it
  std::string goodCodeText;

  PredictorBins bins;
  PredictorValues values;
  // By kind of response; the others keep their zeros.
  BinaryStatistics binary;
  CrosstabStatistics crosstab;
  ContinuousStatistics continuous;

  // 1 predictor, 2 response, 3 coded predictor, 4 ranked response
  vlm::Ref<vlm::IWorkSheet> workSheet;
  std::string conditionText;
  // The name, without folders, of the file with these conditions; empty until it is written.
  std::string recodeFileName;
  std::string resultTexts[3];
  std::string failureReason;  // of a failed predictor, one sentence
};

// The statistics that rank predictors.
using RankingStatistic = double (*)(const PredSummary& record);
inline double GiniAfter(const PredSummary& record) { return record.binary.giniAfter; }
inline double InformationValue(const PredSummary& record) { return record.binary.informationValue; }
inline double ChiSquare(const PredSummary& record) { return record.crosstab.chiSquare; }
inline double ChiSquareP(const PredSummary& record) { return record.crosstab.chiSquareP; }
inline double CramersV(const PredSummary& record) { return record.crosstab.cramersV; }
inline double RSquared(const PredSummary& record) { return record.continuous.rSquared; }
inline double FStatistic(const PredSummary& record) { return record.continuous.fStatistic; }

}  // namespace vlmfsl
