// The one-way analysis of variance of one (continuous dependent, predictor) pair.
#pragma once

#include <cstdint>
#include <span>

#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

struct OneWayResult {
  double betweenSum = 0.0;  // sum of squares between groups
  double withinSum = 0.0;   // and within them
  double count = 0.0;       // cases by the count variable; weights do not enter
  int groups = 0;
};

// Merges the groups that have cases, in the given order, by Welford's update with a group in place
// of a case. Unlike sums of squares this does not cancel.
inline OneWayResult MergeGroups(std::span<const GroupMoments> groups, std::span<const std::uint32_t> order) {
  OneWayResult result;
  double weight = 0.0;
  double mean = 0.0;
  for (const std::uint32_t slot : order) {
    if (slot >= groups.size()) continue;
    const GroupMoments& group = groups[slot];
    if (group.count == 0.0) continue;  // exactly: a met group's count is at least 1
    const double d = (group.mean - mean) * group.weight;
    result.count += group.count;
    weight += group.weight;
    mean += d / weight;
    result.betweenSum += (group.mean - mean) * d;
    result.withinSum += group.sumOfSquares;
    ++result.groups;
  }
  return result;
}

}  // namespace vlmfsl
