#include "workbench/evidence/gain_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace velmora::evidence {
namespace {

constexpr double kImpossible = std::numeric_limits<double>::infinity();

}  // namespace

LogTable::LogTable(std::size_t most) : values_(most + 1) {
  for (std::size_t n = 1; n <= most; ++n)
    values_[n] = static_cast<double>(n) * std::log(static_cast<double>(n));
}

bool GainSearch::Supports(const binning::SearchRecord& record) {
  if (!record.cases->weights.empty() && !record.cases->weightsAreCounts) return false;
  if (record.given) return true;
  const binning::PartitionRules& rules = record.rules.partition;
  const bool isSumOfSquares = record.cases->continuous && rules.criterion == binning::Criterion::kVariance;
  const bool isFree = rules.shape == binning::Shape::kFree || record.categorical;
  return (rules.criterion == binning::Criterion::kDeviance || isSumOfSquares) && isFree &&
         rules.maxAdjacentP >= 1 && !(rules.minEvents > 0) &&
         !(record.categorical && record.cases->classCount > 2);
}

GainSearch::GainSearch(const binning::SearchRecord& record, std::span<const std::uint32_t> cases)
    : reorders_(record.categorical && !record.given),
      separateCount_(record.separateCount),
      caseCounts_(cases.begin(), cases.end()) {
  const std::size_t joined = record.preBinCount;
  cases_ = std::accumulate(cases.begin(), cases.end(), std::size_t{0});
  joinedCases_ =
      std::accumulate(cases.begin(), cases.begin() + static_cast<std::ptrdiff_t>(joined), std::size_t{0});
  groupOf_.resize(joined);
  if (reorders_) {
    binning::PreBinSums sums;
    sums.classCount = 2;
    sums.cases.assign(cases.begin(), cases.begin() + static_cast<std::ptrdiff_t>(joined));
    for (const double count : sums.cases) sums.values.insert(sums.values.end(), {count, 0.0});
    const std::vector<int> groups = binning::PoolRareLevels(sums, record.rules.minLevelShare, groupCount_);
    std::copy(groups.begin(), groups.end(), groupOf_.begin());
  } else {
    std::iota(groupOf_.begin(), groupOf_.end(), std::size_t{0});
    groupCount_ = joined;
  }
  groupCases_.assign(groupCount_, 0);
  for (std::size_t b = 0; b < joined; ++b) groupCases_[groupOf_[b]] += cases[b];
  const binning::BinCounts counts = binning::AllowedCounts(record.rules);
  least_ = record.given ? static_cast<int>(joined) : counts.least;
  most_ = record.given ? static_cast<int>(joined) : counts.most;
  if (separateCount_ == 0) least_ = std::max(least_, 2);
  most_ = std::min(most_, static_cast<int>(groupCount_));
  const binning::PartitionRules& rules = record.rules.partition;
  // 5 of 100 cases meet a share of 0.05, however the product is rounded.
  constexpr double kSlack = 1 - 1e-12;
  leastCases_ = record.given ? 0
                             : kSlack * std::max(rules.minShare * static_cast<double>(joinedCases_),
                                                 static_cast<double>(rules.minCases));
  for (int k = 1; k <= most_; ++k) {
    const auto bins = static_cast<std::size_t>(k);
    choiceCosts_.push_back(record.given ? 0
                           : reorders_  ? binning::LogStirling(groupCount_, bins)
                                        : binning::LogChoose(groupCount_ - 1, bins - 1));
  }
}

// Puts the groups into the order of their first value per case, a rate or a mean, and joins
// neighbours where there are too many. Returns how many are left.
std::size_t GainSearch::OrderGroups(std::size_t stride, Scratch& scratch) const {
  scratch.order.resize(groupCount_);
  std::iota(scratch.order.begin(), scratch.order.end(), std::size_t{0});
  scratch.weights = groupCases_;
  scratch.joined.clear();
  if (!reorders_) return groupCount_;
  const auto level = [&](std::size_t g) {
    return groupCases_[g] > 0 ? scratch.groups[g * stride] / static_cast<double>(groupCases_[g]) : kNoGain;
  };
  std::stable_sort(scratch.order.begin(), scratch.order.end(),
                   [&](std::size_t a, std::size_t b) { return level(a) < level(b); });
  for (std::size_t i = 0; i < groupCount_; ++i) scratch.weights[i] = groupCases_[scratch.order[i]];
  if (groupCount_ <= binning::kMostGroups) return groupCount_;
  scratch.joined =
      binning::JoinNeighbours(std::vector<double>(scratch.weights.begin(), scratch.weights.end()));
  return static_cast<std::size_t>(scratch.joined.back()) + 1;
}

template <typename Cost, typename Fit>
double GainSearch::Best(std::size_t stride, double separateCost, double wholeFit, double parameters,
                        Cost costOf, Fit fitOf, Scratch& scratch) const {
  if (most_ < least_ || cases_ == 0) return kNoGain;
  const std::size_t m = OrderGroups(stride, scratch), width = m + 1;
  // Running sums of the groups in their order.
  scratch.sums.assign(width * stride, 0.0);
  std::vector<std::size_t>& running = scratch.running;
  running.assign(width, 0);
  std::size_t last = 0;
  for (std::size_t i = 0; i < groupCount_; ++i) {
    if (i == 0 || scratch.joined.empty() || scratch.joined[i] != scratch.joined[i - 1]) {
      ++last;
      running[last] = running[last - 1];
      std::copy_n(&scratch.sums[(last - 1) * stride], stride, &scratch.sums[last * stride]);
    }
    const double* from = &scratch.groups[scratch.order[i] * stride];
    for (std::size_t c = 0; c < stride; ++c) scratch.sums[last * stride + c] += from[c];
    running[last] += scratch.weights[i];
  }
  scratch.costs.resize(width * width);
  for (std::size_t first = 0; first < m; ++first) {
    double* const row = &scratch.costs[first * width];
    for (std::size_t end = first + 1; end <= m; ++end) {
      const std::size_t cases = running[end] - running[first];
      row[end] = static_cast<double>(cases) >= leastCases_
                     ? costOf(&scratch.sums[first * stride], &scratch.sums[end * stride], cases)
                     : kImpossible;
    }
  }
  const double logCases = std::log(static_cast<double>(cases_));
  scratch.last.assign(scratch.costs.begin(), scratch.costs.begin() + static_cast<std::ptrdiff_t>(width));
  scratch.last[0] = kImpossible;
  // One bin is always possible, whatever the rules require of a bin.
  const double oneBin = costOf(&scratch.sums[0], &scratch.sums[m * stride], running[m]);
  double best = kNoGain;
  for (int bins = 1; bins <= most_; ++bins) {
    if (bins > 1) {
      scratch.next.assign(width, kImpossible);
      for (std::size_t first = 1; first < m; ++first) {
        const double before = scratch.last[first];
        if (before == kImpossible) continue;
        const double* const row = &scratch.costs[first * width];
        double* const next = scratch.next.data();
        for (std::size_t end = first + 1; end <= m; ++end) next[end] = std::min(next[end], before + row[end]);
      }
      scratch.last.swap(scratch.next);
    }
    const double cost = bins == 1 ? oneBin : scratch.last[m];
    if (bins < least_ || cost == kImpossible) continue;
    const double all = static_cast<double>(bins) + static_cast<double>(separateCount_) - 1;
    best = std::max(best, wholeFit - fitOf(cost + separateCost) - all * parameters / 2 * logCases -
                              choiceCosts_[static_cast<std::size_t>(bins - 1)]);
  }
  return best;
}

double GainSearch::OfClasses(std::span<const std::uint32_t> counts, std::size_t classCount,
                             const LogTable& logs, Scratch& scratch) const {
  scratch.groups.assign(groupCount_ * classCount, 0.0);
  for (std::size_t b = 0; b < groupOf_.size(); ++b) {
    for (std::size_t c = 0; c < classCount; ++c)
      scratch.groups[groupOf_[b] * classCount + c] += counts[b * classCount + c];
  }
  // Half the deviance of a bin: w ln w - sum of n ln n over its classes.
  double separate = 0;
  std::vector<std::uint32_t>& totals = scratch.counts;
  totals.assign(classCount, 0);
  for (std::size_t b = 0; b < caseCounts_.size(); ++b) {
    double cost = logs[caseCounts_[b]];
    for (std::size_t c = 0; c < classCount; ++c) {
      totals[c] += counts[b * classCount + c];
      cost -= logs[counts[b * classCount + c]];
    }
    if (b >= groupOf_.size()) separate += cost;
  }
  double whole = logs[cases_];
  for (const std::uint32_t total : totals) whole -= logs[total];
  const auto cost = [&](const double* first, const double* end, std::size_t cases) {
    double sum = logs[cases];
    for (std::size_t c = 0; c < classCount; ++c) sum -= logs[static_cast<std::size_t>(end[c] - first[c])];
    return sum;
  };
  return Best(
      classCount, separate, whole, static_cast<double>(classCount) - 1, cost,
      [](double costs) { return costs; }, scratch);
}

double GainSearch::OfMeans(std::span<const double> sums, double squares, Scratch& scratch) const {
  scratch.groups.assign(groupCount_, 0.0);
  for (std::size_t b = 0; b < groupOf_.size(); ++b) scratch.groups[groupOf_[b]] += sums[b];
  // The sum of squares within a bin, without the sum of y^2, which is the same for every partition.
  double separate = 0, total = 0;
  for (std::size_t b = 0; b < caseCounts_.size(); ++b) {
    total += sums[b];
    if (b >= groupOf_.size() && caseCounts_[b] > 0) separate -= sums[b] * sums[b] / caseCounts_[b];
  }
  const auto n = static_cast<double>(cases_);
  const double whole = std::max(0.0, squares - total * total / n);
  const auto fit = [&](double costs) {
    // The error is at least that of rounding.
    const double within = std::max(squares + costs, whole * 1e-14);
    return whole > 0 ? n / 2 * std::log(within / n) : 0;
  };
  const auto cost = [](const double* first, const double* end, std::size_t cases) {
    const double sum = *end - *first;
    return cases > 0 ? -sum * sum / static_cast<double>(cases) : 0;
  };
  return Best(1, separate, fit(-total * total / n), 1, cost, fit, scratch);
}

}  // namespace velmora::evidence
