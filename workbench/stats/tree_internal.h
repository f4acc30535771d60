// Shared by the parts of the tree: running totals over a predictor's distinct values ("items"), and
// the nodes of the tree as it grows. A node is a range of places; the items of a categorical
// predictor are rearranged so that this holds.
//
//   TreeItems (tree_items.cpp) -> GrowNodes (tree_grow.cpp) or a chain (tree_bins.cpp)
//     -> PruneTree (tree_prune.cpp) -> FinishTree (tree_finish.cpp)
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "workbench/stats/tree.h"

namespace velmora::stats {

// Above this many classes the totals of every class at every distinct value would cost too much
// memory; the scan then keeps the class counts of its two sides and walks over the cases of the
// node.
inline constexpr int kMaxTotalledClasses = 16;

// Totals before each item, and after the last: entry k covers items before k.
struct Totals {
  std::int32_t items = 0;
  const std::int32_t* counts = nullptr;          // unweighted cases
  const double* weights = nullptr;               // null: every case weighs 1
  const double* squaredWeights = nullptr;        // null without weights
  std::vector<const std::int32_t*> classCounts;  // unweighted classes: all but the first
  // weighted classes but the first; or the continuous response
  std::vector<const double*> sums;
  const double* firstClass = nullptr;  // weighted classes: the first
  const double* sorted = nullptr;      // continuous: deviation of each case in order
  // weight of each case in order, null without weights
  const double* sortedWeights = nullptr;
  const std::uint16_t* sortedClasses =
      nullptr;  // class of each case in order, where classes are not totalled

  double Weight(std::int32_t item) const { return weights != nullptr ? weights[item] : counts[item]; }
};

Totals MakeTotals(const TreeResponse& response, const SortedOrder& order, TreeScratch& scratch);

// Weight, sum and sum of squares about the mean of a continuous response over some cases.
struct Moments {
  double weight = 0;
  double sum = 0;
  double squares = 0;

  void Merge(const Moments& other);
};

// The levels of a categorical predictor against classes.
struct LevelTable {
  int classCount = 0;
  std::vector<double> weights;      // levels x classCount
  std::vector<std::int64_t> cases;  // unweighted

  std::span<const double> Row(std::int32_t level) const {
    return std::span(weights).subspan(static_cast<std::size_t>(level) * static_cast<std::size_t>(classCount),
                                      static_cast<std::size_t>(classCount));
  }
};

// The distinct values of a predictor with the response's totals. Item i is the i-th smallest value;
// place p of a node holds item ItemAt(p).
class TreeItems {
 public:
  // response, predictor and order must outlive the items.
  TreeItems(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
            PredictorKind kind, TreeScratch& scratch);

  const TreeResponse& Response() const { return response_; }
  PredictorKind Kind() const { return kind_; }
  const Totals& AllTotals() const { return totals_; }
  std::int32_t Count() const { return totals_.items; }
  double Lowest(std::int32_t item) const { return order_->Value(predictor_, static_cast<std::size_t>(item)); }
  double Highest(std::int32_t item) const {
    return order_->HighestValue(predictor_, static_cast<std::size_t>(item));
  }
  std::int32_t ItemAt(std::int32_t place) const {
    return arranged_.empty() ? place : arranged_[static_cast<std::size_t>(place)];
  }

  // itemOrder: the item of each place. Totals follow.
  void Rearrange(std::vector<std::int32_t> itemOrder);
  // Levels by their rate of the second class, or by their mean; equal ones by code.
  void ArrangeByMean();
  // Makes the level table and lets the places of a node be sorted one by one: see Places.
  void PrepareLevels();
  const LevelTable& Levels() const { return levels_; }
  std::span<std::int32_t> Places(std::int32_t begin, std::int32_t end) {
    return std::span(arranged_).subspan(static_cast<std::size_t>(begin),
                                        static_cast<std::size_t>(end - begin));
  }

  // Of the places [begin, end).
  std::vector<double> ClassWeights(std::int32_t begin, std::int32_t end) const;
  Moments MomentsOf(std::int32_t begin, std::int32_t end) const;
  // The number of cases of equal weight with as much information (Kish 1965): (sum w)^2 / sum w^2.
  double EffectiveCases(std::int32_t begin, std::int32_t end) const;

 private:
  Moments MomentsOfItems(std::int32_t begin, std::int32_t end) const;
  double MeanOfItem(std::int32_t item) const;

  const TreeResponse& response_;
  std::span<const double> predictor_;
  PredictorKind kind_;
  const SortedOrder* order_;
  Totals totals_;
  std::vector<std::int32_t> arranged_;  // place -> item; empty: the same
  LevelTable levels_;
  // Totals over rearranged items.
  std::vector<std::int32_t> ownCounts_;
  std::vector<std::vector<std::int32_t>> ownClasses_;
  std::vector<std::vector<double>> ownSums_;
};

// A node while the tree is grown; indices from 0, the root first, -1 where there is none.
struct GrownNode {
  std::int32_t begin = 0;  // places
  std::int32_t end = 0;
  std::int32_t cut = -1;  // first place of the right child
  int parent = -1;
  int left = -1;
  int right = -1;
  double gain = 0;      // weight x impurity that the split takes away
  double impurity = 0;  // weight x impurity of the node
  // Classes: twice the log-likelihood that knowing every case's class would gain, per case.
  double deviance = 0;
  std::int64_t cases = 0;
  double effectiveCases = 0;
  double constant = std::numeric_limits<double>::quiet_NaN();  // of a split at a given point
};

// nodes: the root first. Adds the children of node `at`, which is cut before place `cut`.
void AddRoot(const TreeItems& items, std::vector<GrownNode>& nodes);
void SplitNode(const TreeItems& items, std::vector<GrownNode>& nodes, std::size_t at, std::int32_t cut,
               double gain);

// Weighted Gini impurity times weight: W - sum of squares of the class weights / W.
double GiniWeight(std::span<const double> classes);

// Searches the best split of every node, level by level.
std::vector<GrownNode> GrowNodes(TreeItems& items, const TreeOptions& options, TreeScratch& scratch);

// The logarithm of the probability that a tree with so many splits at fixed places explains as much
// of a response that is noise. explained: its share of the impurity; likelihood: its likelihood-ratio
// chi-square. A continuous response has classCount 0.
double LogNoiseTail(int classCount, double cases, double splits, double explained, double likelihood);
// The logarithm of the effective number of ways to place splits among cuts. smallest: cases of the
// smallest terminal node.
double LogPlacements(double cuts, double splits, double smallest);

// Prunes by the rule; pruned nodes stay in the vector, but are no longer reached from the root. A
// continuous response has classCount 0. Impurities, deviances and effective cases of all nodes must
// be filled.
void PruneTree(std::vector<GrownNode>& nodes, const PruneRule& rule, PredictorKind kind, int classCount);

// The tree of the nodes that are reached from the root.
Tree FinishTree(const TreeItems& items, const std::vector<GrownNode>& nodes);

struct Grouping {
  std::vector<std::int32_t> left;  // levels, ascending; empty: no split is allowed
  double gain = 0;
};

// The best two groups of the given levels (ascending) with at least leastCases cases in each.
// checkpoint: see TreeScratch.
Grouping FindBestGrouping(const LevelTable& table, std::span<const std::int32_t> levels,
                          std::int64_t leastCases, const std::function<void()>& checkpoint);

}  // namespace velmora::stats
