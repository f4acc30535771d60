// Tests of independence in tables with small expected counts, where chi-square's distribution is
// off.
#pragma once

#include <cstdint>
#include <span>

namespace velmora::stats {

// Fisher's exact test of a 2 x 2 table: the probability of all tables with its margins that are no
// more probable than it is (Fisher 1935; R's fisher.test, two-sided). Whole counts.
double FisherP(double a, double b, double c, double d);

// The share of `replicates` random tables with the same margins whose chi-square is at least that
// of the table, the table itself included: (1 + count) / (1 + replicates) (Hope 1968). Equal seeds
// give equal results. counts: rows x columns whole counts, no row or column empty.
double MonteCarloP(std::span<const double> counts, std::size_t rows, std::size_t columns, int replicates,
                   std::uint64_t seed);

}  // namespace velmora::stats
