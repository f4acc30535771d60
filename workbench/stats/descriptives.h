// Descriptive statistics of a column, as a whole or by the levels of a coded one.
//
// Case weights are frequencies: a weight of 2 is a case twice. Cases whose weight is not finite and above 0
// are left out. Whatever a group has too few cases for is NaN.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "workbench/stats/coding.h"

namespace velmora::stats {

struct Summary {
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  std::int64_t cases = 0;  // valid, unweighted
  double weight = 0;       // valid n: sum of the weights; the number of cases without weights
  double mean = kNone;
  double variance = kNone;  // divisor weight - 1; NaN where that is not above 0
  double standardDeviation = kNone;
  double squares = 0;  // sum of squares about the mean
  double minimum = kNone;
  double maximum = kNone;
  // Of the mean, from Student's t with weight - 1 degrees of freedom.
  double lowerLimit = kNone;
  double upperLimit = kNone;
  // Smallest value that leaves at least the share below or at it, averaged with the next one where it leaves
  // exactly the share (definition 2 of Hyndman and Fan 1996, doi:10.2307/2684934). Only on request.
  double lowerQuartile = kNone;
  double median = kNone;
  double upperQuartile = kNone;
};

struct SummaryOptions {
  bool quartiles = false;
  double confidence = 0.95;
};

// The cases that selected lets through (empty: all) and whose value is neither missing nor NaN.
Summary Summarize(std::span<const double> column, double missingCode,
                  std::span<const std::uint8_t> selected = {}, std::span<const double> weights = {},
                  const SummaryOptions& options = {});

// Of values that are all valid, and may be rearranged; without weights.
Summary SummarizeInPlace(std::span<double> values, const SummaryOptions& options = {});

struct Breakdown {
  std::vector<Summary> levels;  // one a level of the grouping, in its order
  Summary total;                // of all cases that have a level
};

// Several columns are broken down one by one; a case counts for a column where it has a level and a valid
// value.
Breakdown BreakDown(std::span<const double> column, double missingCode, const Coding& grouping,
                    std::span<const double> weights = {}, const SummaryOptions& options = {});

// The same over values that are all valid and stand in their levels' order, without weights and quartiles: level l
// ends before ends[l], where the next one begins. One walk serves levels and total.
Breakdown BreakDownRanges(std::span<const double> values, std::span<const std::size_t> ends);

}  // namespace velmora::stats
