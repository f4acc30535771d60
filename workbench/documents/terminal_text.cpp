#include "workbench/documents/terminal_text.h"

#include <algorithm>
#include <cstdio>

#include "workbench/documents/texts.h"

namespace velmora {

std::string PrintableText(std::string_view text, bool keepLines) {
  const bool plain =
      std::all_of(text.begin(), text.end(), [](unsigned char byte) { return byte >= 0x20 && byte < 0x7F; });
  if (plain) return std::string(text);
  std::string printable;
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = NextCharacter(text, position);
    const bool reorders = c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
                          (c >= 0x2066 && c <= 0x2069);
    const bool separatesLines = c == 0x2028 || c == 0x2029;
    if (c < 0x20 && !(keepLines && (c == '\n' || c == '\t'))) {
      AppendCharacter(printable, 0x2400 + c);
    } else if (c == 0x7F) {
      AppendCharacter(printable, 0x2421);
    } else if ((c >= 0x80 && c < 0xA0) || reorders || separatesLines) {
      char mark[16];
      std::snprintf(mark, sizeof mark, "<U+%04X>", static_cast<unsigned>(c));
      printable += mark;
    } else {
      AppendCharacter(printable, c);
    }
  }
  return printable;
}

std::string ShortenedText(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return std::string(text);
  const auto inCharacter = [&](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  std::size_t head = limit * 2 / 3, tail = text.size() - limit / 3;
  while (head > 0 && inCharacter(head)) --head;
  while (tail < text.size() && inCharacter(tail)) ++tail;
  return std::string(text.substr(0, head)) + "…" + std::string(text.substr(tail));
}

}  // namespace velmora
