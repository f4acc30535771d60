// The dynamic programs against plain enumeration of every partition.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "workbench/binning/partition.h"

namespace velmora::binning {
namespace {

struct Bin {
  double weight = 0, level = 0, cost = 0, cases = 0;
  std::vector<double> sums;
};

// One bin's figures, straight from their definitions.
Bin MakeBin(const PreBinSums& sums, const PartitionRules& rules, std::size_t first, std::size_t end) {
  Bin bin;
  bin.sums.assign(sums.Stride(), 0.0);
  std::vector<double> total(sums.Stride(), 0.0);
  for (std::size_t b = 0; b < sums.Count(); ++b) {
    for (std::size_t c = 0; c < sums.Stride(); ++c) {
      total[c] += sums.values[b * sums.Stride() + c];
      if (b >= first && b < end) bin.sums[c] += sums.values[b * sums.Stride() + c];
    }
    if (b >= first && b < end) bin.cases += sums.cases[b];
  }
  if (sums.classCount == 0) {
    bin.weight = bin.sums[0];
    bin.level = bin.sums[1] / bin.weight;
    bin.cost = bin.sums[2] - bin.weight * bin.level * bin.level;
    return bin;
  }
  for (const double weight : bin.sums) bin.weight += weight;
  bin.level = bin.sums[0] / bin.weight;
  if (rules.criterion == Criterion::kInformationValue) {
    const double pure = bin.sums[0] == 0 || bin.sums[1] == 0 ? 0.5 : 0;
    bin.cost = -(bin.sums[1] / total[1] - bin.sums[0] / total[0]) *
               std::log(((bin.sums[1] + pure) / total[1]) / ((bin.sums[0] + pure) / total[0]));
    return bin;
  }
  for (const double weight : bin.sums) {
    const double share = weight / bin.weight;
    if (rules.criterion == Criterion::kGini) bin.cost += weight * (1 - share);
    if (rules.criterion == Criterion::kDeviance && weight > 0) bin.cost -= 2 * weight * std::log(share);
  }
  return bin;
}

bool FollowsShape(const std::vector<Bin>& bins, Shape shape) {
  int rises = 0, falls = 0, turns = 0, direction = 0;
  bool risesFirst = false;
  for (std::size_t i = 1; i < bins.size(); ++i) {
    const double step = bins[i].level - bins[i - 1].level;
    if (std::fabs(step) < 1e-12) continue;
    const int now = step > 0 ? 1 : -1;
    if (direction == 0) risesFirst = now > 0;
    if (direction != 0 && now != direction) ++turns;
    direction = now;
    ++(now > 0 ? rises : falls);
  }
  switch (shape) {
    case Shape::kFree:
      return true;
    case Shape::kAscending:
      return falls == 0;
    case Shape::kDescending:
      return rises == 0;
    case Shape::kMonotone:
      return rises == 0 || falls == 0;
    case Shape::kPeak:
      return turns == 0 || (turns == 1 && risesFirst);
    case Shape::kValley:
      return turns == 0 || (turns == 1 && !risesFirst);
    case Shape::kAuto:
      return turns <= 1;
  }
  return false;
}

bool MeetsRules(const std::vector<Bin>& bins, const PreBinSums& sums, const PartitionRules& rules) {
  for (const Bin& bin : bins) {
    if (bin.weight < rules.minShare * sums.TotalWeight() - 1e-9 || bin.cases < rules.minCases) return false;
    for (const double weight : bin.sums) {
      if (sums.classCount > 0 && weight < rules.minEvents) return false;
    }
  }
  for (std::size_t i = 1; i < bins.size() && rules.maxAdjacentP < 1; ++i) {
    // p of a 2 x 2 table, Chi-square with one degree of freedom.
    const Bin &a = bins[i - 1], &b = bins[i];
    const double pooled = (a.sums[0] + b.sums[0]) / (a.weight + b.weight);
    const double difference = a.level - b.level;
    const double z = difference * difference / (pooled * (1 - pooled) * (1 / a.weight + 1 / b.weight));
    if (!(std::erfc(std::sqrt(z / 2)) <= rules.maxAdjacentP)) return false;
  }
  return FollowsShape(bins, rules.shape);
}

// The least cost of any partition into each number of bins; infinity where the rules allow none.
std::vector<double> Enumerate(const PreBinSums& sums, const PartitionRules& rules) {
  const std::size_t m = sums.Count();
  std::vector<double> best(static_cast<std::size_t>(rules.maxBins), INFINITY);
  for (unsigned cuts = 0; cuts < 1u << (m - 1); ++cuts) {
    std::vector<Bin> bins;
    std::size_t first = 0;
    double cost = 0;
    for (std::size_t end = 1; end <= m; ++end) {
      if (end < m && (cuts >> (end - 1) & 1) == 0) continue;
      bins.push_back(MakeBin(sums, rules, first, end));
      cost += bins.back().cost;
      first = end;
    }
    if (bins.size() > best.size()) continue;
    if (bins.size() > 1 && !MeetsRules(bins, sums, rules)) continue;
    best[bins.size() - 1] = std::min(best[bins.size() - 1], cost);
  }
  return best;
}

PreBinSums RandomSums(std::mt19937& random, int classCount, std::size_t count) {
  std::uniform_int_distribution<int> cases(0, 12);
  std::normal_distribution<double> noise;
  PreBinSums sums;
  sums.classCount = classCount;
  for (std::size_t b = 0; b < count; ++b) {
    double n = 0;
    if (classCount > 0) {
      for (int c = 0; c < classCount; ++c) {
        sums.values.push_back(cases(random) + (c == 0 ? 1 : 0));
        n += sums.values.back();
      }
    } else {
      n = 1 + cases(random);
      double sum = 0, squares = 0;
      for (int i = 0; i < static_cast<int>(n); ++i) {
        const double y = noise(random) + static_cast<double>(b % 4);
        sum += y;
        squares += y * y;
      }
      sums.values.insert(sums.values.end(), {n, sum, squares});
    }
    sums.cases.push_back(n);
    sums.squaredWeights += n;
  }
  return sums;
}

TEST(Partition, IsTheBestOfAll) {
  struct Row {
    const char* name;
    int classCount;
    PartitionRules rules;
  };
  using enum Criterion;
  std::vector<Row> rows = {
      {"free", 2, {.maxBins = 5, .minShare = 0}},
      {"three classes", 3, {.maxBins = 5, .minShare = 0.1}},
      {"gini", 3, {.criterion = kGini, .maxBins = 6, .minShare = 0}},
      {"information value", 2, {.criterion = kInformationValue, .maxBins = 4, .minShare = 0}},
      {"measured", 0, {.maxBins = 4, .minShare = 0.1}},
      {"cases and events", 2, {.maxBins = 5, .minShare = 0, .minCases = 14, .minEvents = 4}},
      {"neighbours differ", 2, {.maxBins = 5, .minShare = 0, .maxAdjacentP = 0.2}},
      {"peak of differing neighbours",
       2,
       {.shape = Shape::kPeak, .maxBins = 5, .minShare = 0, .maxAdjacentP = 0.5}},
  };
  for (const Shape shape : {Shape::kAscending, Shape::kDescending, Shape::kMonotone, Shape::kPeak,
                            Shape::kValley, Shape::kAuto}) {
    rows.push_back({"shape", 2, {.shape = shape, .maxBins = 6, .minShare = 0.05}});
    rows.push_back({"shape of means", 0, {.shape = shape, .maxBins = 5, .minShare = 0}});
  }
  std::mt19937 random(7);
  for (const Row& row : rows) {
    for (int repeat = 0; repeat < 40; ++repeat) {
      const PreBinSums sums = RandomSums(random, row.classCount, 4 + repeat % 6);
      const Partitions found = FindPartitions(sums, row.rules);
      const std::vector<double> best = Enumerate(sums, row.rules);
      const double sign = row.rules.criterion == kInformationValue ? -1 : 1;
      for (std::size_t k = 0; k < found.byBinCount.size(); ++k) {
        const Partition& partition = found.byBinCount[k];
        ASSERT_EQ(partition.ends.empty(), std::isinf(best[k])) << row.name << ", " << k + 1 << " bins";
        if (partition.ends.empty()) continue;
        EXPECT_NEAR(sign * partition.criterion, best[k], 1e-9 * (1 + std::fabs(best[k]))) << row.name;
        EXPECT_EQ(partition.ends.size(), k + 1);
      }
    }
  }
}

TEST(Partition, RefusesWhatTheResponseDoesNotHave) {
  std::mt19937 random(1);
  const PreBinSums three = RandomSums(random, 3, 5);
  const PreBinSums measured = RandomSums(random, 0, 5);
  EXPECT_THROW(FindPartitions(three, {.criterion = Criterion::kInformationValue}), std::invalid_argument);
  EXPECT_THROW(FindPartitions(three, {.shape = Shape::kPeak}), std::invalid_argument);
  EXPECT_THROW(FindPartitions(measured, {.criterion = Criterion::kGini}), std::invalid_argument);
  EXPECT_THROW(FindPartitions(three, {.criterion = Criterion::kVariance}), std::invalid_argument);
  EXPECT_TRUE(FindPartitions(three, {}, [] { return true; }).byBinCount.empty());
}

TEST(Partition, CountsTheWaysOfChoosing) {
  EXPECT_NEAR(LogChoose(99, 3), std::log(156849.0), 1e-10);
  EXPECT_NEAR(LogStirling(10, 3), std::log(9330.0), 1e-12);  // Stirling numbers of the second kind
  EXPECT_NEAR(LogStirling(25, 7), std::log(227832482998716310.0), 1e-10);
  EXPECT_EQ(LogStirling(5, 5), 0);
  EXPECT_TRUE(std::isinf(LogStirling(3, 4)));
}

TEST(BinCount, DependsNeitherOnTheUnitOfWeightsNorOfTheResponse) {
  std::mt19937 random(3);
  for (const int classCount : {0, 2, 3}) {
    const PreBinSums sums = RandomSums(random, classCount, 40);
    PreBinSums scaled = sums;
    for (double& value : scaled.values) value *= 1024;
    scaled.squaredWeights *= 1024.0 * 1024.0;
    const Partitions found = FindPartitions(sums, {});
    EXPECT_EQ(ChooseBinCount(found, sums, Ordering::kGiven),
              ChooseBinCount(FindPartitions(scaled, {}), scaled, Ordering::kGiven));
  }
}

TEST(BinCount, TakesTheNearestThatIsPossible) {
  std::mt19937 random(5);
  const PreBinSums sums = RandomSums(random, 2, 30);
  const Partitions found = FindPartitions(sums, {.maxBins = 8, .minShare = 0.3});
  EXPECT_EQ(ChooseBinCount(found, sums, Ordering::kGiven, 8, 8), 3);
  EXPECT_EQ(ChooseBinCount(found, sums, Ordering::kGiven, 2, 2), 2);
}

}  // namespace
}  // namespace velmora::binning
