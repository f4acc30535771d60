// The distinct values of a predictor, ordered so that every node is a range of them.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

constexpr std::size_t kLanes = 8;
// Means that differ by less than this share of the largest one differ by rounding alone.
constexpr double kEqualMeans = 1e-12;

// The sum of f(0) .. f(count - 1) in a fixed order of eight interleaved parts.
template <class F>
double LaneSum(std::size_t count, F f) {
  double lanes[kLanes] = {};
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes)
    for (std::size_t lane = 0; lane < kLanes; ++lane) lanes[lane] += f(i + lane);
  for (; i < count; ++i) lanes[i % kLanes] += f(i);
  return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) + ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
}

template <class T>
std::vector<T> Rearranged(const T* totals, std::span<const std::int32_t> items) {
  std::vector<T> own(items.size() + 1);
  for (std::size_t place = 0; place < items.size(); ++place)
    own[place + 1] = own[place] + (totals[items[place] + 1] - totals[items[place]]);
  return own;
}

}  // namespace

// Chan, Golub and LeVeque 1983, doi:10.1080/00031305.1983.10483115.
void Moments::Merge(const Moments& other) {
  if (other.weight == 0) return;
  if (weight == 0) {
    *this = other;
    return;
  }
  const double gap = sum / weight - other.sum / other.weight;
  squares += other.squares + gap * gap * (weight / (weight + other.weight) * other.weight);
  weight += other.weight;
  sum += other.sum;
}

TreeItems::TreeItems(const TreeResponse& response, std::span<const double> predictor,
                     const SortedOrder& order, PredictorKind kind, TreeScratch& scratch)
    : response_(response), predictor_(predictor), kind_(kind) {
  if (response.present.empty()) {
    order_ = &order;
  } else {
    FilterOrder(order, response.present, scratch.filtered);
    order_ = &scratch.filtered;
  }
  totals_ = MakeTotals(response, *order_, scratch);
}

void TreeItems::Rearrange(std::vector<std::int32_t> itemOrder) {
  arranged_ = std::move(itemOrder);
  ownCounts_ = Rearranged(totals_.counts, arranged_);
  totals_.counts = ownCounts_.data();
  ownSums_.reserve(totals_.sums.size() + 3);
  const auto rearrange = [&](const double*& totals) {
    if (totals == nullptr) return;
    ownSums_.push_back(Rearranged(totals, arranged_));
    totals = ownSums_.back().data();
  };
  rearrange(totals_.weights);
  rearrange(totals_.squaredWeights);
  rearrange(totals_.firstClass);
  for (const double*& channel : totals_.sums) rearrange(channel);
  for (const std::int32_t*& channel : totals_.classCounts) {
    ownClasses_.push_back(Rearranged(channel, arranged_));
    channel = ownClasses_.back().data();
  }
}

// Computed from the item's own cases: with a difference of two running sums, rounding would make
// equal means differ.
double TreeItems::MeanOfItem(std::int32_t item) const {
  const double weight = totals_.Weight(item + 1) - totals_.Weight(item);
  if (!totals_.classCounts.empty())
    return (totals_.classCounts[0][item + 1] - totals_.classCounts[0][item]) / weight;
  if (!response_.continuous) return (totals_.sums[0][item + 1] - totals_.sums[0][item]) / weight;
  const std::int32_t first = order_->starts[static_cast<std::size_t>(item)];
  const auto count = static_cast<std::size_t>(order_->starts[static_cast<std::size_t>(item) + 1] - first);
  const double* y = totals_.sorted + first;
  if (totals_.sortedWeights == nullptr) return LaneSum(count, [&](std::size_t i) { return y[i]; }) / weight;
  const double* w = totals_.sortedWeights + first;
  return LaneSum(count, [&](std::size_t i) { return w[i] * y[i]; }) /
         LaneSum(count, [&](std::size_t i) { return w[i]; });
}

void TreeItems::ArrangeByMean() {
  std::vector<double> means(static_cast<std::size_t>(Count()));
  for (std::int32_t item = 0; item < Count(); ++item)
    means[static_cast<std::size_t>(item)] = MeanOfItem(item);
  const auto meanOf = [&](std::int32_t item) { return means[static_cast<std::size_t>(item)]; };
  std::vector<std::int32_t> items(means.size());
  std::iota(items.begin(), items.end(), 0);
  std::stable_sort(items.begin(), items.end(),
                   [&](std::int32_t a, std::int32_t b) { return meanOf(a) < meanOf(b); });
  double largest = 0;
  for (const double mean : means) largest = std::max(largest, std::fabs(mean));
  // quotients of counts: equal rates are equal doubles
  const bool exact = !totals_.classCounts.empty();
  for (std::size_t first = 0; !exact && first < items.size();) {
    std::size_t end = first + 1;
    while (end < items.size() && meanOf(items[end]) - meanOf(items[end - 1]) <= kEqualMeans * largest) ++end;
    std::sort(items.begin() + static_cast<std::ptrdiff_t>(first),
              items.begin() + static_cast<std::ptrdiff_t>(end));
    first = end;
  }
  Rearrange(std::move(items));
}

void TreeItems::PrepareLevels() {
  LevelTable levels;
  levels.classCount = response_.classCount;
  for (std::int32_t item = 0; item < Count(); ++item) {
    const std::vector<double> classes = ClassWeights(item, item + 1);
    levels.weights.insert(levels.weights.end(), classes.begin(), classes.end());
    levels.cases.push_back(totals_.counts[item + 1] - totals_.counts[item]);
  }
  levels_ = std::move(levels);
  arranged_.resize(static_cast<std::size_t>(Count()));
  std::iota(arranged_.begin(), arranged_.end(), 0);
}

std::vector<double> TreeItems::ClassWeights(std::int32_t begin, std::int32_t end) const {
  std::vector<double> classes(static_cast<std::size_t>(response_.classCount));
  if (!levels_.cases.empty()) {
    for (std::int32_t place = begin; place < end; ++place) {
      const auto row = levels_.Row(ItemAt(place));
      for (std::size_t c = 0; c < classes.size(); ++c) classes[c] += row[c];
    }
    return classes;
  }
  if (totals_.sortedClasses != nullptr) {
    for (std::int32_t i = totals_.counts[begin]; i < totals_.counts[end]; ++i)
      classes[totals_.sortedClasses[i]] += totals_.sortedWeights != nullptr ? totals_.sortedWeights[i] : 1;
    return classes;
  }
  if (totals_.weights != nullptr) {
    // Each class has its own running total, so that a class without cases weighs exactly 0.
    classes[0] = totals_.firstClass[end] - totals_.firstClass[begin];
    for (std::size_t c = 1; c < classes.size(); ++c)
      classes[c] = totals_.sums[c - 1][end] - totals_.sums[c - 1][begin];
    return classes;
  }
  classes[0] = totals_.counts[end] - totals_.counts[begin];
  for (std::size_t c = 1; c < classes.size(); ++c) {
    classes[c] = totals_.classCounts[c - 1][end] - totals_.classCounts[c - 1][begin];
    classes[0] -= classes[c];
  }
  return classes;
}

Moments TreeItems::MomentsOfItems(std::int32_t begin, std::int32_t end) const {
  const std::int32_t first = order_->starts[static_cast<std::size_t>(begin)];
  const auto count = static_cast<std::size_t>(order_->starts[static_cast<std::size_t>(end)] - first);
  const double* y = totals_.sorted + first;
  Moments moments;
  if (totals_.sortedWeights == nullptr) {
    moments.weight = static_cast<double>(count);
    moments.sum = LaneSum(count, [&](std::size_t i) { return y[i]; });
    const double mean = moments.sum / moments.weight;
    moments.squares = LaneSum(count, [&](std::size_t i) { return (y[i] - mean) * (y[i] - mean); });
  } else {
    const double* w = totals_.sortedWeights + first;
    moments.weight = LaneSum(count, [&](std::size_t i) { return w[i]; });
    moments.sum = LaneSum(count, [&](std::size_t i) { return w[i] * y[i]; });
    const double mean = moments.sum / moments.weight;
    moments.squares = LaneSum(count, [&](std::size_t i) { return w[i] * ((y[i] - mean) * (y[i] - mean)); });
  }
  return moments;
}

Moments TreeItems::MomentsOf(std::int32_t begin, std::int32_t end) const {
  if (arranged_.empty()) return MomentsOfItems(begin, end);
  Moments moments;
  for (std::int32_t place = begin; place < end; ++place) {
    const std::int32_t item = ItemAt(place);
    moments.Merge(MomentsOfItems(item, item + 1));
  }
  return moments;
}

double TreeItems::EffectiveCases(std::int32_t begin, std::int32_t end) const {
  std::int64_t cases = 0;
  double weight = 0;
  double squares = 0;
  const auto add = [&](std::int32_t first, std::int32_t last) {
    cases += totals_.counts[last] - totals_.counts[first];
    if (totals_.weights == nullptr) return;
    weight += totals_.weights[last] - totals_.weights[first];
    squares += totals_.squaredWeights[last] - totals_.squaredWeights[first];
  };
  if (levels_.cases.empty())
    add(begin, end);
  else  // the totals of levels stay in the order of the codes
    for (std::int32_t place = begin; place < end; ++place) add(ItemAt(place), ItemAt(place) + 1);
  if (totals_.weights == nullptr) return static_cast<double>(cases);
  return squares > 0 ? weight * weight / squares : 0;
}

}  // namespace velmora::stats
