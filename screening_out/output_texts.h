// Names and labels as every text output of a screening shows them: scripts, recode files, rules, coded variables and
// tables agree because they ask here.
#pragma once

#include <string>
#include <string_view>

#include "screening/feature_selection_template.h"

namespace vlmfsl {

// A number text with the user's decimal separator in place of its point.
[[nodiscard]] std::string WithDecimalSeparator(std::string text, std::string_view decimalSeparator);

// A bin's label without the host's formatting marks, on one line. bin: from 0.
[[nodiscard]] std::string BinLabel(const CFeatureSelectionTemplate& analysis, const PredSummary& record,
                                   std::size_t bin);

// A text as it stands inside the quotation marks of an event script: quotation marks are doubled.
[[nodiscard]] std::string ScriptText(std::string_view text);

}  // namespace vlmfsl
