// Rounding to whole numbers with the same result on every system: the round of some C libraries
// adds a half and truncates, which turns the double just below 0.5 into 1.
#pragma once

#include <cmath>

namespace vlm {

// Halves away from zero. A value without a fraction, an infinity or NaN is returned as it is.
inline double RoundHalfAway(double value) {
  const double whole = std::trunc(value);
  return std::fabs(value - whole) >= 0.5 ? whole + std::copysign(1.0, value)
                                         : whole;  // the difference is exact
}

}  // namespace vlm
