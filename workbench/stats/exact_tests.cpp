#include "workbench/stats/exact_tests.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/split_mix.h"

namespace velmora::stats {
namespace {

// Probabilities this close to that of the table count as equal to it: they differ by rounding
// alone.
constexpr double kEqual = 1 + 1e-7;

class LogFactorials {
 public:
  explicit LogFactorials(std::size_t most) : values_(most + 1) {
    for (std::size_t k = 2; k <= most; ++k) values_[k] = values_[k - 1] + std::log(static_cast<double>(k));
  }
  double operator()(std::int64_t k) const { return values_[static_cast<std::size_t>(k)]; }

 private:
  std::vector<double> values_;
};

// The number of marked ones among `draws` of `population`, of which `marked` are marked: inversion
// from the mode outwards, in about as many steps as the standard deviation.
std::int64_t DrawHypergeometric(const LogFactorials& logs, std::int64_t population, std::int64_t marked,
                                std::int64_t draws, vlm::SplitMix& random) {
  const std::int64_t least = std::max<std::int64_t>(0, draws + marked - population);
  const std::int64_t most = std::min(draws, marked);
  if (least == most) return least;
  const std::int64_t others = population - marked;
  const auto mode =
      static_cast<std::int64_t>((static_cast<double>(draws) + 1) * (static_cast<double>(marked) + 1) /
                                (static_cast<double>(population) + 2));
  const std::int64_t start = std::clamp(mode, least, most);
  const double atStart =
      std::exp(logs(marked) - logs(start) - logs(marked - start) + logs(others) - logs(draws - start) -
               logs(others - draws + start) - logs(population) + logs(draws) + logs(population - draws));
  double left = random.Share() - atStart;
  double below = atStart, above = atStart;
  std::int64_t low = start, high = start;
  while (left > 0 && (low > least || high < most)) {
    if (high < most) {
      above *= static_cast<double>(marked - high) * static_cast<double>(draws - high) /
               (static_cast<double>(high + 1) * static_cast<double>(others - draws + high + 1));
      ++high;
      left -= above;
      if (left <= 0) return high;
    }
    if (low > least) {
      below *= static_cast<double>(low) * static_cast<double>(others - draws + low) /
               (static_cast<double>(marked - low + 1) * static_cast<double>(draws - low + 1));
      --low;
      left -= below;
      if (left <= 0) return low;
    }
  }
  return start;
}

}  // namespace

double FisherP(double a, double b, double c, double d) {
  const auto row = static_cast<std::int64_t>(a + b), column = static_cast<std::int64_t>(a + c);
  const auto total = static_cast<std::int64_t>(a + b + c + d);
  const LogFactorials logs(static_cast<std::size_t>(total));
  const auto logP = [&](std::int64_t x) {
    return -logs(x) - logs(row - x) - logs(column - x) - logs(total - row - column + x);
  };
  const double observed = logP(static_cast<std::int64_t>(a));
  // Probabilities are relative to that of the table, so that none underflows before it is added.
  double extreme = 0, all = 0;
  for (std::int64_t x = std::max<std::int64_t>(0, row + column - total); x <= std::min(row, column); ++x) {
    const double relative = std::exp(logP(x) - observed);
    all += relative;
    if (relative <= kEqual) extreme += relative;
  }
  return std::min(1.0, extreme / all);
}

double MonteCarloP(std::span<const double> counts, std::size_t rows, std::size_t columns, int replicates,
                   std::uint64_t seed) {
  std::vector<std::int64_t> rowTotals(rows), columnTotals(columns);
  std::int64_t total = 0;
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) {
      const auto count = static_cast<std::int64_t>(counts[i * columns + j]);
      rowTotals[i] += count;
      columnTotals[j] += count;
      total += count;
    }
  }
  // With the margins given, chi-square rises with the sum of count^2 / (row total x column total).
  const auto part = [&](std::size_t i, std::size_t j, double count) {
    return count * count / (static_cast<double>(rowTotals[i]) * static_cast<double>(columnTotals[j]));
  };
  double observed = 0;
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) observed += part(i, j, counts[i * columns + j]);
  }
  const LogFactorials logs(static_cast<std::size_t>(total));
  vlm::SplitMix random(seed);
  std::vector<std::int64_t> left(columns);
  int extreme = 0;
  for (int replicate = 0; replicate < replicates; ++replicate) {
    left = columnTotals;
    std::int64_t population = total;
    double sum = 0;
    // Row by row, each a draw without replacement from the remaining counts of the columns
    // (Patefield 1981, algorithm AS 159, doi:10.2307/2346669, draws the same tables).
    for (std::size_t i = 0; i < rows; ++i) {
      std::int64_t toDraw = rowTotals[i], among = population;
      for (std::size_t j = 0; j < columns; ++j) {
        const std::int64_t drawn =
            j + 1 == columns ? toDraw : DrawHypergeometric(logs, among, left[j], toDraw, random);
        among -= left[j];
        left[j] -= drawn;
        toDraw -= drawn;
        sum += part(i, j, static_cast<double>(drawn));
      }
      population -= rowTotals[i];
    }
    if (sum * kEqual >= observed) ++extreme;
  }
  return (extreme + 1.0) / (replicates + 1.0);
}

}  // namespace velmora::stats
