#include "module/feature_selection/interval_rule.h"

#include <cmath>

#include "base/tolerant.h"

namespace vlmfsl {

IntervalRule::IntervalRule(const ContinuousVarMoments& moments, int cuts)
    : lower_(moments.mean - IntervalQuantile() * std::sqrt(moments.variance)),
      width_(moments.width),
      maximum_(moments.maximum),
      cuts_(cuts < 1 ? 1 : cuts) {
  if (moments.minimum <= lower_) lower_ = moments.minimum;
}

double IntervalRule::Upper(int i) const {
  const double upper = lower_ + (static_cast<double>(i) + 1.0) * width_;
  if (i < cuts_ - 1) return upper;
  return upper > maximum_ ? upper : maximum_;
}

int IntervalRule::Find(double x) const {
  int first = 0;
  int last = cuts_ - 1;
  while (first < last) {
    const int middle = first + (last - first) / 2;
    if (vlm::GreaterBeyondTolerance(x, Upper(middle))) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return first;
}

std::vector<double> IntervalRule::DistinctKeys() const {
  std::vector<double> keys;
  for (int i = 0; i < cuts_; ++i) {
    const double upper = Upper(i);
    if (keys.empty() || keys.back() < upper) keys.push_back(upper);
  }
  return keys;
}

double BinOf(double x, const ContinuousVarMoments& moments, int cuts) {
  const IntervalRule rule(moments, cuts);
  return rule.Upper(rule.Find(x));
}

}  // namespace vlmfsl
