#include "base/format_text.h"

#include <cstddef>
#include <optional>

#include "base/number_text.h"

namespace vlm {

namespace {

struct Place {
  std::size_t length = 0;  // characters of the pattern, the percent sign included
  int precision = 6;
  char kind = 0;
};

// The place that begins at the percent sign pattern[at], or nothing when what follows is not one.
std::optional<Place> PlaceAt(std::string_view pattern, std::size_t at) {
  Place place;
  std::size_t i = at + 1;
  if (i < pattern.size() && pattern[i] == '.') {
    place.precision = 0;
    for (++i; i < pattern.size() && pattern[i] >= '0' && pattern[i] <= '9'; ++i) {
      place.precision = place.precision > 60 ? 60 : place.precision * 10 + (pattern[i] - '0');
    }
  }
  while (i < pattern.size() && pattern[i] == 'l') ++i;
  if (i >= pattern.size()) return std::nullopt;
  place.kind = pattern[i];
  place.length = i + 1 - at;
  if (std::string_view("sdiugef%").find(place.kind) == std::string_view::npos) return std::nullopt;
  return place;
}

std::optional<std::string> Fill(const Place& place, const TextArgument& argument) {
  if (const auto* text = std::get_if<std::string_view>(&argument)) {
    if (place.kind != 's') return std::nullopt;
    return std::string(*text);
  }
  const auto* whole = std::get_if<long long>(&argument);
  if (place.kind == 's' || place.kind == 'd' || place.kind == 'i' || place.kind == 'u') {
    if (whole == nullptr) return std::nullopt;
    return std::to_string(*whole);
  }
  const double value = whole != nullptr ? static_cast<double>(*whole) : std::get<double>(argument);
  if (place.kind == 'g') return FormatGeneral(value, place.precision);
  if (place.kind == 'e') return FormatScientific(value, place.precision);
  return FormatFixed(value, place.precision);
}

}  // namespace

std::string FormatText(std::string_view pattern, std::initializer_list<TextArgument> arguments) {
  std::string out;
  const auto* next = arguments.begin();
  for (std::size_t i = 0; i < pattern.size();) {
    const auto place = pattern[i] == '%' ? PlaceAt(pattern, i) : std::nullopt;
    if (!place) {
      out += pattern[i++];
      continue;
    }
    if (place->kind == '%') {
      out += '%';
    } else if (next == arguments.end()) {
      out += pattern.substr(i, place->length);
    } else {
      const auto filled = Fill(*place, *next++);
      if (filled) {
        out += *filled;
      } else {
        out += pattern.substr(i, place->length);
      }
    }
    i += place->length;
  }
  return out;
}

}  // namespace vlm
