#include "base/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace vlm {

namespace {

constexpr int kLargestPrecision = 60;

std::string Format(double value, std::chars_format format, int precision) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  std::array<char, 400> text;  // the longest: 309 digits before the point and 60 after it
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, format,
                                 std::clamp(precision, 0, kLargestPrecision));
  return std::string(text.data(), end.ptr);
}

bool NeighboursDiffer(const std::vector<std::string>& texts) {
  return std::adjacent_find(texts.begin(), texts.end()) == texts.end();
}

}  // namespace

std::string FormatGeneral(double value, int precision) {
  return Format(value, std::chars_format::general, precision);
}

std::string FormatScientific(double value, int precision) {
  return Format(value, std::chars_format::scientific, precision);
}

std::string FormatFixed(double value, int precision) {
  return Format(value, std::chars_format::fixed, precision);
}

std::vector<std::string> FormatDistinct(std::span<const double> values) {
  std::vector<std::string> texts(values.size());
  const auto formatAll = [&](auto format) {
    std::transform(values.begin(), values.end(), texts.begin(), format);
    return NeighboursDiffer(texts);
  };
  if (formatAll([](double v) { return FormatGeneral(v); })) return texts;
  if (formatAll([](double v) { return FormatScientific(v); })) return texts;
  formatAll([](double v) { return FormatMachine(v); });
  return texts;
}

}  // namespace vlm
