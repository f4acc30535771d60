// Descriptive statistics of values, as a whole or by levels.
//
//   const Breakdown byBin = BreakDown(values, {}, ends);
//   Use(byBin.levels[0].mean, byBin.total.variance);
//
// Case weights are frequencies: a weight of 2 is a case twice. A group that has too few cases for a
// figure has NaN there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace velmora::stats {

struct Summary {
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  std::int64_t cases = 0;  // unweighted
  double weight = 0;       // valid n: sum of the weights; the number of cases without weights
  double mean = kNone;
  double variance = kNone;  // divisor weight - 1; NaN where that is not above 0
  double standardDeviation = kNone;
  double squares = 0;  // sum of squares about the mean
  double minimum = kNone;
  double maximum = kNone;
  // Limits of the mean, from Student's t with weight - 1 degrees of freedom.
  double lowerLimit = kNone;
  double upperLimit = kNone;
  // The smallest value with at least the share of the weight at or below it, averaged with the next
  // value if it is exactly the share (definition 2 of Hyndman and Fan 1996, doi:10.2307/2684934).
  // Only on request.
  double lowerQuartile = kNone;
  double median = kNone;
  double upperQuartile = kNone;
};

struct SummaryOptions {
  bool quartiles = false;
  bool ascending = false;  // the values are ascending, so quartiles need no search
  double confidence = 0.95;
};

// values: none missing, none NaN; rearranged for quartiles. weights: one per value, finite and
// above 0; empty: every value counts once.
Summary Summarize(std::span<double> values, std::span<const double> weights,
                  const SummaryOptions& options = {});

struct Breakdown {
  std::vector<Summary> levels;
  Summary total;  // of all values
};

// values and weights as above, level by level: level l ends before ends[l], where the next one
// begins.
Breakdown BreakDown(std::span<double> values, std::span<const double> weights,
                    std::span<const std::size_t> ends, const SummaryOptions& options = {});

// The sum of squares of each level about its own mean, as a share of the sum of squares of all
// values about theirs; NaN for all levels where the values are equal. Right for values and weights
// of any unit, also where the sums of squares themselves would overflow or vanish: values are
// scaled by a power of two first.
std::vector<double> WithinShares(std::span<const double> values, std::span<const double> weights,
                                 std::span<const std::size_t> ends);

}  // namespace velmora::stats
