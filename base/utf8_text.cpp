#include "base/utf8_text.h"

namespace vlm {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool Continues(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

struct CodePoint {
  char32_t value;
  std::size_t bytes;
};

// The code point at the front of a text that is not empty (RFC 3629: no overlong forms, no
// surrogates).
CodePoint Decode(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {lead, 1};
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {kReplacement, 1};
  char32_t value = lead & (0x7Fu >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if (!Continues(text[i])) return {kReplacement, 1};
    value = (value << 6) | (static_cast<unsigned char>(text[i]) & 0x3Fu);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool valid = value >= kSmallest[bytes] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
  return valid ? CodePoint{value, bytes} : CodePoint{kReplacement, 1};
}

}  // namespace

std::size_t CharacterCount(std::string_view text) {
  std::size_t count = 0;
  for (const char byte : text) count += Continues(byte) ? 0 : 1;
  return count;
}

std::string_view FirstCharacters(std::string_view text, std::size_t characterCount) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!Continues(text[i]) && count++ == characterCount) return text.substr(0, i);
  }
  return text;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const CodePoint point = Decode(text);
    text.remove_prefix(point.bytes);
    if (point.value < 0x10000) {
      wide += static_cast<char16_t>(point.value);
    } else {
      wide += static_cast<char16_t>(0xD7C0 + (point.value >> 10));
      wide += static_cast<char16_t>(0xDC00 + (point.value & 0x3FF));
    }
  }
  return wide;
}

}  // namespace vlm
