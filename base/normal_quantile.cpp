#include "base/normal_quantile.h"

#include <cmath>

namespace vlm {

namespace {

constexpr double kSplit = 0.42;  // half-width, around 0.5, of the middle part

double Middle(double q) {
  const double r = q * q;
  const double numerator = ((-25.44106049637 * r + 41.39119773534) * r - 18.61500062529) * r + 2.50662823884;
  const double denominator =
      (((3.13082909833 * r - 21.06224101826) * r + 23.08336743743) * r - 8.47351093090) * r + 1.0;
  return q * numerator / denominator;
}

double UpperTail(double tail) {
  const double r = std::sqrt(-std::log(tail));
  const double numerator = ((2.32121276858 * r + 4.85014127135) * r - 2.29796479134) * r - 2.78718931138;
  return numerator / ((1.63706781897 * r + 3.54388924762) * r + 1.0);
}

}  // namespace

double NormalQuantile(double probability, bool* failed) {
  const bool inside = probability > 0.0 && probability < 1.0;
  if (failed != nullptr) *failed = !inside;
  if (!inside) return 0.0;
  const double q = probability - 0.5;
  if (std::fabs(q) <= kSplit) return Middle(q);
  return q > 0.0 ? UpperTail(1.0 - probability) : -UpperTail(probability);
}

}  // namespace vlm
