#include "workbench/binning/pre_bins.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "base/split_mix.h"

namespace velmora::binning {
namespace {

// Deals cases to the folds: each ten consecutive cases get the ten folds in a new random order.
class Dealer {
 public:
  explicit Dealer(std::uint64_t stratum) : state_(vlm::RandomBits(stratum)) {
    std::iota(deck_, deck_ + kFoldCount, 0);
  }

  std::uint8_t Next() {
    if (at_ == 0) Shuffle();
    const std::uint8_t fold = deck_[at_];
    at_ = (at_ + 1) % kFoldCount;
    return fold;
  }

 private:
  void Shuffle() {
    for (std::size_t i = kFoldCount - 1; i > 0; --i) {
      std::swap(deck_[i], deck_[vlm::RandomBits(state_++) % (i + 1)]);
    }
  }

  std::uint64_t state_;
  std::uint8_t deck_[kFoldCount];
  std::size_t at_ = 0;
};

double WeightOf(const stats::TreeResponse& response, std::size_t index) {
  return response.weights.empty() ? 1.0 : response.weights[index];
}

// Adds cases to the sums of a pre-bin, and to those of their folds.
class Counter {
 public:
  Counter(const stats::TreeResponse& response, std::span<const std::uint8_t> folds, std::size_t count,
          PreBins& bins)
      : response_(response), folds_(folds), bins_(bins) {
    Clear(bins.sums, count);
    bins.folds.resize(folds.empty() ? 0 : kFoldCount);
    for (PreBinSums& fold : bins.folds) Clear(fold, count);
  }

  void Add(std::size_t bin, std::size_t index) {
    const double weight = WeightOf(response_, index);
    AddTo(bins_.sums, bin, index, weight);
    if (folds_.empty()) return;
    if (!response_.weightsAreCounts || response_.isClustered)
      return AddTo(bins_.folds[folds_[index]], bin, index, weight);
    // The equal cases of a row are dealt one by one, at random like other cases. When they are so
    // many that chance hardly matters, and for fractions of a case, every fold gets the same share.
    constexpr double kMostDealt = 10000;
    double parts[kFoldCount] = {};
    const double dealt = weight <= kMostDealt ? std::floor(weight) : 0;
    for (std::uint64_t one = 0; one < static_cast<std::uint64_t>(dealt); ++one)
      parts[vlm::RandomBits(vlm::RandomBits(index) + one) % kFoldCount] += 1;
    for (std::size_t fold = 0; fold < kFoldCount; ++fold) {
      const double part = parts[fold] + (weight - dealt) / kFoldCount;
      if (part > 0) AddTo(bins_.folds[fold], bin, index, part);
    }
  }

 private:
  void Clear(PreBinSums& sums, std::size_t count) const {
    sums.classCount = response_.continuous ? 0 : response_.classCount;
    sums.values.assign(count * sums.Stride(), 0.0);
    sums.cases.assign(count, 0.0);
    sums.squaredWeights = 0;
  }

  void AddTo(PreBinSums& sums, std::size_t bin, std::size_t index, double weight) const {
    const double cases = response_.weightsAreCounts ? weight : 1;
    sums.cases[bin] += cases;
    sums.squaredWeights += response_.clusterEffect * (response_.weightsAreCounts ? weight : weight * weight);
    if (!response_.continuous) {
      sums.values[bin * sums.Stride() + response_.classOf[index]] += weight;
      return;
    }
    const double y = response_.deviations[index];
    double* moments = &sums.values[bin * 3];
    moments[0] += weight;
    moments[1] += weight * y;
    moments[2] += weight * y * y;
  }

  const stats::TreeResponse& response_;
  std::span<const std::uint8_t> folds_;
  PreBins& bins_;
};

// The weight of each distinct value of the order, 0 where no case counts.
std::vector<double> ValueWeights(const stats::TreeResponse& response, const stats::SortedOrder& order) {
  std::vector<double> weights(order.DistinctCount(), 0.0);
  for (std::size_t d = 0; d < weights.size(); ++d) {
    for (auto at = order.starts[d]; at < order.starts[d + 1]; ++at) {
      const std::size_t index = order.cases[static_cast<std::size_t>(at)];
      if (CountsForResponse(response, index)) weights[d] += WeightOf(response, index);
    }
  }
  return weights;
}

}  // namespace

std::vector<int> AssignPreBins(const std::vector<double>& weights, std::size_t limit) {
  std::vector<int> binOf(weights.size(), -1);
  const auto used =
      static_cast<std::size_t>(std::count_if(weights.begin(), weights.end(), [](double w) { return w > 0; }));
  const double share = std::accumulate(weights.begin(), weights.end(), 0.0) / static_cast<double>(limit);
  int bin = -1;
  bool open = false;       // whether the next value may join the last pre-bin
  double reached = 0;      // weight of all values so far
  std::size_t closed = 0;  // quantiles passed
  for (std::size_t d = 0; d < weights.size(); ++d) {
    if (!(weights[d] > 0)) continue;
    const bool alone = used <= limit || weights[d] >= share;
    if (!open || alone) ++bin;
    binOf[d] = bin;
    reached += weights[d];
    const auto passed = static_cast<std::size_t>(reached / share + 1e-9);
    open = !alone && passed == closed;
    closed = passed;
  }
  return binOf;
}

bool CountsForResponse(const stats::TreeResponse& response, std::size_t caseIndex) {
  if (!response.present.empty() && response.present[caseIndex] == 0) return false;
  return response.continuous || response.classOf[caseIndex] != stats::kNoClass;
}

PreBins MakeBins(const stats::TreeResponse& response, std::span<const double> column,
                 const stats::SortedOrder& order, const std::vector<int>& binOf,
                 std::span<const std::uint8_t> folds) {
  PreBins bins;
  const int count = binOf.empty() ? 0 : *std::max_element(binOf.begin(), binOf.end()) + 1;
  bins.first.resize(static_cast<std::size_t>(count));
  bins.last.resize(static_cast<std::size_t>(count));
  Counter counter(response, folds, static_cast<std::size_t>(count), bins);
  std::vector<bool> any(static_cast<std::size_t>(count));
  for (std::size_t d = 0; d < binOf.size(); ++d) {
    if (binOf[d] < 0) continue;
    const auto bin = static_cast<std::size_t>(binOf[d]);
    if (!any[bin]) bins.first[bin] = order.Value(column, d);
    bins.last[bin] = order.HighestValue(column, d);
    any[bin] = true;
    for (auto at = order.starts[d]; at < order.starts[d + 1]; ++at) {
      const std::size_t index = order.cases[static_cast<std::size_t>(at)];
      if (CountsForResponse(response, index)) counter.Add(bin, index);
    }
  }
  return bins;
}

PreBins MakeMissingBin(const stats::TreeResponse& response, std::span<const std::uint32_t> cases,
                       std::span<const std::uint8_t> folds) {
  PreBins bins;
  bins.first = bins.last = {0};
  Counter counter(response, folds, 1, bins);
  for (const std::uint32_t index : cases) {
    if (CountsForResponse(response, index)) counter.Add(0, index);
  }
  return bins;
}

std::vector<std::uint8_t> StratifiedFolds(const stats::TreeResponse& response) {
  std::vector<std::uint8_t> folds(response.caseCount, 0);
  if (!response.continuous) {
    std::vector<Dealer> dealers;
    for (int c = 0; c < response.classCount; ++c) dealers.emplace_back(static_cast<std::uint64_t>(c));
    for (std::size_t i = 0; i < folds.size(); ++i) {
      if (CountsForResponse(response, i)) folds[i] = dealers[response.classOf[i]].Next();
    }
    return folds;
  }
  std::vector<std::uint32_t> cases;
  for (std::size_t i = 0; i < folds.size(); ++i) {
    if (CountsForResponse(response, i)) cases.push_back(static_cast<std::uint32_t>(i));
  }
  std::sort(cases.begin(), cases.end(), [&](std::uint32_t a, std::uint32_t b) {
    const double left = response.deviations[a], right = response.deviations[b];
    return left != right ? left < right : a < b;
  });
  Dealer dealer(0);
  for (const std::uint32_t index : cases) folds[index] = dealer.Next();
  return folds;
}

std::vector<std::uint8_t> ClusterFolds(const stats::TreeResponse& response,
                                       const stats::SurveyDesign& design) {
  std::vector<std::uint8_t> folds(response.caseCount, 0);
  struct Cluster {
    std::size_t number;
    double mean;
  };
  std::vector<Cluster> clusters;  // of a stratum, with cases that count
  Dealer dealer(0);
  for (const stats::SurveyDesign::Range& stratum : design.strata) {
    clusters.clear();
    for (std::size_t k = stratum.begin; k < stratum.end; ++k) {
      double sum = 0, weights = 0;
      for (std::size_t at = design.clusters[k].begin; at < design.clusters[k].end; ++at) {
        const std::size_t index = design.cases[at];
        if (!CountsForResponse(response, index)) continue;
        const double weight = WeightOf(response, index);
        weights += weight;
        sum += weight * (response.continuous ? response.deviations[index] : response.classOf[index]);
      }
      if (weights > 0) clusters.push_back({k, sum / weights});
    }
    std::stable_sort(clusters.begin(), clusters.end(),
                     [](const Cluster& a, const Cluster& b) { return a.mean < b.mean; });
    for (const Cluster& cluster : clusters) {
      const std::uint8_t fold = dealer.Next();
      const stats::SurveyDesign::Range& range = design.clusters[cluster.number];
      for (std::size_t at = range.begin; at < range.end; ++at) folds[design.cases[at]] = fold;
    }
  }
  return folds;
}

PreBins MakePreBins(const stats::TreeResponse& response, std::span<const double> column,
                    const stats::SortedOrder& order, int limit, std::span<const std::uint8_t> folds) {
  const std::vector<double> weights = ValueWeights(response, order);
  return MakeBins(response, column, order,
                  AssignPreBins(weights, static_cast<std::size_t>(std::max(limit, 2))), folds);
}

PreBins MakeLevels(const stats::TreeResponse& response, std::span<const double> column,
                   const stats::SortedOrder& order, std::span<const std::uint8_t> folds) {
  const std::vector<double> weights = ValueWeights(response, order);
  return MakeBins(response, column, order, AssignPreBins(weights, weights.size() + 1), folds);
}

void Append(const PreBins& more, PreBins& bins) {
  bins.first.insert(bins.first.end(), more.first.begin(), more.first.end());
  bins.last.insert(bins.last.end(), more.last.begin(), more.last.end());
  bins.sums.Append(more.sums);
  for (std::size_t fold = 0; fold < bins.folds.size(); ++fold) bins.folds[fold].Append(more.folds[fold]);
}

PreBinSums FirstPreBins(const PreBinSums& sums, std::size_t count) {
  PreBinSums first = sums;
  first.values.resize(count * sums.Stride());
  first.cases.resize(count);
  const double all = sums.TotalWeight();
  if (all > 0) first.squaredWeights *= first.TotalWeight() / all;
  return first;
}

}  // namespace velmora::binning
