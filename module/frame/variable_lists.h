// Lists of variables as scripts give them, turned into lists of variable numbers. Wrong values are
// AutomationExceptions that name the fault.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "contract/analysis.h"
#include "contract/automation.h"

namespace vlmfsl {

// A text of up to listCount lists in the host's notation separated by '|' ("1 | | 2-5 | 6"; a '|'
// in a quoted name separates nothing), or an array of up to listCount items, each a list text, a
// number or an array of numbers. Returns listCount lists: those left out are empty; a variable
// named twice in one list counts once.
[[nodiscard]] std::vector<std::vector<int>> ReadVariableLists(const vlm::AutomationValue& value,
                                                              vlm::IAnalysisHost& host,
                                                              std::size_t listCount);

// One list: a text in the host's notation, a number, or an array of these. Each variable once.
[[nodiscard]] std::vector<int> ReadVariableList(const vlm::AutomationValue& value, vlm::IAnalysisHost& host);

}  // namespace vlmfsl
