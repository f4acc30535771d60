// Tells what one field of a delimited file is, and parses numbers and ISO dates. Free of allocation on every
// path that a column of numbers takes.
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
  kText,         // anything else, leading-zero codes included
};

struct Field {
  FieldKind kind = FieldKind::kBlank;
  double value = 0;
  char decimalMark = 0;  // '.' or ',' when the number shows one
};

// Numbers: sign, digits with at most one decimal mark, exponent; blanks around are dropped. A point is always
// a decimal mark, a comma is one when decimalComma is set. The value is the double nearest to the digits (as
// strtod).
Field ParseField(std::string_view text, bool decimalComma);

// Days since 1970-01-01 of YYYY-MM-DD, or nothing.
std::optional<double> ParseIsoDate(std::string_view text);

// Seconds since 1970-01-01 00:00 of YYYY-MM-DD[T ]HH:MM[:SS[.f...]][Z], or nothing.
std::optional<double> ParseIsoDateTime(std::string_view text);

}  // namespace velmora
