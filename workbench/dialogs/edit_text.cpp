#include "workbench/dialogs/edit_text.h"

#include <charconv>
#include <cmath>

#include "base/parse_number.h"
#include "base/trim_blanks.h"

namespace velmora {

std::optional<int> ParseWholeText(std::string_view text) { return vlm::ParseTypedNumber<int>(text); }

std::optional<double> ParseRealText(std::string_view text, std::string_view separator) {
  std::string plain(vlm::TrimBlanks(text));
  if (!separator.empty() && separator != ".") {
    const std::size_t position = plain.find(separator);
    if (position != std::string::npos) plain.replace(position, separator.size(), ".");
  }
  const std::optional<double> value = vlm::ParseTypedNumber<double>(plain);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::string RealText(double value, bool truncate, std::string_view separator) {
  char buffer[40];
  const auto [end, error] =
      truncate ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6)
               : std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, error == std::errc() ? end : buffer);
  const std::size_t point = text.find('.');
  if (point != std::string::npos && !separator.empty()) text.replace(point, 1, separator);
  return text;
}

std::string_view IconMark(std::string_view caption) {
  if (caption.starts_with('!')) {
    const std::size_t end = caption.find_first_not_of("0123456789", 1);
    return caption.substr(1, (end == std::string_view::npos ? caption.size() : end) - 1);
  }
  // A lower-case letter before the capital at the start of the caption.
  const std::size_t first = caption.starts_with("i&") || caption.starts_with("q&") ? 2 : 1;
  const bool marked = caption.size() > first && (caption[0] == 'i' || caption[0] == 'q') &&
                      caption[first] >= 'A' && caption[first] <= 'Z';
  return caption.substr(0, marked ? 1 : 0);
}

std::string_view CaptionWithoutIcon(std::string_view caption) {
  const bool isNumber = caption.starts_with('!');
  caption.remove_prefix(IconMark(caption).size() + (isNumber ? 1 : 0));
  // A blank may follow the number.
  if (isNumber && caption.starts_with(' ')) caption.remove_prefix(1);
  return caption;
}

std::string PlainCaption(std::string_view caption) {
  caption = CaptionWithoutIcon(caption);
  std::string plain;
  for (std::size_t index = 0; index < caption.size(); ++index) {
    // "&&" shows one ampersand.
    if (caption[index] == '&' && ++index == caption.size()) break;
    plain += caption[index];
  }
  return plain;
}

}  // namespace velmora
