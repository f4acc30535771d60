// The screening analysis as the factory makes it: the engine's class with its steps, and the
// dialogs that they open.
//
//   return new (std::nothrow) FeatureSelectionTemplateRoot(nullptr);
#pragma once

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

class FeatureSelectionTemplateRoot final : public CFeatureSelectionTemplate {
 public:
  // document may be null. Cannot fail.
  explicit FeatureSelectionTemplateRoot(CAnalysisDoc* document) noexcept;

  int GetAnalysisID() override { return kAnalysisId; }
  void GetAnalysisName(vlm::ITextSink* name) override;
  int InitializeAfterFileChanged() override;
  int Init() override;
  int StartAnalysis() override;
  int ResultDialog() override;

 private:
  ~FeatureSelectionTemplateRoot() override = default;
};

}  // namespace vlmfsl
