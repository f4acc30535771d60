// Texts between UTF-8 and the UTF-16 of Windows.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

[[nodiscard]] std::wstring Utf16Of(std::string_view text);
[[nodiscard]] std::string Utf8Of(std::wstring_view text);
// The system's text for one of its error numbers, without a full stop.
[[nodiscard]] std::string SystemMessage(unsigned long error);

}  // namespace velmora
