#include "workbench/ranking/case_groups.h"

#include <algorithm>
#include <cmath>

#include "base/interval_width.h"
#include "base/tolerant.h"
#include "base/vector_dispatch.h"
#include "workbench/data/absent_value.h"

namespace velmora::ranking {
namespace {

// Above this share of the cases in one interval, the others hold too few to show a relation.
constexpr double kCrowdedShare = 0.9;

// How many of the limits are below each value. A pass for each limit, over values that stay in the
// nearest cache, has no branch that depends on them.
VELMORA_INLINE void CountBelowBody(const double* limits, std::size_t limitCount, const double* values,
                                   std::size_t count, std::uint32_t* below) {
  constexpr std::size_t kBlock = 1024;
  for (std::size_t first = 0; first < count; first += kBlock) {
    const std::size_t end = std::min(count, first + kBlock);
    std::fill(below + first, below + end, 0U);
    for (std::size_t k = 0; k < limitCount; ++k) {
      const double limit = limits[k];
      for (std::size_t i = first; i < end; ++i) below[i] += values[i] > limit ? 1 : 0;
    }
  }
}
VELMORA_DISPATCH(void, CountBelow,
                 (const double* limits, std::size_t limitCount, const double* values, std::size_t count,
                  std::uint32_t* below),
                 CountBelowBody, (limits, limitCount, values, count, below))

}  // namespace

void Moments::Add(double value, double its) {
  if (!(its > 0)) return;
  mass += its;
  const double step = value - mean;
  mean += step * its / mass;
  squares += its * step * (value - mean);
}

// Chan, Golub and LeVeque 1983, doi:10.1080/00031305.1983.10483115.
void Moments::Merge(const Moments& other) {
  if (!(other.mass > 0)) return;
  if (!(mass > 0)) {
    *this = other;
    return;
  }
  const double step = other.mean - mean, both = mass + other.mass;
  squares += other.squares + step * step * (mass / both) * other.mass;
  mean += step * (other.mass / both);
  mass = both;
}

// A bound is the smallest value that leaves at least its share of the mass at or below it.
std::vector<double> QuantileBounds(std::span<const ValueMass> values, int intervals) {
  double total = 0;
  for (const ValueMass& value : values) total += value.mass;
  std::vector<double> bounds;
  double below = 0;
  int next = 1;
  for (std::size_t d = 0; d + 1 < values.size(); ++d) {
    below += values[d].mass;
    const int reached = static_cast<int>(std::floor(below / total * intervals * (1 + 1e-12)));
    if (reached < next) continue;
    bounds.push_back(values[d].highest);
    next = reached + 1;
  }
  return bounds;
}

std::vector<double> EqualWidthBounds(double lowest, const Moments& moments, int intervals) {
  const double variance =
      vlm::NearlyEqual(moments.mass, 1.0) ? moments.squares : moments.squares / (moments.mass - 1);
  const double lower = std::min(lowest, moments.mean - vlm::IntervalQuantile() * std::sqrt(variance));
  const double width = vlm::IntervalWidth(variance, intervals);
  std::vector<double> bounds;
  for (int i = 0; i + 1 < intervals; ++i) bounds.push_back(lower + (i + 1.0) * width);
  return bounds;
}

void CaseGrouper::Sort(const Column& column) {
  stats::SortColumn(column.values, column.missingCode, used_, scratch_, order_);
  groups_.distinctValues = order_.DistinctCount();
  groups_.cases = static_cast<std::int64_t>(order_.CaseCount());
  groups_.crowded.reset();
}

double CaseGrouper::MassOf(std::size_t position) const {
  return mass_.empty() ? 1.0 : mass_[order_.cases[position]];
}

const CaseGroups& CaseGrouper::Group(const Column& column) {
  Sort(column);
  const std::size_t count = order_.DistinctCount();
  groups_.count = static_cast<std::uint32_t>(count);
  groups_.groupOf.assign(column.values.size(), groups_.count);
  for (std::size_t d = 0; d < count; ++d) {
    for (auto at = order_.starts[d]; at < order_.starts[d + 1]; ++at)
      groups_.groupOf[order_.cases[static_cast<std::size_t>(at)]] = static_cast<std::uint32_t>(d);
  }
  return groups_;
}

const CaseGroups& CaseGrouper::Group(const Column& column, const IntervalRule& rule) {
  Sort(column);
  Assign(column, rule.method == IntervalMethod::kEqualWidth ? EqualWidthBounds(column, rule.intervals)
                                                            : QuantileBounds(column, rule.intervals));
  if (rule.method == IntervalMethod::kEqualWidth) FindCrowded(column);
  return groups_;
}

void CaseGrouper::Assign(const Column& column, const std::vector<double>& highest) {
  std::vector<double> limits;  // the largest value of each group but the last
  std::uint32_t group = 0;
  bool any = false;  // the group has cases
  std::size_t bound = 0;
  for (std::size_t d = 0; d < order_.DistinctCount(); ++d) {
    const double value = order_.Value(column.values, d);
    while (bound < highest.size() && vlm::GreaterBeyondTolerance(value, highest[bound])) {
      ++bound;
      if (any) limits.push_back(order_.HighestValue(column.values, d - 1));
      if (any) ++group;
      any = false;
    }
    any = true;
  }
  groups_.count = order_.DistinctCount() == 0 ? 0 : group + 1;
  groups_.groupOf.resize(column.values.size());
  constexpr std::size_t kMostCounted = 64;  // for more, a binary search takes fewer steps
  if (limits.size() <= kMostCounted) {
    CountBelow(limits.data(), limits.size(), column.values.data(), column.values.size(),
               groups_.groupOf.data());
  } else {
    std::transform(column.values.begin(), column.values.end(), groups_.groupOf.begin(), [&](double value) {
      return static_cast<std::uint32_t>(std::lower_bound(limits.begin(), limits.end(), value) -
                                        limits.begin());
    });
  }
  if (order_.CaseCount() == column.values.size()) return;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    if (used_[i] == 0 || IsAbsent(column, i)) groups_.groupOf[i] = groups_.count;
  }
}

std::vector<double> CaseGrouper::QuantileBounds(const Column& column, int intervals) const {
  std::vector<ValueMass> values(order_.DistinctCount());
  for (std::size_t d = 0; d < values.size(); ++d) {
    values[d].highest = order_.HighestValue(column.values, d);
    if (mass_.empty()) values[d].mass = static_cast<double>(order_.starts[d + 1] - order_.starts[d]);
    for (auto at = order_.starts[d]; !mass_.empty() && at < order_.starts[d + 1]; ++at)
      values[d].mass += MassOf(static_cast<std::size_t>(at));
  }
  return ranking::QuantileBounds(values, intervals);
}

std::vector<double> CaseGrouper::EqualWidthBounds(const Column& column, int intervals) const {
  if (order_.DistinctCount() == 0) return {};
  Moments moments;
  for (std::size_t i = 0; i < order_.CaseCount(); ++i) moments.Add(column.values[order_.cases[i]], MassOf(i));
  return ranking::EqualWidthBounds(order_.Value(column.values, 0), moments, intervals);
}

void CaseGrouper::FindCrowded(const Column& column) {
  const std::size_t distinct = order_.DistinctCount();
  if (distinct < 3) return;
  std::vector<std::int64_t> counts(groups_.count);
  for (const std::uint32_t at : order_.cases) ++counts[groups_.groupOf[at]];
  CrowdedIntervals crowded;
  crowded.share = static_cast<double>(*std::max_element(counts.begin(), counts.end())) /
                  static_cast<double>(groups_.cases);
  if (crowded.share <= kCrowdedShare) return;
  const double median = column.values[order_.cases[order_.CaseCount() / 2]];
  const double lowest = order_.Value(column.values, 0);
  const double highest = order_.Value(column.values, distinct - 1);
  const bool above = highest - median >= median - lowest;
  crowded.farValue = above ? highest : lowest;
  const std::size_t d = above ? distinct - 1 : 0;
  crowded.farCases = order_.starts[d + 1] - order_.starts[d];
  groups_.crowded = crowded;
}

}  // namespace velmora::ranking
