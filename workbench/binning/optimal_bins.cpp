#include "workbench/binning/optimal_bins.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "workbench/binning/fold_interval.h"

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

double WeightAt(const PreBinSums& sums, std::size_t bin) {
  if (sums.classCount == 0) return sums.values[bin * 3];
  const auto from = sums.values.begin() + static_cast<std::ptrdiff_t>(bin * sums.Stride());
  return std::accumulate(from, from + sums.classCount, 0.0);
}

// Places of the groups in order of rate or mean; those without weight come first, equal ones in their order.
std::vector<std::size_t> OrderByLevel(const PreBinSums& sums) {
  std::vector<double> levels(sums.Count());
  for (std::size_t g = 0; g < sums.Count(); ++g) {
    const double weight = WeightAt(sums, g);
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

void AppendBin(PreBinSums& sums, const PreBinSums& bin) {
  sums.values.insert(sums.values.end(), bin.values.begin(), bin.values.end());
  sums.cases.insert(sums.cases.end(), bin.cases.begin(), bin.cases.end());
}

PreBinSums Without(const PreBinSums& all, const PreBinSums& part) {
  PreBinSums rest = all;
  for (std::size_t i = 0; i < rest.values.size(); ++i) rest.values[i] -= part.values[i];
  for (std::size_t i = 0; i < rest.cases.size(); ++i) rest.cases[i] -= part.cases[i];
  rest.squaredWeights -= part.squaredWeights;
  return rest;
}

struct Scored {
  double score, bad, good;
};

// 2 AUC - 1: the chance that a good case scores above a bad one, less that of the opposite.
double GiniOf(std::vector<Scored> bins) {
  std::sort(bins.begin(), bins.end(), [](const Scored& a, const Scored& b) { return a.score < b.score; });
  double badBelow = 0, concordance = 0, bads = 0, goods = 0;
  for (std::size_t i = 0; i < bins.size();) {
    double bad = 0, good = 0;
    const double score = bins[i].score;
    for (; i < bins.size() && bins[i].score == score; ++i) {
      bad += bins[i].bad;
      good += bins[i].good;
    }
    concordance += good * (badBelow + bad / 2);
    badBelow += bad;
    bads += bad;
    goods += good;
  }
  return bads > 0 && goods > 0 ? 2 * concordance / (bads * goods) - 1 : 0;
}

// What the bins of the other folds are worth on the cases of one.
struct FoldFigures {
  double informationValue = 0, gini = 0;
};

FoldFigures ValidateClasses(const PreBinSums& train, const PreBinSums& held) {
  double bads = 0, goods = 0, heldBads = 0, heldGoods = 0;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    bads += train.values[b * 2];
    goods += train.values[b * 2 + 1];
    heldBads += held.values[b * 2];
    heldGoods += held.values[b * 2 + 1];
  }
  FoldFigures figures;
  if (!(bads > 0) || !(goods > 0) || !(heldBads > 0) || !(heldGoods > 0)) return figures;
  std::vector<Scored> scored;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const double bad = train.values[b * 2], good = train.values[b * 2 + 1];
    const double half = bad > 0 && good > 0 ? 0 : 0.5;
    const double woe = bad > 0 || good > 0 ? std::log(((good + half) / goods) / ((bad + half) / bads)) : 0;
    const double heldBad = held.values[b * 2], heldGood = held.values[b * 2 + 1];
    figures.informationValue += (heldGood / heldGoods - heldBad / heldBads) * woe;
    scored.push_back({woe, heldBad, heldGood});
  }
  figures.gini = GiniOf(std::move(scored));
  return figures;
}

struct Errors {
  double ofBins = 0, ofNone = 0;
};

void AddSquaredErrors(const PreBinSums& train, const PreBinSums& held, Errors& errors) {
  double weight = 0, total = 0;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    weight += train.values[b * 3];
    total += train.values[b * 3 + 1];
  }
  if (!(weight > 0)) return;
  const double mean = total / weight;
  const auto squared = [](const double* moments, double about) {
    return moments[2] - 2 * about * moments[1] + about * about * moments[0];
  };
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const double* moments = &held.values[b * 3];
    const double binMean = train.values[b * 3] > 0 ? train.values[b * 3 + 1] / train.values[b * 3] : mean;
    errors.ofBins += squared(moments, binMean);
    errors.ofNone += squared(moments, mean);
  }
}

// Shares of the classes are taken as if half a case more had been seen of each, so that none is 0.
void AddDeviances(const PreBinSums& train, const PreBinSums& held, Errors& errors) {
  const std::size_t classes = train.Stride();
  std::vector<double> totals(classes, 0.0);
  for (std::size_t i = 0; i < train.values.size(); ++i) totals[i % classes] += train.values[i];
  const double half = 0.5;
  const double weight = std::accumulate(totals.begin(), totals.end(), half * static_cast<double>(classes));
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const bool known = WeightAt(train, b) > 0;
    const double binWeight = known ? WeightAt(train, b) + half * static_cast<double>(classes) : weight;
    for (std::size_t c = 0; c < classes; ++c) {
      const double cases = held.values[b * classes + c];
      if (!(cases > 0)) continue;
      const double seen = known ? train.values[b * classes + c] : totals[c];
      errors.ofBins -= cases * std::log((seen + half) / binWeight);
      errors.ofNone -= cases * std::log((totals[c] + half) / weight);
    }
  }
}

// One fold's missing cases, put where those of the other folds belong.
void AddMissing(const MissingCases& missing, const PreBinSums& heldMissing, PreBinSums& train,
                PreBinSums& held) {
  PreBinSums trainMissing = Without(missing.cases->sums, heldMissing);
  const int place = PlaceOfMissing(missing.place, train, trainMissing);
  if (place >= 0 && static_cast<std::size_t>(place) < train.Count()) {
    const auto from = static_cast<std::size_t>(place) * train.Stride();
    for (std::size_t c = 0; c < train.Stride(); ++c) {
      train.values[from + c] += trainMissing.values[c];
      held.values[from + c] += heldMissing.values[c];
    }
    return;
  }
  if (place < 0) std::fill(trainMissing.values.begin(), trainMissing.values.end(), 0.0);
  AppendBin(train, trainMissing);
  AppendBin(held, heldMissing);
}

// A ratio of sums over folds; its interval is that of the linearised ratio.
void SetExplained(const std::vector<Errors>& errors, Validation& result) {
  Errors all;
  for (const Errors& fold : errors) {
    all.ofBins += fold.ofBins;
    all.ofNone += fold.ofNone;
  }
  if (!(all.ofNone > 0)) return;
  const double left = all.ofBins / all.ofNone, mean = all.ofNone / static_cast<double>(errors.size());
  result.explained = 1 - left;
  std::vector<double> deviations;
  for (const Errors& fold : errors) deviations.push_back((fold.ofBins - left * fold.ofNone) / mean);
  result.explainedInterval = IntervalOfFolds(result.explained, deviations);
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
    return sums.values[bin * sums.Stride() + c] / WeightAt(sums, bin);
  };
  // The mean is place 1 of the moments; of classes every share counts.
  const std::size_t first = bins.classCount == 0 ? 1 : 0, last = bins.classCount == 0 ? 2 : bins.Stride();
  int nearest = 0;
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t bin = 0; bin < bins.Count() && WeightAt(missing, 0) > 0; ++bin) {
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
  AppendBin(both, missing);
  both.squaredWeights += missing.squaredWeights;
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
  const double least = minShare * sums.TotalWeight();
  std::vector<int> groupOf(sums.Count(), -1);
  groupCount = 0;
  bool anyRare = false;
  for (std::size_t level = 0; level < sums.Count(); ++level) {
    if (WeightAt(sums, level) >= least) {
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
  all.values.insert(all.values.end(), separate.values.begin(), separate.values.end());
  all.cases.insert(all.cases.end(), separate.cases.begin(), separate.cases.end());
  all.squaredWeights += separate.squaredWeights;
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

Validation CrossValidate(const PreBins& pre, const BinFinder& find, const MissingCases& missing) {
  Validation result;
  std::vector<Errors> errors;
  std::vector<double> informationValues, ginis;
  for (std::size_t f = 0; f < pre.folds.size(); ++f) {
    const PreBinSums& fold = pre.folds[f];
    const PreBinSums others = Without(pre.sums, fold);
    const std::vector<int> binOf = find(others);
    if (binOf.empty()) return {};
    const auto count = static_cast<std::size_t>(*std::max_element(binOf.begin(), binOf.end()) + 1);
    PreBinSums train = SumBins(others, binOf, count);
    PreBinSums held = SumBins(fold, binOf, count);
    if (missing.cases != nullptr) AddMissing(missing, missing.cases->folds[f], train, held);
    if (pre.sums.classCount == 2) {
      const FoldFigures figures = ValidateClasses(train, held);
      informationValues.push_back(figures.informationValue);
      ginis.push_back(figures.gini);
      result.informationValue += figures.informationValue;
      result.gini += figures.gini;
    }
    Errors& ofFold = errors.emplace_back();
    if (pre.sums.classCount == 0) {
      AddSquaredErrors(train, held, ofFold);
    } else {
      AddDeviances(train, held, ofFold);
    }
  }
  result.informationValue /= kFoldCount;
  result.gini /= kFoldCount;
  result.informationValueInterval = IntervalOfFolds(result.informationValue, informationValues);
  result.giniInterval = IntervalOfFolds(result.gini, ginis);
  SetExplained(errors, result);
  return result;
}

Interval IntervalOfFolds(double figure, const std::vector<double>& ofFolds) {
  constexpr double kT = 2.2621571627409915;  // 97.5 % point of t with kFoldCount - 1 = 9 degrees of freedom
  const auto folds = static_cast<double>(ofFolds.size());
  if (folds < 2) return {figure, figure};
  const double mean = std::accumulate(ofFolds.begin(), ofFolds.end(), 0.0) / folds;
  double squares = 0;
  for (const double value : ofFolds) squares += (value - mean) * (value - mean);
  const double half = kT * std::sqrt((1 / folds + 1 / (folds - 1)) * squares / (folds - 1));
  return {figure - half, figure + half};
}

double CutBetween(double last, double first) {
  if (last <= 0 && first > 0) return 0;
  const double middle = last / 2 + first / 2;
  for (int digits = 1; digits <= 17; ++digits) {
    // Of all numbers with this many digits, the nearest to the middle are its rounding and that one's neighbours.
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
