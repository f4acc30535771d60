// Which splits are worth keeping: see PruneRule in tree.h.
#include <algorithm>
#include <cmath>

#include "workbench/stats/distributions.h"
#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

const double kLogChance = std::log(0.01);
constexpr double kTinyNode = 10;  // cases of a terminal node that follows single cases

// What is left of the tree below one node.
struct Subtree {
  double gain = 0;
  double splits = 0;
  double leafDeviance = 0;   // cases x deviance summed over its terminal nodes
  double smallest = 0;       // cases of its smallest terminal node
  bool better = false;       // than chance
  bool holdsBetter = false;  // somewhere below
};

// Logarithm of the number of ways to place the splits among the cuts, as far as they differ in what they tell.
// Fitted to trees on noise: the 99 % point of the statistic with 1 to 76 splits, 9 to 100 000 cuts, two and five
// classes and a continuous response; saturated trees have one way. A terminal node of a few cases follows the noise
// of single cases: there every placement differs.
double LogPlacements(double cuts, double splits, double smallest) {
  if (cuts <= splits) return 0;
  if (smallest < kTinyNode)
    return std::lgamma(cuts + 1) - std::lgamma(splits + 1) - std::lgamma(cuts - splits + 1);
  return std::sqrt(std::log(cuts / splits)) * (0.9 + 0.3 * splits);
}

// ln P(chi-square > x), by Chernoff's bound where the probability is too small for a double.
double LogChiSquareTail(double x, double df) {
  if (x <= df) return 0;
  const double tail = ChiSquareUpperTail(x, df);
  return tail > 1e-290 ? std::log(tail) : 0.5 * (df - x + df * std::log(x / df));
}

double LogFTail(double explained, double splits, double cases) {
  const double within = cases - 1 - splits;
  if (!(within > 0)) return 0;
  const double ratio = explained / std::max(1 - explained, 1e-300);
  const double tail = FUpperTail(splits, within, ratio * within / splits);
  return tail > 1e-290 ? std::log(tail) : LogChiSquareTail(within * std::log1p(ratio), splits);
}

class Pruner {
 public:
  Pruner(std::vector<GrownNode>& nodes, PredictorKind kind, int classCount)
      : nodes_(nodes), kind_(kind), classCount_(classCount), subtrees_(nodes.size()) {
    for (std::size_t i = nodes.size(); i-- > 0;) Judge(i);
  }

  void Apply(const PruneRule& rule) {
    const Subtree whole = subtrees_[0];
    if (whole.splits < 2) return;
    if ((whole.better || FirstSplitIsBetter()) && whole.smallest >= kTinyNode)
      TakeBackWeakest(rule.maxLoss * whole.gain);
    else
      TakeBackChance();
  }

 private:
  void Judge(std::size_t i) {
    const GrownNode& node = nodes_[i];
    Subtree& subtree = subtrees_[i];
    const auto cases = static_cast<double>(node.cases);
    if (node.left < 0) {
      subtree = {};
      subtree.leafDeviance = cases * node.deviance;
      subtree.smallest = cases;
      return;
    }
    const Subtree& left = subtrees_[static_cast<std::size_t>(node.left)];
    const Subtree& right = subtrees_[static_cast<std::size_t>(node.right)];
    subtree.gain = node.gain + left.gain + right.gain;
    subtree.splits = 1 + left.splits + right.splits;
    subtree.leafDeviance = left.leafDeviance + right.leafDeviance;
    subtree.smallest = std::min(left.smallest, right.smallest);
    subtree.holdsBetter = left.better || left.holdsBetter || right.better || right.holdsBetter;
    subtree.better = BetterThanChance(node, subtree);
  }

  bool BetterThanChance(const GrownNode& node, const Subtree& subtree) const {
    const auto cases = static_cast<double>(node.cases);
    // Levels may be ordered at will: all their differences are degrees of freedom, and there is one way left.
    const double cuts = node.end - node.begin - 1;
    const bool levels = kind_ == PredictorKind::kCategorical;
    const double splits = levels ? cuts : subtree.splits;
    const double placements = levels ? 0 : LogPlacements(cuts, subtree.splits, subtree.smallest);
    const double explained = std::min(1.0, subtree.gain / node.impurity);
    double tail = 0;
    if (classCount_ == 0) {
      tail = LogFTail(explained, splits, cases);
    } else {
      const double classes = classCount_ - 1;
      const double gini = cases * explained * classes;
      const double likelihood = cases * node.deviance - subtree.leafDeviance;
      tail = LogChiSquareTail(std::min(gini, likelihood), splits * classes);
    }
    // Nodes share the error of the tree by their size.
    return tail + placements < kLogChance + std::log(cases / static_cast<double>(nodes_[0].cases));
  }

  // The tree as it would be with its first split alone.
  bool FirstSplitIsBetter() const {
    const GrownNode& root = nodes_[0];
    const GrownNode& left = nodes_[static_cast<std::size_t>(root.left)];
    const GrownNode& right = nodes_[static_cast<std::size_t>(root.right)];
    Subtree first;
    first.gain = root.gain;
    first.splits = 1;
    first.smallest = static_cast<double>(std::min(left.cases, right.cases));
    first.leafDeviance =
        static_cast<double>(left.cases) * left.deviance + static_cast<double>(right.cases) * right.deviance;
    return BetterThanChance(root, first);
  }

  void TakeBack(std::size_t i) {
    nodes_[i].left = nodes_[i].right = -1;
    nodes_[i].cut = -1;
    nodes_[i].gain = 0;
  }

  // Children come after their parents, so one walk from the end sees every subtree as it is left.
  void TakeBackChance() {
    for (std::size_t i = nodes_.size(); i-- > 0;) {
      Judge(i);
      if (i == 0 || nodes_[i].left < 0 || subtrees_[i].better || subtrees_[i].holdsBetter) continue;
      TakeBack(i);
      Judge(i);
    }
  }

  void TakeBackWeakest(double budget) {
    std::vector<std::size_t> weakest;
    for (std::size_t i = 1; i < nodes_.size(); ++i)
      if (nodes_[i].left >= 0 && !subtrees_[i].better && !subtrees_[i].holdsBetter) weakest.push_back(i);
    std::stable_sort(weakest.begin(), weakest.end(), [&](std::size_t a, std::size_t b) {
      return subtrees_[a].gain / subtrees_[a].splits < subtrees_[b].gain / subtrees_[b].splits;
    });
    double lost = 0;
    for (const std::size_t i : weakest) {
      // Gone with a node above it, or smaller than it was: its gain is added up anew.
      const double gain = GainLeft(i);
      if (gain == 0 || lost + gain > budget) continue;
      lost += gain;
      TakeBack(i);
    }
  }

  double GainLeft(std::size_t i) const {
    for (std::size_t at = i; at != 0;) {
      const auto parent = static_cast<std::size_t>(nodes_[at].parent);
      if (nodes_[parent].left < 0) return 0;
      at = parent;
    }
    double gain = 0;
    std::vector<std::size_t> open{i};
    while (!open.empty()) {
      const GrownNode& node = nodes_[open.back()];
      open.pop_back();
      if (node.left < 0) continue;
      gain += node.gain;
      open.push_back(static_cast<std::size_t>(node.left));
      open.push_back(static_cast<std::size_t>(node.right));
    }
    return gain;
  }

  std::vector<GrownNode>& nodes_;
  PredictorKind kind_;
  int classCount_;
  std::vector<Subtree> subtrees_;
};

}  // namespace

void PruneTree(std::vector<GrownNode>& nodes, const PruneRule& rule, PredictorKind kind, int classCount) {
  Pruner(nodes, kind, classCount).Apply(rule);
}

}  // namespace velmora::stats
