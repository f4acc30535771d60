// Density estimates with the Gaussian kernel (Rosenblatt 1956, doi:10.1214/aoms/1177728190):
//   f(x) = 1 / (n h sqrt(2 pi)) sum of exp(-((x - v) / h)^2 / 2).
#pragma once

#include <cstddef>
#include <span>

namespace velmora::stats {

inline constexpr std::size_t kDensityPoints = 256;

// densities[k] := f(points[k]). Values that are not finite are left out. All densities are 0 where
// no value is left or the bandwidth is not above 0: there is no curve then. Up to about 10 million
// pairs of value and point the sum is exact. Above that, values are distributed over a grid of h /
// 128, each to its two neighbours, which changes a density by less than 1e-5 of the curve's highest
// possible value 1 / (h sqrt(2 pi)); where the grid would be longer than 4 million cells, only the
// values within 9 h of a point are summed, which leaves out less than 1e-17 of that value.
void GaussianDensity(std::span<const double> values, double bandwidth, std::span<const double> points,
                     std::span<double> densities);

// points: evenly spaced from minimum to maximum, both included.
void DensityPoints(double minimum, double maximum, std::span<double> points);

}  // namespace velmora::stats
