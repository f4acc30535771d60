// Bins of whole columns: noise gets none, structure keeps its own, and the figures on
// held-out cases are honest.
#include "workbench/binning/optimal_bins.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "workbench/binning/cross_validate.h"

namespace velmora::binning {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

struct Column {
  std::vector<double> x, y, weights;
};

PreBins Prepare(const Column& data, bool continuous, bool levels = false, int limit = 100) {
  const std::vector<double> codes = {0, 1};
  const stats::TreeResponse response = continuous
                                           ? stats::MakeContinuousResponse(data.y, kNone, {}, data.weights)
                                           : stats::MakeClassResponse(data.y, codes, {}, data.weights);
  stats::SortScratch scratch;
  stats::SortedOrder order;
  stats::SortColumn(data.x, kNone, {}, scratch, order);
  const std::vector<std::uint8_t> folds = StratifiedFolds(response);
  return levels ? MakeLevels(response, data.x, order, folds)
                : MakePreBins(response, data.x, order, limit, folds);
}

// y: bad (0) with a chance that falls with x as far as slope says.
Column MakeColumn(std::mt19937& random, int cases, double slope, int levels = 0, bool weighted = false) {
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  std::lognormal_distribution<double> weight;
  Column data;
  for (int i = 0; i < cases; ++i) {
    data.x.push_back(levels > 0 ? std::floor(uniform(random) * levels) : normal(random));
    data.y.push_back(uniform(random) < 1 / (1 + std::exp(1.5 - slope * data.x.back())) ? 0 : 1);
    if (weighted) data.weights.push_back(weight(random));
  }
  return data;
}

TEST(OptimalBins, FindNothingInNoise) {
  struct Row {
    const char* name;
    int cases, levels;
    bool weighted, continuousResponse;
  };
  const Row rows[] = {
      {"400 cases", 400, 0, false, false},
      {"3000 cases", 3000, 0, false, false},
      {"weighted", 2000, 0, true, false},
      {"200 levels", 2000, 200, false, false},
      {"30 levels, weighted", 800, 30, true, false},
      {"mean", 1000, 0, false, true},
      {"mean of levels", 1000, 100, true, true},
  };
  std::mt19937 random(11);
  for (const Row& row : rows) {
    int binned = 0;
    double informationValue = 0;
    constexpr int kColumns = 60;
    for (int column = 0; column < kColumns; ++column) {
      Column data = MakeColumn(random, row.cases, 0, row.levels, row.weighted);
      if (row.continuousResponse) {
        std::normal_distribution<double> normal;
        for (double& y : data.y) y = normal(random);
      }
      const PreBins pre = Prepare(data, row.continuousResponse, row.levels > 0);
      const auto find = [&](const PreBinSums& sums) {
        return (row.levels > 0 ? FindLevelBins(sums, {}) : FindOrderedBins(sums, {})).binOf;
      };
      const std::vector<int> bins = find(pre.sums);
      if (*std::max_element(bins.begin(), bins.end()) > 0) ++binned;
      informationValue = std::max(informationValue, CrossValidate(pre, find).informationValue);
    }
    EXPECT_LE(binned, 2) << row.name;
    EXPECT_LT(informationValue, 0.05) << row.name;
  }
}

TEST(OptimalBins, KeepWhatIsThere) {
  std::mt19937 random(2);
  for (const bool weighted : {false, true}) {
    const Column seen = MakeColumn(random, 4000, 1.2, 0, weighted);
    const Column unseen = MakeColumn(random, 40000, 1.2, 0, weighted);
    BinningRules rules;
    rules.partition.shape = Shape::kAuto;
    const PreBins pre = Prepare(seen, false);
    const OptimalBins bins = FindOrderedBins(pre.sums, rules);
    EXPECT_GE(bins.count, 4);
    EXPECT_EQ(bins.shape, Shape::kAscending);
    // The figures of cross-validation are those of other cases.
    const Validation honest =
        CrossValidate(pre, [&](const PreBinSums& sums) { return FindOrderedBins(sums, rules).binOf; });
    PreBins both = pre;
    for (std::size_t i = 0; i < both.sums.values.size(); ++i) both.sums.values[i] = 0;
    for (std::size_t i = 0; i < unseen.x.size(); ++i) {
      const auto at = std::lower_bound(pre.last.begin(), pre.last.end() - 1, unseen.x[i]) - pre.last.begin();
      both.sums.values[static_cast<std::size_t>(at) * 2 + static_cast<std::size_t>(unseen.y[i])] +=
          weighted ? unseen.weights[i] : 1;
    }
    // One "fold": trained on the cases that were seen, with the others held out.
    PreBins outside = pre;
    outside.folds = {both.sums};
    for (std::size_t i = 0; i < outside.sums.values.size(); ++i)
      outside.sums.values[i] += both.sums.values[i];
    const double actual =
        CrossValidate(outside, [&](const PreBinSums&) { return bins.binOf; }).informationValue;
    EXPECT_NEAR(honest.informationValue, actual, 0.15 * actual) << "weighted: " << weighted;
    EXPECT_GT(honest.gini, 0.4);
  }
}

// A sample of few clusters leaves folds empty, and rare cases leave some without one of the
// classes.
TEST(OptimalBins, FoldsWithoutBothClassesDiluteNoFigure) {
  PreBinSums fold;
  fold.classCount = 2;
  fold.values = {30, 10, 12, 20};  // bads and goods of two pre-bins
  fold.cases = {40, 32};
  PreBinSums none = fold, badsOnly = fold;
  none.values = {0, 0, 0, 0};
  none.cases = {0, 0};
  badsOnly.values = {1, 0, 1, 0};
  badsOnly.cases = {1, 1};
  PreBins pre;
  pre.folds = {fold, none, fold, none, badsOnly, fold};
  pre.sums = none;
  for (const PreBinSums& one : pre.folds) {
    for (std::size_t i = 0; i < 4; ++i) pre.sums.values[i] += one.values[i];
    for (std::size_t i = 0; i < 2; ++i) pre.sums.cases[i] += one.cases[i];
  }
  const auto twoBins = [](const PreBinSums&) { return std::vector<int>{0, 1}; };
  const Validation mixed = CrossValidate(pre, twoBins);
  // The folds are alike, so each has the figures of the other folds' cases.
  const auto share = [](double a, double b) { return a / (a + b); };
  const double bad = share(61, 25), good = share(20, 40);
  const double expected = (share(10, 20) - share(30, 12)) * std::log(good / bad) +
                          (share(20, 10) - share(12, 30)) * std::log((1 - good) / (1 - bad));
  EXPECT_NEAR(mixed.informationValue, expected, 1e-12);
  EXPECT_NEAR(mixed.gini, share(30, 12) - share(10, 20), 1e-12);
  EXPECT_NEAR(mixed.giniInterval.lower, mixed.giniInterval.upper, 1e-12);
  EXPECT_GT(mixed.explained, 0.05);
}

// All pairs of this many levels would neither fit into memory nor into a day.
TEST(OptimalBins, TakeAnyNumberOfLevels) {
  struct Row {
    const char* name;
    std::size_t levels;
    int classCount;
    bool isNoise;
  };
  const Row rows[] = {
      {"noise", 50000, 2, true},
      {"signal", 50000, 2, false},
      {"measured", 50000, 0, false},
      {"three classes", 5000, 3, false},
      {"noise of three classes", 5000, 3, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(21);
    PreBinSums sums;
    sums.classCount = row.classCount;
    sums.cases.assign(row.levels, 4);
    sums.squaredWeights = 4 * static_cast<double>(row.levels);
    sums.values.assign(row.levels * sums.Stride(), 0.0);
    for (std::size_t level = 0; level < row.levels; ++level) {
      for (int i = 0; i < 4; ++i) {
        const bool isHigh = random() % 100 < (row.isNoise ? 50U : level % 2 == 0 ? 5U : 95U);
        double* const own = &sums.values[level * sums.Stride()];
        if (row.classCount == 0) {
          const double y = isHigh ? 1 : 0;
          own[0] += 1;
          own[1] += y;
          own[2] += y * y;
        } else {
          own[isHigh ? 1 : (row.classCount == 3 && random() % 2 == 0 ? 2 : 0)] += 1;
        }
      }
    }
    const OptimalBins bins = FindLevelBins(sums, {});
    if (row.isNoise) {
      EXPECT_EQ(bins.count, 1);
      continue;
    }
    ASSERT_GE(bins.count, 2);
    // Bins of the levels that are high hold few of the others.
    std::vector<double> high(static_cast<std::size_t>(bins.count)), all(high.size());
    for (std::size_t level = 0; level < row.levels; ++level) {
      all[static_cast<std::size_t>(bins.binOf[level])] += 1;
      high[static_cast<std::size_t>(bins.binOf[level])] += level % 2 == 0 ? 0 : 1;
    }
    double wrong = 0;
    for (std::size_t bin = 0; bin < all.size(); ++bin) wrong += std::min(high[bin], all[bin] - high[bin]);
    EXPECT_LT(wrong, 0.1 * static_cast<double>(row.levels));
  }
}

TEST(OptimalBins, GroupLevelsByRate) {
  // Levels 0 and 3 are bad in 60 % of the cases, the others in 20 %; level 5 is rare.
  Column data;
  for (int i = 0; i < 2000; ++i) {
    const int level = i % 200 == 0 ? 5 : i % 5;
    data.x.push_back(level);
    data.y.push_back((level == 0 || level == 3 ? (i / 5) % 5 < 3 : (i / 5) % 5 < 1) ? 0 : 1);
  }
  const PreBins pre = Prepare(data, false, true);
  const OptimalBins bins = FindLevelBins(pre.sums, {});
  ASSERT_EQ(bins.count, 2);
  EXPECT_EQ(bins.binOf[0], bins.binOf[3]);
  EXPECT_EQ(bins.binOf[1], bins.binOf[2]);
  EXPECT_EQ(bins.binOf[1], bins.binOf[4]);
  EXPECT_NE(bins.binOf[0], bins.binOf[1]);
}

// Each of 150 levels has fewer than one case in a hundred.
TEST(OptimalBins, FindGroupsAmongManyRareLevels) {
  Column data;
  for (int i = 0; i < 6000; ++i) {
    const int level = i % 150;
    data.x.push_back(level);
    data.y.push_back((i / 150) % 10 < 3 * (level % 3) + 1 ? 0 : 1);
  }
  const OptimalBins bins = FindLevelBins(Prepare(data, false, true).sums, {});
  ASSERT_EQ(bins.count, 3);
  for (std::size_t level = 3; level < 150; ++level) EXPECT_EQ(bins.binOf[level], bins.binOf[level % 3]);
}

TEST(OptimalBins, MergeLevelsOfManyClasses) {
  PreBinSums sums;
  sums.classCount = 3;
  for (int level = 0; level < 9; ++level) {
    for (int c = 0; c < 3; ++c) sums.values.push_back(level % 3 == c ? 80 : 10);
    sums.cases.push_back(100);
  }
  sums.squaredWeights = 900;
  const OptimalBins bins = FindLevelBins(sums, {});
  EXPECT_EQ(bins.count, 3);
  EXPECT_TRUE(bins.greedy);
  for (int level = 0; level < 9; ++level) {
    EXPECT_EQ(bins.binOf[static_cast<std::size_t>(level)], bins.binOf[static_cast<std::size_t>(level % 3)]);
  }
}

PreBins OnePreBin(double bad, double good) {
  PreBins bin;
  bin.first = bin.last = {0};
  bin.sums.values = {bad, good};
  bin.sums.cases = {bad + good};
  bin.sums.squaredWeights = bad + good;
  return bin;
}

TEST(MissingCases, GoToTheBinThatIsAskedFor) {
  PreBinSums bins;
  bins.values = {10, 90, 50, 50, 30, 70};
  bins.cases = {100, 100, 100};
  bins.squaredWeights = 300;
  const struct {
    vlm::MissingBin place;
    double bad, good;
    int bin;
  } rows[] = {
      {vlm::kMissingLeftOut, 5, 5, -1},     {vlm::kMissingOwnBin, 5, 5, 3},
      {vlm::kMissingInFirstBin, 5, 5, 0},   {vlm::kMissingInLastBin, 5, 5, 2},
      {vlm::kMissingInNearestBin, 6, 4, 1}, {vlm::kMissingInNearestBin, 26, 74, 2},
      {vlm::kMissingInNearestBin, 0, 3, 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(PlaceOfMissing(row.place, bins, OnePreBin(row.bad, row.good).sums), row.bin) << row.bad;
  EXPECT_FALSE(MissingCasesDiffer(bins, OnePreBin(30, 70).sums));
  EXPECT_TRUE(MissingCasesDiffer(bins, OnePreBin(70, 30).sums));
}

// Of many predictors, one must describe the response better than the best noise does.
TEST(Candidates, RaiseWhatASecondBinTakes) {
  const auto binsOf = [](std::size_t candidates, int exactBins, double bad) {
    PreBinSums sums = OnePreBin(50, 50).sums;
    sums.Append(OnePreBin(bad, 100 - bad).sums);
    BinningRules rules;
    rules.candidates = candidates;
    rules.exactBins = exactBins;
    return FindOrderedBins(sums, rules).count;
  };
  // 68 of 100 against 50: half the decrease of the deviance, 3.37, less ln(200) / 2 is 0.72.
  EXPECT_EQ(binsOf(1, 0, 68), 2);
  EXPECT_EQ(binsOf(20, 0, 68), 2);
  EXPECT_EQ(binsOf(40, 0, 68), 2);
  EXPECT_EQ(binsOf(43, 0, 68), 1);
  EXPECT_EQ(binsOf(43, 2, 68), 2);  // as asked for
  EXPECT_EQ(binsOf(3000, 0, 85), 2);
  const PreBinSums values = OnePreBin(50, 50).sums, missing = OnePreBin(72, 28).sums;
  EXPECT_TRUE(MissingCasesDiffer(values, missing));
  EXPECT_FALSE(MissingCasesDiffer(values, missing, std::log(3000 / 20.0)));
}

// A predictor that is known for few cases has a small figure over all cases; a bin of missing cases
// that differ counts even when the values are noise.
TEST(MissingCases, CountInTheValidation) {
  std::mt19937 random(8);
  const Column data = MakeColumn(random, 3000, 1.2);
  const std::vector<double> codes = {0, 1};
  const stats::TreeResponse response = stats::MakeClassResponse(data.y, codes);
  const std::vector<std::uint8_t> folds = StratifiedFolds(response);
  const auto validate = [&](auto isMissing, vlm::MissingBin place) {
    std::vector<double> x = data.x;
    std::vector<std::uint32_t> without;
    for (std::uint32_t i = 0; i < x.size(); ++i) {
      if (!isMissing(i)) continue;
      x[i] = kNone;
      without.push_back(i);
    }
    stats::SortScratch scratch;
    stats::SortedOrder order;
    stats::SortColumn(x, kNone, {}, scratch, order);
    const PreBins pre = MakePreBins(response, x, order, 100, folds);
    const PreBins missing = MakeMissingBin(response, without, folds);
    EXPECT_EQ(missing.sums.cases[0], static_cast<double>(without.size()));
    return CrossValidate(pre, [](const PreBinSums& sums) { return FindOrderedBins(sums, {}).binOf; },
                         {&missing, place});
  };
  const auto atRandom = [](std::uint32_t i) { return i * 2654435761u % 10 < 8; };
  const auto badOnes = [&](std::uint32_t i) { return data.y[i] == 0 && i % 2 == 0; };
  const double whole =
      validate([](std::uint32_t i) { return i == 0; }, vlm::kMissingLeftOut).informationValue;
  const double fifth = validate(atRandom, vlm::kMissingLeftOut).informationValue;
  EXPECT_LT(fifth, 0.35 * whole);
  EXPECT_NEAR(validate(atRandom, vlm::kMissingOwnBin).informationValue, fifth, 0.1 * whole);
  EXPECT_GT(validate(badOnes, vlm::kMissingOwnBin).informationValue,
            validate(badOnes, vlm::kMissingLeftOut).informationValue + 0.3);
}

TEST(PreBins, HoldAboutEqualWeightAndLeaveHeavyValuesAlone) {
  Column data;
  for (int i = 0; i < 6000; ++i) {
    data.x.push_back(i < 2000 ? 0 : i);  // a third of the cases are 0
    data.y.push_back(i % 3 == 0);
  }
  const PreBins pre = Prepare(data, false, false, 50);
  EXPECT_LE(pre.Count(), 50U);
  EXPECT_GE(pre.Count(), 30U);
  EXPECT_EQ(pre.first[0], 0);
  EXPECT_EQ(pre.last[0], 0);
  EXPECT_EQ(pre.sums.cases[0], 2000);
  for (std::size_t bin = 1; bin < pre.Count(); ++bin) {
    EXPECT_LE(pre.sums.cases[bin], 2 * 120) << bin;
    EXPECT_GT(pre.first[bin], pre.last[bin - 1]);
  }
  const PreBins few = Prepare({{3, 1, 2, 1}, {0, 1, 0, 1}, {}}, false, false, 50);
  EXPECT_EQ(few.first, (std::vector<double>{1, 2, 3}));
}

TEST(Folds, SpreadEveryClassEvenly) {
  std::mt19937 random(4);
  const Column data = MakeColumn(random, 1003, 0);
  const PreBins pre = Prepare(data, false);
  ASSERT_EQ(pre.folds.size(), static_cast<std::size_t>(kFoldCount));
  std::set<double> bads;
  double cases = 0;
  for (const PreBinSums& fold : pre.folds) {
    double bad = 0;
    for (std::size_t b = 0; b < fold.Count(); ++b) bad += fold.values[b * 2];
    bads.insert(bad);
    for (const double n : fold.cases) cases += n;
  }
  EXPECT_LE(*bads.rbegin() - *bads.begin(), 1);
  EXPECT_EQ(cases, 1003);
}

TEST(CutBetween, IsShort) {
  struct Row {
    double last, first, cut;
  };
  const double justAbove = std::nextafter(5.1, 6);
  const Row rows[] = {
      {34, 35, 34},
      {1.69, 1.7, 1.69},
      {0.1, 0.9, 0.5},
      {-3, 4, 0},
      {1999, 2001, 2000},
      {3913, 3915, 3914},
      {-0.03, -0.02, -0.03},
      {5.1, justAbove, 5.1},
      {1e-300, 3e-300, 2e-300},
  };
  for (const Row& row : rows) EXPECT_EQ(CutBetween(row.last, row.first), row.cut) << row.last;
}

TEST(IntervalOfFolds, AllowsForSharedTrainingCases) {
  // t = 2.262, (1/10 + 1/9) s^2 with s^2 = 0.1/9.
  const Interval interval = IntervalOfFolds(0.2, {0.1, 0.3, 0.1, 0.3, 0.1, 0.3, 0.1, 0.3, 0.1, 0.3});
  EXPECT_NEAR(interval.lower, 0.0904387, 1e-6);
  EXPECT_NEAR(interval.upper, 0.3095613, 1e-6);
}

}  // namespace
}  // namespace velmora::binning
