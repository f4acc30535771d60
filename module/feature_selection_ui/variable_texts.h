// Variables of a feature selection as scripts give them.
#pragma once

#include "contract/analysis.h"
#include "contract/automation.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// The four lists in the order in which scripts give them.
inline constexpr VariableRole kVariableRoles[] = {
    VariableRole::kContinuousDependent, VariableRole::kCategoricalDependent,
    VariableRole::kContinuousPredictor, VariableRole::kCategoricalPredictor};

// A number or a list text of one variable; 0 for the number 0, an empty text and "none". A wrong
// value throws AutomationException naming the fault.
[[nodiscard]] int ReadCountVariable(const vlm::AutomationValue& value, vlm::IAnalysisHost& host);

}  // namespace vlmfsl
