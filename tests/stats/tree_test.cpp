// The tree against one that reads every row again at every node, against another program's trees on
// the sample files, and under changes that must not affect it.
#include "workbench/stats/tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <numeric>
#include <set>

#include "base/tolerant.h"
#include "tests/stats/stats_testing.h"

namespace velmora::stats {
namespace {

constexpr double kMissing = 1.7e308;

struct Data {
  std::vector<double> x, y, w;
  int classes = 0;  // 0: y is continuous
};

// Weight x impurity of some rows, straight from the definition.
long double Impurity(const Data& data, const std::vector<std::size_t>& rows) {
  std::map<double, long double> byClass;
  long double weight = 0, sum = 0, squares = 0;
  for (const std::size_t i : rows) {
    byClass[data.y[i]] += data.w[i];
    weight += data.w[i];
    sum += data.w[i] * data.y[i];
  }
  if (data.classes == 0) {
    for (const std::size_t i : rows)
      squares += data.w[i] * (data.y[i] - sum / weight) * (data.y[i] - sum / weight);
    return squares;
  }
  for (const auto& [code, share] : byClass) squares += share * share;
  return weight - squares / weight;
}

void GrowSlowly(const Data& data, const std::vector<std::size_t>& rows, std::size_t least,
                std::vector<double>& cuts) {
  const long double before = Impurity(data, rows);
  std::set<double> distinct;
  for (const std::size_t i : rows) distinct.insert(data.x[i]);
  long double bestGain = 0;
  double best = 0;
  std::vector<std::size_t> bestLeft, bestRight;
  for (auto at = distinct.begin(); std::next(at) != distinct.end(); ++at) {
    std::vector<std::size_t> left, right;
    for (const std::size_t i : rows) (data.x[i] <= *at ? left : right).push_back(i);
    if (left.size() < least || right.size() < least) continue;
    const long double gain = before - Impurity(data, left) - Impurity(data, right);
    if (gain <= bestGain + 1e-11L * before) continue;
    bestGain = gain;
    best = (*at + *std::next(at)) / 2;
    bestLeft = left;
    bestRight = right;
  }
  if (bestLeft.empty()) return;
  cuts.push_back(best);
  GrowSlowly(data, bestLeft, least, cuts);
  GrowSlowly(data, bestRight, least, cuts);
}

TreeResponse ResponseOf(const Data& data, bool weighted) {
  const std::vector<double> weights = weighted ? data.w : std::vector<double>();
  if (data.classes == 0) return MakeContinuousResponse(data.y, kMissing, {}, weights);
  std::vector<double> codes(static_cast<std::size_t>(data.classes));
  std::iota(codes.begin(), codes.end(), 1.0);
  return MakeClassResponse(data.y, codes, {}, weights);
}

Tree Grow(const Data& data, bool weighted, std::int64_t least,
          PredictorKind kind = PredictorKind::kContinuous, PruneRule prune = {}) {
  TreeScratch scratch;
  TreeOptions options;
  options.leastCasesToSplit = least;
  options.leastCasesInChild = least;
  options.prune = prune;
  return GrowTree(ResponseOf(data, weighted), data.x, OrderOf(data.x), kind, options, scratch);
}

Data Generate(std::uint64_t seed, std::size_t count, int classes, int shape) {
  Random random(seed);
  Data data;
  data.classes = classes;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = shape == 0             ? random.Normal()
                     : shape == 1           ? random.Below(25)
                     : random.Below(4) != 0 ? 0.0
                                            : random.Normal();
    const double signal = (x > 0.2 ? 1.0 : 0.0) + (x > 12 ? 1.5 : 0.0) + random.Normal();
    data.x.push_back(x);
    data.y.push_back(classes == 0 ? 100 + signal
                                  : 1 + std::min(classes - 1, std::max(0, static_cast<int>(signal + 1))));
    data.w.push_back(0.25 * (1 + random.Below(12)));
  }
  return data;
}

// The bin of each case, straight from the tree's cut points or levels; -1 for none.
std::vector<int> BinsOf(const Tree& tree, const std::vector<double>& column) {
  const std::vector<double> cuts = tree.CutPoints();
  std::map<double, int> binOf;
  for (std::size_t bin = 0; bin < tree.bins.size() && cuts.size() + 1 != tree.bins.size(); ++bin)
    for (const double level : tree.Levels(tree.bins[bin])) binOf[level] = static_cast<int>(bin);
  std::vector<int> bins;
  for (const double value : column) {
    const auto level = binOf.find(value);
    bins.push_back(binOf.empty()
                       ? static_cast<int>(std::lower_bound(cuts.begin(), cuts.end(), value) - cuts.begin())
                   : level != binOf.end() ? level->second
                                          : -1);
  }
  return bins;
}

TEST(Tree, CutsWhereReadingEveryRowAgainCuts) {
  for (const int classes : {0, 2, 3, 5, 20})
    for (const int shape : {0, 1, 2})
      for (const bool weighted : {false, true})
        for (const std::int64_t least : {1, 7, 40}) {
          SCOPED_TRACE("classes " + std::to_string(classes) + " shape " + std::to_string(shape) +
                       " weighted " + std::to_string(weighted) + " least " + std::to_string(least));
          Data data = Generate(static_cast<std::uint64_t>(classes * 100 + shape), 400, classes, shape);
          if (!weighted) data.w.assign(data.w.size(), 1.0);
          std::vector<std::size_t> rows(data.x.size());
          std::iota(rows.begin(), rows.end(), std::size_t{0});
          std::vector<double> expected;
          GrowSlowly(data, rows, static_cast<std::size_t>(least), expected);
          std::sort(expected.begin(), expected.end());
          const Tree tree = Grow(data, weighted, least);
          const std::vector<double> cuts = tree.CutPoints();
          ASSERT_EQ(cuts.size(), expected.size());
          for (std::size_t i = 0; i < cuts.size(); ++i) EXPECT_DOUBLE_EQ(cuts[i], expected[i]);
          EXPECT_NEAR(tree.Node(1).impurity * tree.Node(1).weight, static_cast<double>(Impurity(data, rows)),
                      1e-9 * static_cast<double>(rows.size()));
        }
}

TEST(Tree, CutsBetweenDecimalsAtTheDecimal) {
  Data data;
  data.classes = 2;
  for (int i = 0; i < 2000; ++i) {
    data.x.push_back(std::stod(std::to_string(i / 1000.0)));  // 0.000 to 1.999
    data.y.push_back(1 + i % 2);
    data.w.push_back(1);
  }
  const Tree tree = Grow(data, false, 1);
  const std::vector<double> cuts = tree.CutPoints();
  ASSERT_EQ(cuts.size(), 1999U);
  for (std::size_t i = 0; i < cuts.size(); ++i) {
    const std::string halves =
        std::to_string(i / 1000) + "." + std::to_string(10000 + i % 1000 * 10 + 5).substr(1);
    EXPECT_EQ(cuts[i], std::stod(halves));
  }
}

// Frozen from scikit-learn 1.2.1 with min_samples_leaf as given; its constants are rounded to 32
// bits.
TEST(Tree, AgreesWithAnotherProgramOnTheSampleFiles) {
  struct Row {
    const char *file, *response, *predictor;
    int classes, least;
    std::vector<double> cuts;
  };
  const Row rows[] = {
      {"german_credit.csv",
       "risk",
       "duration_months",
       2,
       50,
       {8.5, 11.5, 12.5, 15.5, 19.0, 26.5, 34.5, 43.5}},
      {"german_credit.csv",
       "risk",
       "amount",
       2,
       50,
       {718.0, 954.5, 1186.5, 1373.0, 1535.5, 1806.0, 1991.0, 2395.5, 2723.0, 3030.0, 3446.5, 3913.5, 5024.0,
        6322.5, 7839.5}},
      {"german_credit.csv",
       "risk",
       "age",
       2,
       50,
       {23.5, 25.5, 26.5, 27.5, 29.5, 32.5, 34.5, 36.5, 38.5, 41.5, 44.5, 47.5, 52.5}},
      {"house_prices.csv",
       "price",
       "lotsize",
       0,
       27,
       {2535.0, 3050.0, 3277.0, 3555.0, 3649.5, 3995.0, 4097.5, 4515.0, 4910.0, 5497.5, 5954.0, 6010.0,
        6607.5, 7380.0, 8980.0}},
      {"vehicle.csv", "class", "length_aspect", 4, 42, {5.5, 6.5, 7.5, 8.5, 9.5, 10.5, 11.5}},
      {"vehicle.csv",
       "class",
       "variance_minor",
       4,
       42,
       {231.0, 258.5, 279.5, 305.5, 319.5, 329.5, 344.5, 363.5, 381.5, 465.5, 581.0, 636.5, 673.5, 703.5,
        728.5}},
      {"vehicle.csv",
       "class",
       "hollows_ratio",
       4,
       42,
       {184.5, 186.5, 189.5, 191.5, 194.5, 195.5, 196.5, 197.5, 198.5, 199.5, 201.5, 203.5, 206.5}},
  };
  const std::map<std::string, double> firstCuts{{"duration_months", 34.5},
                                                {"amount", 3913.5},
                                                {"age", 25.5},
                                                {"lotsize", 5954.0},
                                                {"variance_minor", 381.5}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.predictor);
    Data data;
    data.x = SampleColumn(row.file, row.predictor);
    data.y = SampleColumn(row.file, row.response);
    data.classes = row.classes;
    if (row.classes != 0)
      for (double& y : data.y) y += 1;
    const Tree tree = Grow(data, false, row.least);
    EXPECT_EQ(tree.CutPoints(), row.cuts);
    if (firstCuts.count(row.predictor) != 0) {
      EXPECT_EQ(tree.Node(1).splitConstant, firstCuts.at(row.predictor));
    }
    if (row.classes == 0) {
      EXPECT_NEAR(tree.Node(1).variance, 711726713.9951553, 1e-3);
    }
  }
}

TEST(Tree, IsNumberedLevelByLevelAndEveryNodeAddsUp) {
  for (const int classes : {0, 2, 5}) {
    const Data data = Generate(11, 3000, classes, 0);
    const Tree tree = Grow(data, true, 60);
    ASSERT_GT(tree.nodes.size(), 6u);
    EXPECT_EQ(tree.bins.size(), tree.CutPoints().size() + 1);
    int next = 2;
    for (int number = 1; number <= static_cast<int>(tree.nodes.size()); ++number) {
      const TreeNode& node = tree.Node(number);
      EXPECT_EQ(node.left == 0, node.bin >= 0);
      if (node.left == 0) continue;
      EXPECT_EQ(node.left, next++);
      EXPECT_EQ(node.right, next++);
      const TreeNode &left = tree.Node(node.left), &right = tree.Node(node.right);
      EXPECT_EQ(left.parent, number);
      EXPECT_EQ(left.cases + right.cases, node.cases);
      EXPECT_NEAR(left.weight + right.weight, node.weight, 1e-9);
      EXPECT_GT(node.improvement, 0);
      EXPECT_GE(std::min(left.cases, right.cases), 60);
    }
    // The terminal nodes, found by binning the rows themselves.
    const std::vector<int> bins = BinsOf(tree, data.x);
    for (std::size_t b = 0; b < tree.bins.size(); ++b) {
      const TreeNode& node = tree.Node(tree.bins[b]);
      std::vector<std::size_t> rows;
      for (std::size_t i = 0; i < bins.size(); ++i)
        if (bins[i] == static_cast<int>(b)) rows.push_back(i);
      EXPECT_EQ(static_cast<std::int64_t>(rows.size()), node.cases);
      EXPECT_NEAR(static_cast<double>(Impurity(data, rows)), node.impurity * node.weight, 1e-9 * node.weight);
    }
  }
}

TEST(Tree, IsNotChangedByTheOrderOfCasesTheUnitOfWeightOrTheScaleOfThePredictor) {
  for (const int classes : {0, 2, 4}) {
    const Data data = Generate(23, 1500, classes, 0);
    const Tree tree = Grow(data, true, 50);
    Data reversed = data;
    std::reverse(reversed.x.begin(), reversed.x.end());
    std::reverse(reversed.y.begin(), reversed.y.end());
    std::reverse(reversed.w.begin(), reversed.w.end());
    EXPECT_EQ(Grow(reversed, true, 50).CutPoints(), tree.CutPoints());
    Data heavier = data;
    for (double& w : heavier.w) w *= 3;
    EXPECT_EQ(Grow(heavier, true, 50).CutPoints(), tree.CutPoints());
    Data cubed = data;
    for (double& x : cubed.x) x = x * x * x;
    EXPECT_EQ(BinsOf(Grow(cubed, true, 50), cubed.x), BinsOf(tree, data.x));
    // A weight of 1 is no weight; a weight of 2 is a row twice.
    Data plain = data, twice = data;
    plain.w.assign(data.w.size(), 1.0);
    EXPECT_EQ(Grow(plain, true, 50).CutPoints(), Grow(plain, false, 50).CutPoints());
    for (std::size_t i = 0; i < data.x.size(); ++i) {
      twice.x.push_back(data.x[i]);
      twice.y.push_back(data.y[i]);
    }
    EXPECT_EQ(Grow(twice, false, 100).CutPoints(), Grow(plain, false, 50).CutPoints());
  }
}

TEST(Tree, SplitsNothingWhereNothingCanBeGained) {
  struct Row {
    const char* name;
    Data data;
  };
  const Row rows[] = {
      {"one predictor value", {{3, 3, 3, 3}, {1, 2, 1, 2}, {}, 2}},
      {"one class", {{1, 2, 3, 4}, {1, 1, 1, 1}, {}, 2}},
      {"one mean", {{1, 2, 3, 4}, {0.1, 0.1, 0.1, 0.1}, {}, 0}},
      {"equal rates", {{1, 1, 2, 2}, {1, 2, 1, 2}, {}, 2}},
      {"no case with a predictor", {{kMissing, kMissing}, {1, 2}, {}, 2}},
      {"no case with a response", {{1, 2}, {7, 8}, {}, 2}},
      {"nothing at all", {{}, {}, {}, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_LE(Grow(row.data, false, 1).nodes.size(), 1u);
  }
  EXPECT_TRUE(Grow(rows[4].data, false, 1).nodes.empty());
}

TEST(Tree, KeepsConstantsBelowTheUpperValue) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct Row {
    double lower, upper, constant;
  };
  for (const Row& row : {Row{1, 4, 2.5},
                         {5, infinity, 5},
                         {-infinity, infinity, -infinity},
                         {-1.6e308, 1.6e308, 0},
                         {1.2e308, 1.6e308, 1.4e308}}) {
    const Tree tree = Grow({{row.lower, row.upper}, {1, 2}, {}, 2}, false, 1);
    ASSERT_EQ(tree.nodes.size(), 3u);
    EXPECT_DOUBLE_EQ(tree.Node(1).splitConstant, row.constant);
  }
}

double UnitsAbove(double value, int units) {
  for (int i = 0; i < units; ++i) value = std::nextafter(value, std::numeric_limits<double>::infinity());
  return value;
}

// Comparing with the tolerance, with the cut point itself or with its 16 printed digits, gives the
// bins of the tree.
TEST(Tree, CutsOnlyWhereTheToleranceTellsValuesApart) {
  for (const double base : {0.3, 1.0, -1.0, 1e15, 9007199254740991.0, 0.1 * 7, 1e-300}) {
    for (const int units : {1, 15, 16, 17, 18, 19, 25, 31, 32, 33, 40, 1000}) {
      SCOPED_TRACE(std::to_string(base) + " and " + std::to_string(units) + " units above");
      const double above = UnitsAbove(base, units);
      const Tree tree = Grow({{base, above}, {1, 2}, {}, 2}, false, 1);
      if (units <= 15) {
        EXPECT_EQ(tree.nodes.size(), 1u);
        continue;
      }
      ASSERT_EQ(tree.nodes.size(), 3u);
      char printed[40];
      std::snprintf(printed, sizeof printed, "%.15e", tree.Node(1).splitConstant);
      for (const double cut : {tree.Node(1).splitConstant, std::strtod(printed, nullptr)}) {
        EXPECT_FALSE(vlm::GreaterBeyondTolerance(base, cut));
        EXPECT_TRUE(vlm::GreaterBeyondTolerance(above, cut));
      }
    }
  }
  // A value within the tolerance of its predecessor is the same value, however far the run reaches.
  Data run;
  run.classes = 2;
  for (int i = 0; i < 6; ++i) {
    run.x.push_back(UnitsAbove(0.3, 9 * i));
    run.y.push_back(i < 3 ? 1 : 2);
  }
  EXPECT_EQ(Grow(run, false, 1).nodes.size(), 1u);
  run.x.push_back(0.4);
  run.y.push_back(1);
  EXPECT_EQ(Grow(run, false, 1).bins.size(), 2u);
  EXPECT_EQ(Grow(run, false, 1, PredictorKind::kCategorical).Levels(1), (std::vector<double>{0.3, 0.4}));
}

// A class that a node does not hold weighs 0 there, however uneven the weights of the other cases
// are.
TEST(Tree, PureNodesAreNotSplitWhateverTheWeights) {
  Random random(41);
  for (int run = 0; run < 40; ++run) {
    Data data;
    data.classes = 3;
    for (int i = 0; i < 300; ++i) {
      data.x.push_back(random.Uniform());
      data.y.push_back(data.x.back() < 0.3 ? 1 : data.x.back() < 0.6 ? 2 : 3);
      data.w.push_back(std::pow(10, 8 * random.Uniform() - 4));
    }
    EXPECT_EQ(Grow(data, true, 1).bins.size(), 3u);
  }
}

// Equal means compare equal wherever their cases are in the order: the code decides.
TEST(Tree, LevelsOfEqualMeansStayInTheOrderOfTheirCodes) {
  Random random(43);
  for (int run = 0; run < 20; ++run) {
    std::vector<double> high(5);
    for (double& y : high) y = 100 * random.Normal();
    Data data;
    for (int level = 0; level < 12; ++level) {
      for (const double y : high) {  // four of the levels have the same values, in another order
        data.x.push_back(level);
        data.y.push_back(level % 3 == 1 ? y : 1000 * (level + random.Uniform()));
      }
      std::rotate(high.begin(), high.begin() + 1, high.end());
    }
    const Tree tree = Grow(data, false, 5, PredictorKind::kCategorical);
    std::vector<double> order;
    for (const int bin : tree.bins)
      for (const double level : tree.Levels(bin))
        if (std::fmod(level, 3) == 1) order.push_back(level);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
}

TEST(Tree, HoldsResponsesOfExtremeSize) {
  Data data = Generate(5, 500, 0, 0);
  const Tree tree = Grow(data, false, 25);
  for (const double scale : {0x1p-700, 0x1p900}) {
    Data scaled = data;
    for (double& y : scaled.y) y *= scale;
    const Tree other = Grow(scaled, false, 25);
    EXPECT_EQ(other.CutPoints(), tree.CutPoints());
    EXPECT_NEAR(other.Node(1).mean / scale, tree.Node(1).mean, 1e-9);
  }
  for (double& y : data.y) y += 1e9;  // far from zero: the centre takes it away
  EXPECT_EQ(Grow(data, false, 25).CutPoints().size(), tree.CutPoints().size());
}

// Every grouping of the levels of a node, by brute force.
double BestGroupingGain(const Data& data, std::size_t least) {
  std::set<double> distinct(data.x.begin(), data.x.end());
  const std::vector<double> levels(distinct.begin(), distinct.end());
  std::vector<std::size_t> all(data.x.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  long double best = 0;
  for (unsigned mask = 1; mask < 1u << (levels.size() - 1); ++mask) {
    std::vector<std::size_t> left, right;
    for (const std::size_t i : all) {
      const auto level =
          static_cast<unsigned>(std::lower_bound(levels.begin(), levels.end(), data.x[i]) - levels.begin());
      ((mask >> level & 1) != 0 ? left : right).push_back(i);
    }
    if (std::min(left.size(), right.size()) >= least)
      best = std::max(best, Impurity(data, all) - Impurity(data, left) - Impurity(data, right));
  }
  return static_cast<double>(best);
}

TEST(Tree, FindsTheBestGroupingOfLevels) {
  for (const int classes : {0, 2, 3, 5})
    for (const int levels : {2, 7, 9}) {
      SCOPED_TRACE("classes " + std::to_string(classes) + " levels " + std::to_string(levels));
      Random random(static_cast<std::uint64_t>(levels));
      Data data = Generate(17, 500, classes, 1);
      for (double& x : data.x) x = 10 * (static_cast<int>(x) % levels);
      const Tree tree = Grow(data, true, 30, PredictorKind::kCategorical);
      ASSERT_GE(tree.nodes.size(), 3u);
      // The least number of cases binds no grouping in order of means here, so that the brute force
      // agrees.
      const bool bound = classes > 2 || levels == 2;
      const std::int64_t least = bound ? 30 : 1;
      EXPECT_NEAR(Grow(data, true, least, PredictorKind::kCategorical).Node(1).improvement,
                  BestGroupingGain(data, static_cast<std::size_t>(least)), 1e-8);
      EXPECT_EQ(tree.Levels(1).size(), static_cast<std::size_t>(levels));
      std::vector<double> both = tree.Levels(2);
      const std::vector<double> right = tree.Levels(3);
      both.insert(both.end(), right.begin(), right.end());
      std::sort(both.begin(), both.end());
      EXPECT_EQ(both, tree.Levels(1));
    }
}

TEST(Tree, SearchOverManyLevelsFindsGroupsThatAreThere) {
  // 40 levels of two kinds that differ in three classes.
  Random random(4);
  Data data;
  data.classes = 3;
  for (int i = 0; i < 8000; ++i) {
    const int level = random.Below(40);
    const double u = random.Uniform();
    data.x.push_back(level);
    data.y.push_back(level % 3 == 0 ? (u < 0.6 ? 1 : u < 0.8 ? 2 : 3) : (u < 0.2 ? 1 : u < 0.5 ? 2 : 3));
  }
  const Tree tree = Grow(data, false, 400, PredictorKind::kCategorical);
  std::set<double> left;
  for (const double level : tree.Levels(2)) left.insert(std::fmod(level, 3) == 0 ? 1 : 0);
  EXPECT_EQ(left.size(), 1u);
  EXPECT_EQ(tree.Levels(2).size() + tree.Levels(3).size(), 40u);
}

TEST(Tree, TakesTheUsersCutPointsAsTheyAre) {
  const Data data{{20, 25, 30, 35, 60, 60, kMissing}, {1, 2, 1, 2, 2, 1, 1}, {}, 2};
  const TreeResponse response = ResponseOf(data, false);
  TreeScratch scratch;
  std::vector<DroppedCut> dropped;
  const Tree tree = TreeFromCutPoints(response, data.x, OrderOf(data.x),
                                      std::vector<double>{40, 25, 50, 10, 60, 25, NAN}, scratch, dropped);
  EXPECT_EQ(tree.CutPoints(), (std::vector<double>{25, 40}));
  EXPECT_EQ(tree.Node(1).splitConstant, 25);
  ASSERT_EQ(tree.bins.size(), 3u);
  EXPECT_EQ(tree.Node(tree.bins[0]).cases, 2);
  EXPECT_EQ(tree.Node(tree.bins[2]).cases, 2);
  EXPECT_EQ(tree.ClassWeights(tree.bins[1])[0], 1);
  std::vector<std::string> reasons;
  for (const DroppedCut& cut : dropped) reasons.push_back(std::to_string(cut.value) + " " + cut.reason);
  EXPECT_EQ(reasons, (std::vector<std::string>{
                         "nan is not a number", "10.000000 lies below the data", "25.000000 is given twice",
                         "50.000000 leaves no case between it and the cut point before it",
                         "60.000000 lies at or above the largest value of the data"}));
}

TEST(Tree, TakesTheUsersGroupsOfLevelsAsTheyAre) {
  const Data data{{1, 2, 3, 4, 4, 5, 1}, {1, 2, 1, 2, 2, 1, 9}, {}, 2};
  TreeScratch scratch;
  std::vector<DroppedCut> dropped;
  const std::vector<std::vector<double>> groups{{4, 1}, {77}, {3, 4}};
  const Tree tree =
      TreeFromGroups(ResponseOf(data, false), data.x, OrderOf(data.x), groups, scratch, dropped);
  ASSERT_EQ(tree.bins.size(), 3u);
  EXPECT_EQ(tree.Levels(tree.bins[0]), (std::vector<double>{1, 4}));
  EXPECT_EQ(tree.Levels(tree.bins[1]), (std::vector<double>{3}));
  EXPECT_EQ(tree.Levels(tree.bins[2]), (std::vector<double>{2, 5}));
  EXPECT_EQ(tree.Node(tree.bins[0]).cases, 3);
  ASSERT_EQ(dropped.size(), 3u);  // 77, group 2, 4 again
  EXPECT_EQ(dropped[1].value, 2);
  EXPECT_TRUE(dropped[1].isGroup);
  EXPECT_FALSE(dropped[0].isGroup || dropped[2].isGroup);
}

// Share of the impurity that the bins explain; for two classes small information values are
// proportional to it.
double Explained(const Tree& tree) {
  double within = 0;
  for (const int bin : tree.bins) within += tree.Node(bin).weight * tree.Node(bin).impurity;
  return 1 - within / (tree.Node(1).weight * tree.Node(1).impurity);
}

TEST(Prune, LeavesOfNoiseTheFirstSplit) {
  struct Row {
    const char* name;
    int cases, least, classes;
    double badRate;
  };
  for (const Row& row : {Row{"15 % bad", 20000, 1000, 2, 0.15},
                         {"1 % bad", 20000, 1000, 2, 0.01},
                         {"few cases", 600, 30, 2, 0.3},
                         {"single cases", 600, 1, 2, 0.15},
                         {"many bins", 5000, 50, 2, 0.15},
                         {"continuous", 5000, 250, 0, 0},
                         {"continuous, single cases", 600, 1, 0, 0},
                         {"four classes", 5000, 250, 4, 0}}) {
    SCOPED_TRACE(row.name);
    Random random(31);
    std::vector<double> ratios;
    int cutToPieces = 0;
    for (int k = 0; k < 41; ++k) {
      Data data;
      data.classes = row.classes;
      for (int i = 0; i < row.cases; ++i) {
        data.x.push_back(random.Uniform());
        data.y.push_back(row.classes == 0   ? random.Normal()
                         : row.classes == 2 ? 1 + (random.Uniform() < row.badRate)
                                            : 1 + random.Below(4));
      }
      const Tree grown = Grow(data, false, row.least);
      const Tree pruned = Grow(data, false, row.least, PredictorKind::kContinuous, {true});
      ASSERT_GE(pruned.bins.size(), 2u);
      EXPECT_EQ(pruned.Node(1).splitConstant, grown.Node(1).splitConstant);
      ratios.push_back(Explained(grown) / Explained(pruned));
      cutToPieces += pruned.bins.size() > 2 ? 1 : 0;
    }
    std::sort(ratios.begin(), ratios.end());
    EXPECT_GT(ratios[20], 5);
    EXPECT_LE(cutToPieces, 5);
  }
}

TEST(Prune, UnevenWeightsAreFewerCases) {
  for (const int classes : {2, 0, 3})
    for (const double sigma : {0.0, 1.0, 1.5})
      for (const PredictorKind kind : {PredictorKind::kContinuous, PredictorKind::kCategorical}) {
        SCOPED_TRACE("classes " + std::to_string(classes) + " sigma " + std::to_string(sigma));
        Random random(17);
        int cutToPieces = 0;
        for (int k = 0; k < 20; ++k) {
          Data data;
          data.classes = classes;
          for (int i = 0; i < 5000; ++i) {
            data.x.push_back(kind == PredictorKind::kContinuous ? random.Uniform() : random.Below(20));
            data.y.push_back(classes == 0 ? random.Normal() : 1 + random.Below(classes));
            data.w.push_back(std::exp(sigma * random.Normal()));
          }
          const Tree pruned = Grow(data, true, 250, kind, {true});
          cutToPieces += pruned.bins.size() > 2 ? 1 : 0;
          for (double& w : data.w) w *= 0x1p-20;
          EXPECT_EQ(Grow(data, true, 250, kind, {true}).bins.size(), pruned.bins.size());
        }
        EXPECT_LE(cutToPieces, 3);
      }
}

TEST(Prune, LosesLittleWhereThereIsStructure) {
  struct Row {
    const char *file, *response, *predictor;
    int classes, least;
  };
  for (const Row& row : {Row{"german_credit.csv", "risk", "duration_months", 2, 50},
                         {"german_credit.csv", "risk", "amount", 2, 50},
                         {"german_credit.csv", "risk", "age", 2, 50},
                         {"house_prices.csv", "price", "lotsize", 0, 27},
                         {"vehicle.csv", "class", "variance_minor", 4, 42},
                         {"vehicle.csv", "class", "compactness", 4, 42}}) {
    SCOPED_TRACE(row.predictor);
    Data data;
    data.x = SampleColumn(row.file, row.predictor);
    data.y = SampleColumn(row.file, row.response);
    data.classes = row.classes;
    if (row.classes != 0)
      for (double& y : data.y) y += 1;
    const Tree grown = Grow(data, false, row.least);
    const Tree pruned = Grow(data, false, row.least, PredictorKind::kContinuous, {true});
    EXPECT_LT(pruned.bins.size(), grown.bins.size());
    EXPECT_GE(Explained(pruned), 0.99 * Explained(grown));
    EXPECT_LT(Grow(data, false, row.least, PredictorKind::kContinuous, {true, 1.0}).bins.size(),
              pruned.bins.size());
  }
  // Two steps in much noise: the bins between them go, the steps stay.
  Random random(8);
  Data steps;
  steps.classes = 2;
  for (int i = 0; i < 50000; ++i) {
    steps.x.push_back(random.Uniform());
    steps.y.push_back(1 + (random.Uniform() < (steps.x.back() < 0.3   ? 0.05
                                               : steps.x.back() < 0.7 ? 0.15
                                                                      : 0.4)));
  }
  const Tree pruned = Grow(steps, false, 2500, PredictorKind::kContinuous, {true});
  ASSERT_EQ(pruned.bins.size(), 3u);
  EXPECT_NEAR(pruned.CutPoints()[0], 0.3, 0.01);
  EXPECT_NEAR(pruned.CutPoints()[1], 0.7, 0.01);
}

}  // namespace
}  // namespace velmora::stats
