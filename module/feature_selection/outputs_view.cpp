#include "module/feature_selection/outputs_view.h"

#include "contract/text.h"
#include "module/feature_selection/outputs_names.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/guarded.h"

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
    name->Assign(text.data(), vlm::LengthOf(text));
  });
}

void FeatureSelectionResultsView::GetPair(int dependentIndex, int predictorIndex,
                                          vlm::FeatureSelectionPair* pair) {
  *pair = {};
  pair->pValue = 1.0;
  pair->notComputable = 1;
  if (!settings_.HasResults() || !IsDependent(dependentIndex) || !IsPredictor(predictorIndex)) return;
  const std::size_t cell = settings_.MatrixIndex(dependentIndex, predictorIndex);
  const PairBasis& basis = settings_.basis[cell];
  *pair = {.statistic = settings_.statistic[cell],
           .pValue = settings_.pValue[cell],
           .notComputable = settings_.notComputable[cell],
           .usedCases = basis.usedCases,
           .missingCases = settings_.facts.casesAccepted - basis.usedCases,
           .count = basis.count,
           .df1 = basis.df1,
           .df2 = basis.df2};
}

void FeatureSelectionResultsView::GetDependent(int dependentIndex,
                                               vlm::FeatureSelectionDependent* dependent) {
  *dependent = {};
  if (!settings_.HasResults() || !IsDependent(dependentIndex)) return;
  const int used = settings_.dependentCases[dependentIndex];
  *dependent = {used, settings_.facts.casesAccepted - used};
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
