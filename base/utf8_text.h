// Texts of UTF-8 counted in characters, and converted to UTF-16.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vlm {

// Every byte that does not continue a character counts as a character.
[[nodiscard]] std::size_t CharacterCount(std::string_view text);

// The first characters of the text, none of them cut in two.
[[nodiscard]] std::string_view FirstCharacters(std::string_view text, std::size_t characterCount);

// Invalid bytes become U+FFFD, one each.
[[nodiscard]] std::u16string ToUtf16(std::string_view text);

}  // namespace vlm
