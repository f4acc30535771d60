// The record of a run as the host reads it.
#pragma once

#include "contract/results.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// Valid while the settings hold results. For indices outside the matrices, pairs are not computable
// and numbers 0.
class FeatureSelectionResultsView final : public vlm::IFeatureSelectionResults {
 public:
  explicit FeatureSelectionResultsView(FeatureSelectionSettings& settings) : settings_(settings) {}

  void GetRun(vlm::FeatureSelectionRun* run) override;
  int GetDependentNumber(int dependentIndex) override;
  int GetPredictorNumber(int predictorIndex) override;
  void GetStatisticName(int dependentIndex, vlm::ITextSink* name) override;
  void GetPair(int dependentIndex, int predictorIndex, vlm::FeatureSelectionPair* pair) override;
  void GetDependent(int dependentIndex, vlm::FeatureSelectionDependent* dependent) override;
  void SetStrictCriterion(int strict) override { settings_.strictCriterion = strict != 0; }
  int SelectBest(int dependentIndex, vlm::IIntegerSink* predictorIndices) override;

 private:
  bool IsDependent(int index) const { return index >= 0 && index < settings_.DependentCount(); }
  bool IsPredictor(int index) const { return index >= 0 && index < settings_.PredictorCount(); }

  FeatureSelectionSettings& settings_;
};

}  // namespace vlmfsl
