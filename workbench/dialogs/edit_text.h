// What edits hold as numbers, and captions without their marks.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// A whole number, blanks around it and one sign allowed; nothing for half a number ("1e", "-", "").
std::optional<int> ParseWholeText(std::string_view text);
// Takes the point and the user's separator for the decimal mark; "inf" and "nan" are no numbers of an edit.
std::optional<double> ParseRealText(std::string_view text, std::string_view separator);
// Shortest text that reads back to the same double; six digits where the edit shows truncated numbers.
std::string RealText(double value, bool truncate, std::string_view separator);

// A caption as a person reads it: without the icon's mark at its start and the accelerator's.
std::string PlainCaption(std::string_view caption);
// The icon's mark: "249" of "!249Summary", "q" of "qReport of b&est"; empty when the caption has none.
std::string_view IconMark(std::string_view caption);
// A caption as a window of the system takes it: without the icon's mark, with the accelerator's.
std::string_view CaptionWithoutIcon(std::string_view caption);
// The letter behind the accelerator's mark, in lower case; 0 when there is none.
char Accelerator(std::string_view caption);

}  // namespace velmora
