#include "workbench/stats/distributions.h"

#include <boost/math/distributions/students_t.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <numbers>

#include "workbench/stats/boost_policy.h"
#include "workbench/system/log_gamma.h"

namespace velmora::stats {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Degrees of freedom beyond those of any data are moved to where the series still converges.
double Bounded(double df) { return df < 1e-8 ? 1e-8 : df > 1e12 ? kInfinity : df; }

// Below this a tail is formed as a logarithm: doubles lose digits under 1e-308.
constexpr double kSmallTail = 1e-290;

// lgamma(x) less Stirling's (x - 1/2) ln x - x + ln(2 pi) / 2, for x >= 16 (Abramowitz and Stegun
// 1964, 6.1.41).
double StirlingRemainder(double x) {
  const double inverse = 1 / x;
  const double square = inverse * inverse;
  return inverse *
         (1.0 / 12 + square * (-1.0 / 360 + square * (1.0 / 1260 + square * (-1.0 / 1680 + square / 1188))));
}

// ln(Gamma(a) / Gamma(a + b)). Of large a, the two logarithms agree in their first digits:
// Stirling's terms are subtracted before they are rounded.
double LogGammaRatio(double a, double b) {
  if (a < 16) return LogGamma(a) - LogGamma(a + b);
  return b - b * std::log(a + b) - (a - 0.5) * std::log1p(b / a) + StirlingRemainder(a) -
         StirlingRemainder(a + b);
}

// A continued fraction b0 + a1 / (b1 + a2 / (b2 + ...)) from its start on (Lentz 1976,
// doi:10.1364/AO.15.000668). term(m, a, b) gives a_m and b_m.
template <typename Term>
double ContinuedFraction(double b0, Term term) {
  constexpr double kTiny = 1e-300;
  constexpr int kMostTerms = 100000;
  double value = b0 != 0 ? b0 : kTiny;
  double c = value, d = 0;
  for (int m = 1; m < kMostTerms; ++m) {
    double a = 0, b = 0;
    term(m, a, b);
    d = b + a * d;
    if (d == 0) d = kTiny;
    c = b + a / c;
    if (c == 0) c = kTiny;
    d = 1 / d;
    const double factor = c * d;
    value *= factor;
    if (std::fabs(factor - 1) < 1e-15) break;
  }
  return value;
}

// ln Q(a, z), the regularized upper incomplete gamma function, for z well above a (Abramowitz and
// Stegun 1964, 6.5.31 in its even part).
double LogUpperGamma(double a, double z) {
  // ln(z^a exp(-z) / Gamma(a)), with a ln a - a taken out of both where a is large.
  const double excess = (z - a) / a;
  const double density = a < 16 ? a * std::log(z) - z - LogGamma(a)
                                : a * (std::log1p(excess) - excess) +
                                      0.5 * std::log(a / (2 * std::numbers::pi)) - StirlingRemainder(a);
  const double fraction = ContinuedFraction(z + 1 - a, [&](int m, double& numerator, double& denominator) {
    numerator = -m * (m - a);
    denominator = z + 2 * m + 1 - a;
  });
  return density - std::log(fraction);
}

// ln I_x(a, b), the regularized incomplete beta function, for x well below a / (a + b) (Abramowitz
// and Stegun 1964, 26.5.8). logX and logRest: ln x and ln(1 - x), which keep digits that x itself
// lacks.
double LogLowerBeta(double a, double b, double x, double logX, double logRest) {
  const double fraction = ContinuedFraction(1, [&](int m, double& numerator, double& denominator) {
    const double half = m / 2;
    denominator = 1;
    numerator = m % 2 == 0 ? half * (b - half) * x / ((a + m - 1) * (a + m))
                           : -(a + half) * (a + b + half) * x / ((a + m - 1) * (a + m));
  });
  return a * logX + b * logRest - std::log(a) - LogGammaRatio(a, b) - LogGamma(b) - std::log(fraction);
}

}  // namespace

double FUpperTail(double df1, double df2, double f) {
  if (!(df1 > 0) || !(df2 > 0) || std::isnan(f)) return kNaN;
  df1 = Bounded(df1);
  df2 = Bounded(df2);
  if (f <= 0) return 1;
  if (f == kInfinity) return 0;
  // With many degrees of freedom below, df1 F is chi-square; with many above, df2 / F is.
  if (std::isinf(df1) && std::isinf(df2)) return f < 1 ? 1 : f > 1 ? 0 : 0.5;
  if (std::isinf(df2)) return ChiSquareUpperTail(df1 * f, df1);
  if (std::isinf(df1)) return ChiSquareCdf(df2 / f, df2);
  const double ratio = df1 / df2 * f;
  return ratio > 1 ? bm::ibeta(df2 / 2, df1 / 2, 1 / (1 + ratio), Policy())
                   : bm::ibetac(df1 / 2, df2 / 2, ratio / (1 + ratio), Policy());
}

double ChiSquareCdf(double x, double df) {
  if (!(df > 0) || std::isnan(x)) return kNaN;
  df = Bounded(df);
  if (x <= 0 || std::isinf(df)) return 0;
  if (x == kInfinity) return 1;
  return bm::gamma_p(df / 2, x / 2, Policy());
}

double ChiSquareUpperTail(double x, double df) {
  if (!(df > 0) || std::isnan(x)) return kNaN;
  df = Bounded(df);
  if (x <= 0 || std::isinf(df)) return 1;
  if (x == kInfinity) return 0;
  return bm::gamma_q(df / 2, x / 2, Policy());
}

double LogChiSquareUpperTail(double x, double df) {
  const double tail = ChiSquareUpperTail(x, df);
  if (!(tail < kSmallTail) || x == kInfinity) return std::log(tail);
  return LogUpperGamma(Bounded(df) / 2, x / 2);
}

double LogFUpperTail(double df1, double df2, double f) {
  const double tail = FUpperTail(df1, df2, f);
  if (!(tail < kSmallTail) || f == kInfinity) return std::log(tail);
  df1 = Bounded(df1);
  df2 = Bounded(df2);
  if (std::isinf(df2)) return LogChiSquareUpperTail(df1 * f, df1);
  if (std::isinf(df1)) return std::log(tail);
  // I_x(df2 / 2, df1 / 2) with x = 1 / (1 + ratio).
  const double ratio = df1 / df2 * f;
  if (std::isinf(ratio)) return -kInfinity;
  return LogLowerBeta(df2 / 2, df1 / 2, 1 / (1 + ratio), -std::log1p(ratio), -std::log1p(1 / ratio));
}

double StudentQuantile(double p, double df) {
  if (!(df > 0) || !(p >= 0 && p <= 1)) return kNaN;
  if (p == 0 || p == 1) return p == 0 ? -kInfinity : kInfinity;
  if (p == 0.5) return 0;
  df = Bounded(df);
  if (std::isinf(df)) return -std::sqrt(2.0) * bm::erfc_inv(2 * p, Policy());
  const bm::students_t_distribution<double, Policy> student(df);
  const double tail = p < 0.5 ? p : 1 - p;
  double t = -bm::quantile(student, tail);
  // The inverse is good to about ten digits without a wider type; Newton's steps give the rest.
  for (int step = 0; step < 2; ++step) {
    const double slope = bm::pdf(student, t);
    const double moved = t + (bm::ibeta(df / 2, 0.5, 1 / (1 + t / df * t), Policy()) / 2 - tail) / slope;
    if (!(slope > 0) || !std::isfinite(moved)) break;
    t = moved;
  }
  return p < 0.5 ? -t : t;
}

}  // namespace velmora::stats
