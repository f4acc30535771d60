#include "workbench/stats/noncentral.h"

#include <boost/math/distributions/non_central_chi_squared.hpp>
#include <boost/math/distributions/non_central_f.hpp>
#include <boost/math/tools/toms748_solve.hpp>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "workbench/stats/boost_policy.h"
#include "workbench/stats/distributions.h"

namespace velmora::stats {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double NormalCdf(double z) { return 0.5 * std::erfc(-z / std::numbers::sqrt2); }

// P(X <= x) from the saddlepoint s of the cumulant generating function: exponent = s x - K(s),
// curvature = K''(s) (Lugannani and Rice 1980, doi:10.2307/1426607).
double LugannaniRice(double s, double exponent, double curvature) {
  const double w = std::copysign(std::sqrt(2 * std::max(exponent, 0.0)), s);
  const double v = s * std::sqrt(curvature);
  // At the mean both terms are infinite; the median of a variable this large is near its mean.
  if (std::fabs(w) < 1e-5) return 0.5;
  const double density = std::exp(-w * w / 2) / std::sqrt(2 * std::numbers::pi);
  return NormalCdf(w) + density * (1 / w - 1 / v);
}

// K(s) = lambda s / (1 - 2 s) - df / 2 ln(1 - 2 s); K'(s) = x is a quadratic in u = 1 - 2 s.
double SaddlepointChiSquare(double x, double df, double lambda) {
  const double u = (df + std::sqrt(df * df + 4 * x * lambda)) / (2 * x);
  const double s = (1 - u) / 2;
  const double cumulant = lambda * s / u - df / 2 * std::log(u);
  return LugannaniRice(s, s * x - cumulant, 2 * df / (u * u) + 4 * lambda / (u * u * u));
}

// F <= f is X1 - g X2 <= 0 with g = f df1 / df2, X1 noncentral and X2 central chi-square.
double SaddlepointF(double f, double df1, double df2, double lambda) {
  const double g = f * df1 / df2;
  const auto slope = [&](double s) {
    const double u = 1 - 2 * s;
    return df1 / u + lambda / (u * u) - df2 * g / (1 + 2 * g * s);
  };
  double low = -0.5 / g, high = 0.5, s = 0;  // the slope rises from minus to plus infinity
  for (int step = 0; step < 200 && high - low > 1e-15 * (std::fabs(low) + std::fabs(high)); ++step) {
    s = (low + high) / 2;
    (slope(s) < 0 ? low : high) = s;
  }
  const double u = 1 - 2 * s, v = 1 + 2 * g * s;
  const double cumulant = lambda * s / u - df1 / 2 * std::log(u) - df2 / 2 * std::log(v);
  const double curvature = 2 * df1 / (u * u) + 4 * lambda / (u * u * u) + 2 * df2 * g * g / (v * v);
  return LugannaniRice(s, -cumulant, curvature);
}

// The lambda with cdf(lambda) = target; cdf falls from its value at 0. The search is over the root
// of lambda, in which the distribution is nearly normal.
template <typename Cdf>
double SolveNoncentrality(const Cdf& cdf, double target, double start) {
  const auto excess = [&](double root) { return cdf(root * root) - target; };
  const double atZero = excess(0);
  if (!(atZero > 0)) return std::isnan(atZero) ? kNaN : 0;
  double low = 0, high = start;
  double atLow = atZero, atHigh = excess(high);
  for (int doubling = 0; atHigh > 0; ++doubling) {
    if (doubling == 60) return kNaN;
    low = high;
    atLow = atHigh;
    high *= 2;
    atHigh = excess(high);
  }
  if (std::isnan(atHigh)) return kNaN;
  if (atHigh == 0) return high * high;
  std::uintmax_t steps = 100;
  const auto [a, b] = bm::tools::toms748_solve(excess, low, high, atLow, atHigh,
                                               bm::tools::eps_tolerance<double>(36), steps, Policy());
  const double root = (a + b) / 2;
  return root * root;
}

template <typename Cdf>
Interval SolveBoth(const Cdf& cdf, double level, double start) {
  return {SolveNoncentrality(cdf, (1 + level) / 2, start), SolveNoncentrality(cdf, (1 - level) / 2, start)};
}

}  // namespace

double NoncentralChiSquareCdf(double x, double df, double lambda) {
  if (!(df > 0) || !(lambda >= 0) || std::isnan(x)) return kNaN;
  if (x <= 0) return 0;
  if (lambda == 0 || std::isinf(x)) return ChiSquareCdf(x, df);
  if (lambda > kExactNoncentrality) return SaddlepointChiSquare(x, df, lambda);
  return bm::cdf(bm::non_central_chi_squared_distribution<double, Policy>(df, lambda), x);
}

double NoncentralFCdf(double f, double df1, double df2, double lambda) {
  if (!(df1 > 0) || !(df2 > 0) || !(lambda >= 0) || std::isnan(f)) return kNaN;
  if (f <= 0) return 0;
  if (std::isinf(f)) return 1;
  if (std::isinf(df2)) return NoncentralChiSquareCdf(df1 * f, df1, lambda);
  if (lambda == 0) return FUpperTail(df2, df1, 1 / f);
  if (lambda > kExactNoncentrality) return SaddlepointF(f, df1, df2, lambda);
  return bm::cdf(bm::non_central_f_distribution<double, Policy>(df1, df2, lambda), f);
}

Interval ChiSquareNoncentrality(double chiSquare, double df, double level) {
  const auto cdf = [&](double lambda) { return NoncentralChiSquareCdf(chiSquare, df, lambda); };
  return SolveBoth(cdf, level, std::sqrt(std::max(chiSquare, 0.0)) + 5);
}

Interval FNoncentrality(double f, double df1, double df2, double level) {
  const auto cdf = [&](double lambda) { return NoncentralFCdf(f, df1, df2, lambda); };
  return SolveBoth(cdf, level, std::sqrt(std::max(f * df1, 0.0)) + 5);
}

}  // namespace velmora::stats
