// The base of the two dialogs of feature selection: their analysis and its record.
#pragma once

#include "module/feature_selection/feature_selection_settings.h"
#include "module/frame/analysis_dialog.h"
#include "module/frame/feature_selection.h"
#include "module/frame/guarded.h"
#include "module/frame/module_context.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

class CFeatureSelectionModelessDialog : public CAnalysisModelessDialog {
 public:
  CFeatureSelection& FeatureSelection() const { return analysis_; }

  // The analysis's current record; null when there is none or its lists could not be allocated.
  FeatureSelectionSettings* Settings() const {
    FeatureSelectionSettings* settings = analysis_.Settings();
    return settings && settings->variableList ? settings : nullptr;
  }
  // The same for an accessor, which fails without a record.
  FeatureSelectionSettings& RequireSettings() const {
    FeatureSelectionSettings* settings = Settings();
    if (!settings) throw AutomationException(LoadResString(kTextNotEnoughMemory));
    return *settings;
  }

 protected:
  CFeatureSelectionModelessDialog(CFeatureSelection& analysis, int templateId, const char* className,
                                  int windowTextId)
      : CAnalysisModelessDialog(analysis, templateId, className, windowTextId), analysis_(analysis) {}

 private:
  CFeatureSelection& analysis_;
};

}  // namespace vlmfsl
