// Decides which splits to keep; see PruneRule in tree.h.
#include <algorithm>
#include <cmath>

#include "workbench/stats/distributions.h"
#include "workbench/stats/tree_internal.h"
#include "workbench/system/log_gamma.h"

namespace velmora::stats {
namespace {

const double kLogChance = std::log(0.01);
constexpr double kTinyNode = 10;  // cases of a terminal node that follows single cases
constexpr double kPlacementBase = 0.9;
constexpr double kPlacementPerSplit = 0.3;

// The rest of the tree below one node. Cases are effective ones: with weights, the number of
// unweighted cases with the same information.
struct Subtree {
  double gain = 0;
  double splits = 0;
  double leafDeviance = 0;   // cases x deviance summed over its terminal nodes
  double smallest = 0;       // cases of its smallest terminal node
  bool better = false;       // than chance
  bool holdsBetter = false;  // somewhere below
};

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
      CollapseWeakest(rule.maxLoss * whole.gain);
    else
      CollapseChance();
  }

 private:
  void Judge(std::size_t i) {
    const GrownNode& node = nodes_[i];
    Subtree& subtree = subtrees_[i];
    const double cases = node.effectiveCases;
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
    const double cases = node.effectiveCases;
    // Levels may be ordered freely: all their differences are degrees of freedom, and only one
    // placement remains.
    const double cuts = node.end - node.begin - 1;
    const bool levels = kind_ == PredictorKind::kCategorical;
    const double splits = levels ? cuts : subtree.splits;
    const double placements = levels ? 0 : LogPlacements(cuts, subtree.splits, subtree.smallest);
    const double explained = std::min(1.0, subtree.gain / node.impurity);
    const double likelihood = cases * node.deviance - subtree.leafDeviance;
    const double tail = LogNoiseTail(classCount_, cases, splits, explained, likelihood);
    // The error probability of the tree is divided among its nodes by size.
    return tail + placements < kLogChance + std::log(cases / nodes_[0].effectiveCases);
  }

  // The tree as it would be with its first split alone.
  bool FirstSplitIsBetter() const {
    const GrownNode& root = nodes_[0];
    const GrownNode& left = nodes_[static_cast<std::size_t>(root.left)];
    const GrownNode& right = nodes_[static_cast<std::size_t>(root.right)];
    Subtree first;
    first.gain = root.gain;
    first.splits = 1;
    first.smallest = std::min(left.effectiveCases, right.effectiveCases);
    first.leafDeviance = left.effectiveCases * left.deviance + right.effectiveCases * right.deviance;
    return BetterThanChance(root, first);
  }

  void Collapse(std::size_t i) {
    nodes_[i].left = nodes_[i].right = -1;
    nodes_[i].cut = -1;
    nodes_[i].gain = 0;
  }

  // Children come after their parents, so one walk from the end sees every subtree as it remains.
  void CollapseChance() {
    for (std::size_t i = nodes_.size(); i-- > 0;) {
      Judge(i);
      if (i == 0 || nodes_[i].left < 0 || subtrees_[i].better || subtrees_[i].holdsBetter) continue;
      Collapse(i);
      Judge(i);
    }
  }

  void CollapseWeakest(double budget) {
    std::vector<std::size_t> weakest;
    for (std::size_t i = 1; i < nodes_.size(); ++i)
      if (nodes_[i].left >= 0 && !subtrees_[i].better && !subtrees_[i].holdsBetter) weakest.push_back(i);
    std::stable_sort(weakest.begin(), weakest.end(), [&](std::size_t a, std::size_t b) {
      return subtrees_[a].gain / subtrees_[a].splits < subtrees_[b].gain / subtrees_[b].splits;
    });
    double lost = 0;
    for (const std::size_t i : weakest) {
      // The node has been collapsed with one above it, or has shrunk: its gain is computed again.
      const double gain = GainLeft(i);
      if (gain == 0 || lost + gain > budget) continue;
      lost += gain;
      Collapse(i);
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

double LogNoiseTail(int classCount, double cases, double splits, double explained, double likelihood) {
  if (classCount == 0) return LogFTail(explained, splits, cases);
  const double classes = classCount - 1;
  return LogChiSquareTail(std::min(cases * explained * classes, likelihood), splits * classes);
}

// bench/fit_placements.cpp fits the two constants to trees on noise: the 99 % point of the
// statistic over 1 to 76 splits, 9 to 100 000 cuts, two and five classes and a continuous response.
// A saturated tree can be placed in one way only. A terminal node of a few cases follows the noise
// of single cases: there every placement counts.
double LogPlacements(double cuts, double splits, double smallest) {
  if (cuts <= splits) return 0;
  if (smallest < kTinyNode) return LogGamma(cuts + 1) - LogGamma(splits + 1) - LogGamma(cuts - splits + 1);
  return std::sqrt(std::log(cuts / splits)) * (kPlacementBase + kPlacementPerSplit * splits);
}

void PruneTree(std::vector<GrownNode>& nodes, const PruneRule& rule, PredictorKind kind, int classCount) {
  Pruner(nodes, kind, classCount).Apply(rule);
}

}  // namespace velmora::stats
