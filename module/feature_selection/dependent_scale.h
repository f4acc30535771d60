// How the values of a continuous dependent are carried through the second pass: as (value - shift)
// x factor.
//
// F does not depend on either. They matter where doubles run out: sums of squares of values above
// about 1e154 overflow, those of deviations below 1e-160 vanish, and around a large offset the
// running mean has no digits left for the deviations. Elsewhere shift is 0 and factor 1, which
// leaves every value as it is, to the last bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace vlmfsl {

struct DependentScale {
  double shift = 0.0;
  double factor = 1.0;  // a power of two, so that scaling is exact

  bool IsIdentity() const { return shift == 0.0 && factor == 1.0; }
  double Apply(double value) const { return (value - shift) * factor; }
};

// The range of a dependent's finite values in the accepted cases.
struct DependentRange {
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -std::numeric_limits<double>::infinity();
  bool hasInfinite = false;  // or not a number

  void Add(double value) {
    if (!std::isfinite(value)) {
      hasInfinite = true;
      return;
    }
    minimum = std::min(minimum, value);
    maximum = std::max(maximum, value);
  }
};

inline DependentScale ScaleOf(const DependentRange& range) {
  // With a larger offset in units of the range, fewer than eleven digits of F would be right.
  constexpr double kLargestOffset = 65536.0;
  // Squares of numbers between 2^-500 and 2^500 and their sums stay within the range of doubles.
  constexpr int kLargestExponent = 500;
  constexpr int kSmallestExponent = -1000;  // of which 2^1000 is a double, too
  DependentScale scale;
  if (!(range.minimum < range.maximum)) return scale;
  double largest = std::max(std::fabs(range.minimum), std::fabs(range.maximum));
  const double width = range.maximum - range.minimum;  // infinite at most where the offset is small
  // A difference of doubles so close together is exact.
  if (largest / width > kLargestOffset) {
    scale.shift = range.minimum;
    largest = width;
  }
  const int exponent = std::ilogb(std::ilogb(largest) > kLargestExponent ? largest : width);
  if (std::abs(exponent) > kLargestExponent)
    scale.factor = std::ldexp(1.0, -std::max(exponent, kSmallestExponent));
  return scale;
}

}  // namespace vlmfsl
