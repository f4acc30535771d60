// Rounding to whole numbers, the same on every system: C libraries there are whose round adds a half and cuts, which
// makes 1 of the double just below a half.
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
