#include "workbench/stats/kernel_density.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmora::stats {
namespace {

constexpr double kDirectPairs = 1e7;
constexpr double kCellsPerBandwidth = 128;
constexpr double kLongestGrid = 4e6;
constexpr double kReach = 9;  // bandwidths
constexpr double kRootTwoPi = 2.5066282746310002;

double Kernel(double gap) { return std::exp(-0.5 * gap * gap); }

// The sum over ascending values near each point.
void SumNear(const std::vector<double>& ascending, double h, std::span<const double> points,
             std::span<double> sums) {
  for (std::size_t k = 0; k < points.size(); ++k) {
    auto at = std::lower_bound(ascending.begin(), ascending.end(), points[k] - kReach * h);
    for (sums[k] = 0; at != ascending.end() && *at <= points[k] + kReach * h; ++at)
      sums[k] += Kernel((points[k] - *at) / h);
  }
}

void SumOverGrid(const std::vector<double>& values, double minimum, double h, std::size_t cells,
                 std::span<const double> points, std::span<double> sums) {
  const double width = h / kCellsPerBandwidth;
  std::vector<double> mass(cells + 1);
  for (const double value : values) {
    const double place = (value - minimum) / width;
    const std::size_t cell = std::min(static_cast<std::size_t>(place), cells - 1);
    const double right = place - static_cast<double>(cell);
    mass[cell] += 1 - right;
    mass[cell + 1] += right;
  }
  for (std::size_t k = 0; k < points.size(); ++k) {
    const double place = (points[k] - minimum) / width;
    const double first = std::max(0.0, std::ceil(place - kReach * kCellsPerBandwidth));
    const double last = std::min(static_cast<double>(cells), std::floor(place + kReach * kCellsPerBandwidth));
    sums[k] = 0;
    for (double cell = first; cell <= last; ++cell) {
      const double here = mass[static_cast<std::size_t>(cell)];
      if (here != 0) sums[k] += here * Kernel((place - cell) / kCellsPerBandwidth);
    }
  }
}

}  // namespace

void GaussianDensity(std::span<const double> values, double bandwidth, std::span<const double> points,
                     std::span<double> densities) {
  std::fill(densities.begin(), densities.end(), 0.0);
  std::vector<double> finite;
  finite.reserve(values.size());
  std::copy_if(values.begin(), values.end(), std::back_inserter(finite),
               [](double v) { return std::isfinite(v); });
  if (finite.empty() || !(bandwidth > 0) || !std::isfinite(bandwidth)) return;
  const auto [minimum, maximum] = std::minmax_element(finite.begin(), finite.end());
  const double cells = std::ceil((*maximum - *minimum) / (bandwidth / kCellsPerBandwidth)) + 1;
  if (static_cast<double>(finite.size()) * static_cast<double>(points.size()) <= kDirectPairs) {
    for (std::size_t k = 0; k < points.size(); ++k)
      for (const double value : finite) densities[k] += Kernel((points[k] - value) / bandwidth);
  } else if (cells <= kLongestGrid) {
    SumOverGrid(finite, *minimum, bandwidth, static_cast<std::size_t>(cells), points, densities);
  } else {
    std::sort(finite.begin(), finite.end());
    SumNear(finite, bandwidth, points, densities);
  }
  for (double& density : densities) density /= static_cast<double>(finite.size()) * bandwidth * kRootTwoPi;
}

void DensityPoints(double minimum, double maximum, std::span<double> points) {
  const double steps = std::max<double>(1, static_cast<double>(points.size()) - 1);
  for (std::size_t k = 0; k < points.size(); ++k)
    points[k] = minimum + (maximum - minimum) * (static_cast<double>(k) / steps);
}

}  // namespace velmora::stats
