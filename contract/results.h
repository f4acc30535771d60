// Results of a run as the host reads them, besides the documents: a read-only view of the
// analysis's record, valid until the analysis runs again, is initialised again or is destroyed.
#pragma once

#include "contract/types.h"

namespace vlm {

struct FeatureSelectionRun {
  int caseCount;        // cases of the data file
  int excludedCases;    // skipped by the host's reader: by its selection, or for a missing weight
  int zeroWeightCases;  // left out for a weight of zero (after rounding, where asked for)
  int badCountCases;    // left out for a missing count or one below 1
  int acceptedCases;    // the rest
  int validCases;       // accepted and not dropped by casewise deletion
  int weighted;         // flag
  double totalWeight;   // 1.0 when not weighted
  int continuousDependents, categoricalDependents, continuousPredictors, categoricalPredictors;
  int treatContinuousDependentAsCategorical, useCramersV, casewiseDeletion, useWeightsAsGiven;
  int cutsContinuousPredictor, cutsContinuousDependent;
  int countVariableNumber;  // 0 when none
};

struct FeatureSelectionPair {
  double statistic;
  double pValue;
  int notComputable;
  int usedCases;     // that entered the statistic, without weights and counts
  int missingCases;  // the other accepted cases: a value is missing, or the case was dropped
  double count;      // F: cases by the count variable; Chi-square: sum of weight x count
  double df1;        // F: between groups; Chi-square and Cramer's V: (rows - 1) (columns - 1)
  double df2;        // F: within groups; else 0
};

// The accepted cases by whether a dependent has a value, without weights and counts, whatever the
// predictors hold.
struct FeatureSelectionDependent {
  int validCases;
  int missingCases;
};

struct IFeatureSelectionResults {
  virtual void GetRun(FeatureSelectionRun* run) = 0;
  // Dependents and predictors: the continuous ones first.
  virtual int GetDependentNumber(int dependentIndex) = 0;
  virtual int GetPredictorNumber(int predictorIndex) = 0;
  virtual void GetStatisticName(int dependentIndex,
                                ITextSink* name) = 0;  // "F-value", "Chi-square", "Cramer's V"
  virtual void GetPair(int dependentIndex, int predictorIndex, FeatureSelectionPair* pair) = 0;
  virtual void GetDependent(int dependentIndex, FeatureSelectionDependent* dependent) = 0;
  // What a dependent lists when the display settings choose by the p criterion and no predictor
  // meets it: every predictor with a score, and a notice (0, the default), or nothing (1).
  virtual void SetStrictCriterion(int strict) = 0;
  // Ranks the dependent's predictors by the record's display settings, shows the notices of the
  // ranking, and appends the predictor indices, best first. Returns 0 on success.
  virtual int SelectBest(int dependentIndex, IIntegerSink* predictorIndices) = 0;

 protected:
  ~IFeatureSelectionResults() = default;
};

}  // namespace vlm
