// Results of a screening run as the host reads them, besides the documents: a read-only view of the
// analysis's record, valid until the analysis runs again, is initialised again or is destroyed.
#pragma once

#include "contract/types.h"

namespace vlm {

enum ResponseKind : int { kContinuousResponse = 0, kBinaryResponse = 1, kCategoricalResponse = 2 };
inline constexpr int kResponseKindCount = 3;

// What a run does beyond the settings of the dialogs. All 0: exactly as the dialogs make it.
struct ScreeningSettings {
  int missingBin;  // MissingBin of procedures.h
  // flag: a predictor without a split is a result of one bin; otherwise it fails
  int acceptOneBin;
  // flag: half a case is added to both counts of a bin without bad or good cases, for its weight of
  // evidence
  int correctPureBins;
  // flag: excluded cases take no part in the search for bins either
  int searchSelectedCases;
};

struct ScreeningRun {
  int selected;        // flag: the response kind was selected; everything else is 0 when not
  int responseNumber;  // variable number
  int predictorCount;  // analysed
  int failedCount;
  // binary 0 Gini, 1 information value; categorical 0 p, 1 chi-square; continuous 0 R-squared, 1 F
  int sortChoice;
  int classCount;  // response codes: binary 2 (bad, good), categorical those chosen, continuous 0
  // of a binary response
  double badCode, goodCode;
};

// Statistics of one predictor. A figure that a response kind does not have is kMissingValue; so is
// one that is not computable.
struct ScreeningPredictor {
  int predictorNumber;  // variable number
  int categorical;      // flag: kind of the predictor
  int nodeCount;        // nodes of the tree
  int cutPointCount;    // 0 for a categorical predictor
  int binCount;
  int missingBin;  // the bin of cases without the predictor, from 0; -1: they are in none
  int validN;      // cases with predictor and response
  double minimum, maximum, mean, standardDeviation, quartileRange;
  double badShare, goodShare;
  double informationValue, giniBefore, giniAfter;
  double chiSquare, chiSquareP, cramersV;
  double rSquared, fStatistic, rSquaredRanks, totalSumOfSquares;
  // As in TreeFit.
  int noBetterThanChance, mergedGreedily, shape;
  double heldOutInformationValue, heldOutGini, heldOutExplained;
};

// One bin: a level or an interval of the coded predictor, or the last one, all cases.
struct ScreeningBin {
  double total;  // weighted count, or N of a continuous response
  // Binary response.
  double bad, good, percentValidN, badRateRow, badRateColumn, goodRateColumn, woe, gini, odds,
      informationValue;
  // Continuous response.
  double mean, variance, sumOfSquares, sumOfSquaresRanks;
};

struct IScreeningResults {
  virtual void GetRun(int response, ScreeningRun* run) = 0;
  virtual void GetResponseName(int response, ITextSink* name) = 0;
  // Text of a response code as outputs show it; classIndex 0 is the bad code of a binary response.
  virtual void GetClassText(int response, int classIndex, ITextSink* text) = 0;

  // Predictor indices, best first.
  virtual void GetOrder(int response, IIntegerSink* predictorIndices) = 0;
  // Another order, of every predictor once, until the analysis sorts again; any other list is
  // ignored. Outputs of the best predictors take no more than the first bestCount.
  virtual void SetOrder(int response, const int* predictorIndices, int count, int bestCount) = 0;
  virtual void GetPredictor(int response, int predictorIndex, ScreeningPredictor* predictor) = 0;
  virtual void GetPredictorName(int response, int predictorIndex, ITextSink* name) = 0;
  // cutPointCount doubles, ascending.
  virtual void GetCutPoints(int response, int predictorIndex, double* cutPoints) = 0;
  virtual void GetBinLabel(int response, int predictorIndex, int binIndex, ITextSink* label) = 0;
  // binIndex == binCount: all cases. The bin of a special code that no case has is an average case:
  // weight of evidence 0, the mean of all cases.
  virtual void GetBin(int response, int predictorIndex, int binIndex, ScreeningBin* bin) = 0;
  // classCount weighted counts of the bin; binary: bad, good.
  virtual void GetClassCounts(int response, int predictorIndex, int binIndex, double* counts) = 0;
  // Levels of a categorical predictor, by rising value: how many there are; the value and the bin
  // of each.
  virtual int GetLevelCount(int response, int predictorIndex) = 0;
  virtual void GetLevels(int response, int predictorIndex, double* values, int* binIndices) = 0;

  // Name, without folders, of the file that the recode of the predictor was last saved to; empty
  // when there is none.
  virtual void GetRecodeFileName(int response, int predictorIndex, ITextSink* name) = 0;

  virtual int GetFailedNumber(int response, int failedIndex) = 0;  // variable number
  virtual void GetFailedName(int response, int failedIndex, ITextSink* name) = 0;
  virtual void GetFailedReason(int response, int failedIndex, ITextSink* reason) = 0;

 protected:
  ~IScreeningResults() = default;
};

}  // namespace vlm
