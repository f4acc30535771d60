// Trees over bins that the user gives.
#include <algorithm>
#include <cmath>

#include "workbench/stats/missing.h"
#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

// The first item for which isBefore is false; it is true for all items before.
template <class IsBefore>
std::int32_t FirstItem(const TreeItems& items, IsBefore isBefore) {
  std::int32_t low = 0;
  for (std::int32_t high = items.Count(); low < high;) {
    const std::int32_t middle = low + (high - low) / 2;
    if (isBefore(middle))
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

// The item of a level, within the tolerance; items.Count() when there is none.
std::int32_t FindLevel(const TreeItems& items, double level) {
  if (!std::isfinite(level)) return items.Count();
  const std::int32_t item = FirstItem(items, [&](std::int32_t one) {
    return items.Highest(one) < level && !NearlyEqual(items.Highest(one), level);
  });
  if (item == items.Count()) return item;
  const double lowest = items.Lowest(item);
  return lowest <= level || NearlyEqual(lowest, level) ? item : items.Count();
}

// Nodes whose terminal nodes are the given consecutive ranges of places: each range but the last is
// split off to the left. ends: one past the last place of each bin; constants: of the splits, or
// empty.
std::vector<GrownNode> Chain(const TreeItems& items, std::span<const std::int32_t> ends,
                             std::span<const double> constants) {
  std::vector<GrownNode> nodes;
  AddRoot(items, nodes);
  if (nodes.empty()) return nodes;
  std::size_t at = 0;
  for (std::size_t b = 0; b + 1 < ends.size(); ++b) {
    SplitNode(items, nodes, at, ends[b], 0);
    if (!constants.empty()) nodes[at].constant = constants[b];
    at = static_cast<std::size_t>(nodes[at].right);
  }
  return nodes;
}

}  // namespace

Tree TreeFromCutPoints(const TreeResponse& response, std::span<const double> predictor,
                       const SortedOrder& order, std::span<const double> cutPoints, TreeScratch& scratch,
                       std::vector<DroppedCut>& dropped) {
  TreeItems items(response, predictor, order, PredictorKind::kContinuous, scratch);
  std::vector<double> sorted;
  for (const double cut : cutPoints) {
    if (cut != cut)
      dropped.push_back({cut, "is not a number"});
    else
      sorted.push_back(cut);
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<std::int32_t> ends;
  std::vector<double> constants;
  for (const double cut : sorted) {
    const double bound = vlm::RaisedByTolerance(cut);
    const std::int32_t low = FirstItem(items, [&](std::int32_t item) { return items.Lowest(item) <= bound; });
    if (!constants.empty() && (constants.back() == cut || NearlyEqual(constants.back(), cut))) {
      dropped.push_back({cut, "is given twice"});
    } else if (low == 0 || low == items.Count()) {
      dropped.push_back(
          {cut, low == 0 ? "lies below the data" : "lies at or above the largest value of the data"});
    } else if (!ends.empty() && ends.back() == low) {
      dropped.push_back({cut, "leaves no case between it and the cut point before it"});
    } else {
      ends.push_back(low);
      constants.push_back(cut);
    }
  }
  ends.push_back(items.Count());
  return FinishTree(items, Chain(items, ends, constants));
}

Tree TreeFromGroups(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
                    std::span<const std::vector<double>> groups, TreeScratch& scratch,
                    std::vector<DroppedCut>& dropped) {
  TreeItems items(response, predictor, order, PredictorKind::kCategorical, scratch);
  std::vector<bool> named(static_cast<std::size_t>(items.Count()), false);
  std::vector<std::int32_t> places;
  std::vector<std::int32_t> ends;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const std::size_t before = places.size();
    for (const double level : groups[g]) {
      const std::int32_t item = FindLevel(items, level);
      if (item == items.Count()) {
        dropped.push_back({level, "is not a level of the data"});
      } else if (named[static_cast<std::size_t>(item)]) {
        dropped.push_back({level, "is named twice"});
      } else {
        named[static_cast<std::size_t>(item)] = true;
        places.push_back(item);
      }
    }
    if (places.size() == before)
      dropped.push_back({static_cast<double>(g + 1), "has no cases", true});
    else
      ends.push_back(static_cast<std::int32_t>(places.size()));
  }
  const std::size_t before = places.size();
  for (std::int32_t item = 0; item < items.Count(); ++item)
    if (!named[static_cast<std::size_t>(item)]) places.push_back(item);
  if (places.size() != before) ends.push_back(static_cast<std::int32_t>(places.size()));
  if (items.Count() > 0) items.Rearrange(std::move(places));
  return FinishTree(items, Chain(items, ends, {}));
}

}  // namespace velmora::stats
