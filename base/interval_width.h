// Intervals of equal width around the mean of a variable: a normal variable's central 99 % divided
// by one more than the number of intervals.
#pragma once

#include <cmath>

#include "base/normal_quantile.h"

namespace vlm {

// Half-width of the central 99 % of the standard normal distribution.
inline double IntervalQuantile() {
  static const double quantile = NormalQuantile(0.995, nullptr);
  return quantile;
}

// quantile x 2 x sqrt(variance) / (intervals + 1).
inline double IntervalWidth(double variance, int intervals) {
  return IntervalQuantile() * 2.0 * std::sqrt(variance) / (static_cast<double>(intervals) + 1.0);
}

}  // namespace vlm
