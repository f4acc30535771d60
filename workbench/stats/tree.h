// Classification and regression trees over one predictor (Breiman, Friedman, Olshen and Stone
// 1984).
//
//   TreeResponse response = MakeClassResponse(flag, codes);
//   SortColumn(predictor, missingCode, {}, sortScratch, order);
//   const Tree tree =
//       GrowTree(response, predictor, order, PredictorKind::kContinuous, options, scratch);
//   for (const double cut : tree.CutPoints()) ...
//
// The splits lower the Gini impurity of a response of classes, or the variance of a continuous one,
// as far as one split can. A tree is grown over the predictor's distinct values (within the
// tolerance, see SortedOrder), with running totals of the response at each: after one pass over the
// sorted cases no node looks at a case again.
//
//   continuous predictor   value <= split constant goes left. The constant is the midpoint of the
//                          neighbouring distinct values, or a lower point where the midpoint is not
//                          below the upper value by more than the tolerance.
//   categorical predictor  a list of levels goes left. Two classes or a continuous response: the
//                          best grouping is a cut in the order of the levels' rates or means
//                          (Fisher 1958, doi:10.1080/01621459.1958.10501479), equal ones by code.
//                          More classes: every grouping is tried for up to 12 levels in the node;
//                          above that the levels are ordered along the first principal component of
//                          their class shares (Coppersmith, Hong and Hosking 1999,
//                          doi:10.1023/A:1009869804967), and the best cut of that order is improved
//                          by moving single levels, the best move first, until none helps.
//
// Of equally good cuts the first is taken: the lowest constant, the fewest levels in order of rate,
// or the grouping whose left list comes first when the lists are read as binary numbers over the
// ascending codes (the highest code always goes right). A node is split as long as both children
// keep the least number of cases and the impurity falls by more than 1e-12 of the node's own; a
// pure node is never split.
//
// Nodes are numbered from 1, the root, level by level; the children of a node have consecutive
// numbers, the left one first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "workbench/stats/sorted_order.h"

namespace velmora::stats {

enum class PredictorKind { kContinuous, kCategorical };

inline constexpr std::uint16_t kNoClass = 0xFFFF;
inline constexpr int kMaxClasses = 0xFFFE;

// A response as trees read it, made once and used with every predictor. A case that does not count
// is one that is not selected, has no weight above 0 or no usable value.
struct TreeResponse {
  bool continuous = false;
  int classCount = 0;  // 0 for a continuous response
  // Classes: 0-based class of each case, kNoClass for a case that does not count.
  std::vector<std::uint16_t> classOf;
  // Continuous: (value - centre) / scale of each case, 0 for a case that does not count.
  std::vector<double> deviations;
  double centre = 0;                  // near the mean, so that sums stay small
  double scale = 1;                   // a power of two, 1 unless the values are of extreme size
  std::vector<double> weights;        // empty: every case weighs 1
  bool weightsAreCounts = false;      // a weight is the number of equal cases that a row represents
  std::vector<std::uint8_t> present;  // 0 for a case that does not count; empty: every case counts
  std::size_t caseCount = 0;
  // For a sample of clusters: each cluster is in one fold, and this many cases are worth one
  // independent case.
  bool isClustered = false;
  double clusterEffect = 1;
};

// A case counts when it is selected (empty: all are), its weight is finite and above 0 (empty: no
// weights) and the response is one of the codes (within 15 units in the last place; the first that
// fits is its class). Two to kMaxClasses codes; throws std::length_error above that.
TreeResponse MakeClassResponse(std::span<const double> values, std::span<const double> codes,
                               std::span<const std::uint8_t> selected = {},
                               std::span<const double> weights = {});
// The same for a continuous response: a case counts where the value is finite and not missing.
TreeResponse MakeContinuousResponse(std::span<const double> values, double missingCode,
                                    std::span<const std::uint8_t> selected = {},
                                    std::span<const double> weights = {});

// The rule that prunes splits which are no better than chance. Off unless asked for.
//
// A subtree is judged by the share R of its node's impurity that it explains. R gives a statistic
// with as many degrees of freedom as the subtree has splits, times the classes less one: n R
// (classes - 1) for the Gini impurity (Light and Margolin 1971,
// doi:10.1080/01621459.1971.10482297), or the likelihood-ratio chi-square where that is smaller;
// the F of R for a continuous response. n is the number of cases, with weights the effective one,
// (sum w)^2 / sum w^2 (Kish 1965). The tail probability is multiplied by the number of ways in
// which the cuts could have been placed, as a Bonferroni adjustment would; neighbouring cuts are
// nearly equivalent, so that number is an effective one, fitted to trees grown on pure noise (see
// LogPlacements in tree_prune.cpp). Above 0.01 the subtree is no better than chance.
//   1. Where the whole tree or its first split alone is better than chance, subtrees that are not
//      are collapsed, the weakest (least gain per split) first, while the total loss stays below
//      maxLoss of the tree's gain.
//   2. Where neither is, or where a terminal node holds fewer than 10 cases and so may follow
//      single ones, every subtree that is no better than chance and holds none that is collapses.
// The first split always stays.
//
// Observed with 5 % of the cases as the least number, 15 % bad: on noise of 100 000 cases the
// median information value falls tenfold, from 15 bins to 2; on predictors with structure 0 to 1.1
// % of it is lost.
struct PruneRule {
  bool enabled = false;
  // Share of the gain of the full tree that rule 1 may lose. 1 keeps only splits that are better
  // than chance.
  double maxLoss = 0.01;
};

struct TreeOptions {
  std::int64_t leastCasesToSplit = 2;  // fewest unweighted cases of a node that is split
  std::int64_t leastCasesInChild = 1;  // fewest unweighted cases of each child
  PruneRule prune;
};

struct TreeNode {
  int parent = 0;  // node numbers, 0: none
  int left = 0;
  int right = 0;
  int bin = -1;  // 0-based place among the terminal nodes from left to right, -1 for a split node
  std::int64_t cases = 0;
  double weight = 0;  // sum of the case weights; the number of cases without weights
  double mean = 0;    // continuous response
  // continuous response: weighted sum of squares about the mean / weight
  double variance = 0;
  double impurity = 0;          // Gini of the classes, or the variance
  double splitConstant = 0;     // of a split over a continuous predictor
  double improvement = 0;       // of a split: weight x impurity less that of the children
  std::int32_t firstValue = 0;  // the node's distinct values, as places in Tree::values
  std::int32_t endValue = 0;
};

struct Tree {
  PredictorKind predictorKind = PredictorKind::kContinuous;
  int classCount = 0;  // 0: continuous response
  // node number i is at i - 1; empty when no case has both values
  std::vector<TreeNode> nodes;
  std::vector<double> classWeights;  // nodes x classCount: weight of each class in each node
  std::vector<int> bins;             // node number of each terminal node from left to right
  // Categorical predictor: the codes of the levels, ordered so that each node's are together,
  // ascending within a terminal node. Empty for a continuous predictor.
  std::vector<double> values;

  const TreeNode& Node(int nodeNumber) const { return nodes[static_cast<std::size_t>(nodeNumber - 1)]; }
  std::span<const double> ClassWeights(int nodeNumber) const {
    return std::span(classWeights)
        .subspan(static_cast<std::size_t>(nodeNumber - 1) * static_cast<std::size_t>(classCount),
                 static_cast<std::size_t>(classCount));
  }
  // The split constants in ascending order: bin b holds values in (cut[b - 1], cut[b]].
  std::vector<double> CutPoints() const;
  // The levels of a node, ascending.
  std::vector<double> Levels(int nodeNumber) const;
};

// Memory that trees keep between predictors.
struct TreeScratch {
  std::function<void()> checkpoint;  // called now and then while a tree grows; may throw to end it
  SortedOrder filtered;
  Buffer<std::int32_t> classTotals;
  Buffer<double> sums;
  Buffer<double> sorted;
  Buffer<double> weights;
  Buffer<std::uint16_t> classes;
};

// order: the predictor's cases as SortColumn gave them for this column.
Tree GrowTree(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
              PredictorKind kind, const TreeOptions& options, TreeScratch& scratch);

// A part of the user's own bins that was not used, with the reason in words.
struct DroppedCut {
  double value = 0;
  // a clause without its subject, which is the cut point, the level or the group
  std::string reason;
  bool isGroup = false;  // value: the group's position, counted from 1
};

// The tree that cuts at the given points (any order) instead of searching; least numbers of cases
// and pruning do not apply. A point outside the data, a repeated one and one that would leave a bin
// without cases is dropped. The tree leans right: the first split is at the lowest point.
Tree TreeFromCutPoints(const TreeResponse& response, std::span<const double> predictor,
                       const SortedOrder& order, std::span<const double> cutPoints, TreeScratch& scratch,
                       std::vector<DroppedCut>& dropped);

// The same for groups of levels: one terminal node per group, in the order given, and one more for
// the levels that no group names. A level that is not in the data or was named before is dropped,
// and so is a group left empty (its levels are listed, then the group as a whole).
Tree TreeFromGroups(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
                    std::span<const std::vector<double>> groups, TreeScratch& scratch,
                    std::vector<DroppedCut>& dropped);

}  // namespace velmora::stats
