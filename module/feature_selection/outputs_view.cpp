#include "module/feature_selection/outputs_view.h"

#include "module/feature_selection/outputs_names.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/guarded.h"
#include "module/frame/string_sink.h"

namespace vlmfsl {

void FeatureSelectionResultsView::GetRun(vlm::FeatureSelectionRun* run) {
  const RunFacts& facts = settings_.facts;
  *run = {
      .caseCount = facts.casesRead,
      .excludedCases = facts.casesExcluded,
      .zeroWeightCases = facts.casesZeroWeight,
      .badCountCases = facts.casesInvalidCount,
      .acceptedCases = facts.casesAccepted,
      .validCases = facts.casesValid,
      .weighted = facts.weighted ? 1 : 0,
      .totalWeight = settings_.totalWeight,
      .continuousDependents = settings_.nContinuousDependents,
      .categoricalDependents = settings_.nCategoricalDependents,
      .continuousPredictors = settings_.nContinuousPredictors,
      .categoricalPredictors = settings_.nCategoricalPredictors,
      .treatContinuousDependentAsCategorical = settings_.treatContinuousDependentAsCategorical,
      .useCramersV = settings_.useCramersV ? 1 : 0,
      .casewiseDeletion = settings_.casewiseDeletion,
      .useWeightsAsGiven = settings_.useWeightsAsGiven,
      .cutsContinuousPredictor = settings_.cutsContinuousPredictor,
      .cutsContinuousDependent = settings_.cutsContinuousDependent,
      .countVariableNumber = settings_.useCountVariable != 0 ? settings_.countVariable : 0,
  };
}

int FeatureSelectionResultsView::GetDependentNumber(int dependentIndex) {
  return IsDependent(dependentIndex) ? settings_.DependentVariable(dependentIndex) : 0;
}

int FeatureSelectionResultsView::GetPredictorNumber(int predictorIndex) {
  return IsPredictor(predictorIndex) ? settings_.PredictorVariable(predictorIndex) : 0;
}

void FeatureSelectionResultsView::GetStatisticName(int dependentIndex, vlm::ITextSink* name) {
  GuardedCommand("FeatureSelectionResultsView::GetStatisticName", [&] {
    const std::string text =
        IsDependent(dependentIndex) ? StatisticName(settings_, dependentIndex) : std::string();
    name->Assign(text.data(), LengthOf(text));
  });
}

void FeatureSelectionResultsView::GetPair(int dependentIndex, int predictorIndex,
                                          vlm::FeatureSelectionPair* pair) {
  *pair = {0.0, 1.0, 1};
  if (!settings_.HasResults() || !IsDependent(dependentIndex) || !IsPredictor(predictorIndex)) return;
  const std::size_t cell = settings_.MatrixIndex(dependentIndex, predictorIndex);
  *pair = {settings_.statistic[cell], settings_.pValue[cell], settings_.notComputable[cell]};
}

int FeatureSelectionResultsView::SelectBest(int dependentIndex, vlm::IIntegerSink* predictorIndices) {
  predictorIndices->Clear();
  if (!settings_.HasResults() || !IsDependent(dependentIndex)) return kFailed;
  BestPredictors best(*settings_.owner);
  if (best.Select(settings_, dependentIndex) != kOk) return kFailed;
  for (const int position : best.Best()) predictorIndices->Append(position - 1);
  return kOk;
}

}  // namespace vlmfsl
