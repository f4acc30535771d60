// Tail probabilities and quantiles of the tests. Accurate far into the tails: an upper tail is
// never made by taking a lower one from 1. No call throws; results do not depend on the platform's
// long double.
//
// For every function: NaN when an argument is NaN or a number of degrees of freedom is not above 0.
// An infinite number of degrees of freedom gives the limit.
#pragma once

namespace velmora::stats {

// P(F > f) with df1 and df2 degrees of freedom; 1 for f <= 0, 0 for infinite f.
double FUpperTail(double df1, double df2, double f);
// P(X <= x) of chi-square with df degrees of freedom; 0 for x <= 0, 1 for infinite x.
double ChiSquareCdf(double x, double df);
// P(X > x); 1 for x <= 0, 0 for infinite x.
double ChiSquareUpperTail(double x, double df);

// Natural logarithms of the upper tails. They go on where the tails themselves are too small for a
// double, so that no two probabilities tie at 0; minus infinity for an infinite statistic alone.
double LogFUpperTail(double df1, double df2, double f);
double LogChiSquareUpperTail(double x, double df);

// t with P(T <= t) = p; minus and plus infinity for p = 0 and 1, NaN for p outside 0..1.
double StudentQuantile(double p, double df);

}  // namespace velmora::stats
