// Texts that bins are labelled and described with.
#pragma once

#include <string>
#include <string_view>

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// A number text with the user's decimal separator in place of its point.
[[nodiscard]] std::string WithDecimalSeparator(std::string text, std::string_view decimalSeparator);

// Blanks in place of control characters: a line break would end the line of a script or a file.
[[nodiscard]] std::string OnOneLine(std::string text);

// The host returns an empty text where it has no memory for one: throws std::bad_alloc then.
[[nodiscard]] std::string Required(std::string text);
[[nodiscard]] std::string RequiredText(CFeatureSelectionTemplate& analysis, int textId);

// The description of a coded predictor: "binary response" and the like.
[[nodiscard]] std::string ResponseKindText(CFeatureSelectionTemplate& analysis, int responseKind);

}  // namespace vlmfsl
