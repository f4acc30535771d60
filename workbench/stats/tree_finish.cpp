// The grown tree as callers see it: numbered level by level, with its constants, class weights and
// bins.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/parse_number.h"
#include "workbench/stats/missing.h"
#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

// A value rounded to 15 significant digits.
double InFifteenDigits(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 15);
  return vlm::ParseNumber<double>({digits, end.ptr}).value_or(value);
}

// <= goes left, so the constant must not reach the upper value. Midway between decimals lies a
// decimal, which the sum may miss by its last bit: 1.6949999999999998 between 1.69 and 1.7. People
// read, write and compare 1.695.
double MidPoint(double lower, double upper) {
  const double middle = 0.5 * lower + 0.5 * upper;
  const double decimal = InFifteenDigits(middle);
  const bool same =
      std::abs(decimal - middle) <= 2 * std::numeric_limits<double>::epsilon() * std::abs(middle);
  if (same && decimal >= lower && decimal < upper) return decimal;
  return middle >= lower && middle < upper ? middle : lower;
}

// The number read from a text of 16 significant digits, which is how recode files and rules print
// cut points.
double AsPrinted(double value) {
  char digits[40];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific, 15);
  return vlm::ParseNumber<double>({digits, end.ptr}).value_or(value);
}

// True when a comparison with the tolerance finds the value above the cut point, and above its
// printed text.
bool IsAbove(double value, double cut) {
  return value > vlm::RaisedByTolerance(cut) && value > vlm::RaisedByTolerance(AsPrinted(cut));
}

// A cut point between two values that are further apart than the tolerance: compared with it, one
// is above and one not.
double SplitConstant(double lower, double upper) {
  const double middle = MidPoint(lower, upper);
  if (IsAbove(upper, middle)) return middle;
  // They are hardly further apart than the tolerance: the point must be the lower value or slightly
  // below.
  constexpr std::int64_t kSteps = 8;
  for (std::int64_t step = 0; step < kSteps; ++step) {
    const double below = vlm::FromOrderedBits(OrderedBits(lower) - step);
    if (IsAbove(upper, below)) return below;
  }
  return lower;
}

// The nodes that are still reached from the root, level by level, without figures of the response.
void NumberNodes(const TreeItems& items, const std::vector<GrownNode>& grown, Tree& tree) {
  std::vector<std::size_t> reached{0};
  std::vector<int> parents{0};
  for (std::size_t i = 0; i < reached.size(); ++i) {
    const GrownNode& from = grown[reached[i]];
    TreeNode node;
    node.parent = parents[i];
    node.firstValue = from.begin;
    node.endValue = from.end;
    node.cases = from.cases;
    if (from.left >= 0) {
      node.left = static_cast<int>(reached.size()) + 1;
      node.right = node.left + 1;
      reached.push_back(static_cast<std::size_t>(from.left));
      reached.push_back(static_cast<std::size_t>(from.right));
      parents.insert(parents.end(), 2, static_cast<int>(i) + 1);
      if (tree.predictorKind == PredictorKind::kContinuous)
        node.splitConstant = std::isnan(from.constant)
                                 ? SplitConstant(items.Highest(from.cut - 1), items.Lowest(from.cut))
                                 : from.constant;
    }
    tree.nodes.push_back(node);
  }
}

// Children have higher numbers than their parents, so one walk from the end sums up the terminal
// nodes.
void FillClasses(const TreeItems& items, Tree& tree) {
  const auto classes = static_cast<std::size_t>(tree.classCount);
  tree.classWeights.assign(tree.nodes.size() * classes, 0);
  for (std::size_t i = tree.nodes.size(); i-- > 0;) {
    TreeNode& node = tree.nodes[i];
    double* own = tree.classWeights.data() + i * classes;
    if (node.left == 0) {
      const std::vector<double> counted = items.ClassWeights(node.firstValue, node.endValue);
      std::copy(counted.begin(), counted.end(), own);
    } else {
      const double* left = tree.classWeights.data() + (static_cast<std::size_t>(node.left) - 1) * classes;
      const double* right = tree.classWeights.data() + (static_cast<std::size_t>(node.right) - 1) * classes;
      for (std::size_t c = 0; c < classes; ++c) own[c] = left[c] + right[c];
    }
    for (std::size_t c = 0; c < classes; ++c) node.weight += own[c];
    node.impurity = node.weight > 0 ? GiniWeight({own, classes}) / node.weight : 0;
  }
}

// Likewise.
void FillMoments(const TreeItems& items, Tree& tree) {
  const TreeResponse& response = items.Response();
  std::vector<Moments> moments(tree.nodes.size());
  for (std::size_t i = tree.nodes.size(); i-- > 0;) {
    TreeNode& node = tree.nodes[i];
    if (node.left == 0) {
      moments[i] = items.MomentsOf(node.firstValue, node.endValue);
    } else {
      moments[i].Merge(moments[static_cast<std::size_t>(node.left) - 1]);
      moments[i].Merge(moments[static_cast<std::size_t>(node.right) - 1]);
    }
    node.weight = moments[i].weight;
    node.mean = response.centre + moments[i].sum / moments[i].weight * response.scale;
    node.variance = moments[i].squares / moments[i].weight * response.scale * response.scale;
    node.impurity = node.variance;
  }
}

void FillImprovements(Tree& tree) {
  for (TreeNode& node : tree.nodes) {
    if (node.left == 0) continue;
    const TreeNode &left = tree.Node(node.left), &right = tree.Node(node.right);
    node.improvement = std::max(
        0.0, node.weight * node.impurity - left.weight * left.impurity - right.weight * right.impurity);
  }
}

// Numbers the terminal nodes from left to right, and lists the levels of a categorical predictor.
void FillBins(const TreeItems& items, Tree& tree) {
  for (std::size_t i = 0; i < tree.nodes.size(); ++i)
    if (tree.nodes[i].left == 0) tree.bins.push_back(static_cast<int>(i) + 1);
  std::sort(tree.bins.begin(), tree.bins.end(),
            [&](int a, int b) { return tree.Node(a).firstValue < tree.Node(b).firstValue; });
  for (std::size_t b = 0; b < tree.bins.size(); ++b)
    tree.nodes[static_cast<std::size_t>(tree.bins[b]) - 1].bin = static_cast<int>(b);
  if (tree.predictorKind != PredictorKind::kCategorical) return;
  for (std::int32_t place = 0; place < items.Count(); ++place)
    tree.values.push_back(items.Lowest(items.ItemAt(place)));
  for (const int number : tree.bins) {
    const TreeNode& node = tree.Node(number);
    std::sort(tree.values.begin() + node.firstValue, tree.values.begin() + node.endValue);
  }
}

}  // namespace

Tree FinishTree(const TreeItems& items, const std::vector<GrownNode>& grown) {
  Tree tree;
  tree.predictorKind = items.Kind();
  tree.classCount = items.Response().classCount;
  if (grown.empty()) return tree;
  NumberNodes(items, grown, tree);
  if (items.Response().continuous) {
    FillMoments(items, tree);
  } else {
    FillClasses(items, tree);
  }
  FillImprovements(tree);
  FillBins(items, tree);
  return tree;
}

std::vector<double> Tree::CutPoints() const {
  std::vector<double> cuts;
  for (const TreeNode& node : nodes)
    if (node.left != 0) cuts.push_back(node.splitConstant);
  std::sort(cuts.begin(), cuts.end());
  return cuts;
}

std::vector<double> Tree::Levels(int nodeNumber) const {
  const TreeNode& node = Node(nodeNumber);
  std::vector<double> levels(values.begin() + node.firstValue, values.begin() + node.endValue);
  std::sort(levels.begin(), levels.end());
  return levels;
}

}  // namespace velmora::stats
