// The noncentral chi-square and F distributions, and the noncentralities with which a statistic is
// compatible, for confidence intervals of effect sizes (Steiger and Fouladi 1997, "What if there
// were no significance tests?", chapter 9; Smithson 2003).
//
//   const Interval lambda = ChiSquareNoncentrality(chiSquare, df, 0.95);
//   const double lowerV = std::sqrt(lambda.lower / (n * (std::min(rows, columns) - 1)));
#pragma once

namespace velmora::stats {

struct Interval {
  double lower = 0;
  double upper = 0;
};

// P(X <= x) with df degrees of freedom and noncentrality lambda >= 0. NaN outside the range of the
// parameters. Above kExactNoncentrality a saddlepoint approximation, whose relative error is below
// 1e-5 there; exact below.
double NoncentralChiSquareCdf(double x, double df, double lambda);
double NoncentralFCdf(double f, double df1, double df2, double lambda);

inline constexpr double kExactNoncentrality = 1000;

// The noncentralities at which the statistic is the upper and the lower (1 - level) / 2 point. A
// bound is 0 where even the central distribution lies beyond that point.
Interval ChiSquareNoncentrality(double chiSquare, double df, double level);
Interval FNoncentrality(double f, double df1, double df2, double level);

}  // namespace velmora::stats
