// The search for splits, and the public operations that grow a tree.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "workbench/stats/tree_internal.h"
#include "workbench/stats/tree_scan.h"

namespace velmora::stats {
namespace {

constexpr double kRelativeGain = 1e-12;
// Below this share of the root's sum of squares a gain is rounding of the running sums.
constexpr double kRoundingGain = 1e-20;

// Twice the log-likelihood of the classes' own shares, per case.
double DevianceOf(std::span<const double> classes) {
  double weight = 0;
  for (const double c : classes) weight += c;
  double sum = 0;
  for (const double c : classes)
    if (c > 0) sum += c * std::log(weight / c);
  return weight > 0 ? 2 * sum / weight : 0;
}

bool Pure(std::span<const double> classes) {
  return std::count_if(classes.begin(), classes.end(), [](double c) { return c > 0; }) < 2;
}

class Grower {
 public:
  Grower(TreeItems& items, const TreeOptions& options, TreeScratch& scratch)
      : items_(items), totals_(items.AllTotals()), options_(options), scratch_(scratch) {
    if (items.Response().continuous && items.Count() > 0)
      rootSquares_ = items.MomentsOf(0, items.Count()).squares;
  }

  std::vector<GrownNode> Grow() {
    const bool categorical = items_.Kind() == PredictorKind::kCategorical;
    const bool byLevels = categorical && items_.Response().classCount > 2;
    if (byLevels)
      items_.PrepareLevels();
    else if (categorical)
      items_.ArrangeByMean();
    AddRoot(items_, nodes_);
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
      if (scratch_.checkpoint) scratch_.checkpoint();
      if (byLevels)
        SplitByLevels(at, options_);
      else
        SplitByOrder(at, options_);
    }
    return std::move(nodes_);
  }

 private:
  void SplitByOrder(std::size_t at, const TreeOptions& options);
  void SplitByLevels(std::size_t at, const TreeOptions& options);
  BestCut ScanCases(const CutRange& range, std::vector<double> right) const;

  TreeItems& items_;
  const Totals& totals_;
  const TreeOptions& options_;
  const TreeScratch& scratch_;
  double rootSquares_ = 0;
  std::vector<GrownNode> nodes_;
};

void Grower::SplitByLevels(std::size_t at, const TreeOptions& options) {
  GrownNode& node = nodes_[at];
  const std::span<std::int32_t> places = items_.Places(node.begin, node.end);
  std::vector<double> classes(static_cast<std::size_t>(items_.Response().classCount));
  node.cases = 0;
  for (const std::int32_t item : places) {
    node.cases += items_.Levels().cases[static_cast<std::size_t>(item)];
    const auto row = items_.Levels().Row(item);
    for (std::size_t c = 0; c < classes.size(); ++c) classes[c] += row[c];
  }
  node.impurity = GiniWeight(classes);
  node.deviance = DevianceOf(classes);
  const std::int64_t leastInChild = std::max<std::int64_t>(options.leastCasesInChild, 1);
  if (node.end - node.begin < 2 || node.cases < std::max(options.leastCasesToSplit, 2 * leastInChild)) return;
  if (Pure(classes)) return;
  std::sort(places.begin(), places.end());
  const Grouping grouping = FindBestGrouping(items_.Levels(), places, leastInChild, scratch_.checkpoint);
  if (grouping.left.empty() || !(grouping.gain > kRelativeGain * node.impurity)) return;
  std::vector<std::int32_t> right;
  std::set_difference(places.begin(), places.end(), grouping.left.begin(), grouping.left.end(),
                      std::back_inserter(right));
  std::copy(right.begin(), right.end(),
            std::copy(grouping.left.begin(), grouping.left.end(), places.begin()));
  SplitNode(items_, nodes_, at, node.begin + static_cast<std::int32_t>(grouping.left.size()), grouping.gain);
}

// For many classes: the class weights of both sides are updated case by case.
BestCut Grower::ScanCases(const CutRange& range, std::vector<double> right) const {
  std::vector<double> left(right.size());
  double leftSquares = 0;
  double rightSquares = 0;
  double total = 0;
  for (const double c : right) {
    rightSquares += c * c;
    total += c;
  }
  const double before = rightSquares / total;
  double leftWeight = 0;
  BestCut best;
  for (std::int32_t cut = range.begin + 1; cut <= range.last; ++cut) {
    for (std::int32_t i = totals_.counts[cut - 1]; i < totals_.counts[cut]; ++i) {
      const double w = totals_.sortedWeights != nullptr ? totals_.sortedWeights[i] : 1;
      const std::uint16_t c = totals_.sortedClasses[i];
      leftSquares += w * (2 * left[c] + w);
      rightSquares -= w * (2 * right[c] - w);
      left[c] += w;
      right[c] -= w;
      leftWeight += w;
    }
    if (cut < range.first) continue;
    const double gain = leftSquares / leftWeight + rightSquares / (total - leftWeight) - before;
    if (gain > best.gain) {
      best.gain = gain;
      best.cut = cut;
    }
  }
  return best;
}

void Grower::SplitByOrder(std::size_t at, const TreeOptions& options) {
  GrownNode& node = nodes_[at];
  const std::int64_t leastInChild = std::max<std::int64_t>(options.leastCasesInChild, 1);
  std::vector<double> classes;
  if (!items_.Response().continuous) {
    classes = items_.ClassWeights(node.begin, node.end);
    node.impurity = GiniWeight(classes);
    node.deviance = DevianceOf(classes);
  }
  if (node.cases < std::max(options.leastCasesToSplit, 2 * leastInChild) || node.end - node.begin < 2) return;
  if (!items_.Response().continuous && Pure(classes)) return;
  const std::int32_t* counts = totals_.counts;
  CutRange range;
  range.begin = node.begin;
  range.end = node.end;
  range.first = static_cast<std::int32_t>(
      std::lower_bound(counts + node.begin, counts + node.end, counts[node.begin] + leastInChild) - counts);
  range.last = static_cast<std::int32_t>(
      std::upper_bound(counts + node.begin, counts + node.end, counts[node.end] - leastInChild) - counts - 1);
  if (range.first > range.last) return;
  BestCut best;
  if (totals_.sortedClasses != nullptr)
    best = ScanCases(range, classes);
  else if (totals_.weights != nullptr)
    best = FindBestCut(totals_.weights, totals_.sums, range);
  else if (items_.Response().continuous)
    best = FindBestCut(counts, totals_.sums[0], range);
  else
    best = FindBestCut(counts, totals_.classCounts, range);
  if (items_.Response().classCount == 2) best.gain *= 2;  // the other class falls by as much
  if (best.cut < 0) return;
  if (items_.Response().continuous) {
    // The node's own sum of squares costs a pass over its cases and matters only where the gain is
    // tiny.
    if (!(best.gain > kRoundingGain * rootSquares_)) return;
    if (best.gain <= kRelativeGain * rootSquares_ &&
        !(best.gain > kRelativeGain * items_.MomentsOf(node.begin, node.end).squares))
      return;
  } else if (!(best.gain > kRelativeGain * node.impurity)) {
    return;
  }
  SplitNode(items_, nodes_, at, best.cut, best.gain);
}

// Sums of squares of all nodes; that of a split node is the sum of its children's and its gain.
void FillSquares(const TreeItems& items, std::vector<GrownNode>& nodes) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    GrownNode& node = nodes[i];
    node.impurity = node.left < 0 ? items.MomentsOf(node.begin, node.end).squares
                                  : nodes[static_cast<std::size_t>(node.left)].impurity +
                                        nodes[static_cast<std::size_t>(node.right)].impurity + node.gain;
  }
}

void AddNode(const TreeItems& items, std::vector<GrownNode>& nodes, std::int32_t begin, std::int32_t end,
             int parent) {
  GrownNode node;
  node.begin = begin;
  node.end = end;
  node.parent = parent;
  node.cases = items.AllTotals().counts[end] - items.AllTotals().counts[begin];
  nodes.push_back(node);
}

// A tree over levels rearranges places as it grows, so effective numbers of cases are known only at
// the end.
void FillEffectiveCases(const TreeItems& items, std::vector<GrownNode>& nodes) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    GrownNode& node = nodes[i];
    node.effectiveCases = items.EffectiveCases(node.begin, node.end);
  }
}

}  // namespace

double GiniWeight(std::span<const double> classes) {
  double weight = 0;
  double squares = 0;
  for (const double c : classes) {
    weight += c;
    squares += c * c;
  }
  return weight > 0 ? weight - squares / weight : 0;
}

void AddRoot(const TreeItems& items, std::vector<GrownNode>& nodes) {
  if (items.Count() > 0) AddNode(items, nodes, 0, items.Count(), -1);
}

void SplitNode(const TreeItems& items, std::vector<GrownNode>& nodes, std::size_t at, std::int32_t cut,
               double gain) {
  nodes[at].cut = cut;
  nodes[at].gain = gain;
  nodes[at].left = static_cast<int>(nodes.size());
  nodes[at].right = nodes[at].left + 1;
  const GrownNode node = nodes[at];
  AddNode(items, nodes, node.begin, cut, static_cast<int>(at));
  AddNode(items, nodes, cut, node.end, static_cast<int>(at));
}

std::vector<GrownNode> GrowNodes(TreeItems& items, const TreeOptions& options, TreeScratch& scratch) {
  return Grower(items, options, scratch).Grow();
}

Tree GrowTree(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
              PredictorKind kind, const TreeOptions& options, TreeScratch& scratch) {
  TreeItems items(response, predictor, order, kind, scratch);
  std::vector<GrownNode> nodes = GrowNodes(items, options, scratch);
  if (options.prune.enabled && !nodes.empty()) {
    if (response.continuous) FillSquares(items, nodes);
    FillEffectiveCases(items, nodes);
    PruneTree(nodes, options.prune, kind, response.classCount);
  }
  return FinishTree(items, nodes);
}

}  // namespace velmora::stats
