#include "workbench/stats/tree.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "workbench/stats/missing.h"
#include "workbench/stats/tree_internal.h"
#include "workbench/stats/tree_scan.h"

namespace velmora::stats {
namespace {

constexpr double kRelativeGain = 1e-12;
// Below this share of the root's sum of squares a gain is rounding of the running sums.
constexpr double kRoundingGain = 1e-20;
constexpr std::size_t kLanes = 8;

bool Counts(std::size_t i, std::span<const std::uint8_t> selected, std::span<const double> weights) {
  if (!selected.empty() && selected[i] == 0) return false;
  return weights.empty() || (weights[i] > 0 && std::isfinite(weights[i]));
}

void KeepPresent(TreeResponse& response, std::vector<std::uint8_t> present, std::span<const double> weights) {
  if (std::find(present.begin(), present.end(), 0) != present.end()) response.present = std::move(present);
  response.weights.assign(weights.begin(), weights.end());
}

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

// Weight, sum and sum of squares about the mean of a continuous response over some cases.
struct Moments {
  double weight = 0;
  double sum = 0;
  double squares = 0;

  // Chan, Golub and LeVeque 1983, doi:10.1080/00031305.1983.10483115.
  void Merge(const Moments& other) {
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
};

class Grower {
 public:
  Grower(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
         PredictorKind kind, TreeScratch& scratch)
      : response_(response), predictor_(predictor), kind_(kind) {
    if (response.present.empty()) {
      order_ = &order;
    } else {
      FilterOrder(order, response.present, scratch.filtered);
      order_ = &scratch.filtered;
    }
    totals_ = MakeTotals(response, *order_, scratch);
    if (response.continuous && totals_.items > 0) rootSquares_ = SquaresOf(0, totals_.items).squares;
  }

  std::int32_t Items() const { return totals_.items; }
  double Value(std::int32_t item) const { return order_->Value(predictor_, static_cast<std::size_t>(item)); }

  void Grow(const TreeOptions& options) {
    const bool byLevels = kind_ == PredictorKind::kCategorical && response_.classCount > 2;
    if (byLevels)
      PrepareLevels();
    else if (kind_ == PredictorKind::kCategorical)
      OrderByMean();
    if (Items() == 0) return;
    AddNode(0, Items(), -1);
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
      if (byLevels)
        SplitByLevels(at, options);
      else
        SplitByOrder(at, options);
    }
    if (!options.prune.enabled) return;
    if (response_.continuous) FillSquares();
    PruneTree(nodes_, options.prune, kind_, response_.classCount);
  }

  // A tree whose terminal nodes are the given consecutive ranges of items, leaning right.
  // order: the items in the order of the bins, empty for ascending; ends: one past the last place of each
  // bin.
  void Chain(std::vector<std::int32_t> itemOrder, std::span<const std::int32_t> ends,
             std::span<const double> constants) {
    if (Items() == 0) return;
    if (!itemOrder.empty()) Rearrange(std::move(itemOrder));
    constants_.assign(constants.begin(), constants.end());
    AddNode(0, Items(), -1);
    std::size_t at = 0;
    for (std::size_t b = 0; b + 1 < ends.size(); ++b) {
      Split(at, ends[b], 0);
      if (!constants_.empty()) nodes_[at].gain = static_cast<double>(b);  // replaced in Finish
      at = static_cast<std::size_t>(nodes_[at].right);
    }
  }

  Tree Finish();

 private:
  std::int32_t NaturalItem(std::int32_t place) const {
    return arranged_.empty() ? place : arranged_[static_cast<std::size_t>(place)];
  }

  void AddNode(std::int32_t begin, std::int32_t end, int parent) {
    GrownNode node;
    node.begin = begin;
    node.end = end;
    node.parent = parent;
    node.cases = totals_.counts[end] - totals_.counts[begin];
    nodes_.push_back(node);
  }

  void Split(std::size_t at, std::int32_t cut, double gain) {
    nodes_[at].cut = cut;
    nodes_[at].gain = gain;
    nodes_[at].left = static_cast<int>(nodes_.size());
    nodes_[at].right = nodes_[at].left + 1;
    const GrownNode node = nodes_[at];
    AddNode(node.begin, cut, static_cast<int>(at));
    AddNode(cut, node.end, static_cast<int>(at));
  }

  // Class weights of a range of items.
  std::vector<double> ClassesOf(std::int32_t begin, std::int32_t end) const {
    std::vector<double> classes(static_cast<std::size_t>(response_.classCount));
    if (totals_.sortedClasses != nullptr) {
      for (std::int32_t i = totals_.counts[begin]; i < totals_.counts[end]; ++i)
        classes[totals_.sortedClasses[i]] += totals_.sortedWeights != nullptr ? totals_.sortedWeights[i] : 1;
      return classes;
    }
    classes[0] = totals_.Weight(end) - totals_.Weight(begin);
    for (std::size_t c = 1; c < classes.size(); ++c) {
      classes[c] = totals_.weights != nullptr
                       ? totals_.sums[c - 1][end] - totals_.sums[c - 1][begin]
                       : totals_.classCounts[c - 1][end] - totals_.classCounts[c - 1][begin];
      classes[0] -= classes[c];
    }
    // Weights may leave a class that is not there with a rest of rounding.
    if (totals_.weights != nullptr && classes[0] < 1e-14 * (totals_.Weight(end) - totals_.Weight(begin)))
      classes[0] = std::max(0.0, classes[0]);
    return classes;
  }

  // Moments of the cases of one stretch of natural items.
  Moments SquaresOf(std::int32_t begin, std::int32_t end) const {
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

  // Moments of places, which a categorical predictor's items fill in any order.
  Moments MomentsOf(std::int32_t begin, std::int32_t end) const {
    if (arranged_.empty()) return SquaresOf(begin, end);
    Moments moments;
    for (std::int32_t place = begin; place < end; ++place) {
      const std::int32_t item = NaturalItem(place);
      moments.Merge(SquaresOf(item, item + 1));
    }
    return moments;
  }

  static double GiniWeight(std::span<const double> classes) {
    double weight = 0;
    double squares = 0;
    for (const double c : classes) {
      weight += c;
      squares += c * c;
    }
    return weight > 0 ? weight - squares / weight : 0;
  }

  // Twice the log-likelihood of the classes' own shares, taken to one case.
  static double DevianceOf(std::span<const double> classes) {
    double weight = 0;
    for (const double c : classes) weight += c;
    double sum = 0;
    for (const double c : classes)
      if (c > 0) sum += c * std::log(weight / c);
    return weight > 0 ? 2 * sum / weight : 0;
  }

  // Sums of squares of all nodes; those of a split are its children's and what it gained.
  void FillSquares() {
    for (std::size_t i = nodes_.size(); i-- > 0;) {
      GrownNode& node = nodes_[i];
      node.impurity = node.left < 0 ? MomentsOf(node.begin, node.end).squares
                                    : nodes_[static_cast<std::size_t>(node.left)].impurity +
                                          nodes_[static_cast<std::size_t>(node.right)].impurity + node.gain;
    }
  }

  bool Pure(std::span<const double> classes) const {
    return std::count_if(classes.begin(), classes.end(), [](double c) { return c > 0; }) < 2;
  }

  void SplitByOrder(std::size_t at, const TreeOptions& options);
  void SplitByLevels(std::size_t at, const TreeOptions& options);
  BestCut ScanCases(const CutRange& range, std::vector<double> right) const;
  void OrderByMean();
  void PrepareLevels();
  void Rearrange(std::vector<std::int32_t> itemOrder);

  const TreeResponse& response_;
  std::span<const double> predictor_;
  PredictorKind kind_;
  const SortedOrder* order_;
  Totals totals_;
  double rootSquares_ = 0;
  std::vector<GrownNode> nodes_;
  std::vector<std::int32_t> arranged_;  // place -> natural item; empty: the same
  std::vector<double> constants_;       // of a chain, in order of its splits
  LevelTable levels_;
  // Totals over rearranged items.
  std::vector<std::int32_t> ownCounts_;
  std::vector<double> ownWeights_;
  std::vector<std::vector<std::int32_t>> ownClasses_;
  std::vector<std::vector<double>> ownSums_;
};

template <class T>
std::vector<T> Rearranged(const T* totals, std::span<const std::int32_t> items) {
  std::vector<T> own(items.size() + 1);
  for (std::size_t place = 0; place < items.size(); ++place)
    own[place + 1] = own[place] + (totals[items[place] + 1] - totals[items[place]]);
  return own;
}

void Grower::Rearrange(std::vector<std::int32_t> itemOrder) {
  arranged_ = std::move(itemOrder);
  ownCounts_ = Rearranged(totals_.counts, arranged_);
  totals_.counts = ownCounts_.data();
  if (totals_.weights != nullptr) {
    ownWeights_ = Rearranged(totals_.weights, arranged_);
    totals_.weights = ownWeights_.data();
  }
  for (const std::int32_t*& channel : totals_.classCounts) {
    ownClasses_.push_back(Rearranged(channel, arranged_));
    channel = ownClasses_.back().data();
  }
  for (const double*& channel : totals_.sums) {
    ownSums_.push_back(Rearranged(channel, arranged_));
    channel = ownSums_.back().data();
  }
}

// Levels by their rate of the second class, or by their mean; equal ones by code.
void Grower::OrderByMean() {
  std::vector<double> means(static_cast<std::size_t>(Items()));
  for (std::int32_t item = 0; item < Items(); ++item) {
    const double sum = totals_.classCounts.empty()
                           ? totals_.sums[0][item + 1] - totals_.sums[0][item]
                           : totals_.classCounts[0][item + 1] - totals_.classCounts[0][item];
    means[static_cast<std::size_t>(item)] = sum / (totals_.Weight(item + 1) - totals_.Weight(item));
  }
  std::vector<std::int32_t> items(means.size());
  for (std::size_t i = 0; i < items.size(); ++i) items[i] = static_cast<std::int32_t>(i);
  std::stable_sort(items.begin(), items.end(), [&](std::int32_t a, std::int32_t b) {
    return means[static_cast<std::size_t>(a)] < means[static_cast<std::size_t>(b)];
  });
  Rearrange(std::move(items));
}

void Grower::PrepareLevels() {
  levels_.classCount = response_.classCount;
  arranged_.resize(static_cast<std::size_t>(Items()));
  for (std::int32_t item = 0; item < Items(); ++item) {
    const std::vector<double> classes = ClassesOf(item, item + 1);
    levels_.weights.insert(levels_.weights.end(), classes.begin(), classes.end());
    levels_.cases.push_back(totals_.counts[item + 1] - totals_.counts[item]);
    arranged_[static_cast<std::size_t>(item)] = item;
  }
}

void Grower::SplitByLevels(std::size_t at, const TreeOptions& options) {
  GrownNode& node = nodes_[at];
  const auto first = arranged_.begin() + node.begin;
  const auto last = arranged_.begin() + node.end;
  std::vector<double> classes(static_cast<std::size_t>(response_.classCount));
  node.cases = 0;
  for (auto item = first; item != last; ++item) {
    node.cases += levels_.cases[static_cast<std::size_t>(*item)];
    const auto row = levels_.Row(*item);
    for (std::size_t c = 0; c < classes.size(); ++c) classes[c] += row[c];
  }
  node.impurity = GiniWeight(classes);
  node.deviance = DevianceOf(classes);
  const std::int64_t leastInChild = std::max<std::int64_t>(options.leastCasesInChild, 1);
  if (node.end - node.begin < 2 || node.cases < std::max(options.leastCasesToSplit, 2 * leastInChild)) return;
  if (Pure(classes)) return;
  std::sort(first, last);
  const Grouping grouping = FindBestGrouping(levels_, {first, last}, leastInChild);
  if (grouping.left.empty() || !(grouping.gain > kRelativeGain * node.impurity)) return;
  std::vector<std::int32_t> right;
  std::set_difference(first, last, grouping.left.begin(), grouping.left.end(), std::back_inserter(right));
  std::copy(right.begin(), right.end(), std::copy(grouping.left.begin(), grouping.left.end(), first));
  Split(at, node.begin + static_cast<std::int32_t>(grouping.left.size()), grouping.gain);
}

// Many classes: the class weights of both sides are carried along the cases of the node.
BestCut Grower::ScanCases(const CutRange& range, std::vector<double> right) const {
  std::vector<double> left(right.size());
  double leftSquares = 0;
  double rightSquares = 0;
  double total = 0;
  for (const double c : right) {
    rightSquares += c * c;
    total += c;
  }
  const double before = rightSquares / total;
  double leftWeight = 0;
  BestCut best;
  for (std::int32_t cut = range.begin + 1; cut <= range.last; ++cut) {
    for (std::int32_t i = totals_.counts[cut - 1]; i < totals_.counts[cut]; ++i) {
      const double w = totals_.sortedWeights != nullptr ? totals_.sortedWeights[i] : 1;
      const std::uint16_t c = totals_.sortedClasses[i];
      leftSquares += w * (2 * left[c] + w);
      rightSquares -= w * (2 * right[c] - w);
      left[c] += w;
      right[c] -= w;
      leftWeight += w;
    }
    if (cut < range.first) continue;
    const double gain = leftSquares / leftWeight + rightSquares / (total - leftWeight) - before;
    if (gain > best.gain) {
      best.gain = gain;
      best.cut = cut;
    }
  }
  return best;
}

void Grower::SplitByOrder(std::size_t at, const TreeOptions& options) {
  GrownNode& node = nodes_[at];
  const std::int64_t leastInChild = std::max<std::int64_t>(options.leastCasesInChild, 1);
  std::vector<double> classes;
  if (!response_.continuous) {
    classes = ClassesOf(node.begin, node.end);
    node.impurity = GiniWeight(classes);
    node.deviance = DevianceOf(classes);
  }
  if (node.cases < std::max(options.leastCasesToSplit, 2 * leastInChild) || node.end - node.begin < 2) return;
  if (!response_.continuous && Pure(classes)) return;
  const std::int32_t* counts = totals_.counts;
  CutRange range;
  range.begin = node.begin;
  range.end = node.end;
  range.first = static_cast<std::int32_t>(
      std::lower_bound(counts + node.begin, counts + node.end, counts[node.begin] + leastInChild) - counts);
  range.last = static_cast<std::int32_t>(
      std::upper_bound(counts + node.begin, counts + node.end, counts[node.end] - leastInChild) - counts - 1);
  if (range.first > range.last) return;
  BestCut best;
  if (totals_.sortedClasses != nullptr)
    best = ScanCases(range, classes);
  else if (totals_.weights != nullptr)
    best = FindBestCut(totals_.weights, totals_.sums, range);
  else if (response_.continuous)
    best = FindBestCut(counts, totals_.sums[0], range);
  else
    best = FindBestCut(counts, totals_.classCounts, range);
  if (response_.classCount == 2) best.gain *= 2;  // the other class falls by as much
  if (best.cut < 0) return;
  if (response_.continuous) {
    // The node's own sum of squares costs a pass over its cases and matters only where the gain is tiny.
    if (!(best.gain > kRoundingGain * rootSquares_)) return;
    if (best.gain <= kRelativeGain * rootSquares_ &&
        !(best.gain > kRelativeGain * MomentsOf(node.begin, node.end).squares))
      return;
  } else if (!(best.gain > kRelativeGain * node.impurity)) {
    return;
  }
  Split(at, best.cut, best.gain);
}

}  // namespace

TreeResponse MakeClassResponse(std::span<const double> values, std::span<const double> codes,
                               std::span<const std::uint8_t> selected, std::span<const double> weights) {
  if (codes.size() > static_cast<std::size_t>(kMaxClasses))
    throw std::length_error("a response has more than 65534 codes");
  TreeResponse response;
  response.classCount = static_cast<int>(codes.size());
  response.caseCount = values.size();
  response.classOf.assign(values.size(), kNoClass);
  std::vector<std::uint8_t> present(values.size(), 0);
  // Codes by value, so that many of them do not make a long search.
  std::vector<std::uint16_t> ascending(codes.size());
  for (std::size_t c = 0; c < codes.size(); ++c) ascending[c] = static_cast<std::uint16_t>(c);
  std::stable_sort(ascending.begin(), ascending.end(), [&](std::uint16_t a, std::uint16_t b) {
    return OrderedImage(codes[a]) < OrderedImage(codes[b]);
  });
  // Codes so near to each other that a value fits several, or that no value equals.
  bool tolerant = false;
  for (std::size_t c = 0; c < codes.size(); ++c) {
    tolerant = tolerant || !std::isfinite(codes[c]);
    if (c > 0) tolerant = tolerant || NearlyEqual(codes[ascending[c - 1]], codes[ascending[c]]);
  }
  const auto classOf = [&](double value) {
    // Nearly every value is a code to the last bit.
    if (codes.size() <= 8 && !tolerant)
      for (std::size_t c = 0; c < codes.size(); ++c)
        if (codes[c] == value) return static_cast<std::uint16_t>(c);
    const std::int64_t image = OrderedImage(value);
    auto at = std::partition_point(ascending.begin(), ascending.end(), [&](std::uint16_t c) {
      return OrderedImage(codes[c]) < image - kUlpTolerance;
    });
    std::uint16_t found = kNoClass;
    for (; at != ascending.end() && OrderedImage(codes[*at]) <= image + kUlpTolerance; ++at)
      if (NearlyEqual(value, codes[*at])) found = std::min(found, *at);
    return found;
  };
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!Counts(i, selected, weights)) continue;
    response.classOf[i] = classOf(values[i]);
    present[i] = response.classOf[i] != kNoClass ? 1 : 0;
  }
  KeepPresent(response, std::move(present), weights);
  return response;
}

TreeResponse MakeContinuousResponse(std::span<const double> values, double missingCode,
                                    std::span<const std::uint8_t> selected, std::span<const double> weights) {
  TreeResponse response;
  response.continuous = true;
  response.caseCount = values.size();
  response.deviations.assign(values.size(), 0);
  const MissingRange missing(missingCode);
  std::vector<std::uint8_t> present(values.size());
  double largest = 0;
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!Counts(i, selected, weights) || !std::isfinite(values[i]) || missing(values[i])) continue;
    present[i] = 1;
    ++count;
    sum += values[i];
    largest = std::max(largest, std::fabs(values[i]));
  }
  // Squares must neither overflow nor vanish.
  if (largest > 1e120 || (largest > 0 && largest < 1e-120)) {
    response.scale = std::ldexp(1.0, std::max(std::ilogb(largest), -1021));
    sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
      if (present[i] != 0) sum += values[i] / response.scale;
  }
  const double mean = count > 0 ? sum / static_cast<double>(count) : 0;
  response.centre = mean * response.scale;
  const double inverse = 1 / response.scale;  // exact: the scale is a power of two
  for (std::size_t i = 0; i < values.size(); ++i)
    if (present[i] != 0) response.deviations[i] = values[i] * inverse - mean;
  KeepPresent(response, std::move(present), weights);
  return response;
}

namespace {

// The number of 15 significant digits next to a value.
double InFifteenDigits(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 15);
  double rounded = value;
  std::from_chars(digits, end.ptr, rounded);
  return rounded;
}

// <= goes left, so the constant must not reach the upper value. Midway between decimals lies a decimal, which the sum
// may miss by its last bit: 1.6949999999999998 between 1.69 and 1.7. People read, write and compare 1.695.
double MidPoint(double lower, double upper) {
  const double middle = 0.5 * lower + 0.5 * upper;
  const double decimal = InFifteenDigits(middle);
  const bool same =
      std::abs(decimal - middle) <= 2 * std::numeric_limits<double>::epsilon() * std::abs(middle);
  if (same && decimal >= lower && decimal < upper) return decimal;
  return middle >= lower && middle < upper ? middle : lower;
}

}  // namespace

Tree Grower::Finish() {
  Tree tree;
  tree.predictorKind = kind_;
  tree.classCount = response_.classCount;
  if (nodes_.empty()) return tree;
  // Numbers level by level over what is still reached.
  std::vector<std::size_t> grown{0};
  for (std::size_t i = 0; i < grown.size(); ++i) {
    const GrownNode& from = nodes_[grown[i]];
    TreeNode node;
    node.firstValue = from.begin;
    node.endValue = from.end;
    node.cases = from.cases;
    if (from.left >= 0) {
      node.left = static_cast<int>(grown.size()) + 1;
      node.right = node.left + 1;
      grown.push_back(static_cast<std::size_t>(from.left));
      grown.push_back(static_cast<std::size_t>(from.right));
      if (kind_ == PredictorKind::kContinuous)
        node.splitConstant = constants_.empty() ? MidPoint(Value(from.cut - 1), Value(from.cut))
                                                : constants_[static_cast<std::size_t>(from.gain)];
    }
    tree.nodes.push_back(node);
  }
  for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
    if (tree.nodes[i].left == 0) continue;
    tree.nodes[static_cast<std::size_t>(tree.nodes[i].left) - 1].parent = static_cast<int>(i) + 1;
    tree.nodes[static_cast<std::size_t>(tree.nodes[i].right) - 1].parent = static_cast<int>(i) + 1;
  }
  // Children have higher numbers than their parents, so one walk from the end sums up what the terminal nodes
  // hold.
  const auto classes = static_cast<std::size_t>(tree.classCount);
  tree.classWeights.assign(tree.nodes.size() * classes, 0);
  std::vector<Moments> moments(tree.nodes.size());
  for (std::size_t i = tree.nodes.size(); i-- > 0;) {
    TreeNode& node = tree.nodes[i];
    double* own = tree.classWeights.data() + i * classes;
    if (node.left == 0) {
      tree.bins.push_back(static_cast<int>(i) + 1);
      if (response_.continuous) {
        moments[i] = MomentsOf(node.firstValue, node.endValue);
      } else if (!levels_.cases.empty()) {
        for (std::int32_t place = node.firstValue; place < node.endValue; ++place)
          for (std::size_t c = 0; c < classes; ++c) own[c] += levels_.Row(NaturalItem(place))[c];
      } else {
        const std::vector<double> counted = ClassesOf(node.firstValue, node.endValue);
        std::copy(counted.begin(), counted.end(), own);
      }
    } else {
      const auto left = static_cast<std::size_t>(node.left) - 1;
      const auto right = static_cast<std::size_t>(node.right) - 1;
      moments[i].Merge(moments[left]);
      moments[i].Merge(moments[right]);
      for (std::size_t c = 0; c < classes; ++c)
        own[c] = tree.classWeights[left * classes + c] + tree.classWeights[right * classes + c];
    }
    if (response_.continuous) {
      node.weight = moments[i].weight;
      node.mean = response_.centre + moments[i].sum / moments[i].weight * response_.scale;
      node.variance = moments[i].squares / moments[i].weight * response_.scale * response_.scale;
      node.impurity = node.variance;
    } else {
      for (std::size_t c = 0; c < classes; ++c) node.weight += own[c];
      node.impurity = node.weight > 0 ? GiniWeight({own, classes}) / node.weight : 0;
    }
  }
  for (TreeNode& node : tree.nodes)
    if (node.left != 0)
      node.improvement = std::max(0.0, node.weight * node.impurity -
                                           tree.Node(node.left).weight * tree.Node(node.left).impurity -
                                           tree.Node(node.right).weight * tree.Node(node.right).impurity);
  std::sort(tree.bins.begin(), tree.bins.end(),
            [&](int a, int b) { return tree.Node(a).firstValue < tree.Node(b).firstValue; });
  for (std::size_t b = 0; b < tree.bins.size(); ++b)
    tree.nodes[static_cast<std::size_t>(tree.bins[b]) - 1].bin = static_cast<int>(b);
  if (kind_ == PredictorKind::kCategorical) {
    for (std::int32_t place = 0; place < Items(); ++place) tree.values.push_back(Value(NaturalItem(place)));
    for (const int number : tree.bins) {
      const TreeNode& node = tree.Node(number);
      std::sort(tree.values.begin() + node.firstValue, tree.values.begin() + node.endValue);
    }
  }
  return tree;
}

std::vector<double> Tree::CutPoints() const {
  std::vector<double> cuts;
  for (const TreeNode& node : nodes)
    if (node.left != 0) cuts.push_back(node.splitConstant);
  std::sort(cuts.begin(), cuts.end());
  return cuts;
}

std::vector<double> Tree::Levels(int nodeNumber) const {
  const TreeNode& node = Node(nodeNumber);
  std::vector<double> levels(values.begin() + node.firstValue, values.begin() + node.endValue);
  std::sort(levels.begin(), levels.end());
  return levels;
}

Tree GrowTree(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
              PredictorKind kind, const TreeOptions& options, TreeScratch& scratch) {
  Grower grower(response, predictor, order, kind, scratch);
  grower.Grow(options);
  return grower.Finish();
}

Tree TreeFromCutPoints(const TreeResponse& response, std::span<const double> predictor,
                       const SortedOrder& order, std::span<const double> cutPoints, TreeScratch& scratch,
                       std::vector<DroppedCut>& dropped) {
  Grower grower(response, predictor, order, PredictorKind::kContinuous, scratch);
  std::vector<double> sorted;
  for (const double cut : cutPoints) {
    if (cut != cut)
      dropped.push_back({cut, "is not a number"});
    else
      sorted.push_back(cut);
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<std::int32_t> ends;
  std::vector<double> constants;
  for (const double cut : sorted) {
    std::int32_t low = 0;
    std::int32_t high = grower.Items();
    while (low < high) {
      const std::int32_t middle = low + (high - low) / 2;
      if (grower.Value(middle) <= cut)
        low = middle + 1;
      else
        high = middle;
    }
    if (!constants.empty() && constants.back() == cut) {
      dropped.push_back({cut, "is given twice"});
    } else if (low == 0 || low == grower.Items()) {
      dropped.push_back(
          {cut, low == 0 ? "lies below the data" : "lies at or above the largest value of the data"});
    } else if (!ends.empty() && ends.back() == low) {
      dropped.push_back({cut, "leaves no case between it and the cut point before it"});
    } else {
      ends.push_back(low);
      constants.push_back(cut);
    }
  }
  ends.push_back(grower.Items());
  grower.Chain({}, ends, constants);
  return grower.Finish();
}

Tree TreeFromGroups(const TreeResponse& response, std::span<const double> predictor, const SortedOrder& order,
                    std::span<const std::vector<double>> groups, TreeScratch& scratch,
                    std::vector<DroppedCut>& dropped) {
  Grower grower(response, predictor, order, PredictorKind::kCategorical, scratch);
  std::vector<bool> named(static_cast<std::size_t>(grower.Items()), false);
  std::vector<std::int32_t> items;
  std::vector<std::int32_t> ends;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const std::size_t before = items.size();
    for (const double level : groups[g]) {
      std::int32_t item = 0;
      while (item < grower.Items() && !NearlyEqual(grower.Value(item), level)) ++item;
      if (item == grower.Items()) {
        dropped.push_back({level, "is not a level of the data"});
      } else if (named[static_cast<std::size_t>(item)]) {
        dropped.push_back({level, "is named twice"});
      } else {
        named[static_cast<std::size_t>(item)] = true;
        items.push_back(item);
      }
    }
    if (items.size() == before)
      dropped.push_back({static_cast<double>(g + 1), "has no cases", true});
    else
      ends.push_back(static_cast<std::int32_t>(items.size()));
  }
  const std::size_t before = items.size();
  for (std::int32_t item = 0; item < grower.Items(); ++item)
    if (!named[static_cast<std::size_t>(item)]) items.push_back(item);
  if (items.size() != before) ends.push_back(static_cast<std::int32_t>(items.size()));
  grower.Chain(std::move(items), ends, {});
  return grower.Finish();
}

void AssignBins(const Tree& tree, std::span<const double> predictor, const SortedOrder& order,
                std::span<std::int32_t> bins) {
  std::fill(bins.begin(), bins.end(), kNoBin);
  if (tree.nodes.empty()) return;
  const auto mark = [&](std::size_t first, std::size_t end, std::int32_t bin) {
    for (auto i = static_cast<std::size_t>(order.starts[first]);
         i < static_cast<std::size_t>(order.starts[end]); ++i)
      bins[order.cases[i]] = bin;
  };
  if (tree.predictorKind == PredictorKind::kContinuous) {
    const std::vector<double> cuts = tree.CutPoints();
    std::size_t first = 0;
    for (std::size_t b = 0; b <= cuts.size(); ++b) {
      std::size_t end = order.DistinctCount();
      if (b < cuts.size()) {
        std::size_t low = first;
        while (low < end) {
          const std::size_t middle = low + (end - low) / 2;
          if (order.Value(predictor, middle) <= cuts[b])
            low = middle + 1;
          else
            end = middle;
        }
      }
      mark(first, end, static_cast<std::int32_t>(b));
      first = end;
    }
    return;
  }
  std::vector<std::pair<double, std::int32_t>> binOfLevel;
  for (const int number : tree.bins)
    for (const double level : tree.Levels(number)) binOfLevel.emplace_back(level, tree.Node(number).bin);
  std::sort(binOfLevel.begin(), binOfLevel.end());
  auto at = binOfLevel.begin();
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const double value = order.Value(predictor, d);
    while (at != binOfLevel.end() && at->first < value) ++at;
    if (at != binOfLevel.end() && !(value < at->first)) mark(d, d + 1, at->second);
  }
}

std::int32_t BinOf(std::span<const double> cutPoints, double value) {
  return static_cast<std::int32_t>(std::lower_bound(cutPoints.begin(), cutPoints.end(), value) -
                                   cutPoints.begin());
}

void AssignBinsByCutPoints(std::span<const double> cutPoints, std::span<const double> column,
                           double missingCode, std::span<std::int32_t> bins) {
  const MissingRange missing(missingCode);
  for (std::size_t i = 0; i < column.size(); ++i)
    bins[i] = missing.Absent(column[i]) ? kNoBin : BinOf(cutPoints, column[i]);
}

}  // namespace velmora::stats
