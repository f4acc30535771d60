// The host's read-only view of a screening run.
#pragma once

#include "contract/screening_results.h"

namespace vlmfsl {

class CFeatureSelectionTemplate;
struct PredSummary;

class ScreeningResultsView final : public vlm::IScreeningResults {
 public:
  explicit ScreeningResultsView(CFeatureSelectionTemplate& analysis) noexcept : analysis_(analysis) {}
  virtual ~ScreeningResultsView() = default;

  void GetRun(int response, vlm::ScreeningRun* run) override;
  void GetResponseName(int response, vlm::ITextSink* name) override;
  void GetClassText(int response, int classIndex, vlm::ITextSink* text) override;
  void GetOrder(int response, vlm::IIntegerSink* predictorIndices) override;
  void SetOrder(int response, const int* predictorIndices, int count, int bestCount) override;
  void GetPredictor(int response, int predictorIndex, vlm::ScreeningPredictor* predictor) override;
  void GetPredictorName(int response, int predictorIndex, vlm::ITextSink* name) override;
  void GetCutPoints(int response, int predictorIndex, double* cutPoints) override;
  void GetBinLabel(int response, int predictorIndex, int binIndex, vlm::ITextSink* label) override;
  void GetBin(int response, int predictorIndex, int binIndex, vlm::ScreeningBin* bin) override;
  void GetClassCounts(int response, int predictorIndex, int binIndex, double* counts) override;
  int GetLevelCount(int response, int predictorIndex) override;
  void GetLevels(int response, int predictorIndex, double* values, int* binIndices) override;
  void GetRecodeFileName(int response, int predictorIndex, vlm::ITextSink* name) override;
  int GetFailedNumber(int response, int failedIndex) override;
  void GetFailedName(int response, int failedIndex, vlm::ITextSink* name) override;
  void GetFailedReason(int response, int failedIndex, vlm::ITextSink* reason) override;

 private:
  // Null for an index that does not exist.
  const PredSummary* Find(int response, int predictorIndex) const;
  const PredSummary* FindFailed(int response, int failedIndex) const;

  CFeatureSelectionTemplate& analysis_;
};

}  // namespace vlmfsl
