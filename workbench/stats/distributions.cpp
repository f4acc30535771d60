#include "workbench/stats/distributions.h"

#include <boost/math/distributions/students_t.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>

namespace velmora::stats {
namespace {

namespace bm = boost::math;
using Policy = bm::policies::policy<bm::policies::domain_error<bm::policies::ignore_error>,
                                    bm::policies::pole_error<bm::policies::ignore_error>,
                                    bm::policies::overflow_error<bm::policies::ignore_error>,
                                    bm::policies::underflow_error<bm::policies::ignore_error>,
                                    bm::policies::denorm_error<bm::policies::ignore_error>,
                                    bm::policies::rounding_error<bm::policies::ignore_error>,
                                    bm::policies::evaluation_error<bm::policies::ignore_error>,
                                    bm::policies::indeterminate_result_error<bm::policies::ignore_error>,
                                    bm::policies::promote_float<false>, bm::policies::promote_double<false>>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Degrees of freedom beyond those of any data are moved to where the series still converge.
double Bounded(double df) { return df < 1e-8 ? 1e-8 : df > 1e12 ? kInfinity : df; }

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
