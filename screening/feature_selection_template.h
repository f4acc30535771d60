// The predictor screening analysis: frame-level life here; the state, the run and the statistics join it.
#pragma once

#include "frame/analysis_support.h"

namespace vlmfsl {

class CFeatureSelectionTemplate : public CAnalysisSupport {
 public:
  static constexpr int kAnalysisId = 4871;

  // document may be null. Cannot fail.
  explicit CFeatureSelectionTemplate(CAnalysisDoc* document) noexcept;

  int GetAnalysisID() override { return kAnalysisId; }
  void GetAnalysisName(vlm::ITextSink* name) override;
  int InitializeAfterFileChanged() override;

  // Steps 100 to 102. Init always returns 1; the others open the dialogs and return -1, or 0 when that failed.
  int Init();
  int StartAnalysis();
  int ResultDialog();
};

}  // namespace vlmfsl
