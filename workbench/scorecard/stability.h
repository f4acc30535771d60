// How the bins of a predictor differ between groups of cases: periods, samples, regions, or the
// cases that the bins were made from and later ones.
//
//   GroupedPredictor age{.name = "age", .labels = {"low", "high"}, .cases = {{50, 50}, {20, 80}}};
//   StabilityOf(age, "binary").groups[1].shareIndex;   // 0.416: the population has shifted
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"

namespace velmora {

struct GroupedPredictor {
  // Counts weighted cases of a bin; bin < 0: without one.
  void AddCases(std::size_t group, int bin, double weight);

  std::string name;
  std::vector<std::string> labels;  // of the bins
  // Of the bins: weight of evidence or mean; higher is better.
  std::vector<double> values;
  std::vector<std::vector<double>> cases;  // by group, by bin; weighted
  // The same by response; empty for a group without it.
  std::vector<std::vector<SavedCounts>> counts;
  std::vector<double> unbinned;  // by group; cases without a bin
  // By group of a weighted sample: the sum of the squared weights over the sum of the weights. A
  // weighted count divided by it is the effective number of cases. Empty: 1.
  std::vector<double> weightSpread;
};

// The bins of a predictor with groups that have no cases yet.
GroupedPredictor EmptyGroups(const SavedPredictor& predictor, std::size_t groupCount,
                             const SavedCounts& none);

struct BinInGroup {
  double cases = 0;
  double share = 0;        // of the cases of the group, those without a bin included
  double rate = kMissing;  // binary: share of bad; continuous: mean of the response
  double woe = kMissing;   // binary: 100 ln(share of good / share of bad)
};

struct PredictorInGroup {
  double cases = 0;  // those without a bin included
  double unbinnedShare = 0;
  // Population stability index of the shares of the bins against the reference.
  double shareIndex = 0;
  // Binary: how far the rates within the bins have moved against the reference, for equal shares of
  // bins and an equal rate of all cases: sum of share (p' - p) (logit p' - logit p).
  double woeIndex = kMissing;
  // Information value (binary), share of the variance explained (continuous), Cramer's V.
  double strength = kMissing;
  double areaUnderCurve = kMissing;  // binary: of the values of the bins
  // Pairs of bins whose rates are in the opposite order to that of the reference, by more than one
  // standard error of their difference in the group.
  int crossings = 0;
  std::vector<BinInGroup> bins;
};

struct PredictorStability {
  std::string name;
  std::vector<std::string> labels;  // of the bins, then of cases without one when there are any
  std::vector<PredictorInGroup> groups;
  PredictorInGroup reference;
  // Change of the strength per group, by least squares; of three groups or more.
  double trend = kMissing;

  // The group with the largest index, other than the reference.
  std::size_t WorstShare() const;
  std::size_t WorstWoe() const;
};

inline constexpr int kAllGroups = -1;

// kind: of the response. referenceGroup: from 0, or kAllGroups for the cases of all groups.
PredictorStability StabilityOf(const GroupedPredictor& predictor, const std::string& kind,
                               int referenceGroup = 0);

}  // namespace velmora
