// The levels of a variable as small numbers, one per case: the categories of a categorical
// variable, the intervals of a continuous one.
//
//   CaseGrouper grouper(used, mass);
//   const CaseGroups& groups = grouper.Group(column, {IntervalMethod::kQuantiles, 10});
//   sums[groups.groupOf[i]] += ...   // groups.count collects the cases without a value
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/stats/sorted_order.h"

namespace velmora::ranking {

// kTree: many quantiles, of which neighbours are joined so that the outcome differs between
// intervals.
enum class IntervalMethod { kQuantiles, kEqualWidth, kTree };

struct IntervalRule {
  IntervalMethod method = IntervalMethod::kQuantiles;
  int intervals = 10;  // at most
};

// A distinct value of a variable with the mass of its cases; values are ascending.
struct ValueMass {
  double highest = 0;  // of a run of values that are equal within the tolerance
  double mass = 0;
};

// Weighted mean and sum of squares about it (Welford 1962, doi:10.2307/1266577).
struct Moments {
  double mass = 0, mean = 0, squares = 0;

  void Add(double value, double its);
  void Merge(const Moments& other);
};

// The highest value of each interval but the last. An interval may hold no value.
std::vector<double> QuantileBounds(std::span<const ValueMass> values, int intervals);
std::vector<double> EqualWidthBounds(double lowest, const Moments& moments, int intervals);

// Intervals of equal width that say little, because nearly all cases are in one of them.
struct CrowdedIntervals {
  double share = 0;     // of the cases in the fullest interval
  double farValue = 0;  // the value that is farthest from the others
  int farCases = 0;     // cases that have it
};

struct CaseGroups {
  std::vector<std::uint32_t> groupOf;  // by case; count: not used, or without a value
  std::uint32_t count = 0;             // groups, from 0 in order of value
  std::size_t distinctValues = 0;
  std::int64_t cases = 0;  // used, with a value
  std::optional<CrowdedIntervals> crowded;
};

class CaseGrouper {
 public:
  // used: one byte per case, 0 for a case that is left out. mass: of each case, 0 where it is left
  // out; empty: every case counts once. Both must outlive the grouper.
  CaseGrouper(std::span<const std::uint8_t> used, std::span<const double> mass) : used_(used), mass_(mass) {}

  // The categories of the column's values. The result lives until the next call.
  const CaseGroups& Group(const Column& column);
  // The intervals of its values.
  const CaseGroups& Group(const Column& column, const IntervalRule& rule);

 private:
  void Sort(const Column& column);
  double MassOf(std::size_t position) const;
  // Groups the ordered values by the highest value of each group but the last, ascending.
  void Assign(const Column& column, const std::vector<double>& highest);
  std::vector<double> QuantileBounds(const Column& column, int intervals) const;
  std::vector<double> EqualWidthBounds(const Column& column, int intervals) const;
  void FindCrowded(const Column& column);

  std::span<const std::uint8_t> used_;
  std::span<const double> mass_;
  stats::SortScratch scratch_;
  stats::SortedOrder order_;
  CaseGroups groups_;
};

}  // namespace velmora::ranking
