#include "workbench/stats/descriptives.h"

#include <algorithm>
#include <cmath>

#include "workbench/stats/distributions.h"

namespace velmora::stats {
namespace {

double QuantileOf(std::span<double> values, double share) {
  const double place = share * static_cast<double>(values.size());
  const auto whole = static_cast<std::size_t>(place);
  const bool exact = static_cast<double>(whole) == place;
  const std::size_t at = exact ? whole - 1 : whole;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
  if (!exact) return values[at];
  const double next = *std::min_element(values.begin() + static_cast<std::ptrdiff_t>(at) + 1, values.end());
  return 0.5 * values[at] + 0.5 * next;
}

double WeightedQuantile(std::span<const std::pair<double, double>> ascending, double wanted) {
  double below = 0;
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    below += ascending[i].second;
    if (below > wanted || i + 1 == ascending.size()) return ascending[i].first;
    if (below == wanted) return 0.5 * ascending[i].first + 0.5 * ascending[i + 1].first;
  }
  return Summary::kNone;
}

double SortedQuantile(std::span<const double> ascending, std::size_t quarters) {
  const std::size_t count = ascending.size();
  const std::size_t place = count * quarters / 4;
  if (count * quarters % 4 != 0) return ascending[place];
  const double middle = (ascending[place - 1] + ascending[place]) / 2;
  return std::isfinite(middle) ? middle : ascending[place - 1] / 2 + ascending[place] / 2;
}

void AddQuartiles(std::span<double> values, std::span<const double> weights, bool ascendingValues,
                  Summary& summary) {
  if (weights.empty() && ascendingValues) {
    summary.lowerQuartile = SortedQuantile(values, 1);
    summary.median = SortedQuantile(values, 2);
    summary.upperQuartile = SortedQuantile(values, 3);
    return;
  }
  if (weights.empty()) {
    summary.median = QuantileOf(values, 0.5);
    summary.lowerQuartile = QuantileOf(values, 0.25);
    summary.upperQuartile = QuantileOf(values, 0.75);
    return;
  }
  std::vector<std::pair<double, double>> ascending(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) ascending[i] = {values[i], weights[i]};
  std::sort(ascending.begin(), ascending.end());
  double total = 0;  // in the order in which the quantiles add it up
  for (const auto& [value, weight] : ascending) total += weight;
  summary.lowerQuartile = WeightedQuantile(ascending, 0.25 * total);
  summary.median = WeightedQuantile(ascending, 0.5 * total);
  summary.upperQuartile = WeightedQuantile(ascending, 0.75 * total);
}

void AddLimits(double confidence, Summary& summary) {
  if (!(summary.weight > 1)) return;
  summary.variance = summary.squares / (summary.weight - 1);
  summary.standardDeviation = std::sqrt(summary.variance);
  const double t = StudentQuantile(0.5 + confidence / 2, summary.weight - 1);
  const double reach = t * summary.standardDeviation / std::sqrt(summary.weight);
  summary.lowerLimit = summary.mean - reach;
  summary.upperLimit = summary.mean + reach;
}

// sum: of the weighted values. It may overflow although the mean does not.
double MeanFrom(double sum, double weight, std::span<const double> values, std::span<const double> weights) {
  if (std::isfinite(sum)) return sum / weight;
  double share = 0;
  for (std::size_t i = 0; i < values.size(); ++i)
    share += (weights.empty() ? 1 : weights[i]) / weight * values[i];
  return share;
}

// From minimum, maximum, weight and the sum of squares about a first rounding of the mean. rest:
// the sum of the deviations from it, which corrects both.
void Finish(double mean, double rest, double confidence, Summary& summary) {
  if (!std::isfinite(rest)) rest = 0;  // deviations beyond all doubles leave the mean as it is
  summary.squares -= rest * rest / summary.weight;
  if (summary.squares < 0) summary.squares = 0;  // by rounding; a NaN is kept
  summary.mean = summary.minimum == summary.maximum ? summary.minimum : mean + rest / summary.weight;
  if (summary.minimum == summary.maximum) summary.squares = 0;
  AddLimits(confidence, summary);
}

// Everything but quartiles.
Summary Moments(std::span<const double> values, std::span<const double> weights, double confidence) {
  Summary summary;
  summary.cases = static_cast<std::int64_t>(values.size());
  if (values.empty()) return summary;
  const auto weightAt = [&](std::size_t i) { return weights.empty() ? 1.0 : weights[i]; };
  summary.minimum = summary.maximum = values[0];
  double sum = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    summary.minimum = std::min(summary.minimum, values[i]);
    summary.maximum = std::max(summary.maximum, values[i]);
    summary.weight += weightAt(i);
    sum += weightAt(i) * values[i];
  }
  const double mean = MeanFrom(sum, summary.weight, values, weights);
  double rest = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double gap = values[i] - mean;
    rest += weightAt(i) * gap;
    summary.squares += weightAt(i) * gap * gap;
  }
  Finish(mean, rest, confidence, summary);
  return summary;
}

// Without weights and quartiles. Sums of a level and of all values are two chains of additions,
// each in the order of the values, which the processor works on side by side.
Breakdown BreakDownPlainly(std::span<const double> values, std::span<const std::size_t> ends,
                           double confidence) {
  Breakdown breakdown;
  breakdown.levels.resize(ends.size());
  Summary& total = breakdown.total;
  std::vector<double> means(ends.size());
  double totalSum = 0;
  for (std::size_t level = 0, i = 0; level < ends.size(); ++level) {
    Summary& summary = breakdown.levels[level];
    const std::size_t first = i;
    if (i == ends[level]) continue;
    summary.cases = static_cast<std::int64_t>(ends[level] - i);
    summary.weight = static_cast<double>(ends[level] - i);
    double minimum = values[i], maximum = values[i], sum = 0;
    for (; i < ends[level]; ++i) {
      minimum = std::min(minimum, values[i]);
      maximum = std::max(maximum, values[i]);
      sum += values[i];
      totalSum += values[i];
    }
    summary.minimum = minimum;
    summary.maximum = maximum;
    total.minimum = total.cases == 0 ? minimum : std::min(total.minimum, minimum);
    total.maximum = total.cases == 0 ? maximum : std::max(total.maximum, maximum);
    total.cases += summary.cases;
    means[level] = MeanFrom(sum, summary.weight, values.subspan(first, i - first), {});
  }
  if (total.cases == 0) return breakdown;
  total.weight = static_cast<double>(total.cases);
  const double totalMean = MeanFrom(totalSum, total.weight, values.first(ends.back()), {});
  double totalRest = 0, totalSquares = 0;
  for (std::size_t level = 0, i = 0; level < ends.size(); ++level) {
    if (i == ends[level]) continue;
    const double mean = means[level];
    double rest = 0, squares = 0;
    for (; i < ends[level]; ++i) {
      const double gap = values[i] - mean, totalGap = values[i] - totalMean;
      rest += gap;
      squares += gap * gap;
      totalRest += totalGap;
      totalSquares += totalGap * totalGap;
    }
    breakdown.levels[level].squares = squares;
    Finish(mean, rest, confidence, breakdown.levels[level]);
  }
  total.squares = totalSquares;
  Finish(totalMean, totalRest, confidence, total);
  return breakdown;
}

// value x 2^-exponent, exact except for values that are negligible beside the largest.
std::vector<double> Scaled(std::span<const double> values) {
  double largest = 0;
  for (const double value : values) largest = std::max(largest, std::fabs(value));
  const int exponent = largest > 0 ? std::max(std::ilogb(largest), -1021) : 0;
  std::vector<double> scaled(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) scaled[i] = std::ldexp(values[i], -exponent);
  return scaled;
}

// f(level, first value, number of values) for each level.
template <class Function>
void VisitLevels(std::span<const std::size_t> ends, Function function) {
  for (std::size_t level = 0, first = 0; level < ends.size(); first = ends[level++])
    function(level, first, ends[level] - first);
}

}  // namespace

Summary Summarize(std::span<double> values, std::span<const double> weights, const SummaryOptions& options) {
  Summary summary = Moments(values, weights, options.confidence);
  if (options.quartiles && !values.empty()) AddQuartiles(values, weights, options.ascending, summary);
  return summary;
}

Breakdown BreakDown(std::span<double> values, std::span<const double> weights,
                    std::span<const std::size_t> ends, const SummaryOptions& options) {
  if (weights.empty() && !options.quartiles) return BreakDownPlainly(values, ends, options.confidence);
  Breakdown breakdown;
  breakdown.levels.resize(ends.size());
  // Quartiles come last because they rearrange values: those of a level within the level,
  // those of the total everywhere.
  breakdown.total = Moments(values, weights, options.confidence);
  VisitLevels(ends, [&](std::size_t level, std::size_t first, std::size_t count) {
    breakdown.levels[level] = Summarize(values.subspan(first, count),
                                        weights.empty() ? weights : weights.subspan(first, count), options);
  });
  if (options.quartiles && !values.empty()) AddQuartiles(values, weights, options.ascending, breakdown.total);
  return breakdown;
}

std::vector<double> WithinShares(std::span<const double> values, std::span<const double> weights,
                                 std::span<const std::size_t> ends) {
  const std::vector<double> scaled = Scaled(values);
  const std::vector<double> scaledWeights = Scaled(weights);
  const std::span<const double> all = scaled, allWeights = scaledWeights;
  const double total = Moments(all, allWeights, SummaryOptions{}.confidence).squares;
  std::vector<double> shares(ends.size(), Summary::kNone);
  if (!(total > 0)) return shares;
  VisitLevels(ends, [&](std::size_t level, std::size_t first, std::size_t count) {
    const Summary summary =
        Moments(all.subspan(first, count), allWeights.empty() ? allWeights : allWeights.subspan(first, count),
                SummaryOptions{}.confidence);
    shares[level] = summary.squares / total;
  });
  return shares;
}

}  // namespace velmora::stats
