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
                const BinningRules& rules, std::size_t chosenFrom) {
  const int least = rules.exactBins > 0 ? rules.exactBins : rules.minBins;
  const int most = rules.exactBins > 0 ? rules.exactBins : 0;
  return ChooseBinCount(partitions, sums, ordering, least, most, chosenFrom, SelectionCost(rules));
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

constexpr double kNoLevel = -std::numeric_limits<double>::infinity();

// The rate or mean of each group; of those without weight kNoLevel.
std::vector<double> Levels(const PreBinSums& sums) {
  std::vector<double> levels(sums.Count(), kNoLevel);
  for (std::size_t g = 0; g < sums.Count(); ++g) {
    const double weight = sums.WeightOf(g);
    if (weight > 0) levels[g] = sums.values[g * sums.Stride() + (sums.classCount == 0 ? 1 : 0)] / weight;
  }
  return levels;
}

// The shares of more than two classes in each group as one number: their first principal component
// over the groups, in which neighbours are alike (Coppersmith, Hong and Hosking 1999,
// doi:10.1023/A:1009869804967).
std::vector<double> FirstComponent(const PreBinSums& sums) {
  const std::size_t classes = sums.Stride();
  const double total = sums.TotalWeight();
  std::vector<double> mean(classes, 0.0), covariance(classes * classes, 0.0);
  for (std::size_t i = 0; i < sums.values.size(); ++i) mean[i % classes] += sums.values[i] / total;
  const auto deviation = [&](std::size_t g, std::size_t c) {
    return sums.values[g * classes + c] / sums.WeightOf(g) - mean[c];
  };
  for (std::size_t g = 0; g < sums.Count(); ++g) {
    const double weight = sums.WeightOf(g) / total;
    for (std::size_t a = 0; weight > 0 && a < classes; ++a) {
      for (std::size_t b = 0; b < classes; ++b)
        covariance[a * classes + b] += weight * deviation(g, a) * deviation(g, b);
    }
  }
  // Power iteration; an order needs few digits.
  constexpr int kSteps = 60;
  std::vector<double> axis(classes), next(classes);
  for (std::size_t c = 0; c < classes; ++c) axis[c] = c % 2 == 0 ? 1 : -1 / (1 + static_cast<double>(c));
  for (int step = 0; step < kSteps; ++step) {
    double length = 0;
    for (std::size_t a = 0; a < classes; ++a) {
      next[a] = std::inner_product(axis.begin(), axis.end(),
                                   covariance.begin() + static_cast<std::ptrdiff_t>(a * classes), 0.0);
      length += next[a] * next[a];
    }
    if (!(length > 0)) break;
    for (std::size_t a = 0; a < classes; ++a) axis[a] = next[a] / std::sqrt(length);
  }
  std::vector<double> levels(sums.Count(), kNoLevel);
  for (std::size_t g = 0; g < sums.Count(); ++g) {
    if (!(sums.WeightOf(g) > 0)) continue;
    levels[g] = 0;
    for (std::size_t c = 0; c < classes; ++c) levels[g] += axis[c] * deviation(g, c);
  }
  return levels;
}

// Indices of the groups in ascending order of level; those without weight come first, equal ones
// keep their order.
std::vector<std::size_t> OrderBy(const std::vector<double>& levels) {
  std::vector<std::size_t> order(levels.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return levels[a] < levels[b]; });
  return order;
}

// Levels as the search takes them: rare ones are pooled, and if there are still too many,
// neighbours in order of rate are joined.
struct LevelGroups {
  PreBinSums sums;
  std::vector<int> groupOf;  // of each level
  std::size_t chosenFrom;    // groups before neighbours were joined, which the response has ordered
};

LevelGroups GroupLevels(const PreBinSums& levels, const BinningRules& rules) {
  LevelGroups groups;
  groups.groupOf = PoolRareLevels(levels, rules.minLevelShare, groups.chosenFrom);
  groups.sums = SumBins(levels, groups.groupOf, groups.chosenFrom);
  if (groups.chosenFrom <= kMostGroups) return groups;
  const std::vector<std::size_t> order =
      OrderBy(levels.classCount > 2 ? FirstComponent(groups.sums) : Levels(groups.sums));
  std::vector<double> weights;
  for (const std::size_t group : order) weights.push_back(groups.sums.WeightOf(group));
  const std::vector<int> joined = JoinNeighbours(weights);
  std::vector<int> joinedOf(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) joinedOf[order[i]] = joined[i];
  groups.sums = SumBins(groups.sums, joinedOf, static_cast<std::size_t>(joined.back()) + 1);
  for (int& group : groups.groupOf) group = joinedOf[static_cast<std::size_t>(group)];
  return groups;
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
  const std::vector<std::size_t> order = OrderBy(Levels(groups));
  ordered.placeOf.resize(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) ordered.placeOf[order[i]] = static_cast<int>(i);
  ordered.sums = SumBins(groups, ordered.placeOf, order.size());
  PartitionRules partition = WithRoom(rules);
  partition.shape = Shape::kFree;  // the order makes it ascending
  ordered.found = FindPartitions(ordered.sums, partition, isCancelled);
  return ordered;
}

OptimalBins Reordered(const LevelGroups& levels, const BinningRules& rules,
                      const std::function<bool()>& isCancelled) {
  const PreBinSums& groups = levels.sums;
  const OrderedGroups ordered = PartitionReordered(groups, rules, isCancelled);
  const Partitions& found = ordered.found;
  if (found.byBinCount.empty()) return {};
  const int count = ChosenCount(found, ordered.sums, Ordering::kByResponse, rules, levels.chosenFrom);
  const OptimalBins inOrder =
      FromPartition(found.byBinCount[static_cast<std::size_t>(count - 1)], groups.Count());
  OptimalBins bins = inOrder;
  for (std::size_t g = 0; g < groups.Count(); ++g)
    bins.binOf[g] = inOrder.binOf[static_cast<std::size_t>(ordered.placeOf[g])];
  return bins;
}

// Merges groups of classes pair by pair. Time: O(m^2) for the first merger, then O(m^2) comparisons
// and O(m) costs for each.
class Merger {
 public:
  Merger(const PreBinSums& sums, const PartitionRules& rules)
      : sums_(sums), rules_(rules), count_(sums.Count()), costs_(count_ * count_) {
    groupOf_.resize(count_);
    std::iota(groupOf_.begin(), groupOf_.end(), std::size_t{0});
    left_ = groupOf_;
    rows_.resize(count_);
    for (std::size_t g = 0; g < count_; ++g) {
      rows_[g].values.assign(sums.values.begin() + static_cast<std::ptrdiff_t>(g * sums.Stride()),
                             sums.values.begin() + static_cast<std::ptrdiff_t>((g + 1) * sums.Stride()));
      rows_[g].cases = sums.cases[g];
      Complete(rows_[g]);
    }
    for (std::size_t a = 0; a < count_; ++a) {
      for (std::size_t b = a + 1; b < count_; ++b) costs_[a * count_ + b] = CostOfMerging(a, b);
    }
  }

  std::size_t GroupCount() const { return left_.size(); }

  // The group of each of the first ones, from 0.
  std::vector<int> Groups() const {
    std::vector<int> place(count_);
    for (std::size_t i = 0; i < left_.size(); ++i) place[left_[i]] = static_cast<int>(i);
    std::vector<int> groups(count_);
    for (std::size_t g = 0; g < count_; ++g) groups[g] = place[groupOf_[g]];
    return groups;
  }

  double Deviance() const {
    double sum = 0;
    for (const std::size_t g : left_) sum += rows_[g].deviance;
    return sum;
  }

  bool MeetsRules() const {
    return std::all_of(left_.begin(), left_.end(), [&](std::size_t g) { return rows_[g].isAllowed; });
  }

  // Merges the pair that costs least; a group that breaks the rules is merged before any other.
  void MergeCheapest() {
    std::size_t into = left_[0], gone = left_[1];
    double least = std::numeric_limits<double>::infinity();
    const bool allAllowed = MeetsRules();
    for (std::size_t i = 0; i < left_.size(); ++i) {
      const std::size_t a = left_[i];
      const bool takesAny = allAllowed || !rows_[a].isAllowed;
      for (std::size_t j = i + 1; j < left_.size(); ++j) {
        const std::size_t b = left_[j];
        const double cost = costs_[a * count_ + b];
        if (cost < least && (takesAny || !rows_[b].isAllowed)) {
          least = cost;
          into = a;
          gone = b;
        }
      }
    }
    AddTo(rows_[into], rows_[gone]);
    Complete(rows_[into]);
    left_.erase(std::find(left_.begin(), left_.end(), gone));
    std::replace(groupOf_.begin(), groupOf_.end(), gone, into);
    for (const std::size_t g : left_) {
      if (g != into) costs_[std::min(g, into) * count_ + std::max(g, into)] = CostOfMerging(g, into);
    }
  }

 private:
  struct Row {
    std::vector<double> values;  // class weights
    double cases = 0;
    double deviance = 0;
    bool isAllowed = false;
  };

  static void AddTo(Row& row, const Row& more) {
    for (std::size_t c = 0; c < row.values.size(); ++c) row.values[c] += more.values[c];
    row.cases += more.cases;
  }

  void Complete(Row& row) const {
    row.deviance = DevianceOf([&](std::size_t c) { return row.values[c]; });
    const double weight = std::accumulate(row.values.begin(), row.values.end(), 0.0);
    const bool events = std::all_of(row.values.begin(), row.values.end(),
                                    [&](double value) { return value >= rules_.minEvents; });
    row.isAllowed = weight >= rules_.minShare * totalWeight_ && row.cases >= rules_.minCases &&
                    (rules_.minEvents <= 0 || events);
  }

  template <typename Value>
  double DevianceOf(Value valueOf) const {
    double weight = 0, sum = 0;
    for (std::size_t c = 0; c < sums_.Stride(); ++c) {
      const double value = valueOf(c);
      weight += value;
      if (value > 0) sum -= value * std::log(value);
    }
    return weight > 0 ? 2 * (sum + weight * std::log(weight)) : 0;
  }

  double CostOfMerging(std::size_t a, std::size_t b) const {
    const Row &one = rows_[a], &other = rows_[b];
    const double merged = DevianceOf([&](std::size_t c) { return one.values[c] + other.values[c]; });
    return merged - one.deviance - other.deviance;
  }

  const PreBinSums& sums_;
  const PartitionRules& rules_;
  const double totalWeight_ = sums_.TotalWeight();
  const std::size_t count_;
  std::vector<Row> rows_;
  std::vector<std::size_t> left_;     // groups that are left, ascending
  std::vector<std::size_t> groupOf_;  // of each of the first ones
  std::vector<double> costs_;         // [a * count_ + b]: of merging a with b > a
};

// Joins groups step by step, from one group per bin to one bin, and returns the partitions in
// between. groupsAt: the bin of each group, by number of bins.
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
      groupsAt[count] = merger.Groups();
    }
    if (count == 1) return found;
    if (isCancelled && isCancelled()) return {};
    merger.MergeCheapest();
  }
}

OptimalBins MergedGreedily(const LevelGroups& levels, const BinningRules& rules,
                           const std::function<bool()>& isCancelled) {
  std::vector<std::vector<int>> groupsAt;
  const Partitions found = MergeGroups(levels.sums, rules, isCancelled, groupsAt);
  if (found.byBinCount.empty()) return {};
  OptimalBins bins;
  bins.count = ChosenCount(found, levels.sums, Ordering::kByResponse, rules, levels.chosenFrom);
  bins.binOf = groupsAt[static_cast<std::size_t>(bins.count)];
  bins.greedy = true;
  return bins;
}

}  // namespace

double SelectionCost(const BinningRules& rules) {
  constexpr double kChosenByHand = 20;
  return std::max(0.0, std::log(static_cast<double>(rules.candidates) / kChosenByHand));
}

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

bool MissingCasesDiffer(const PreBinSums& values, const PreBinSums& missing, double selectionCost) {
  PreBinSums both = SumBins(values, std::vector<int>(values.Count(), 0), 1);
  both.Append(missing);
  PartitionRules anyTwo;
  anyTwo.maxBins = 2;
  anyTwo.minShare = 0;
  const Partitions found = FindPartitions(both, anyTwo);
  if (found.byBinCount.size() < 2 || found.byBinCount[1].ends.empty()) return false;
  const double one = DescriptionLength(found.byBinCount[0], both, Ordering::kGiven);
  const double two = DescriptionLength(found.byBinCount[1], both, Ordering::kGiven);
  return two + std::log(2.0) + selectionCost < one;
}

std::vector<int> PoolRareLevels(const PreBinSums& sums, double minShare, std::size_t& groupCount) {
  // When every level is rare, as with postcodes, the pool must not take all of them.
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

std::vector<int> JoinNeighbours(const std::vector<double>& weights) {
  std::vector<int> joined = AssignPreBins(weights, kMostGroups);
  // A level without weight goes with its neighbour.
  int last = 0;
  for (int& group : joined) group = last = group < 0 ? last : group;
  return joined;
}

double SearchGain(const PreBinSums& values, const PreBinSums& separate, const BinningRules& rules,
                  bool categorical) {
  Partitions found;
  std::size_t count = values.Count();
  if (!categorical) {
    found = FindPartitions(values, WithRoom(rules));
  } else {
    const LevelGroups groups = GroupLevels(values, rules);
    count = groups.chosenFrom;
    std::vector<std::vector<int>> groupsAt;
    found = values.classCount > 2 ? MergeGroups(groups.sums, rules, {}, groupsAt)
                                  : PartitionReordered(groups.sums, rules, {}).found;
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
  const int count = ChosenCount(found, sums, Ordering::kGiven, rules, sums.Count());
  return FromPartition(found.byBinCount[static_cast<std::size_t>(count - 1)], sums.Count());
}

OptimalBins FindLevelBins(const PreBinSums& sums, const BinningRules& rules,
                          const std::function<bool()>& isCancelled) {
  const LevelGroups groups = GroupLevels(sums, rules);
  OptimalBins bins = sums.classCount > 2 ? MergedGreedily(groups, rules, isCancelled)
                                         : Reordered(groups, rules, isCancelled);
  if (bins.count == 0) return bins;
  std::vector<int> binOfLevel(sums.Count());
  for (std::size_t level = 0; level < sums.Count(); ++level) {
    binOfLevel[level] = bins.binOf[static_cast<std::size_t>(groups.groupOf[level])];
  }
  bins.binOf = std::move(binOfLevel);
  return bins;
}

double CutBetween(double last, double first) {
  if (last <= 0 && first > 0) return 0;
  const double middle = last / 2 + first / 2;
  for (int digits = 1; digits <= 17; ++digits) {
    // Of all numbers with this many digits, the nearest to the middle are the middle rounded to
    // them and the two neighbours of that.
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
