#include "workbench/data/unicode.h"

#include <utf8cpp/utf8.h>

#include <cstdint>
#include <cstring>
#include <iterator>

namespace velmora {

std::size_t FirstByteBeyondUtf8(std::string_view text) {
  // Eight ASCII characters at a time, since most texts hold no others.
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t eight;
    std::memcpy(&eight, text.data() + at, sizeof eight);
    if ((eight & kHighBits) != 0) break;
  }
  const auto rest = text.substr(at);
  const auto invalid = utf8::find_invalid(rest.begin(), rest.end());
  if (invalid == rest.end()) return std::string_view::npos;
  return at + static_cast<std::size_t>(std::distance(rest.begin(), invalid));
}

bool IsCleanText(std::string_view text) {
  return FirstByteBeyondUtf8(text) == std::string_view::npos && text.find('\0') == std::string_view::npos;
}

std::string CleanText(std::string_view text) {
  constexpr char32_t kReplacement = 0xFFFD;
  std::string valid;
  valid.reserve(text.size());
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), kReplacement);
  if (valid.find('\0') == std::string::npos) return valid;
  std::string clean;
  for (const char c : valid) {
    if (c == '\0')
      utf8::append(kReplacement, std::back_inserter(clean));
    else
      clean += c;
  }
  return clean;
}

std::string QuotedExcerpt(std::string_view text) {
  constexpr std::size_t kMaxShown = 40;
  std::string shown(text.substr(0, kMaxShown));
  // Never cut a UTF-8 sequence in two.
  if (text.size() > kMaxShown) {
    while (!shown.empty() && (static_cast<unsigned char>(shown.back()) & 0xC0U) == 0x80U) shown.pop_back();
    if (!shown.empty() && static_cast<unsigned char>(shown.back()) >= 0xC0U) shown.pop_back();
    shown += "...";
  }
  return '"' + shown + '"';
}

}  // namespace velmora
