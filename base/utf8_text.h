// Lengths of texts as a reader counts them: in characters, not in bytes of UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vlm {

// Every byte that does not continue a character counts as one.
[[nodiscard]] std::size_t CharacterCount(std::string_view text);

// The first characters of the text, none of them cut in two.
[[nodiscard]] std::string_view FirstCharacters(std::string_view text, std::size_t characterCount);

// Bytes that are no UTF-8 become U+FFFD, one each.
[[nodiscard]] std::u16string Utf16OfUtf8(std::string_view text);

}  // namespace vlm
