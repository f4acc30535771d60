// What scripts give for code lists, as numbers. Wrong values are AutomationExceptions that
// name what is wrong.
#pragma once

#include <string>
#include <vector>

#include "contract/analysis.h"
#include "contract/automation.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Codes of each of the variables in turn: a text of lists separated by '|' ("1 2 | \"low\" \"high\" | *"), or an
// array of one item a variable. A list holds numbers, ranges of whole numbers ("1-4") and value labels (in
// double quotation marks where several stand in a text and they have blanks); "*" stands for all values of the
// selected cases, and alone for those of every variable.
[[nodiscard]] std::vector<std::vector<double>> ReadCodeLists(const vlm::AutomationValue& value,
                                                             CFeatureSelectionTemplate& screening,
                                                             vlm::IInputSpreadsheet& input,
                                                             const std::vector<int>& variables);

// For each of so many variables, whether such a value asks for all codes of it.
[[nodiscard]] std::vector<bool> ListsOfAllCodes(const vlm::AutomationValue& value, std::size_t variableCount);

// The codes in the notation that ReadCodeLists takes: as numbers, or as labels where a number could be a label.
[[nodiscard]] std::string PrintCodeLists(const std::vector<std::vector<double>>& lists,
                                         vlm::IInputSpreadsheet& input, const std::vector<int>& variables);

// All values of the selected cases, ascending.
[[nodiscard]] std::vector<double> DistinctValues(vlm::IInputSpreadsheet& input, int variableNumber);

}  // namespace vlmfsl
