#include "workbench/stats/descriptives.h"

#include <algorithm>
#include <cmath>

#include "workbench/stats/distributions.h"
#include "workbench/stats/missing.h"

namespace velmora::stats {
namespace {

// Valid cases gathered by group: those of group g stand at [starts[g], starts[g + 1]), in case order.
struct Grouped {
  std::vector<std::size_t> starts;
  std::vector<double> values;
  std::vector<double> weights;  // empty without weights
};

template <class GroupOf>
Grouped Gather(std::span<const double> column, double missingCode, std::span<const double> weights,
               std::size_t groups, GroupOf groupOf) {
  const MissingRange missing(missingCode);
  const auto valid = [&](std::size_t i) {
    return groupOf(i) >= 0 && !missing.Absent(column[i]) &&
           (weights.empty() || (weights[i] > 0 && std::isfinite(weights[i])));
  };
  Grouped grouped;
  grouped.starts.assign(groups + 2, 0);
  for (std::size_t i = 0; i < column.size(); ++i)
    if (valid(i)) ++grouped.starts[static_cast<std::size_t>(groupOf(i)) + 2];
  for (std::size_t g = 2; g < grouped.starts.size(); ++g) grouped.starts[g] += grouped.starts[g - 1];
  grouped.values.resize(grouped.starts.back());
  if (!weights.empty()) grouped.weights.resize(grouped.values.size());
  // Entry g + 1 is the next free place of group g, and in the end the first of group g + 1.
  for (std::size_t i = 0; i < column.size(); ++i) {
    if (!valid(i)) continue;
    const std::size_t place = grouped.starts[static_cast<std::size_t>(groupOf(i)) + 1]++;
    grouped.values[place] = column[i] + 0.0;
    if (!weights.empty()) grouped.weights[place] = weights[i];
  }
  grouped.starts.pop_back();
  return grouped;
}

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

void AddQuartiles(std::span<double> values, std::span<const double> weights, Summary& summary) {
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

// From minimum, maximum, weight and the sum of squares about a first rounding of the mean. rest: what the deviations
// from it sum to, which corrects both.
void Finish(double mean, double rest, double confidence, Summary& summary) {
  summary.squares -= rest * rest / summary.weight;
  if (summary.squares < 0) summary.squares = 0;  // rounding; not a number stays so
  summary.mean = summary.minimum == summary.maximum ? summary.minimum : mean + rest / summary.weight;
  if (summary.minimum == summary.maximum) summary.squares = 0;
  AddLimits(confidence, summary);
}

// values may be rearranged.
Summary SummaryOf(std::span<double> values, std::span<const double> weights, const SummaryOptions& options) {
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
  const double mean = sum / summary.weight;
  double rest = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double gap = values[i] - mean;
    rest += weightAt(i) * gap;
    summary.squares += weightAt(i) * gap * gap;
  }
  Finish(mean, rest, options.confidence, summary);
  if (options.quartiles) AddQuartiles(values, weights, summary);
  return summary;
}

}  // namespace

Summary Summarize(std::span<const double> column, double missingCode, std::span<const std::uint8_t> selected,
                  std::span<const double> weights, const SummaryOptions& options) {
  Grouped grouped = Gather(column, missingCode, weights, 1, [&](std::size_t i) {
    return selected.empty() || selected[i] != 0 ? 0 : kNoLevel;
  });
  return SummaryOf(grouped.values, grouped.weights, options);
}

Summary SummarizeInPlace(std::span<double> values, const SummaryOptions& options) {
  return SummaryOf(values, {}, options);
}

Breakdown BreakDown(std::span<const double> column, double missingCode, const Coding& grouping,
                    std::span<const double> weights, const SummaryOptions& options) {
  Grouped grouped = Gather(column, missingCode, weights, grouping.LevelCount(),
                           [&](std::size_t i) { return grouping.levelOf[i]; });
  Breakdown breakdown;
  const std::span<double> values = grouped.values;
  const std::span<const double> gatheredWeights = grouped.weights;
  for (std::size_t g = 0; g < grouping.LevelCount(); ++g) {
    const std::size_t first = grouped.starts[g];
    const std::size_t count = grouped.starts[g + 1] - first;
    // Quartiles may rearrange the values of a group, but within the group and only where there are no
    // weights.
    breakdown.levels.push_back(
        SummaryOf(values.subspan(first, count),
                  weights.empty() ? gatheredWeights : gatheredWeights.subspan(first, count), options));
  }
  breakdown.total = SummaryOf(values, gatheredWeights, options);
  return breakdown;
}

// Sums of a level and of all values are two chains of additions, each in the order of the values, which the processor
// works on side by side.
Breakdown BreakDownRanges(std::span<const double> values, std::span<const std::size_t> ends) {
  Breakdown breakdown;
  breakdown.levels.resize(ends.size());
  Summary& total = breakdown.total;
  std::vector<double> means(ends.size());
  double totalSum = 0;
  for (std::size_t level = 0, i = 0; level < ends.size(); ++level) {
    Summary& summary = breakdown.levels[level];
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
    means[level] = sum / summary.weight;
  }
  if (total.cases == 0) return breakdown;
  total.weight = static_cast<double>(total.cases);
  const double totalMean = totalSum / total.weight;
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
    Finish(mean, rest, SummaryOptions{}.confidence, breakdown.levels[level]);
  }
  total.squares = totalSquares;
  Finish(totalMean, totalRest, SummaryOptions{}.confidence, total);
  return breakdown;
}

}  // namespace velmora::stats
