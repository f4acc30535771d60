// What scripts give for variables, as lists of variable numbers. Wrong values are AutomationExceptions that
// name what is wrong.
#pragma once

#include <array>
#include <vector>

#include "frame/host/analysis.h"
#include "frame/host/automation.h"
#include "fsl/feature_selection_settings.h"

namespace vlmfsl {

// The lists in the order in which scripts give them.
inline constexpr VariableRole kVariableRoles[] = {
    VariableRole::kContinuousDependent, VariableRole::kCategoricalDependent,
    VariableRole::kContinuousPredictor, VariableRole::kCategoricalPredictor};
using VariableLists = std::array<std::vector<int>, 4>;

// A text of up to four lists in the host's notation separated by '|' ("1 | | 2-5 | 6"; a '|' in a quoted name
// separates nothing), or an array of up to four items, each a list text, a number or an array of numbers.
// Lists left out are empty; a variable named twice in one list counts once.
[[nodiscard]] VariableLists ReadVariableLists(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                              int variableCount);

// A number or a list text of one variable; 0 for the number 0, an empty text and "none".
[[nodiscard]] int ReadCountVariable(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                    int variableCount);

}  // namespace vlmfsl
