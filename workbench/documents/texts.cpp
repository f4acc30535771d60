// UTF-8 and number texts of the writers.
#include "workbench/documents/texts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

namespace velmora {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x16FE0, 0x18CFF}, {0x1AFF0, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF},
    {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C},
    {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA}, {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4},
    {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F567},
    {0x1F57A, 0x1F57A}, {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F}, {0x1F680, 0x1F6C5},
    {0x1F6CC, 0x1F6CC}, {0x1F6D0, 0x1F6DF}, {0x1F6EB, 0x1F6FC}, {0x1F7E0, 0x1F7F0}, {0x1F90C, 0x1F9FF},
    {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD}};

// Combining marks of scripts that occur in data names, joiners, variation selectors, controls.
constexpr Range kZeroWidth[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},
    {0x05BF, 0x05BF}, {0x05C1, 0x05C2}, {0x05C4, 0x05C5}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0670, 0x0670}, {0x06D6, 0x06DC}, {0x06DF, 0x06E4}, {0x06E7, 0x06E8}, {0x06EA, 0x06ED},
    {0x0900, 0x0902}, {0x093A, 0x093A}, {0x093C, 0x093C}, {0x0941, 0x0948}, {0x094D, 0x094D},
    {0x0951, 0x0957}, {0x0981, 0x0981}, {0x09BC, 0x09BC}, {0x09C1, 0x09C4}, {0x09CD, 0x09CD},
    {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1160, 0x11FF}, {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x202A, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20F0},
    {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};

template <std::size_t N>
bool Within(const Range (&ranges)[N], char32_t character) {
  const Range* found = std::lower_bound(std::begin(ranges), std::end(ranges), character,
                                        [](const Range& range, char32_t c) { return range.last < c; });
  return found != std::end(ranges) && found->first <= character;
}

std::string ToChars(double value, std::chars_format form, int precision) {
  std::array<char, 512> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, form, precision);
  return std::string(buffer.data(), result.ptr);
}

// The text of a value that is not finite, or null.
const char* NotFiniteText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
  return nullptr;
}

// "-0.0000" is shown as "0.0000".
std::string WithoutNegativeZero(std::string text) {
  if (text[0] == '-' && text.find_first_of("123456789") == std::string::npos) text.erase(0, 1);
  return text;
}

}  // namespace

char32_t NextCharacter(std::string_view text, std::size_t& position) {
  const auto lead = static_cast<unsigned char>(text[position++]);
  if (lead < 0x80) return lead;
  const int following = lead >= 0xF0 && lead <= 0xF4 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : 0;
  if (following == 0 || lead > 0xF4) return 0xFFFD;
  char32_t character = lead & (0x3Fu >> following);
  std::size_t next = position;
  for (int i = 0; i < following; ++i, ++next) {
    if (next >= text.size() || (static_cast<unsigned char>(text[next]) & 0xC0) != 0x80) return 0xFFFD;
    character = (character << 6) | (static_cast<unsigned char>(text[next]) & 0x3F);
  }
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  if (character < kLeast[following] || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) {
    return 0xFFFD;
  }
  position = next;
  return character;
}

void AppendCharacter(std::string& text, char32_t c) {
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | (c >> 6));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | (c >> 12));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    text += static_cast<char>(0xF0 | (c >> 18));
    text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string Utf8Of(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position = 0; position < text.size();)
    AppendCharacter(result, NextCharacter(text, position));
  return result;
}

std::string_view FirstCharacters(std::string_view text, int count) {
  std::size_t position = 0;
  for (int i = 0; i < count && position < text.size(); ++i) NextCharacter(text, position);
  return text.substr(0, position);
}

int WidthOf(char32_t character) {
  if (character >= 0x20 && character < 0x7F) return 1;
  if (Within(kZeroWidth, character)) return 0;
  return Within(kWide, character) ? 2 : 1;
}

int WidthOf(std::string_view text) {
  int width = 0;
  for (std::size_t position = 0; position < text.size();) width += WidthOf(NextCharacter(text, position));
  return width;
}

std::string CutToWidth(std::string_view text, int width, std::string_view mark) {
  if (WidthOf(text) <= width) return std::string(text);
  const int room = width - WidthOf(mark);
  if (room <= 0) return std::string(FirstCharacters(mark, width));
  int used = 0;
  std::size_t position = 0;
  while (position < text.size()) {
    std::size_t next = position;
    used += WidthOf(NextCharacter(text, next));
    if (used > room) break;
    position = next;
  }
  return std::string(text.substr(0, position)) + std::string(mark);
}

std::string ShortestNumber(double value) {
  if (const char* text = NotFiniteText(value)) return text;
  std::array<char, 64> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

std::string ShownNumber(double value, std::string_view format) {
  if (const char* text = NotFiniteText(value)) return text;
  if (!format.empty() && format.find_first_not_of("0.") == std::string_view::npos &&
      std::fabs(value) < 1e15) {
    const std::size_t point = format.find('.');
    const int decimals = point == std::string_view::npos ? 0 : static_cast<int>(format.size() - point - 1);
    return WithoutNegativeZero(ToChars(value, std::chars_format::fixed, std::min(decimals, 20)));
  }
  const std::size_t exponent = format.find_first_of("eE");
  if (exponent != std::string_view::npos && format.find_first_not_of("0.eE+-") == std::string_view::npos) {
    const std::size_t point = format.find('.');
    const int decimals = point < exponent ? static_cast<int>(exponent - point - 1) : 0;
    return ToChars(value, std::chars_format::scientific, std::min(decimals, 20));
  }
  if (value == std::trunc(value) && std::fabs(value) < 1e15) {
    return WithoutNegativeZero(ToChars(value, std::chars_format::fixed, 0));
  }
  return ToChars(value, std::chars_format::general, 6);
}

std::string ShownProbability(double value) {
  if (const char* text = NotFiniteText(value)) return text;
  if (value < 0 || value > 1) return ShownNumber(value, "");
  if (value < 1e-16) return "<1e-16";  // zero included, which is a tail too small for a double
  if (value < 0.001) return ToChars(value, std::chars_format::scientific, 2);
  return ToChars(value, std::chars_format::fixed, value < 0.01 ? 5 : 4);
}

std::string ShownLogProbability(double logValue) {
  if (!(logValue < 0) || std::exp(logValue) >= 1e-16) return ShownProbability(std::exp(logValue));
  if (std::isinf(logValue)) return "0";
  double exponent = std::floor(logValue / std::numbers::ln10);
  std::string digits =
      ToChars(std::exp(logValue - exponent * std::numbers::ln10), std::chars_format::fixed, 2);
  if (digits == "10.00") {
    digits = "1.00";
    ++exponent;
  }
  return digits + "e" + ToChars(exponent, std::chars_format::fixed, 0);
}

}  // namespace velmora
