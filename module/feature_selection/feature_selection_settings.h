// The one record of a feature selection run: variable lists and options as the startup dialog chose
// them, the moments of the first data pass, and the matrices of the second, which ranking and
// outputs read.
//
// Life: Create, then any number of runs (PrepareRun, ComputeMoments, ComputeStatistics;
// ReleaseResults when one of them fails), then ReleaseAll. Every array is the host's memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "module/feature_selection/dependent_scale.h"
#include "module/frame/host_array.h"

namespace vlmfsl {

// Moments of one continuous variable over the accepted cases.
struct ContinuousVarMoments {
  double minimum;   // 1e307 before the first value
  double maximum;   // -1e307 before the first value
  double width;     // of the inner intervals
  double mean;      // weighted
  double variance;  // the sum of squared deviations while the first pass runs
};

enum class DisplayMode : std::int16_t {
  kFixedNumber = 0,          // fixedNumberOfBest, largest statistic first
  kFixedPValue = 1,          // all with a p-value not above pCriterion
  kFixedNumberByPValue = 2,  // fixedNumberOfBestByP, smallest p-value first
};

// Facts about the data of a run, formed by the second pass.
struct RunFacts {
  int casesRead = 0;          // all that the host's reader gave, selected or not
  int casesExcluded = 0;      // by the host's selection
  int casesZeroWeight = 0;    // weight zero, or rounded to it
  int casesInvalidCount = 0;  // count missing or below 1
  int casesAccepted = 0;      // passed the three rules above
  int casesValid = 0;         // accepted, and not abandoned by casewise deletion
  bool weighted = false;
  double acceptedMass = 0.0;  // sum of weight x count over the accepted cases
};

// The basis of a pair's statistic. Cases are counted without weights and counts.
struct PairBasis {
  int usedCases;
  double count;  // F: cases by the count variable; Chi-square: mass of the table
  double df1;
  double df2;  // 0 for a cross-tabulation
};

enum class VariableRole {
  kContinuousDependent,
  kCategoricalDependent,
  kContinuousPredictor,
  kCategoricalPredictor
};

struct FeatureSelectionSettings {
  vlm::IEngineServices* owner;
  // Continuous + categorical predictors + 1 records, or null.
  ContinuousVarMoments* predictorMoments;
  // Continuous dependents + 1 records when these are cut, else null.
  ContinuousVarMoments* dependentMoments;
  // Continuous dependents + 1 records when these are not cut, else null.
  DependentRange* dependentRanges;
  std::int16_t useWeightsAsGiven;    // 0: weights are rounded to whole numbers
  std::int16_t weightedMomentsMode;  // the host's; not read here
  int numberOfVariables;
  int numberOfCases;
  int nContinuousDependents;
  int nCategoricalDependents;
  int nContinuousPredictors;
  int nCategoricalPredictors;
  int nReadVariables;    // values read per case
  int useCountVariable;  // 0 or 1
  int countVariable;     // from 1
  int cutsContinuousPredictor;
  int cutsContinuousDependent;
  int* variableList;  // continuous dependents; after PrepareRun the whole read list
  int* categoricalDependentList;
  int* continuousPredictorList;
  int* categoricalPredictorList;
  double* statistic;    // DependentCount() rows of PredictorCount() elements, or null
  double* pValue;       // the same shape
  int* notComputable;   // the same shape
  PairBasis* basis;     // the same shape
  int* dependentCases;  // by dependent: accepted cases in which it has a value
  DisplayMode displayMode;
  int fixedNumberOfBest;
  int fixedNumberOfBestByP;
  std::int16_t casewiseDeletion;
  std::int16_t treatContinuousDependentAsCategorical;
  double pCriterion;
  double totalWeight;  // 1.0 when the data are not weighted
  bool useCramersV;
  bool strictCriterion;  // list no predictor where none meets pCriterion, in place of all
  int listCapacity[4];   // of the four lists, in their order above
  RunFacts facts;

  // Sets every field to its default and takes the four lists, each for numberOfVariables + 10
  // numbers. Returns kOk, or kFailed with null lists. services: must outlive the record.
  [[nodiscard]] int Create(vlm::IEngineServices* services);

  // Frees everything; the record can be created again.
  void ReleaseAll();

  // Takes the moments and joins the lists into the read list: continuous dependents, categorical
  // dependents, continuous predictors, categorical predictors, the count variable. Returns kOk, or
  // kFailed after ReleaseResults.
  [[nodiscard]] int PrepareRun();

  // Frees matrices and moments. Returns kOk.
  int ReleaseResults();

  // Replaces one of the four lists; numbers count from 1. A list longer than the data has variables
  // is taken too. Returns kOk, or kFailed (the host has no memory) with the list as it was.
  [[nodiscard]] int SetVariables(VariableRole role, std::span<const int> numbers);
  // The continuous dependents stay at the front of variableList after PrepareRun, so this holds at
  // any time.
  std::span<const int> Variables(VariableRole role) const;

  int DependentCount() const { return nContinuousDependents + nCategoricalDependents; }
  int PredictorCount() const { return nContinuousPredictors + nCategoricalPredictors; }
  // Dependents and predictors count from 0, continuous ones first.
  int DependentVariable(int dependentIndex) const;
  int PredictorVariable(int predictorIndex) const;
  bool IsCrossTabulated(int dependentIndex) const {
    return dependentIndex >= nContinuousDependents || treatContinuousDependentAsCategorical != 0;
  }
  bool HasResults() const {
    return statistic != nullptr && pValue != nullptr && notComputable != nullptr && basis != nullptr &&
           dependentCases != nullptr;
  }
  std::size_t MatrixIndex(int dependentIndex, int predictorIndex) const {
    return static_cast<std::size_t>(dependentIndex) * static_cast<std::size_t>(PredictorCount()) +
           static_cast<std::size_t>(predictorIndex);
  }
};

// PrepareRun and the two passes. After a failure everything is released. Returns kOk or kFailed.
[[nodiscard]] int RunFeatureSelection(FeatureSelectionSettings& settings);

}  // namespace vlmfsl
