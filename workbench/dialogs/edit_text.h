// Numbers in edits, and captions without their marks.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// A whole number, with blanks around it and one sign allowed; nothing for an incomplete number
// ("1e", "-", "").
std::optional<int> ParseWholeText(std::string_view text);
// Takes the point and the user's separator for the decimal mark; "inf" and "nan" are not numbers.
std::optional<double> ParseRealText(std::string_view text, std::string_view separator);
// Shortest text that reads back to the same double; six digits where the edit shows truncated
// numbers.
std::string RealText(double value, bool truncate, std::string_view separator);

// A caption as the user reads it: without icon mark and accelerator mark.
std::string PlainCaption(std::string_view caption);
// The icon's mark: "249" of "!249Summary", "q" of "qReport of b&est"; empty when the caption has
// none.
std::string_view IconMark(std::string_view caption);
// A caption for a native window: without the icon mark, with the accelerator mark.
std::string_view CaptionWithoutIcon(std::string_view caption);

}  // namespace velmora
