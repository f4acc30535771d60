// The feature selection analysis at frame level: identity, steps, and the records of its life.
#pragma once

#include "module/frame/analysis_support.h"

namespace vlmfsl {

struct FeatureSelectionSettings;

class CFeatureSelection final : public CAnalysisSupport {
 public:
  static constexpr int kAnalysisId = 4870;

  // Both may be null. Cannot fail.
  CFeatureSelection(CAnalysisDoc* document, CAnalysisContext* context) noexcept;

  int GetAnalysisID() override { return kAnalysisId; }
  void GetAnalysisName(vlm::ITextSink* name) override;
  int InitializeAfterFileChanged() override;
  vlm::IFeatureSelectionResults* GetFeatureSelectionResults() override;

  // Steps 100 to 102. Init makes a fresh record with default settings; a record of an earlier Init
  // stays until the analysis is destroyed. Always returns 1.
  int Init();
  // Open the dialogs. Return -1, or 0 when the host could not open one.
  int StartAnalysis();
  int ResultDialog();

  // The current record; null before Init, and when there was no memory for one.
  FeatureSelectionSettings* Settings() const;
  // Fills the current record with the defaults for the present data; its results go.
  void ResetSettings();
  // Makes the record's matrices the analysis's current results, or (false) says that there are none
  // any more.
  void SetResultsAvailable(bool available);

 private:
  struct Record;

  ~CFeatureSelection() override;

  Record* records_ = nullptr;  // the newest; each knows the one before it
  Record* current_ = nullptr;  // the newest, or null when the last Init had no memory for one
  bool resultsAvailable_ = false;
};

}  // namespace vlmfsl
