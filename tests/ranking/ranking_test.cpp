// The order of predictors and the figures behind it, over tables in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>

#include "tests/stats/stats_testing.h"
#include "workbench/data/errors.h"
#include "workbench/ranking/rank_predictors.h"

namespace velmora::ranking {
namespace {

using stats::Random;

class TableMaker {
 public:
  explicit TableMaker(int cases) { table_.caseCount = cases; }

  int Add(const std::string& name, const std::function<double(int)>& valueOf) {
    Column column;
    column.name = name;
    for (int i = 0; i < table_.caseCount; ++i) column.values.Own().push_back(valueOf(i));
    table_.columns.push_back(std::move(column));
    return table_.VariableCount();
  }
  const Table& Made() const { return table_; }

 private:
  Table table_;
};

Ranking Rank(const Table& table, const RankingPlan& plan) {
  WorkerPool pool(1);
  return RankPredictors(table, CaseBitmap(table.caseCount), plan, pool);
}

std::vector<double> Uniforms(int count, std::uint64_t seed) {
  Random random(seed);
  std::vector<double> values;
  for (int i = 0; i < count; ++i) values.push_back(random.Uniform());
  return values;
}

// Noise with 200 levels, noise that is nearly always missing, and a weak true predictor.
TEST(Ranking, WhatIsNoBetterThanChanceComesLast) {
  constexpr int kCases = 1000;
  const std::vector<double> a = Uniforms(kCases, 1), b = Uniforms(kCases, 2), c = Uniforms(kCases, 3);
  TableMaker maker(kCases);
  RankingPlan plan;
  plan.categoricalDependents = {
      maker.Add("y", [&](int i) { return a[static_cast<std::size_t>(i)] < 0.4 ? 1 : 0; })};
  plan.categoricalPredictors = {
      maker.Add("many levels", [&](int i) { return std::floor(b[static_cast<std::size_t>(i)] * 200); }),
      maker.Add(
          "nearly missing",
          [&](int i) { return i % 40 == 0 ? std::floor(c[static_cast<std::size_t>(i)] * 3) : kMissing; }),
      maker.Add("weak",
                [&](int i) {
                  return a[static_cast<std::size_t>(i)] + 3 * c[static_cast<std::size_t>(i)] < 1.7 ? 1 : 0;
                }),
      maker.Add("constant", [](int) { return 4; })};
  const Ranking ranking = Rank(maker.Made(), plan);
  const RankedOutcome& outcome = ranking.outcomes[0];
  EXPECT_EQ(outcome.order[0], 2);
  EXPECT_EQ(outcome.order[3], 3);
  EXPECT_TRUE(outcome.pairs[2].better);
  EXPECT_FALSE(outcome.pairs[0].better);
  EXPECT_FALSE(outcome.pairs[1].better);
  EXPECT_FALSE(outcome.pairs[3].association.computable);
  EXPECT_GT(outcome.pairs[0].association.rawEffect, outcome.pairs[2].association.rawEffect);
  EXPECT_EQ(outcome.pairs[1].cases, 25);
  EXPECT_EQ(outcome.pairs[1].missing, 975);

  plan.key = RankKey::kStatistic;  // the raw V puts noise first
  EXPECT_NE(Rank(maker.Made(), plan).outcomes[0].order[0], 2);
}

// 0.3 and 0.1 * 3 by group: if they were two values, the effect would be the largest possible.
TEST(Ranking, AnOutcomeThatVariesByRoundingIsConstant) {
  TableMaker maker(200);
  RankingPlan plan;
  plan.continuousDependents = {maker.Add("y", [](int i) { return i % 2 == 0 ? 0.3 : 0.1 * 3; })};
  plan.categoricalPredictors = {maker.Add("g", [](int i) { return i % 2; })};
  const Ranking ranking = Rank(maker.Made(), plan);
  EXPECT_FALSE(ranking.outcomes[0].pairs[0].association.computable);
  EXPECT_FALSE(ranking.outcomes[0].pairs[0].better);
}

// An outcome is 0 where predictors are missing and far from it elsewhere, or nearly constant there.
TEST(Ranking, FiguresAreThoseOfTheCasesThatHaveThePredictor) {
  constexpr int kCases = 4000;
  const std::vector<double> a = Uniforms(kCases, 5), b = Uniforms(kCases, 6);
  const auto at = [](const std::vector<double>& values, int i) {
    return values[static_cast<std::size_t>(i)];
  };
  const auto near = [&](int i) { return std::floor(9 * at(a, i)) + (at(b, i) < 0.5 ? 2 : 0); };
  const auto rankingOf = [&](const std::function<double(int)>& outcome, bool isWeighted,
                             IntervalMethod method) {
    TableMaker maker(kCases);
    RankingPlan plan;
    plan.predictorIntervals = {method, 5};
    plan.continuousDependents = {maker.Add("y", [&](int i) { return i % 4 == 0 ? 0 : outcome(i); })};
    plan.continuousPredictors = {maker.Add("x", [&](int i) { return i % 4 == 0 ? kMissing : at(b, i); })};
    plan.categoricalPredictors = {
        maker.Add("g", [&](int i) { return i % 4 == 0 ? kMissing : std::floor(8 * at(b, i)); })};
    if (isWeighted) plan.weight = maker.Add("w", [](int i) { return 1 + i % 5; });
    return Rank(maker.Made(), plan);
  };
  for (const bool isWeighted : {false, true}) {
    for (const IntervalMethod method : {IntervalMethod::kQuantiles, IntervalMethod::kTree}) {
      SCOPED_TRACE(std::to_string(isWeighted) + " " + std::to_string(static_cast<int>(method)));
      const Ranking ours = rankingOf(near, isWeighted, method);
      const Ranking far = rankingOf([&](int i) { return 1e13 + near(i); }, isWeighted, method);
      const Ranking constant =
          rankingOf([](int i) { return i % 3 == 0 ? 0.3 : 0.1 * 3; }, isWeighted, method);
      for (std::size_t p = 0; p < 2; ++p) {
        const stats::Association& one = ours.outcomes[0].pairs[p].association;
        const stats::Association& other = far.outcomes[0].pairs[p].association;
        ASSERT_TRUE(one.computable && other.computable) << p;
        EXPECT_EQ(other.levels, one.levels);
        for (const auto figure :
             {&stats::Association::statistic, &stats::Association::rawEffect, &stats::Association::effect,
              &stats::Association::logP, &stats::Association::designEffect})
          EXPECT_NEAR(other.*figure / (one.*figure), 1, 1e-11) << p;
        EXPECT_FALSE(constant.outcomes[0].pairs[p].association.computable) << p;
      }
    }
  }
}

// The intervals of quantiles see only the order of the values; those of equal width lose everything
// to one far value, and say so.
TEST(Ranking, QuantilesDoNotDependOnFarValues) {
  constexpr int kCases = 2000;
  Random random(4);
  std::vector<double> z, y;
  for (int i = 0; i < kCases; ++i) {
    z.push_back(random.Normal());
    y.push_back(z.back() + 2 * random.Normal());
  }
  TableMaker maker(kCases);
  const auto at = [](const std::vector<double>& values, int i) {
    return values[static_cast<std::size_t>(i)];
  };
  RankingPlan plan;
  plan.continuousDependents = {maker.Add("y", [&](int i) { return at(y, i); })};
  plan.continuousPredictors = {maker.Add("z", [&](int i) { return at(z, i); }),
                               maker.Add("exp", [&](int i) { return std::exp(5 * at(z, i)); }),
                               maker.Add("outlier", [&](int i) { return i == 17 ? 1e6 : at(z, i); }),
                               maker.Add("code", [&](int i) { return i % 20 == 0 ? -999 : at(z, i); })};
  const Ranking quantiles = Rank(maker.Made(), plan);
  EXPECT_TRUE(quantiles.crowded.empty());
  const auto effect = [](const Ranking& ranking, std::size_t p) {
    return ranking.outcomes[0].pairs[p].association.effect;
  };
  EXPECT_GT(effect(quantiles, 0), 0.1);
  EXPECT_EQ(effect(quantiles, 1), effect(quantiles, 0));
  for (const std::size_t p : {2u, 3u}) EXPECT_NEAR(effect(quantiles, p) / effect(quantiles, 0), 1, 0.2) << p;

  plan.predictorIntervals.method = IntervalMethod::kEqualWidth;
  const Ranking equalWidth = Rank(maker.Made(), plan);
  EXPECT_LT(effect(equalWidth, 2), 0.01);
  std::vector<double> far;
  for (const CrowdedPredictor& crowded : equalWidth.crowded) far.push_back(crowded.intervals.farValue);
  ASSERT_EQ(far.size(), 3u);
  EXPECT_EQ(far[1], 1e6);
  EXPECT_EQ(far[2], -999);
  EXPECT_EQ(equalWidth.crowded[2].intervals.farCases, 100);
}

// A step at one place is two intervals, whose p survives the correction for the search; of 200
// columns of noise next to none has p below 0.05.
TEST(Ranking, SearchedIntervalsFindAStepAndPayForTheSearch) {
  constexpr int kCases = 1000;
  Random random(8);
  TableMaker maker(kCases);
  RankingPlan plan;
  std::vector<double> x;
  for (int i = 0; i < kCases; ++i) x.push_back(random.Uniform());
  plan.continuousPredictors = {maker.Add("step", [&](int i) { return x[static_cast<std::size_t>(i)]; })};
  for (int noise = 0; noise < 200; ++noise)
    plan.continuousPredictors.push_back(maker.Add("noise", [&](int) { return random.Uniform(); }));
  plan.continuousDependents = {maker.Add(
      "measured", [&](int i) { return (x[static_cast<std::size_t>(i)] > 0.7 ? 1 : 0) + random.Normal(); })};
  plan.categoricalDependents = {maker.Add("class", [&](int i) {
    return random.Uniform() < (x[static_cast<std::size_t>(i)] > 0.7 ? 0.7 : 0.4) ? 1 : 0;
  })};
  plan.predictorIntervals = {IntervalMethod::kTree, 8};
  for (const RankedOutcome& outcome : Rank(maker.Made(), plan).outcomes) {
    EXPECT_EQ(outcome.order[0], 0);
    EXPECT_TRUE(outcome.pairs[0].better);
    EXPECT_LE(outcome.pairs[0].association.levels, 3u);
    int below = 0;
    for (std::size_t p = 1; p <= 200; ++p)
      below += outcome.pairs[p].association.computable && std::exp(outcome.pairs[p].association.logP) <= 0.05;
    EXPECT_LE(below, 6);
  }
}

// A group is a stretch of the ascending values, in whatever way the cases are looked up: few groups
// and many, values that differ by rounding, missing codes, NaN, infinities, cases that are not used.
TEST(CaseGroups, AreStretchesOfTheOrder) {
  constexpr int kCases = 5000;
  const std::vector<double> a = Uniforms(kCases, 8);
  TableMaker maker(kCases);
  const int number = maker.Add("x", [&](int i) {
    const double value = std::floor(a[static_cast<std::size_t>(i)] * 400) / 10;
    if (i % 11 == 0) return kMissing;
    if (i % 13 == 0) return std::nan("");
    if (i % 501 == 0) return i % 2 == 0 ? -HUGE_VAL : HUGE_VAL;
    return i % 3 == 0 ? std::nextafter(value, 100) : value;
  });
  const Column& column = maker.Made().Variable(number);
  std::vector<std::uint8_t> used(kCases, 1);
  for (std::size_t i = 0; i < used.size(); i += 7) used[i] = 0;
  CaseGrouper grouper(used, {});
  for (const int intervals : {1, 2, 10, 50, 300}) {
    const CaseGroups& groups = grouper.Group(column, {IntervalMethod::kQuantiles, intervals});
    ASSERT_GE(groups.count, std::min(intervals, 200) * 3 / 4);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < used.size(); ++i) {
      const bool takesPart = used[i] != 0 && !std::isnan(column.values[i]) && column.values[i] != kMissing;
      EXPECT_EQ(groups.groupOf[i] < groups.count, takesPart) << i;
      if (takesPart) order.push_back(i);
    }
    EXPECT_EQ(groups.cases, static_cast<std::int64_t>(order.size()));
    std::sort(order.begin(), order.end(),
              [&](std::size_t i, std::size_t j) { return column.values[i] < column.values[j]; });
    EXPECT_EQ(groups.groupOf[order.front()], 0U);
    EXPECT_EQ(groups.groupOf[order.back()] + 1, groups.count);
    for (std::size_t k = 1; k < order.size(); ++k) {
      const std::uint32_t before = groups.groupOf[order[k - 1]], here = groups.groupOf[order[k]];
      EXPECT_TRUE(here == before || here == before + 1) << k;
      if (vlm::NearlyEqual(column.values[order[k - 1]], column.values[order[k]])) {
        EXPECT_EQ(here, before) << k;
      }
    }
  }
}

// Ten values of which one has most cases: it is an interval of its own, and no interval is empty.
TEST(CaseGroups, QuantilesWithTiesAndWeights) {
  TableMaker maker(100);
  const int number = maker.Add("x", [](int i) { return i < 60 ? 0 : (i % 10) + 1; });
  const std::vector<std::uint8_t> used(100, 1);
  CaseGrouper grouper(used, {});
  const CaseGroups& groups = grouper.Group(maker.Made().Variable(number), {IntervalMethod::kQuantiles, 5});
  EXPECT_EQ(groups.groupOf[0], 0u);
  EXPECT_EQ(groups.count, 3u);  // 0; 1 to 5; 6 to 10
  EXPECT_EQ(groups.groupOf[64], groups.groupOf[60]);
  EXPECT_NE(groups.groupOf[65], groups.groupOf[60]);

  // A case with weight 60 in place of 60 cases.
  TableMaker weighted(41);
  const int same = weighted.Add("x", [](int i) { return i == 0 ? 0 : ((i - 1) % 10) + 1; });
  std::vector<double> mass(41, 1.0);
  mass[0] = 60;
  const std::vector<std::uint8_t> all(41, 1);
  CaseGrouper byMass(all, mass);
  const CaseGroups& again = byMass.Group(weighted.Made().Variable(same), {IntervalMethod::kQuantiles, 5});
  EXPECT_EQ(again.count, 3u);
  EXPECT_EQ(again.groupOf[5], again.groupOf[1]);
  EXPECT_NE(again.groupOf[6], again.groupOf[1]);
}

TEST(Ranking, CasesLeftOutAreCountedByReason) {
  TableMaker maker(100);
  RankingPlan plan;
  plan.continuousDependents = {maker.Add("y", [](int i) { return i % 9 == 0 ? kMissing : i % 7; })};
  plan.categoricalPredictors = {maker.Add("a", [](int i) { return i % 4 == 0 ? kMissing : i % 3; }),
                                maker.Add("b", [](int i) { return i % 2; })};
  plan.weight = maker.Add("w", [](int i) { return i < 5 ? 0 : i < 8 ? kMissing : 1 + i % 3; });
  plan.count = maker.Add("n", [](int i) { return i == 10 ? 0 : 2; });
  Ranking ranking = Rank(maker.Made(), plan);
  EXPECT_EQ(ranking.zeroWeightCases, 8);
  EXPECT_EQ(ranking.badCountCases, 1);
  EXPECT_EQ(ranking.usedCases, 91);
  EXPECT_EQ(ranking.outcomes[0].pairs[1].cases, ranking.outcomes[0].cases);
  EXPECT_EQ(ranking.outcomes[0].pairs[0].frequency,
            2.0 * static_cast<double>(ranking.outcomes[0].pairs[0].cases));
  EXPECT_GT(ranking.designEffect, 1);
  RankingPlan huge = plan;
  huge.weight = maker.Add("huge", [](int) { return 1e307; });
  EXPECT_THROW(Rank(maker.Made(), huge), DataError);
  huge.weight = maker.Add("negative", [](int i) { return i - 50; });
  EXPECT_THROW(Rank(maker.Made(), huge), DataError);
  plan.completeCases = true;
  ranking = Rank(maker.Made(), plan);
  EXPECT_EQ(ranking.outcomes[0].pairs[0].cases, ranking.usedCases);
  EXPECT_EQ(ranking.outcomes[0].pairs[1].cases, ranking.usedCases);
  EXPECT_EQ(ranking.usedCases + ranking.incompleteCases, 91);
}

// A class per case against a level per case would need a table of the square of the cases; an
// outcome without values has no classes at all.
TEST(Ranking, OutcomesThatCannotBeTabulated) {
  TableMaker maker(20000);
  RankingPlan plan;
  plan.categoricalDependents = {maker.Add("key", [](int i) { return i; }),
                                maker.Add("empty", [](int) { return kMissing; }),
                                maker.Add("two", [](int i) { return i % 2; })};
  plan.categoricalPredictors = {maker.Add("other key", [](int i) { return -i; }),
                                maker.Add("three", [](int i) { return i % 3; })};
  const Ranking ranking = Rank(maker.Made(), plan);
  EXPECT_TRUE(ranking.outcomes[0].pairs[0].tooManyCells);
  EXPECT_FALSE(ranking.outcomes[0].pairs[1].tooManyCells);
  EXPECT_EQ(ranking.outcomes[1].pairs[1].cases, 0);
  EXPECT_FALSE(ranking.outcomes[1].pairs[1].association.computable);
  EXPECT_EQ(ranking.outcomes[1].pairs[1].missing, 20000);
  EXPECT_TRUE(ranking.outcomes[2].pairs[0].association.computable);
}

// The figures of cases that are repeated are those of counts.
TEST(Ranking, CountsAreRepeatedCases) {
  TableMaker counted(60), repeated(180);
  const auto add = [](TableMaker& maker, int divisor, RankingPlan& plan) {
    plan.continuousDependents = {maker.Add("y", [=](int i) { return i / divisor * 13 % 29; })};
    plan.categoricalDependents = {maker.Add("g", [=](int i) { return i / divisor * 5 % 7 < 3; })};
    plan.continuousPredictors = {maker.Add("x", [=](int i) { return i / divisor * 11 % 31; })};
    plan.categoricalPredictors = {maker.Add("c", [=](int i) { return i / divisor * 7 % 5; })};
  };
  RankingPlan counts, cases;
  add(counted, 1, counts);
  counts.count = counted.Add("n", [](int) { return 3; });
  add(repeated, 3, cases);
  const Ranking a = Rank(counted.Made(), counts), b = Rank(repeated.Made(), cases);
  for (std::size_t d : {0u, 1u}) {
    for (std::size_t p : {0u, 1u}) {
      const stats::Association& one = a.outcomes[d].pairs[p].association;
      const stats::Association& other = b.outcomes[d].pairs[p].association;
      EXPECT_NEAR(one.statistic, other.statistic, 1e-9 * other.statistic);
      EXPECT_NEAR(one.logP, other.logP, 1e-9);
      EXPECT_EQ(one.df2, other.df2);
      EXPECT_NEAR(one.upper, other.upper, 1e-9);
    }
  }
}

// The same bits for every number of threads, whatever the plan.
TEST(Ranking, FiguresDoNotDependOnTheThreads) {
  constexpr int kCases = 700, kPredictors = 9;
  TableMaker maker(kCases);
  RankingPlan plan;
  Random random(20);
  const auto some = [&](double levels) {
    return [&random, levels](int) {
      return random.Uniform() < 0.05 ? kMissing : std::floor(random.Uniform() * levels) / 7;
    };
  };
  plan.continuousDependents = {maker.Add("measured", some(1e6)), maker.Add("counted", some(9))};
  plan.categoricalDependents = {maker.Add("classes", some(3))};
  for (int j = 0; j < kPredictors; ++j) {
    plan.continuousPredictors.push_back(maker.Add("c" + std::to_string(j), some(j < 3 ? 20 : 1e6)));
    plan.categoricalPredictors.push_back(maker.Add("k" + std::to_string(j), some(j + 1)));
  }
  const int weight = maker.Add("weight", [&](int) { return random.Uniform(); });
  const int count = maker.Add("count", [&](int) { return 1 + std::floor(random.Uniform() * 4); });
  const int clusters = maker.Add("cluster", [](int i) { return i / 7; });

  const std::pair<const char*, std::function<void(RankingPlan&)>> plans[] = {
      {"plain", [](RankingPlan&) {}},
      {"weights, complete cases", [&](RankingPlan& p) { p.weight = weight, p.completeCases = true; }},
      {"counts, tests by chance",
       [&](RankingPlan& p) { p.count = count, p.exact = true, p.replicates = 99; }},
      {"clusters, equal width",
       [&](RankingPlan& p) {
         p.clusters = clusters, p.predictorIntervals.method = IntervalMethod::kEqualWidth;
       }},
      {"joined intervals",
       [](RankingPlan& p) {
         p.predictorIntervals = {IntervalMethod::kTree, 5};
       }},
      {"classes of all", [](RankingPlan& p) { p.cutDependents = true, p.chiSquare = true; }},
  };
  for (const auto& [name, change] : plans) {
    RankingPlan changed = plan;
    change(changed);
    const auto bits = [&](int threads) {
      WorkerPool pool(threads);
      const Ranking ranking = RankPredictors(maker.Made(), CaseBitmap(kCases), changed, pool);
      std::vector<double> figures;
      for (const RankedOutcome& outcome : ranking.outcomes) {
        figures.insert(figures.end(), outcome.order.begin(), outcome.order.end());
        for (const RankedPair& pair : outcome.pairs) {
          const stats::Association& a = pair.association;
          for (const double figure :
               {a.statistic, a.df1, a.df2, a.logP, a.effect, a.rawEffect, pair.logAdjustedP, pair.frequency,
                static_cast<double>(pair.cases), static_cast<double>(pair.distinct)})
            figures.push_back(figure);
        }
      }
      std::vector<std::uint64_t> texts;
      for (const double figure : figures) texts.push_back(std::bit_cast<std::uint64_t>(figure));
      return texts;
    };
    const std::vector<std::uint64_t> alone = bits(1);
    for (const int threads : {2, 3, 8})
      EXPECT_EQ(bits(threads), alone) << name << ", " << threads << " threads";
  }
}

}  // namespace
}  // namespace velmora::ranking
