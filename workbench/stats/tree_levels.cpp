// Two groups of levels against three or more classes: every grouping of a few levels, an ordered
// search with single-level moves for many.
#include <algorithm>
#include <cmath>

#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
namespace {

constexpr std::size_t kMaxExhaustiveLevels = 12;
// above this many levels the ordered search is not improved
constexpr std::size_t kMaxMovedLevels = 500;
constexpr int kPowerSteps = 100;

// Class weights and cases of the levels on the left, against those of the node.
class Sides {
 public:
  Sides(const LevelTable& table, std::span<const std::int32_t> levels, std::int64_t leastCases)
      : table_(table),
        leastCases_(leastCases),
        total_(static_cast<std::size_t>(table.classCount)),
        left_(total_.size()) {
    for (const std::int32_t level : levels) {
      const auto row = table.Row(level);
      for (std::size_t c = 0; c < total_.size(); ++c) total_[c] += row[c];
      totalCases_ += table.cases[static_cast<std::size_t>(level)];
    }
    for (const double weight : total_) totalWeight_ += weight;
  }

  void Move(std::int32_t level, bool toLeft) {
    const auto row = table_.Row(level);
    const double sign = toLeft ? 1 : -1;
    for (std::size_t c = 0; c < total_.size(); ++c) {
      left_[c] += sign * row[c];
      leftWeight_ += sign * row[c];
    }
    leftCases_ += (toLeft ? 1 : -1) * table_.cases[static_cast<std::size_t>(level)];
  }

  // Decrease of weight x Gini, or -1 where a side has too few cases.
  double Gain() const {
    if (leftCases_ < leastCases_ || totalCases_ - leftCases_ < leastCases_) return -1;
    double sum = 0;
    for (std::size_t c = 0; c < total_.size(); ++c) {
      const double d = left_[c] * totalWeight_ - leftWeight_ * total_[c];
      sum += d * d;
    }
    return sum / (leftWeight_ * (totalWeight_ - leftWeight_)) / totalWeight_;
  }

  const std::vector<double>& Total() const { return total_; }
  double TotalWeight() const { return totalWeight_; }

 private:
  const LevelTable& table_;
  std::int64_t leastCases_;
  std::vector<double> total_;
  std::vector<double> left_;
  double totalWeight_ = 0;
  double leftWeight_ = 0;
  std::int64_t totalCases_ = 0;
  std::int64_t leftCases_ = 0;
};

Grouping SearchAll(Sides sides, std::span<const std::int32_t> levels) {
  const std::uint32_t groupings = 1u << (levels.size() - 1);
  std::uint32_t best = 0;
  double bestGain = 0;
  for (std::uint32_t mask = 1; mask < groupings; ++mask) {
    const std::uint32_t changed = mask ^ (mask - 1);
    for (std::size_t i = 0; i < levels.size(); ++i)
      if ((changed >> i & 1) != 0) sides.Move(levels[i], (mask >> i & 1) != 0);
    const double gain = sides.Gain();
    if (gain > bestGain) {
      bestGain = gain;
      best = mask;
    }
  }
  Grouping grouping;
  grouping.gain = bestGain;
  for (std::size_t i = 0; i < levels.size(); ++i)
    if ((best >> i & 1) != 0) grouping.left.push_back(levels[i]);
  return grouping;
}

// Each level's place along the first principal component of the class shares, levels weighted by
// their weight.
std::vector<double> PrincipalScores(const LevelTable& table, std::span<const std::int32_t> levels,
                                    const Sides& sides, const std::function<void()>& checkpoint) {
  const auto classes = static_cast<std::size_t>(table.classCount);
  std::vector<double> shares(levels.size() * classes);
  std::vector<double> rowWeights(levels.size());
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const auto row = table.Row(levels[i]);
    for (const double weight : row) rowWeights[i] += weight;
    for (std::size_t c = 0; c < classes; ++c)
      shares[i * classes + c] = row[c] / rowWeights[i] - sides.Total()[c] / sides.TotalWeight();
  }
  std::vector<double> scores(levels.size());
  // Starts from the level that deviates most, so that the start is never orthogonal to everything.
  std::vector<double> axis(classes);
  double most = -1;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    double size = 0;
    for (std::size_t c = 0; c < classes; ++c) size += shares[i * classes + c] * shares[i * classes + c];
    if (size * rowWeights[i] <= most) continue;
    most = size * rowWeights[i];
    std::copy_n(shares.begin() + static_cast<std::ptrdiff_t>(i * classes), classes, axis.begin());
  }
  for (int step = 0; step < kPowerSteps; ++step) {
    if (checkpoint) checkpoint();
    std::vector<double> next(classes);
    for (std::size_t i = 0; i < levels.size(); ++i) {
      scores[i] = 0;
      for (std::size_t c = 0; c < classes; ++c) scores[i] += shares[i * classes + c] * axis[c];
      for (std::size_t c = 0; c < classes; ++c)
        next[c] += rowWeights[i] * scores[i] * shares[i * classes + c];
    }
    double size = 0;
    for (const double component : next) size += component * component;
    if (!(size > 0)) break;
    size = std::sqrt(size);
    for (std::size_t c = 0; c < classes; ++c) axis[c] = next[c] / size;
  }
  return scores;
}

Grouping SearchOrdered(Sides sides, const LevelTable& table, std::span<const std::int32_t> levels,
                       const std::function<void()>& checkpoint) {
  const std::vector<double> scores = PrincipalScores(table, levels, sides, checkpoint);
  std::vector<std::size_t> along(levels.size());
  for (std::size_t i = 0; i < along.size(); ++i) along[i] = i;
  std::stable_sort(along.begin(), along.end(),
                   [&](std::size_t a, std::size_t b) { return scores[a] < scores[b]; });
  std::size_t bestCut = 0;
  double bestGain = 0;
  for (std::size_t cut = 1; cut < along.size(); ++cut) {
    sides.Move(levels[along[cut - 1]], true);
    const double gain = sides.Gain();
    if (gain > bestGain) {
      bestGain = gain;
      bestCut = cut;
    }
  }
  Grouping grouping;
  if (bestCut == 0) return grouping;
  std::vector<bool> isLeft(levels.size(), false);
  for (std::size_t i = 0; i < along.size(); ++i) {
    isLeft[along[i]] = i < bestCut;
    if (i >= bestCut && i + 1 < along.size()) sides.Move(levels[along[i]], false);
  }
  // Each move raises the gain by more than rounding, so the search ends.
  while (levels.size() <= kMaxMovedLevels) {
    if (checkpoint) checkpoint();
    std::size_t bestMove = levels.size();
    double moved = bestGain * (1 + 1e-12);
    for (std::size_t i = 0; i < levels.size(); ++i) {
      sides.Move(levels[i], !isLeft[i]);
      const double gain = sides.Gain();
      if (gain > moved) {
        moved = gain;
        bestMove = i;
      }
      sides.Move(levels[i], isLeft[i]);
    }
    if (bestMove == levels.size()) break;
    sides.Move(levels[bestMove], !isLeft[bestMove]);
    isLeft[bestMove] = !isLeft[bestMove];
    bestGain = moved;
  }
  grouping.gain = bestGain;
  const bool swap = isLeft.back();  // the highest code goes right
  for (std::size_t i = 0; i < levels.size(); ++i)
    if (isLeft[i] != swap) grouping.left.push_back(levels[i]);
  return grouping;
}

}  // namespace

Grouping FindBestGrouping(const LevelTable& table, std::span<const std::int32_t> levels,
                          std::int64_t leastCases, const std::function<void()>& checkpoint) {
  Sides sides(table, levels, leastCases);
  return levels.size() <= kMaxExhaustiveLevels ? SearchAll(std::move(sides), levels)
                                               : SearchOrdered(std::move(sides), table, levels, checkpoint);
}

}  // namespace velmora::stats
