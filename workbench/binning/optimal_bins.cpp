#include "workbench/binning/optimal_bins.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace velmora::binning {
namespace {

int ChosenCount(const Partitions& partitions, const PreBinSums& sums, Ordering ordering,
                const BinningRules& rules) {
  const int least = rules.exactBins > 0 ? rules.exactBins : rules.minBins;
  const int most = rules.exactBins > 0 ? rules.exactBins : 0;
  return ChooseBinCount(partitions, sums, ordering, least, most);
}

PartitionRules WithRoom(const BinningRules& rules) {
  PartitionRules partition = rules.partition;
  partition.maxBins = std::max({partition.maxBins, rules.minBins, rules.exactBins});
  return partition;
}

OptimalBins FromPartition(const Partition& partition, std::size_t preBinCount) {
  OptimalBins bins;
  bins.count = static_cast<int>(partition.ends.size());
  bins.shape = partition.shape;
  bins.binOf.resize(preBinCount);
  std::size_t first = 0;
  for (std::size_t bin = 0; bin < partition.ends.size(); ++bin) {
    const auto end = static_cast<std::size_t>(partition.ends[bin]);
    std::fill(bins.binOf.begin() + static_cast<std::ptrdiff_t>(first),
              bins.binOf.begin() + static_cast<std::ptrdiff_t>(end), static_cast<int>(bin));
    first = end;
  }
  return bins;
}

// Places of the groups in order of rate or mean; those without weight come first, equal ones in
// their order.
std::vector<std::size_t> OrderByLevel(const PreBinSums& sums) {
  std::vector<double> levels(sums.Count());
  for (std::size_t g = 0; g < sums.Count(); ++g) {
    const double weight = sums.WeightOf(g);
    levels[g] = weight > 0 ? sums.values[g * sums.Stride() + (sums.classCount == 0 ? 1 : 0)] / weight
                           : -std::numeric_limits<double>::infinity();
  }
  std::vector<std::size_t> order(sums.Count());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return levels[a] < levels[b]; });
  return order;
}

// The partitions of groups in order of rate or mean, and the place of each group in that order.
struct OrderedGroups {
  PreBinSums sums;
  std::vector<int> placeOf;
  Partitions found;
};

OrderedGroups PartitionReordered(const PreBinSums& groups, const BinningRules& rules,
                                 const std::function<bool()>& isCancelled) {
  OrderedGroups ordered;
  const std::vector<std::size_t> order = OrderByLevel(groups);
  ordered.placeOf.resize(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) ordered.placeOf[order[i]] = static_cast<int>(i);
  ordered.sums = SumBins(groups, ordered.placeOf, order.size());
  PartitionRules partition = WithRoom(rules);
  partition.shape = Shape::kFree;  // the order makes it ascending
  ordered.found = FindPartitions(ordered.sums, partition, isCancelled);
  return ordered;
}

OptimalBins Reordered(const PreBinSums& groups, const BinningRules& rules,
                      const std::function<bool()>& isCancelled) {
  const OrderedGroups ordered = PartitionReordered(groups, rules, isCancelled);
  const Partitions& found = ordered.found;
  if (found.byBinCount.empty()) return {};
  const int count = ChosenCount(found, ordered.sums, Ordering::kByResponse, rules);
  const OptimalBins inOrder =
      FromPartition(found.byBinCount[static_cast<std::size_t>(count - 1)], groups.Count());
  OptimalBins bins = inOrder;
  for (std::size_t g = 0; g < groups.Count(); ++g)
    bins.binOf[g] = inOrder.binOf[static_cast<std::size_t>(ordered.placeOf[g])];
  return bins;
}

// Merges groups of classes pair by pair.
class Merger {
 public:
  Merger(const PreBinSums& sums, const PartitionRules& rules) : sums_(sums), rules_(rules) {
    groupOf_.resize(sums.Count());
    std::iota(groupOf_.begin(), groupOf_.end(), 0);
    rows_.resize(sums.Count());
    for (std::size_t g = 0; g < sums.Count(); ++g) {
      rows_[g] = {sums.values.begin() + static_cast<std::ptrdiff_t>(g * sums.Stride()),
                  sums.values.begin() + static_cast<std::ptrdiff_t>((g + 1) * sums.Stride())};
      rows_[g].push_back(sums.cases[g]);
    }
  }

  std::size_t GroupCount() const { return rows_.size(); }
  const std::vector<int>& GroupOf() const { return groupOf_; }

  double Deviance() const {
    double sum = 0;
    for (const auto& row : rows_) sum += DevianceOf(row);
    return sum;
  }

  bool MeetsRules() const {
    return std::all_of(rows_.begin(), rows_.end(), [&](const auto& row) { return IsAllowed(row); });
  }

  // Merges the pair that costs least; a group that breaks the rules is merged before any other.
  void MergeCheapest() {
    std::size_t left = 0, right = 1;
    double least = std::numeric_limits<double>::infinity();
    const bool allAllowed = MeetsRules();
    for (std::size_t a = 0; a < rows_.size(); ++a) {
      for (std::size_t b = a + 1; b < rows_.size(); ++b) {
        if (!allAllowed && IsAllowed(rows_[a]) && IsAllowed(rows_[b])) continue;
        const double cost = DevianceOf(Sum(rows_[a], rows_[b])) - DevianceOf(rows_[a]) - DevianceOf(rows_[b]);
        if (cost < least) {
          least = cost;
          left = a;
          right = b;
        }
      }
    }
    rows_[left] = Sum(rows_[left], rows_[right]);
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(right));
    for (int& group : groupOf_) {
      if (group == static_cast<int>(right)) {
        group = static_cast<int>(left);
      } else if (group > static_cast<int>(right)) {
        --group;
      }
    }
  }

 private:
  using Row = std::vector<double>;  // class weights, then the cases

  static Row Sum(const Row& a, const Row& b) {
    Row sum = a;
    for (std::size_t c = 0; c < sum.size(); ++c) sum[c] += b[c];
    return sum;
  }

  static double DevianceOf(const Row& row) {
    double weight = 0, sum = 0;
    for (std::size_t c = 0; c + 1 < row.size(); ++c) {
      weight += row[c];
      if (row[c] > 0) sum -= row[c] * std::log(row[c]);
    }
    return weight > 0 ? 2 * (sum + weight * std::log(weight)) : 0;
  }

  bool IsAllowed(const Row& row) const {
    double weight = 0;
    bool events = true;
    for (std::size_t c = 0; c + 1 < row.size(); ++c) {
      weight += row[c];
      events = events && row[c] >= rules_.minEvents;
    }
    return weight >= rules_.minShare * sums_.TotalWeight() && row.back() >= rules_.minCases &&
           (rules_.minEvents <= 0 || events);
  }

  const PreBinSums& sums_;
  const PartitionRules& rules_;
  std::vector<Row> rows_;
  std::vector<int> groupOf_;
};

// The partitions on the way from one group each to one bin. groupsAt: by number of bins.
Partitions MergeGroups(const PreBinSums& groups, const BinningRules& rules,
                       const std::function<bool()>& isCancelled, std::vector<std::vector<int>>& groupsAt) {
  const PartitionRules partition = WithRoom(rules);
  Merger merger(groups, partition);
  Partitions found;
  groupsAt.resize(groups.Count() + 1);
  found.byBinCount.resize(std::min(groups.Count(), static_cast<std::size_t>(partition.maxBins)));
  while (true) {
    const std::size_t count = merger.GroupCount();
    if (count <= found.byBinCount.size() && (count == 1 || merger.MeetsRules())) {
      Partition& candidate = found.byBinCount[count - 1];
      candidate.ends.assign(count, 0);  // only their number matters to the description
      candidate.deviance = merger.Deviance();
      groupsAt[count] = merger.GroupOf();
    }
    if (count == 1) return found;
    if (isCancelled && isCancelled()) return {};
    merger.MergeCheapest();
  }
}

OptimalBins MergedGreedily(const PreBinSums& groups, const BinningRules& rules,
                           const std::function<bool()>& isCancelled) {
  std::vector<std::vector<int>> groupsAt;
  const Partitions found = MergeGroups(groups, rules, isCancelled, groupsAt);
  if (found.byBinCount.empty()) return {};
  OptimalBins bins;
  bins.count = ChosenCount(found, groups, Ordering::kByResponse, rules);
  bins.binOf = groupsAt[static_cast<std::size_t>(bins.count)];
  bins.greedy = true;
  return bins;
}

}  // namespace

BinCounts AllowedCounts(const BinningRules& rules) {
  if (rules.exactBins > 0) return {rules.exactBins, rules.exactBins};
  return {rules.minBins, std::max(rules.partition.maxBins, rules.minBins)};
}

PreBinSums SumBins(const PreBinSums& preBins, const std::vector<int>& binOf, std::size_t binCount) {
  PreBinSums bins;
  bins.classCount = preBins.classCount;
  bins.squaredWeights = preBins.squaredWeights;
  bins.values.assign(binCount * preBins.Stride(), 0.0);
  bins.cases.assign(binCount, 0.0);
  for (std::size_t pre = 0; pre < preBins.Count(); ++pre) {
    if (binOf[pre] < 0) continue;
    const auto bin = static_cast<std::size_t>(binOf[pre]);
    bins.cases[bin] += preBins.cases[pre];
    for (std::size_t c = 0; c < preBins.Stride(); ++c) {
      bins.values[bin * preBins.Stride() + c] += preBins.values[pre * preBins.Stride() + c];
    }
  }
  return bins;
}

int PlaceOfMissing(vlm::MissingBin place, const PreBinSums& bins, const PreBinSums& missing) {
  const int count = static_cast<int>(bins.Count());
  switch (place) {
    case vlm::kMissingLeftOut:
      return -1;
    case vlm::kMissingOwnBin:
      return count;
    case vlm::kMissingInFirstBin:
      return 0;
    case vlm::kMissingInLastBin:
      return count - 1;
    case vlm::kMissingInNearestBin:
      break;
  }
  const auto share = [](const PreBinSums& sums, std::size_t bin, std::size_t c) {
    return sums.values[bin * sums.Stride() + c] / sums.WeightOf(bin);
  };
  // The mean is place 1 of the moments; of classes every share counts.
  const std::size_t first = bins.classCount == 0 ? 1 : 0, last = bins.classCount == 0 ? 2 : bins.Stride();
  int nearest = 0;
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t bin = 0; bin < bins.Count() && missing.WeightOf(0) > 0; ++bin) {
    double distance = 0;
    for (std::size_t c = first; c < last; ++c) {
      const double difference = share(bins, bin, c) - share(missing, 0, c);
      distance += difference * difference;
    }
    if (distance < least) {
      least = distance;
      nearest = static_cast<int>(bin);
    }
  }
  return nearest;
}

bool MissingCasesDiffer(const PreBinSums& values, const PreBinSums& missing) {
  PreBinSums both = SumBins(values, std::vector<int>(values.Count(), 0), 1);
  both.Append(missing);
  PartitionRules anyTwo;
  anyTwo.maxBins = 2;
  anyTwo.minShare = 0;
  const Partitions found = FindPartitions(both, anyTwo);
  if (found.byBinCount.size() < 2 || found.byBinCount[1].ends.empty()) return false;
  const double one = DescriptionLength(found.byBinCount[0], both, Ordering::kGiven);
  const double two = DescriptionLength(found.byBinCount[1], both, Ordering::kGiven);
  return two + std::log(2.0) < one;
}

std::vector<int> PoolRareLevels(const PreBinSums& sums, double minShare, std::size_t& groupCount) {
  // Where every level is rare, as postcodes are, the pool must not take them all.
  const double halfOfMean = 0.5 / static_cast<double>(std::max<std::size_t>(sums.Count(), 1));
  const double least = std::min(minShare, halfOfMean) * sums.TotalWeight();
  std::vector<int> groupOf(sums.Count(), -1);
  groupCount = 0;
  bool anyRare = false;
  for (std::size_t level = 0; level < sums.Count(); ++level) {
    if (sums.WeightOf(level) >= least) {
      groupOf[level] = static_cast<int>(groupCount++);
    } else {
      anyRare = true;
    }
  }
  if (!anyRare) return groupOf;
  std::replace(groupOf.begin(), groupOf.end(), -1, static_cast<int>(groupCount));
  ++groupCount;
  return groupOf;
}

double SearchGain(const PreBinSums& values, const PreBinSums& separate, const BinningRules& rules,
                  bool categorical) {
  Partitions found;
  std::size_t count = values.Count();
  if (!categorical) {
    found = FindPartitions(values, WithRoom(rules));
  } else {
    const std::vector<int> groupOf = PoolRareLevels(values, rules.minLevelShare, count);
    const PreBinSums groups = SumBins(values, groupOf, count);
    std::vector<std::vector<int>> groupsAt;
    found = values.classCount > 2 ? MergeGroups(groups, rules, {}, groupsAt)
                                  : PartitionReordered(groups, rules, {}).found;
  }
  PreBinSums all = values;
  all.Append(separate);
  const double weight = all.TotalWeight(), n = all.EffectiveCases();
  if (!(weight > 0) || !(n > 0)) return -std::numeric_limits<double>::infinity();
  const auto devianceOfOneBin = [](const PreBinSums& sums) {
    PartitionRules oneBin;
    oneBin.maxBins = 1;
    return FindPartitions(sums, oneBin).byBinCount[0].deviance;
  };
  double apart = 0;  // deviance of the separate bins
  for (std::size_t b = 0; b < separate.Count(); ++b) {
    std::vector<int> only(separate.Count(), -1);
    only[b] = 0;
    apart += devianceOfOneBin(SumBins(separate, only, 1));
  }
  const double whole = devianceOfOneBin(all);
  const auto fit = [&](double deviance) {
    if (all.classCount > 0) return deviance / 2 * (n / weight);
    return whole > 0 ? n / 2 * std::log(std::max(deviance, whole * 1e-14) / weight) : 0;
  };
  const double parameters = all.classCount == 0 ? 1 : all.classCount - 1;
  const auto [least, most] = AllowedCounts(rules);
  double best = -std::numeric_limits<double>::infinity();
  for (std::size_t k = 1; k <= found.byBinCount.size(); ++k) {
    const Partition& partition = found.byBinCount[k - 1];
    const std::size_t bins = k + separate.Count();
    if (partition.ends.empty() || bins < 2 || static_cast<int>(k) < least || static_cast<int>(k) > most)
      continue;
    const double choice = categorical ? LogStirling(count, k) : LogChoose(count - 1, k - 1);
    best = std::max(best, fit(whole) - fit(partition.deviance + apart) -
                              static_cast<double>(bins - 1) * parameters / 2 * std::log(n) - choice);
  }
  return best;
}

OptimalBins FindOrderedBins(const PreBinSums& sums, const BinningRules& rules,
                            const std::function<bool()>& isCancelled) {
  const Partitions found = FindPartitions(sums, WithRoom(rules), isCancelled);
  if (found.byBinCount.empty()) return {};
  const int count = ChosenCount(found, sums, Ordering::kGiven, rules);
  return FromPartition(found.byBinCount[static_cast<std::size_t>(count - 1)], sums.Count());
}

OptimalBins FindLevelBins(const PreBinSums& sums, const BinningRules& rules,
                          const std::function<bool()>& isCancelled) {
  std::size_t groupCount = 0;
  const std::vector<int> groupOf = PoolRareLevels(sums, rules.minLevelShare, groupCount);
  const PreBinSums groups = SumBins(sums, groupOf, groupCount);
  OptimalBins bins = sums.classCount > 2 ? MergedGreedily(groups, rules, isCancelled)
                                         : Reordered(groups, rules, isCancelled);
  if (bins.count == 0) return bins;
  std::vector<int> binOfLevel(sums.Count());
  for (std::size_t level = 0; level < sums.Count(); ++level) {
    binOfLevel[level] = bins.binOf[static_cast<std::size_t>(groupOf[level])];
  }
  bins.binOf = std::move(binOfLevel);
  return bins;
}

double CutBetween(double last, double first) {
  if (last <= 0 && first > 0) return 0;
  const double middle = last / 2 + first / 2;
  for (int digits = 1; digits <= 17; ++digits) {
    // Of all numbers with this many digits, the nearest to the middle are its rounding and that
    // one's neighbours.
    char text[40];
    std::snprintf(text, sizeof text, "%.*e", digits - 1, middle);
    const double rounded = std::strtod(text, nullptr);
    if (rounded >= last && rounded < first) return rounded;
    std::snprintf(text, sizeof text, "%.*e", digits - 1, last);
    const double low = std::strtod(text, nullptr);
    if (low >= last && low < first) return low;
  }
  return last;
}

}  // namespace velmora::binning
