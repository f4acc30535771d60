// Effects, tests and adjusted p-values against R (chisq.test, oneway.test, p.adjust, the survey
// package), SciPy and direct computation.
#include "workbench/stats/association.h"
#include "workbench/stats/group_moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "tests/stats/stats_testing.h"
#include "workbench/stats/adjusted_p.h"
#include "workbench/stats/cluster_covariance.h"
#include "workbench/stats/distributions.h"
#include "workbench/stats/exact_tests.h"
#include "workbench/stats/noncentral.h"

namespace velmora::stats {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Sums of cases of a level and a class, or of a level and a value, with weights.
CellSums CellsOf(const std::vector<double>& level, const std::vector<double>& outcome,
                 const std::vector<double>& weights) {
  const auto count = [](const std::vector<double>& codes) {
    return static_cast<std::size_t>(*std::max_element(codes.begin(), codes.end())) + 1;
  };
  CellSums sums(count(level), count(outcome));
  if (!weights.empty()) sums.squaredWeights.resize(sums.weights.size());
  for (std::size_t i = 0; i < level.size(); ++i) {
    const auto cell =
        static_cast<std::size_t>(level[i]) * sums.columns + static_cast<std::size_t>(outcome[i]);
    const double weight = weights.empty() ? 1 : weights[i];
    sums.weights[cell] += weight;
    if (!weights.empty()) sums.squaredWeights[cell] += weight * weight;
  }
  sums.cases = static_cast<double>(level.size());
  return sums;
}

GroupSums GroupsOf(const std::vector<double>& level, const std::vector<double>& outcome,
                   const std::vector<double>& weights) {
  GroupSums sums(static_cast<std::size_t>(*std::max_element(level.begin(), level.end())) + 1);
  const auto weightOf = [&](std::size_t i) { return weights.empty() ? 1 : weights[i]; };
  for (std::size_t i = 0; i < level.size(); ++i) {
    sums.weights[static_cast<std::size_t>(level[i])] += weightOf(i);
    sums.means[static_cast<std::size_t>(level[i])] += weightOf(i) * outcome[i];
  }
  for (std::size_t g = 0; g < sums.weights.size(); ++g) sums.means[g] /= sums.weights[g];
  if (!weights.empty()) {
    sums.squaredWeights.resize(sums.weights.size());
    sums.squaredWeightsSquares.resize(sums.weights.size());
  }
  for (std::size_t i = 0; i < level.size(); ++i) {
    const auto g = static_cast<std::size_t>(level[i]);
    const double square = std::pow(outcome[i] - sums.means[g], 2);
    sums.sumsOfSquares[g] += weightOf(i) * square;
    if (weights.empty()) continue;
    sums.squaredWeights[g] += weights[i] * weights[i];
    sums.squaredWeightsSquares[g] += weights[i] * weights[i] * square;
  }
  sums.cases = static_cast<double>(level.size());
  return sums;
}

std::vector<double> Schools(const char* name) { return SampleColumn("schools.csv", name); }

std::vector<double> Times(std::vector<double> values, double factor) {
  for (double& value : values) value *= factor;
  return values;
}

// svydesign(ids = ~1, weights = ~weight); svychisq(statistic = "F"); svyglm and regTermTest.
TEST(Association, WeightedTestsAreThoseOfTheSurveyPackage) {
  struct Row {
    const char *predictor, *outcome;
    double statistic, df1, df2, p;
  };
  const Row tables[] = {
      {"school_type", "awards", 13.6839437122, 1.8930070212, 376.708397219, 3.06113218882e-06},
      {"school_wide_met", "awards", 74.3785745675, 1, 199, 2.02693644268e-15},
      {"comparable_met", "awards", 146.208837789, 1, 199, 1.35631448905e-25},
      {"year_round", "awards", 2.91615932773, 1, 199, 0.0892558779857},
  };
  const Row means[] = {
      {"school_type", "api2000", 3.48298368285, 2, 197, 0.0326203706818},
      {"awards", "api2000", 5.15047084561, 1, 198, 0.0243177567055},
      {"comparable_met", "api2000", 4.19834060004, 1, 198, 0.0417825674348},
  };
  for (const double unit : {1.0, 1e-6, 1e6}) {
    const std::vector<double> weights = Times(Schools("weight"), unit);
    const auto check = [&](const Row& row, const Association& found) {
      SCOPED_TRACE(std::string(row.predictor) + " " + std::to_string(unit));
      EXPECT_NEAR(found.testStatistic / row.statistic, 1, 1e-11);
      EXPECT_NEAR(found.testDf1 / row.df1, 1, 1e-9);
      EXPECT_NEAR(found.testDf2 / row.df2, 1, 1e-9);
      EXPECT_NEAR(std::exp(found.logP) / row.p, 1, 1e-9);
    };
    for (const Row& row : tables)
      check(row, TableAssociation(CellsOf(Schools(row.predictor), Schools(row.outcome), weights)));
    for (const Row& row : means)
      check(row, MeanAssociation(GroupsOf(Schools(row.predictor), Schools(row.outcome), weights)));
  }
}

TEST(Association, AnOutcomeThatVariesLessThanItIsRoundedIsConstant) {
  GroupSums sums(3);
  sums.weights = {300, 1000, 1700};
  sums.means = {0.3, 0.3 + 4e-16, 0.3};
  EXPECT_TRUE(MeanAssociation(sums).computable);
  sums.rounding = 1e-15;
  EXPECT_FALSE(MeanAssociation(sums).computable);
  sums.sumsOfSquares[2] = 1e-26;
  EXPECT_TRUE(MeanAssociation(sums).computable);
}

// Values that are nearly the same everywhere, and those of a group exactly; the first case of a group
// is one of its extremes.
TEST(GroupMoments, AreThoseOfTheSpreadHoweverFarTheValues) {
  constexpr std::size_t kCases = 3000;
  for (const double origin : {0.0, 1.0, 1e9, -1e13}) {
    for (const bool isWeighted : {false, true}) {
      const auto massOf = [&](std::size_t i) {
        CaseMass mass;
        if (isWeighted)
          mass.weight = 0.5 + static_cast<double>(i % 7), mass.squares = mass.weight * mass.weight;
        return mass;
      };
      const auto valueOf = [](std::size_t i) { return i % 3 == 2 ? 7.0 : static_cast<double>(i * i % 1009); };
      const auto forEach = [&](auto visit) {
        for (std::size_t i = 0; i < kCases; ++i) visit(i % 3, origin + valueOf(i), massOf(i));
      };
      const std::vector<GroupMoments> groups =
          isWeighted ? CollectMoments<true>(3, origin, forEach) : CollectMoments<false>(3, origin, forEach);
      EXPECT_EQ(groups[2].mean, 7);
      EXPECT_EQ(groups[2].deviations, 0);
      for (const std::size_t g : {0U, 1U}) {
        long double weight = 0, mean = 0, deviations = 0;
        for (std::size_t i = g; i < kCases; i += 3) {
          weight += massOf(i).weight;
          mean += massOf(i).weight * valueOf(i);
        }
        mean /= weight;
        for (std::size_t i = g; i < kCases; i += 3)
          deviations += massOf(i).weight * (valueOf(i) - mean) * (valueOf(i) - mean);
        EXPECT_NEAR(groups[g].mean / static_cast<double>(mean), 1, 1e-14) << origin;
        EXPECT_NEAR(groups[g].deviations / static_cast<double>(deviations), 1, 1e-13) << origin;
      }
    }
  }
}

// schools.csv as a sample of counties within types of school, of schools within types, of counties:
// svydesign(nest = TRUE), svychisq and regTermTest.
TEST(Association, ClusteredTestsAreThoseOfTheSurveyPackage) {
  const std::vector<double> type = Schools("school_type"), county = Schools("county"),
                            weights = Schools("weight"), met = Schools("school_wide_met"),
                            awards = Schools("awards"), api = Schools("api2000"),
                            yearRound = Schools("year_round");
  const auto designOf = [&](bool byType, bool byCounty) {
    SurveyDesign design;
    std::map<std::pair<double, double>, std::vector<std::uint32_t>> clusters;
    for (std::uint32_t i = 0; i < type.size(); ++i)
      clusters[{byType ? type[i] : 0, byCounty ? county[i] : i}].push_back(i);
    double last = -1;
    for (const auto& [key, cases] : clusters) {
      if (key.first != last) design.strata.push_back({design.clusters.size(), 0});
      last = key.first;
      design.clusters.push_back({design.cases.size(), design.cases.size() + cases.size()});
      design.cases.insert(design.cases.end(), cases.begin(), cases.end());
      design.strata.back().end = design.clusters.size();
    }
    design.degreesOfFreedom = static_cast<double>(design.clusters.size() - design.strata.size());
    return design;
  };
  struct Row {
    bool byType, byCounty;
    double tableF, tableDf, tableP, typeF, typeDf1, typeP, meanF, meanP, typeMeanF, typeMeanP;
  };
  const Row rows[] = {
      {true, true, 66.01993891487, 75, 6.892070353994e-12, 8.146521845399, 1.882091169207, 0.0005896798224357,
       7.764430503445, 0.006765440248812, 2.226359419186, 0.1151982896164},
      {true, false, 74.95430250158, 197, 1.719964816865e-15, 6.213549603406, 1.946209234832,
       0.002428080829123, 5.162367560093, 0.02416711259508, 3.44910790381, 0.03372544620436},
      {false, true, 93.32778946799, 39, 6.740372318951e-12, 8.189048031343, 1.296589301602, 0.003261308776324,
       11.48268213641, 0.001648166231232, 4.251563795353, 0.02177553340483},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.byType) + std::to_string(row.byCounty));
    const SurveyDesign design = designOf(row.byType, row.byCounty);
    const auto tested = [&](auto sums, auto contribute, std::vector<double> offset) {
      sums.design.isClustered = true;
      sums.design.degreesOfFreedom = design.degreesOfFreedom;
      sums.design.matrix = ClusterCovariance(design, sums.weights.size(), contribute, offset);
      if constexpr (std::is_same_v<decltype(sums), CellSums>) {
        return TableAssociation(sums);
      } else {
        return MeanAssociation(sums);
      }
    };
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    const auto table = [&](const std::vector<double>& a, const std::vector<double>& b) {
      const CellSums sums = CellsOf(a, b, weights);
      return tested(
          sums,
          [&](std::uint32_t i, auto add) {
            add(static_cast<std::size_t>(a[i]) * sums.columns + static_cast<std::size_t>(b[i]),
                weights[i] / total);
          },
          Times(sums.weights, 1 / total));
    };
    const auto mean = [&](const std::vector<double>& a) {
      const GroupSums sums = GroupsOf(a, api, weights);
      return tested(sums,
                    [&](std::uint32_t i, auto add) {
                      const auto g = static_cast<std::size_t>(a[i]);
                      add(g, weights[i] * (api[i] - sums.means[g]) / sums.weights[g]);
                    },
                    {});
    };
    const auto check = [](const Association& found, double statistic, double p) {
      EXPECT_NEAR(found.testStatistic / statistic, 1, 1e-9);
      EXPECT_NEAR(std::exp(found.logP) / p, 1, 1e-8);
    };
    const Association one = table(met, awards);
    check(one, row.tableF, row.tableP);
    EXPECT_NEAR(one.testDf2, row.tableDf, 1e-9);
    const Association other = table(type, yearRound);
    check(other, row.typeF, row.typeP);
    EXPECT_NEAR(other.testDf1, row.typeDf1, 1e-8);
    check(mean(awards), row.meanF, row.meanP);
    check(mean(type), row.typeMeanF, row.typeMeanP);
  }
}

// R: fisher.test, and chisq.test with 2,000,000 simulated tables.
TEST(ExactTests, AgreeWithR) {
  EXPECT_NEAR(FisherP(3, 2, 1, 9), 0.0769230769231, 1e-12);
  EXPECT_NEAR(FisherP(10, 3, 2, 15), 0.000536724119143, 1e-14);
  EXPECT_NEAR(FisherP(300, 180, 250, 240), 0.000360680664613, 1e-14);
  const std::vector<double> table = {3, 5, 5, 1, 9, 3, 4, 2, 5, 1, 6, 8};
  EXPECT_NEAR(MonteCarloP(table, 4, 3, 200000, 5), 0.139429930285, 0.003);
  EXPECT_EQ(MonteCarloP(table, 4, 3, 999, 5), MonteCarloP(table, 4, 3, 999, 5));
  // A 2 x 2 table: the Monte Carlo test is Fisher's but for the tie rule.
  const std::vector<double> two = {10, 3, 2, 15};
  EXPECT_NEAR(MonteCarloP(two, 2, 2, 200000, 1), 0.000536724119143, 2e-4);
}

// With equal weights linearisation asks whether groups differ in variance, too; the sums of large
// tables are then those of a simple random sample.
TEST(Association, EqualWeightsHaveNoDesignEffect) {
  Random random(7);
  for (const int levels : {3, 40, 300}) {
    std::vector<double> level, outcome;
    for (int i = 0; i < 20000; ++i) {
      level.push_back(i % levels);
      outcome.push_back(random.Below(3));
    }
    const std::vector<double> weights(level.size(), 2.5);
    const Association plain = TableAssociation(CellsOf(level, outcome, {}));
    const Association weighted = TableAssociation(CellsOf(level, outcome, weights));
    EXPECT_NEAR(weighted.designEffect, 1, levels == 300 ? 0.02 : 1e-9) << levels;
    EXPECT_NEAR(weighted.effect, plain.effect, 0.005) << levels;
    EXPECT_NEAR(std::exp(weighted.logP), std::exp(plain.logP), 0.03) << levels;
    EXPECT_NEAR(MeanAssociation(GroupsOf(level, outcome, weights)).designEffect, 1, 1e-9) << levels;
  }
}

// A direct simulation of the null distribution: with unequal weights, p is uniform, and the
// statistic that takes weights for counts would not be.
TEST(Association, WeightedPIsUniformForNoise) {
  Random random(11);
  for (const bool table : {true, false}) {
    int below = 0;
    constexpr int kRuns = 2000;
    for (int run = 0; run < kRuns; ++run) {
      std::vector<double> level, outcome, weights;
      for (int i = 0; i < 400; ++i) {
        level.push_back(random.Below(4));
        outcome.push_back(table ? random.Below(3) : random.Normal());
        weights.push_back(1e5 * std::exp(0.5 * random.Normal()));
      }
      const Association found = table ? TableAssociation(CellsOf(level, outcome, weights))
                                      : MeanAssociation(GroupsOf(level, outcome, weights));
      below += std::exp(found.logP) <= 0.05;
    }
    EXPECT_NEAR(below / double{kRuns}, 0.05, 0.02) << table;
  }
}

// Noise has a raw V that grows with its levels, and a corrected effect
// around 0 whatever its levels.
TEST(Association, EffectsOfNoiseDoNotGrowWithLevels) {
  Random random(3);
  for (const int levels : {2, 20, 200}) {
    double raw = 0, effect = 0, squared = 0;
    for (int run = 0; run < 50; ++run) {
      std::vector<double> level, outcome, measured;
      for (int i = 0; i < 1000; ++i) {
        level.push_back(random.Below(levels));
        outcome.push_back(random.Below(2));
        measured.push_back(random.Normal());
      }
      const Association found = TableAssociation(CellsOf(level, outcome, {}));
      raw += found.rawEffect / 50;
      effect += found.effect / 50;
      squared += MeanAssociation(GroupsOf(level, measured, {})).effect / 50;
    }
    if (levels == 200) {
      EXPECT_GT(raw, 0.4);
    }
    EXPECT_LT(effect, 0.06) << levels;
    EXPECT_LT(squared, 0.02) << levels;
  }
}

// 1,000 tables with V = 0.3 and 1,000 groups with a known share of variance: 95 % of the intervals
// hold the value that the cases come from.
TEST(Association, IntervalsCoverTheTruth) {
  Random random(5);
  int tables = 0, means = 0;
  for (int run = 0; run < 1000; ++run) {
    std::vector<double> level, outcome, measured;
    for (int i = 0; i < 300; ++i) {
      level.push_back(i % 2);
      outcome.push_back(random.Uniform() < (i % 2 ? 0.65 : 0.35) ? 1 : 0);
      measured.push_back(random.Normal() + (i % 2 ? 0.5 : -0.5));
    }
    const Association table = TableAssociation(CellsOf(level, outcome, {}));
    tables += table.lower <= 0.3 && 0.3 <= table.upper;
    const Association mean = MeanAssociation(GroupsOf(level, measured, {}));
    means += mean.lower <= 0.2 && 0.2 <= mean.upper;  // 0.25 / (0.25 + 1)
  }
  EXPECT_NEAR(tables / 1000.0, 0.95, 0.02);
  EXPECT_NEAR(means / 1000.0, 0.95, 0.025);
}

TEST(Association, TablesAndGroupsWithoutVariation) {
  CellSums one(3, 2);
  one.weights = {5, 5, 0, 0, 0, 0};
  EXPECT_FALSE(TableAssociation(one).computable);
  CellSums perfect(3, 2);
  perfect.weights = {40, 0, 0, 0, 0, 60};
  const Association found = TableAssociation(perfect);
  EXPECT_EQ(found.levels, 2u);
  EXPECT_EQ(found.df1, 1);
  EXPECT_NEAR(found.rawEffect, 1, 1e-15);
  EXPECT_NEAR(found.effect, 1, 1e-12);
  EXPECT_LE(found.lower, found.effect);
  CellSums unique(100, 2);  // a level per case
  for (std::size_t i = 0; i < 100; ++i) unique.weights[2 * i + i % 2] = 1;
  EXPECT_EQ(TableAssociation(unique).effect, 0);

  GroupSums equal(2);
  equal.weights = {5, 5};
  EXPECT_FALSE(MeanAssociation(equal).computable);
  equal.means = {1, 2};
  const Association exact = MeanAssociation(equal);
  EXPECT_TRUE(exact.computable);
  EXPECT_EQ(exact.effect, 1);
  EXPECT_EQ(exact.logP, -kInf);
}

// R: p.adjust of 1e-400 ... is 0 there; the logarithms go on.
TEST(AdjustedP, AgreesWithPAdjust) {
  const std::vector<double> p = {0.01, 0.04, 0.03, 0.0005, 0.8, 0.03, NAN, 0.2};
  struct Row {
    Adjustment adjustment;
    std::vector<double> expected;
  };
  const Row rows[] = {
      {Adjustment::kBenjaminiHochberg, {0.035, 0.056, 0.0525, 0.0035, 0.8, 0.0525, NAN, 0.233333333333333}},
      {Adjustment::kBenjaminiYekutieli, {0.09075, 0.1452, 0.136125, 0.009075, 1, 0.136125, NAN, 0.605}},
      {Adjustment::kHolm, {0.06, 0.15, 0.15, 0.0035, 0.8, 0.15, NAN, 0.4}},
      {Adjustment::kNone, p},
  };
  std::vector<double> logs;
  for (const double value : p) logs.push_back(std::log(value));
  for (const Row& row : rows) {
    const std::vector<double> found = AdjustLogP(logs, row.adjustment);
    for (std::size_t i = 0; i < p.size(); ++i) {
      if (std::isnan(p[i])) {
        EXPECT_TRUE(std::isnan(found[i]));
      } else {
        EXPECT_NEAR(std::exp(found[i]), row.expected[i], 1e-12)
            << static_cast<int>(row.adjustment) << " " << i;
      }
    }
  }
  const std::vector<double> tiny =
      AdjustLogP(std::vector<double>{-5000, -1000, -6000}, Adjustment::kBenjaminiHochberg);
  EXPECT_NEAR(tiny[0], -5000 + std::log(1.5), 1e-9);
  EXPECT_NEAR(tiny[1], -1000, 1e-9);
  EXPECT_NEAR(tiny[2], -6000 + std::log(3.0), 1e-9);
}

// mpmath with 50 digits.
TEST(LogTails, GoOnWhereTheTailsUnderflow) {
  struct Row {
    double found, expected;
  };
  const Row rows[] = {
      {LogChiSquareUpperTail(500, 4), -244.474547060868216},
      {LogChiSquareUpperTail(1400, 2), -700},
      {LogChiSquareUpperTail(3000, 1), -1504.22930819248111},
      {LogChiSquareUpperTail(5000, 99), -2263.13146870819465},
      {LogChiSquareUpperTail(120000, 99990), -889.554557966410031},
      {LogChiSquareUpperTail(1e7, 3), -4999992.16674342717},
      {LogFUpperTail(5, 200, 40), -63.6979265872381876},
      {LogFUpperTail(3, 1000, 5000), -1383.09772806626884},
      {LogFUpperTail(2, 10, 1e200), -2294.53790343187518},
      {LogFUpperTail(9, 999990, 300), -1325.41381031549624},
      {LogFUpperTail(199, 999800, 60), -5436.20310360454906},
      {LogFUpperTail(30, 12, 1e50), -685.708128223453934},
      {LogFUpperTail(4000, 40000, 9), -7635.71713730822199},
      {LogFUpperTail(3, kInf, 1000), LogChiSquareUpperTail(3000, 3)},
      {LogFUpperTail(3, 5, kInf), -kInf},
      {LogChiSquareUpperTail(kInf, 5), -kInf},
      {LogChiSquareUpperTail(0, 5), 0},
  };
  for (const Row& row : rows) {
    if (std::isinf(row.expected)) {
      EXPECT_EQ(row.found, row.expected);
    } else {
      EXPECT_NEAR(row.found, row.expected, 1e-13 * std::fabs(row.expected));
    }
  }
}

// SciPy's ncx2 and ncf, their bounds by its root finder; the larger ones are past the change to the
// saddlepoint approximation.
TEST(Noncentrality, AgreesWithSciPy) {
  struct Row {
    Interval found;
    double lower, upper;
  };
  const Row rows[] = {
      {ChiSquareNoncentrality(20, 5, 0.95), 3.3471851680396703, 36.55721032051867},
      {ChiSquareNoncentrality(3.2, 1, 0.95), 0, 14.053637179222902},
      {ChiSquareNoncentrality(12, 30, 0.95), 0, 0},
      {ChiSquareNoncentrality(1500, 9, 0.95), 1344.2284590843935, 1647.4595267404916},
      {ChiSquareNoncentrality(1e6, 9, 0.95), 996075.921333398, 1003915.7615918936},
      {FNoncentrality(5, 3, 100, 0.95), 1.9576430159705396, 32.325090048328256},
      {FNoncentrality(1.1, 4, 20, 0.95), 0, 12.990756769378175},
      {FNoncentrality(160, 9, 990, 0.95), 1242.904089802347, 1633.5015999144014},
      {FNoncentrality(3000, 2, 500, 0.95), 5221.698367328185, 6827.810733992662},
      {FNoncentrality(5000, 9, 999990, 0.95), 44155.097506382044, 45836.71439195531},
  };
  for (const Row& row : rows) {
    EXPECT_NEAR(row.found.lower, row.lower, 1e-6 * row.lower);
    EXPECT_NEAR(row.found.upper, row.upper, 1e-6 * row.upper);
  }
}

}  // namespace
}  // namespace velmora::stats
