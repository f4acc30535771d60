// The rule that cuts a continuous variable into intervals. The intervals are as wide as a normal
// variable's central 99 % divided by one more than the number of cuts; the first is open downward,
// the last reaches at least to the maximum. An interval is named by its key, which is its upper
// bound.
#pragma once

#include <vector>

#include "base/interval_width.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

using vlm::IntervalQuantile;
using vlm::IntervalWidth;

// Intervals are kept as a table of bounds up to this number of cuts; beyond it each bound is
// computed when needed.
inline constexpr int kMaxTabledCuts = 64;

class IntervalRule {
 public:
  // cuts: any number; below 1 all values share the last interval.
  IntervalRule(const ContinuousVarMoments& moments, int cuts);

  // The upper bound of interval i (from 0 to cuts - 1), which is its key. Bounds never fall with
  // rising i; where the width is not a number all but the last are not a number.
  double Upper(int i) const;

  // The first interval that x is not above (by more than the tolerance), else the last one.
  // Not-a-number is above nothing.
  int Find(double x) const;

  // The keys that Find can lead to, ascending and different from each other.
  std::vector<double> DistinctKeys() const;

 private:
  double lower_;
  double width_;
  double maximum_;
  int cuts_;
};

// The key of x's interval.
double BinOf(double x, const ContinuousVarMoments& moments, int cuts);

}  // namespace vlmfsl
