// Tolerant comparison of doubles, used wherever two values are tested for equality: a value against its missing-data
// code, a sum against zero, a p-value against a criterion, a value against an interval bound. Two finite doubles are
// nearly equal when at most 15 doubles lie between one and the other; a non-finite value equals nothing.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vlm {

inline constexpr std::int64_t kToleranceUlps = 15;

// The position of a double among all doubles: adjacent doubles have adjacent images, and both zeros have image 0.
constexpr std::int64_t OrderedImage(double value) {
  const auto bits = std::bit_cast<std::int64_t>(value);
  return bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits;
}

constexpr double FromOrderedImage(std::int64_t image) {
  return std::bit_cast<double>(image < 0 ? std::numeric_limits<std::int64_t>::min() - image : image);
}

inline bool NearlyEqual(double a, double b) {
  if (!std::isfinite(a) || !std::isfinite(b)) return false;
  const std::int64_t imageA = OrderedImage(a);
  const std::int64_t imageB = OrderedImage(b);
  // Unsigned: the images of two doubles of opposite sign can be further apart than a signed difference holds.
  const std::uint64_t distance =
      imageA < imageB ? static_cast<std::uint64_t>(imageB) - static_cast<std::uint64_t>(imageA)
                      : static_cast<std::uint64_t>(imageA) - static_cast<std::uint64_t>(imageB);
  return distance <= static_cast<std::uint64_t>(kToleranceUlps);
}

inline bool NearlyZero(double value) { return NearlyEqual(value, 0.0); }

// True when the value stands for "no value" in a variable with this missing-data code.
inline bool IsMissing(double value, double missingCode) { return NearlyEqual(value, missingCode); }

// a < b, and not merely by the tolerance. False when either is not a number.
inline bool LessBeyondTolerance(double a, double b) { return a < b && !NearlyEqual(a, b); }

// a > b, and not merely by the tolerance. False when either is not a number.
inline bool GreaterBeyondTolerance(double a, double b) { return a > b && !NearlyEqual(a, b); }

// The largest double that is not greater than bound beyond the tolerance, so that for every x
// `x > RaisedByTolerance(bound)` says the same as `GreaterBeyondTolerance(x, bound)`. Infinities and not-a-number
// come back as they are: nothing nearly equals them.
inline double RaisedByTolerance(double bound) {
  if (!std::isfinite(bound)) return bound;
  constexpr std::int64_t kLargest = OrderedImage(std::numeric_limits<double>::max());
  const std::int64_t image = OrderedImage(bound);
  return FromOrderedImage(image > kLargest - kToleranceUlps ? kLargest : image + kToleranceUlps);
}

// The values that are missing under a code, as a closed range of doubles; empty for a code that is not finite.
struct MissingRange {
  double first = std::numeric_limits<double>::infinity();
  double last = -std::numeric_limits<double>::infinity();

  bool Contains(double value) const { return value >= first && value <= last; }
};

inline MissingRange MissingRangeOf(double missingCode) {
  if (!std::isfinite(missingCode)) return {};
  return {-RaisedByTolerance(-missingCode), RaisedByTolerance(missingCode)};
}

// The order of keys: ascending, both zeros one key, every not-a-number one key behind all others. A strict weak
// order, which a plain `<` is not once a key is not a number.
inline bool KeyLess(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

}  // namespace vlm
