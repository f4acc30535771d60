// Checks that texts are UTF-8, and replaces bytes that are not.
//
//   if (!IsCleanText(name)) name = CleanText(name);
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// The position of the first sequence of bytes that is not UTF-8; npos when all of the text is.
std::size_t FirstByteBeyondUtf8(std::string_view text);

// True for UTF-8 without NUL, which no file format that the program writes can hold.
bool IsCleanText(std::string_view text);
// The text with U+FFFD in place of every NUL and every sequence of bytes that is not UTF-8.
std::string CleanText(std::string_view text);

// The text in quotation marks for a message; a long one ends in dots, no character cut in two.
std::string QuotedExcerpt(std::string_view text);

}  // namespace velmora
