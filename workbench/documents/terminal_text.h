// Texts of the data and of the user on their way to a terminal, where a control character would
// act: an escape sequence changes colours or the window's title, a bidirectional override reorders
// what follows.
//
//   PrintableText("a\x1b[31mb")   is "a␛[31mb"
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

// text with a visible mark for each control: the control pictures of Unicode for C0 and DEL,
// <U+202E> for C1, bidirectional and line-separating characters. Malformed UTF-8 becomes U+FFFD.
// keepLines: line feeds and tabs stay.
std::string PrintableText(std::string_view text, bool keepLines = false);

// text for the middle of a sentence: beyond limit characters only its beginning and its end.
std::string ShortenedText(std::string_view text, std::size_t limit = 80);

}  // namespace velmora
