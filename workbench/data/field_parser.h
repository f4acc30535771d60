// Classifies one field of a delimited file, and parses numbers and dates. Allocates nothing for the
// fields of a column of numbers.
//
//   ParseField("1.5e3", false)  // kNumber, 1500
//   ParseField("00123", false)  // kText: a code
#pragma once

#include <optional>
#include <string_view>

namespace velmora {

enum class FieldKind {
  kBlank,        // empty or blanks only
  kNumber,       // value is finite
  kNan,          // nan in any spelling
  kInfinite,     // inf, infinity, or a number beyond the range of doubles
  kMissingMark,  // NA, N/A, NULL, . or ?
  kBigWhole,     // a whole number that no double holds exactly; value is the nearest
  kText,         // anything else, codes with leading zeros included
};

struct Field {
  FieldKind kind = FieldKind::kBlank;
  double value = 0;
  char decimalMark = 0;  // '.' or ',' when the number shows one
};

// Numbers: sign, digits with at most one decimal mark, exponent; blanks around are dropped. A point
// is always a decimal mark, a comma is one when decimalComma is set. The value is the double
// nearest to the digits, as strtod's is.
Field ParseField(std::string_view text, bool decimalComma);

// The style of numbers in tables for people: 1,022.5 or 1.022,5, 12 %, $12 or 3 kg.
struct NumberStyle {
  char groupMark = ',';
  char decimalMark = '.';
};

struct StyledNumber {
  double value = 0;  // of 12 % it is 12
  bool grouped = false;
  bool percent = false;
  std::string_view unit;  // a currency or a unit, of the text
};

// Groups of exactly three digits, or no groups; a currency before or after the number, or a unit
// after a blank. Nothing for other texts, for codes with leading
// zeros and for numbers beyond the range of doubles.
std::optional<StyledNumber> ParseStyledNumber(std::string_view text, NumberStyle style);

// True when the mark of a number with one decimal mark could also separate thousands: 1,022 but not
// 10,5 or 0,123.
bool CouldBeGrouped(std::string_view number, char mark);

// Days since 1970-01-01 of D.M.YYYY (mark '.') or of D/M/YYYY or M/D/YYYY, or nothing.
std::optional<double> ParseLocalDate(std::string_view text, char mark, bool monthFirst);

// Days since 1970-01-01 of YYYY-MM-DD, or nothing.
std::optional<double> ParseIsoDate(std::string_view text);

// Seconds since 1970-01-01 00:00 of YYYY-MM-DD[T ]HH:MM[:SS[.f...]][Z], or nothing.
std::optional<double> ParseIsoDateTime(std::string_view text);

}  // namespace velmora
