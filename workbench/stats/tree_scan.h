// The inner loop of the tree: the best place to cut one node, over running totals at the ends of
// its distinct values.
//
// With w and s the weight and the sum of one response channel (a class, or the centred response)
// left of a cut, W and S those of the node, the cut lowers the weighted sum of squares of the
// channel by
//   D^2 / (w (W - w) W),  D = s W - w S,
// which for a class is half its part of the weighted Gini impurity, so classification and
// regression share one loop. For counts below 2^26 D is exact, so that equal cuts compare equal;
// the first of equal cuts is taken.
#pragma once

#include <cstdint>
#include <span>

namespace velmora::stats {

// Items [begin, end) make the node; a cut k sends items [begin, k) left. Cuts first..last are
// allowed, both included, begin < first <= last < end.
struct CutRange {
  std::int32_t begin = 0;
  std::int32_t end = 0;
  std::int32_t first = 0;
  std::int32_t last = 0;
};

struct BestCut {
  std::int32_t cut = -1;
  double gain = 0;  // decrease of the sum of squares, over the channels (and the implied one)
};

// Totals hold one entry per item and one more: totals[k] covers items before k. With several
// channels they are those of all classes but the first, which follows from the others and is
// included.
BestCut FindBestCut(const std::int32_t* counts, std::span<const std::int32_t* const> classes, CutRange range);
BestCut FindBestCut(const std::int32_t* counts, const double* sums, CutRange range);
BestCut FindBestCut(const double* weights, std::span<const double* const> channels, CutRange range);

}  // namespace velmora::stats
