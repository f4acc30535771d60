// Tolerant comparison of doubles, used wherever two values are tested for equality: a value and its
// missing-data code, a sum and zero, a p-value and a criterion, a value and an interval bound. Two
// finite doubles are nearly equal when they are at most 15 units in the last place apart; a value
// that is not finite equals nothing.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vlm {

inline constexpr std::int64_t kToleranceUlps = 15;

// The position of a double among all doubles: adjacent doubles have adjacent positions, and both
// zeros have position 0. Without a branch, so that loops over it are vectorized.
constexpr std::int64_t OrderedBits(double value) {
  const auto bits = std::bit_cast<std::int64_t>(value);
  const std::int64_t sign = bits >> 63;  // 0, or -1 for a negative value
  return (bits ^ (sign & std::numeric_limits<std::int64_t>::max())) - sign;
}

constexpr double FromOrderedBits(std::int64_t bits) {
  return std::bit_cast<double>(bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits);
}

inline bool NearlyEqual(double a, double b) {
  if (!std::isfinite(a) || !std::isfinite(b)) return false;
  const std::int64_t bitsA = OrderedBits(a);
  const std::int64_t bitsB = OrderedBits(b);
  // Unsigned: the positions of two doubles of opposite sign can be further apart than a signed
  // difference holds.
  const std::uint64_t distance = bitsA < bitsB
                                     ? static_cast<std::uint64_t>(bitsB) - static_cast<std::uint64_t>(bitsA)
                                     : static_cast<std::uint64_t>(bitsA) - static_cast<std::uint64_t>(bitsB);
  return distance <= static_cast<std::uint64_t>(kToleranceUlps);
}

inline bool NearlyZero(double value) { return NearlyEqual(value, 0.0); }

// True when the value is missing in a variable with this missing-data code.
inline bool IsMissing(double value, double missingCode) { return NearlyEqual(value, missingCode); }

// a < b by more than the tolerance. False when either is not a number.
inline bool LessBeyondTolerance(double a, double b) { return a < b && !NearlyEqual(a, b); }

// a > b by more than the tolerance. False when either is not a number.
inline bool GreaterBeyondTolerance(double a, double b) { return a > b && !NearlyEqual(a, b); }

// The largest double that is not greater than bound beyond the tolerance, so that for every x `x >
// RaisedByTolerance(bound)` is equivalent to `GreaterBeyondTolerance(x, bound)`. Infinities and
// not-a-number are returned unchanged: nothing nearly equals them.
inline double RaisedByTolerance(double bound) {
  if (!std::isfinite(bound)) return bound;
  constexpr std::int64_t kLargest = OrderedBits(std::numeric_limits<double>::max());
  const std::int64_t bits = OrderedBits(bound);
  return FromOrderedBits(bits > kLargest - kToleranceUlps ? kLargest : bits + kToleranceUlps);
}

// The values that are missing under a code, as a closed range of doubles; empty for a code that is
// not finite.
struct MissingRange {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  MissingRange() = default;
  explicit MissingRange(double missingCode) {
    if (!std::isfinite(missingCode)) return;
    low = -RaisedByTolerance(-missingCode);
    high = RaisedByTolerance(missingCode);
  }

  // IsMissing(value, missingCode), which a loop over a column tests without a call.
  bool Contains(double value) const { return value >= low && value <= high; }
};

// The order of keys: ascending, both zeros one key, every not-a-number one key after all others. A
// strict weak order, which a plain `<` is not once a key is not a number.
inline bool KeyLess(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

}  // namespace vlm
