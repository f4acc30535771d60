// What the parts of the tree share: running totals over a predictor's distinct values ("items"), and the tree
// as it grows. A node is a range of items; the items of a categorical predictor are rearranged so that this
// holds.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/stats/tree.h"

namespace velmora::stats {

// Above this many classes the totals of every class at every distinct value would cost too much memory; the
// scan then keeps the class counts of its two sides and walks over the cases of the node.
inline constexpr int kMaxTotalledClasses = 16;

// Totals before each item, and after the last: entry k covers items before k.
struct Totals {
  std::int32_t items = 0;
  const std::int32_t* counts = nullptr;          // unweighted cases
  const double* weights = nullptr;               // null: every case weighs 1
  std::vector<const std::int32_t*> classCounts;  // unweighted classes: all but the first
  std::vector<const double*> sums;               // weighted classes but the first; or the continuous response
  const double* sorted = nullptr;                // continuous: deviation of each case in order
  const double* sortedWeights = nullptr;         // weight of each case in order, null without weights
  const std::uint16_t* sortedClasses =
      nullptr;  // class of each case in order, where classes are not totalled

  double Weight(std::int32_t item) const { return weights != nullptr ? weights[item] : counts[item]; }
};

Totals MakeTotals(const TreeResponse& response, const SortedOrder& order, TreeScratch& scratch);

// A node while the tree is grown; indices from 0, the root first, -1 where there is none.
struct GrownNode {
  std::int32_t begin = 0;  // items
  std::int32_t end = 0;
  std::int32_t cut = -1;  // first item of the right child
  int parent = -1;
  int left = -1;
  int right = -1;
  double gain = 0;      // weight x impurity that the split takes away
  double impurity = 0;  // weight x impurity of the node
  double deviance =
      0;  // classes: twice the log-likelihood that knowing every case's class would gain, a case
  std::int64_t cases = 0;
};

// Takes splits back by the rule; what is cut off stays in the vector, no longer reached from the root. A continuous
// response has classCount 0. Impurities and deviances of all nodes must be filled.
void PruneTree(std::vector<GrownNode>& nodes, const PruneRule& rule, PredictorKind kind, int classCount);

// One level of a categorical predictor against classes.
struct LevelTable {
  int classCount = 0;
  std::vector<double> weights;      // levels x classCount
  std::vector<std::int64_t> cases;  // unweighted

  std::span<const double> Row(std::int32_t level) const {
    return std::span(weights).subspan(static_cast<std::size_t>(level) * static_cast<std::size_t>(classCount),
                                      static_cast<std::size_t>(classCount));
  }
};

struct Grouping {
  std::vector<std::int32_t> left;  // levels, ascending; empty: no split is allowed
  double gain = 0;
};

// The best two groups of the given levels (ascending) with at least leastCases cases in each.
Grouping FindBestGrouping(const LevelTable& table, std::span<const std::int32_t> levels,
                          std::int64_t leastCases);

}  // namespace velmora::stats
