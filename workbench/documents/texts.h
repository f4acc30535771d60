// UTF-8 and number texts of the writers. All functions take any bytes: a byte that is not part of
// well-formed UTF-8 counts as one character of one column, and Utf8Of replaces it.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// Returns the code point at text[position] and moves position after it. A malformed byte gives
// U+FFFD and moves by one.
char32_t NextCharacter(std::string_view text, std::size_t& position);
void AppendCharacter(std::string& text, char32_t character);

// text with malformed bytes replaced by U+FFFD.
std::string Utf8Of(std::string_view text);
// The first count code points of text.
std::string_view FirstCharacters(std::string_view text, int count);

// The number of columns on a terminal: 2 for wide East Asian characters and emoji, 0 for combining
// marks and controls (Unicode 15 East Asian Width and general categories, in coarse ranges).
int WidthOf(char32_t character);
int WidthOf(std::string_view text);
// text cut to width columns; a cut text ends with mark.
std::string CutToWidth(std::string_view text, int width, std::string_view mark);

// The shortest text that reads back to the same double; "NaN", "Inf" or "-Inf" for values that are
// not finite. Never follows the locale.
std::string ShortestNumber(double value);
// format as in Sheet::Format. An empty format shows six significant digits, whole numbers below
// 1e15 in full.
std::string ShownNumber(double value, std::string_view format);
// A probability with at least three significant digits: four decimals, five below 0.01, exponent
// form below 0.001, "<1e-16" below that.
std::string ShownProbability(double value);
// The same from the natural logarithm of a probability, however small: "3.60e-77", "1.24e-4711".
std::string ShownLogProbability(double logValue);

}  // namespace velmora
