#include "workbench/data/csv_text.h"

#include <array>
#include <charconv>

namespace velmora {

void AppendCsvField(std::string_view text, char delimiter, std::string& out) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  const bool quote = text.find_first_of("\"\r\n") != std::string_view::npos ||
                     text.find(delimiter) != std::string_view::npos || text.empty() ||
                     isBlank(text.front()) || isBlank(text.back());
  if (!quote) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

void AppendShortestNumber(double value, std::string& out) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
  out.append(text.data(), end.ptr);
}

}  // namespace velmora
