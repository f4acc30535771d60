// The record of a run as the host reads it.
#pragma once

#include "contract/results.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// Valid while the settings hold results. Indices outside the matrices are answered with a pair that is not
// computable and the number 0.
class FeatureSelectionResultsView final : public vlm::IFeatureSelectionResults {
 public:
  explicit FeatureSelectionResultsView(const FeatureSelectionSettings& settings) : settings_(settings) {}

  void GetRun(vlm::FeatureSelectionRun* run) override;
  int GetDependentNumber(int dependentIndex) override;
  int GetPredictorNumber(int predictorIndex) override;
  void GetStatisticName(int dependentIndex, vlm::ITextSink* name) override;
  void GetPair(int dependentIndex, int predictorIndex, vlm::FeatureSelectionPair* pair) override;
  void GetDependent(int dependentIndex, vlm::FeatureSelectionDependent* dependent) override;
  int SelectBest(int dependentIndex, vlm::IIntegerSink* predictorIndices) override;

 private:
  bool IsDependent(int index) const { return index >= 0 && index < settings_.DependentCount(); }
  bool IsPredictor(int index) const { return index >= 0 && index < settings_.PredictorCount(); }

  const FeatureSelectionSettings& settings_;
};

}  // namespace vlmfsl
