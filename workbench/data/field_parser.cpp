// The classification is our own; fast_float converts the digits to the nearest double.
#include "workbench/data/field_parser.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>

namespace velmora {

namespace {

constexpr std::uint64_t kExactWhole = std::uint64_t{1} << 53;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    if (c != lower[i]) return false;
  }
  return true;
}

Field ParseWord(std::string_view text) {
  if (text == "." || text == "?" || EqualsIgnoringCase(text, "na") || EqualsIgnoringCase(text, "n/a") ||
      EqualsIgnoringCase(text, "null"))
    return {FieldKind::kMissingMark};
  std::string_view bare = text;
  if (!bare.empty() && (bare[0] == '-' || bare[0] == '+')) bare.remove_prefix(1);
  if (EqualsIgnoringCase(bare, "nan")) return {FieldKind::kNan};
  if (EqualsIgnoringCase(bare, "inf") || EqualsIgnoringCase(bare, "infinity")) return {FieldKind::kInfinite};
  return {FieldKind::kText};
}

// The nearest double of a number whose grammar is known to be right; infinite beyond the range.
// digits has no sign.
double NearestDouble(std::string_view digits, char decimalMark) {
  const fast_float::parse_options options{fast_float::chars_format::general, decimalMark == ',' ? ',' : '.'};
  double value = 0;
  fast_float::from_chars_advanced(digits.data(), digits.data() + digits.size(), value, options);
  return value;
}

// True when value is exactly the whole number of these decimal digits.
bool HoldsExactly(std::string_view digits, double value) {
  std::array<char, 320> printed;
  const auto result =
      std::to_chars(printed.data(), printed.data() + printed.size(), value, std::chars_format::fixed, 0);
  return result.ec == std::errc() && digits == std::string_view(printed.data(), result.ptr);
}

std::optional<int> ParseDigits(std::string_view text, std::size_t at, std::size_t count) {
  if (text.size() < at + count) return std::nullopt;
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (!IsDigit(text[i])) return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

// The calendar of files has no year 0.
std::optional<double> DaysOf(int year, int month, int day) {
  if (year < 1) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  return static_cast<double>(std::chrono::sys_days(date).time_since_epoch().count());
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::size_t LeadingDigits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

constexpr std::string_view kCurrencies[] = {"$",   "\xE2\x82\xAC", "\xC2\xA3", "\xC2\xA5", "USD",
                                            "EUR", "GBP",          "CHF",      "JPY"};

// The currency that the text begins (or ends) with; empty: none.
std::string_view CurrencyOf(std::string_view text, bool atEnd) {
  for (const std::string_view currency : kCurrencies)
    if (atEnd ? text.ends_with(currency) : text.starts_with(currency))
      return atEnd ? text.substr(text.size() - currency.size()) : text.substr(0, currency.size());
  return {};
}

// The unit after the last blank, such as kg or km/h; empty: none.
std::string_view UnitOf(std::string_view text) {
  constexpr std::size_t kLongestUnit = 12;
  const std::size_t blank = text.find_last_of(" \t");
  if (blank == std::string_view::npos || text.size() - blank - 1 > kLongestUnit) return {};
  const std::string_view unit = text.substr(blank + 1);
  const auto fits = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '/' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  return std::all_of(unit.begin(), unit.end(), fits) ? unit : std::string_view();
}

std::string TakeSign(std::string_view& text) {
  if (text.empty() || (text[0] != '-' && text[0] != '+')) return {};
  std::string sign(1, text[0]);
  text.remove_prefix(1);
  return sign;
}

// Removes percent sign, currency and unit from the text.
void TakeUnit(std::string_view& text, StyledNumber& number) {
  if (text.ends_with('%')) {
    number.percent = true;
    text = WithoutBlanks(text.substr(0, text.size() - 1));
    return;
  }
  number.unit = CurrencyOf(text, false);
  if (!number.unit.empty()) {
    text = WithoutBlanks(text.substr(number.unit.size()));
    return;
  }
  number.unit = CurrencyOf(text, true);
  if (number.unit.empty()) number.unit = UnitOf(text);
  text = WithoutBlanks(text.substr(0, text.size() - number.unit.size()));
}

}  // namespace

std::optional<StyledNumber> ParseStyledNumber(std::string_view text, NumberStyle style) {
  StyledNumber number;
  text = WithoutBlanks(text);
  std::string plain = TakeSign(text);
  TakeUnit(text, number);
  if (plain.empty()) plain = TakeSign(text);  // $-5
  std::size_t digits = LeadingDigits(text);
  if (digits == 0 || (digits > 1 && text[0] == '0')) return std::nullopt;
  plain += text.substr(0, digits);
  const bool groupable = digits <= 3 && text[0] != '0';
  text.remove_prefix(digits);
  while (groupable && text.size() >= 4 && text[0] == style.groupMark && LeadingDigits(text.substr(1)) == 3) {
    number.grouped = true;
    plain += text.substr(1, 3);
    text.remove_prefix(4);
  }
  if (text.size() >= 2 && text[0] == style.decimalMark && LeadingDigits(text.substr(1)) == text.size() - 1) {
    plain += '.';
    plain += text.substr(1);
    text = {};
  }
  if (!text.empty()) return std::nullopt;
  const Field field = ParseField(plain, false);
  if (field.kind != FieldKind::kNumber) return std::nullopt;
  number.value = field.value;
  return number;
}

bool CouldBeGrouped(std::string_view number, char mark) {
  const auto styled = ParseStyledNumber(number, {mark, '\0'});
  return styled && styled->grouped;
}

std::optional<double> ParseLocalDate(std::string_view text, char mark, bool monthFirst) {
  const std::size_t first = LeadingDigits(text);
  if (first < 1 || first > 2 || first >= text.size() || text[first] != mark) return std::nullopt;
  const std::string_view rest = text.substr(first + 1);
  const std::size_t second = LeadingDigits(rest);
  if (second < 1 || second > 2 || rest.size() != second + 5 || rest[second] != mark) return std::nullopt;
  const auto year = ParseDigits(rest, second + 1, 4);
  if (!year) return std::nullopt;
  const int left = *ParseDigits(text, 0, first);
  const int right = *ParseDigits(rest, 0, second);
  return monthFirst ? DaysOf(*year, left, right) : DaysOf(*year, right, left);
}

Field ParseField(std::string_view text, bool decimalComma) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  if (text.empty()) return {FieldKind::kBlank};

  const char* p = text.data();
  const char* const end = p + text.size();
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  const char* const first = p;
  std::uint64_t whole = 0;
  int digitCount = 0;     // significant digits gathered in whole
  bool overflow = false;  // there are more than whole can hold
  char decimalMark = 0;
  int seen = 0;
  for (; p != end; ++p) {
    if (IsDigit(*p)) {
      ++seen;
      if (digitCount < 19) {
        whole = whole * 10 + static_cast<std::uint64_t>(*p - '0');
        digitCount += whole != 0;
      } else {
        overflow = true;
      }
    } else if (decimalMark == 0 && (*p == '.' || (*p == ',' && decimalComma))) {
      decimalMark = *p;
    } else {
      break;
    }
  }
  if (seen == 0) return ParseWord(text);
  const bool leadingZero = *first == '0' && first + 1 != end && IsDigit(first[1]);
  const bool hasExponent = p != end && (*p == 'e' || *p == 'E');
  if (hasExponent) {
    ++p;
    if (p != end && (*p == '-' || *p == '+')) ++p;
    if (p == end) return {FieldKind::kText};
    while (p != end && IsDigit(*p)) ++p;
    if (!IsDigit(p[-1])) return {FieldKind::kText};
  }
  if (p != end) return {FieldKind::kText};
  if (leadingZero && decimalMark == 0 && !hasExponent) return {FieldKind::kText};

  Field field{FieldKind::kNumber, 0, decimalMark};
  const std::string_view digits(first, static_cast<std::size_t>(end - first));
  field.value = NearestDouble(digits, decimalMark);
  if (!std::isfinite(field.value)) return {FieldKind::kInfinite, 0, decimalMark};
  if (decimalMark == 0 && !hasExponent && (overflow || whole > kExactWhole) &&
      !HoldsExactly(digits, field.value))
    field.kind = FieldKind::kBigWhole;
  if (negative) field.value = -field.value;
  return field;
}

std::optional<double> ParseIsoDate(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto year = ParseDigits(text, 0, 4);
  const auto month = ParseDigits(text, 5, 2);
  const auto day = ParseDigits(text, 8, 2);
  if (!year || !month || !day) return std::nullopt;
  return DaysOf(*year, *month, *day);
}

std::optional<double> ParseIsoDateTime(std::string_view text) {
  if (text.size() < 16 || (text[10] != 'T' && text[10] != ' ') || text[13] != ':') return std::nullopt;
  const auto days = ParseIsoDate(text.substr(0, 10));
  const auto hour = ParseDigits(text, 11, 2);
  const auto minute = ParseDigits(text, 14, 2);
  if (!days || !hour || !minute || *hour > 23 || *minute > 59) return std::nullopt;
  if (text.back() == 'Z') text.remove_suffix(1);
  double seconds = 0;
  if (text.size() > 16) {
    if (text[16] != ':') return std::nullopt;
    const auto whole = ParseDigits(text, 17, 2);
    if (!whole || *whole > 59) return std::nullopt;
    seconds = *whole;
    if (text.size() > 19) {
      if (text[19] != '.' || text.size() == 20) return std::nullopt;
      for (char c : text.substr(20))
        if (!IsDigit(c)) return std::nullopt;
      const Field fraction = ParseField(text.substr(17), false);
      // 05.25 has a leading zero, but also a decimal mark, so it is a number.
      seconds = fraction.value;
    }
  }
  return *days * 86400.0 + *hour * 3600.0 + *minute * 60.0 + seconds;
}

}  // namespace velmora
