// The best way to join neighbouring pre-bins into bins, exactly.
//
// A predictor comes as m pre-bins in order, each with the weights of the response's classes, or
// with the moments of a measured response. Among all partitions of the pre-bins into k neighbouring
// bins that meet the constraints, the dynamic program of Fisher (1958,
// doi:10.1080/01621459.1958.10501479) and Bellman finds the one that is best by a criterion that
// adds up over bins. It does so for every k, and ChooseBinCount() says how many bins the data
// support.
//
//   const PreBinSums sums = ...;                      // 100 pre-bins of a good/bad response
//   PartitionRules rules;
//   rules.shape = Shape::kMonotone;
//   const Partitions found = FindPartitions(sums, rules);
//   const Partition& best = found.byBinCount[ChooseBinCount(found, sums, Ordering::kGiven) - 1];
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace velmora::binning {

// Sums over the cases of each pre-bin. Class weights, or for a measured response (classCount 0) the
// moments sum w, sum w y, sum w y^2 about any origin near the mean.
struct PreBinSums {
  int classCount = 2;          // 0: measured response
  std::vector<double> values;  // pre-bin by pre-bin: classCount class weights, or the three moments
  std::vector<double> cases;   // unweighted cases of each pre-bin
  double squaredWeights = 0;   // sum of w^2 over all cases; their number without weights

  std::size_t Stride() const { return classCount == 0 ? 3 : static_cast<std::size_t>(classCount); }
  std::size_t Count() const { return cases.size(); }
  double TotalWeight() const;
  double WeightOf(std::size_t bin) const;
  // Appends the bins of more, which holds other cases.
  void Append(const PreBinSums& more);
  // Kish's effective number of cases, (sum w)^2 / sum w^2: the number without weights, and the same
  // in every unit of the weights (Kish 1965, Survey Sampling, section 11.7).
  double EffectiveCases() const;
};

enum class Criterion {
  kDeviance,  // -2 log likelihood of the classes; the sum of squares of a measured response
  // Two classes only: sum of (good share - bad share) ln(good share / bad share).
  kInformationValue,
  kGini,      // classes only: weight times Gini impurity
  kVariance,  // measured response only: the sum of squares within bins
};

// How the rate of class 0 (the bad ones), or the mean, runs over the bins. Shapes need two classes
// or a measured response.
enum class Shape { kFree, kAscending, kDescending, kMonotone, kPeak, kValley, kAuto };

struct PartitionRules {
  Criterion criterion = Criterion::kDeviance;
  Shape shape = Shape::kFree;
  int maxBins = 8;
  double minShare = 0.05;  // of the predictor's weight, of each bin
  double minCases = 0;     // unweighted, of each bin
  double minEvents = 0;    // weight of each class in each bin
  // Neighbouring bins differ at this level: Chi-square of classes, Welch's test of means.
  double maxAdjacentP = 1;
  // Information value: half a case added to both counts of a bin without goods or bads.
  bool correctPureBins = true;
};

struct Partition {
  // One past the last pre-bin of each bin, ascending; empty: no partition meets the rules.
  std::vector<int> ends;
  // Of the whole partition: deviance, information value, impurity or sum of squares.
  double criterion = 0;
  // Whatever the criterion: -2 log likelihood, or the sum of squares of a measured response.
  double deviance = 0;
  Shape shape = Shape::kFree;  // for kMonotone and kAuto, the one that was found
};

struct Partitions {
  std::vector<Partition> byBinCount;  // [k - 1]: the best of k bins
};

// The best partition for every number of bins up to rules.maxBins. One bin is always possible.
// isCancelled is called now and then; when it returns true, the result is empty. Throws
// std::invalid_argument for a criterion or shape that the response does not have, or for no
// pre-bins. Time: O(maxBins m^2) free, O(maxBins m^2 log m) with a shape, O(maxBins m^3) with
// maxAdjacentP below 1.
Partitions FindPartitions(const PreBinSums& sums, const PartitionRules& rules,
                          const std::function<bool()>& isCancelled = {});

// Where the order of the pre-bins comes from: it decides in how many ways the bins could have been
// chosen.
enum class Ordering {
  kGiven,  // by the predictor's own values: C(m - 1, k - 1) ways
  // Levels ordered by their rates: S(m, k) ways, Stirling's numbers of the second kind.
  kByResponse,
};

// Half the deviance, plus the cost of describing which partition it is and its parameters (Rissanen
// 1978, doi:10.1016/0005-1098(78)90005-5): with J classes and n effective cases
//   deviance / 2 + (k - 1) (J - 1) / 2 ln n + ln(ways to choose k bins of m pre-bins),
// where a measured response has n / 2 ln(sum of squares / n) in place of the first term and J = 2.
// m: chosenFrom, where sums are of pre-bins that were joined beforehand; 0: as many as sums has.
double DescriptionLength(const Partition& partition, const PreBinSums& sums, Ordering ordering,
                         std::size_t chosenFrom = 0);

// The number of bins between least and most (0: all found) with the shortest description; fewer
// bins on equality. One bin means that no partition is better than chance; selectionCost is added
// to every other length (see SelectionCost). When no count in the range is possible, the nearest
// possible one.
int ChooseBinCount(const Partitions& partitions, const PreBinSums& sums, Ordering ordering, int least = 1,
                   int most = 0, std::size_t chosenFrom = 0, double selectionCost = 0);

// ln S(m, k).
double LogStirling(std::size_t m, std::size_t k);
// ln C(m, k).
double LogChoose(std::size_t m, std::size_t k);

}  // namespace velmora::binning
