// The gain of a search for bins, many times over: binning::SearchGain for responses without weights
// and searches without rules for neighbours, where sums of logarithms can be looked up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "workbench/binning/search_record.h"

namespace velmora::evidence {

// The gain of a search whose rules allow no partition.
inline constexpr double kNoGain = -std::numeric_limits<double>::infinity();

// n ln n for whole n, shared by all searches of a response.
class LogTable {
 public:
  explicit LogTable(std::size_t most);
  double operator[](std::size_t n) const { return values_[n]; }

 private:
  std::vector<double> values_;
};

// One search, prepared: everything that does not depend on the response. Cases must not have
// weights.
class GainSearch {
 public:
  // Whether the rules are of the kind that this class searches with.
  static bool Supports(const binning::SearchRecord& record);
  // cases: of each pre-bin, with the pre-bins that the search does not join at the end.
  GainSearch(const binning::SearchRecord& record, std::span<const std::uint32_t> cases);

  struct Scratch {
    std::vector<double> costs, last, next, groups, sums;
    std::vector<std::size_t> order, weights, running;
    std::vector<std::uint32_t> counts;
    std::vector<int> joined;  // the joined group of each group in order; empty: each is alone
  };

  // counts: of each pre-bin, classCount of them.
  double OfClasses(std::span<const std::uint32_t> counts, std::size_t classCount, const LogTable& logs,
                   Scratch& scratch) const;
  // sums: of the response in each pre-bin; squares: of all its values.
  double OfMeans(std::span<const double> sums, double squares, Scratch& scratch) const;

 private:
  // The gain of a response whose values, stride of them per group, are in scratch.groups.
  // costOf(sums, weight): the cost of a run of groups. fitOf(sum of costs): the length of the
  // description.
  template <typename Cost, typename Fit>
  double Best(std::size_t stride, double separateCost, double wholeFit, double parameters, Cost costOf,
              Fit fitOf, Scratch& scratch) const;
  std::size_t OrderGroups(std::size_t stride, Scratch& scratch) const;

  bool reorders_;
  std::size_t groupCount_ = 0, separateCount_;
  std::vector<std::size_t> groupOf_;         // of each pre-bin that the search joins
  std::vector<std::uint32_t> caseCounts_;    // of each pre-bin
  std::vector<std::size_t> groupCases_;      // of each group
  std::size_t cases_ = 0, joinedCases_ = 0;  // of all pre-bins, and of those that are joined
  int least_, most_;                         // bins of the joined ones
  double leastCases_;                        // in each bin
  std::vector<double> choiceCosts_;          // [k - 1]: of k bins
};

}  // namespace velmora::evidence
