// Frequency tables, descriptives, ranks and densities against published figures and plain references.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>

#include "tests/stats/stats_testing.h"
#include "workbench/stats/crosstab.h"
#include "workbench/stats/descriptives.h"
#include "workbench/stats/kernel_density.h"
#include "workbench/stats/ranks.h"

namespace velmora::stats {
namespace {

constexpr double kMissing = 1.7e308;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Coding, NumbersTheCodesInAscendingOrder) {
  struct Row {
    const char* name;
    std::vector<double> column, codes;
    std::vector<std::int32_t> levels;
    std::vector<double> listed;
  };
  const double nearTwo = std::nextafter(2.0, 3.0);
  const Row rows[] = {
      {"whole", {3, 1, kMissing, 3, -2, kNan}, {-2, 1, 3}, {2, 1, -1, 2, 0, -1}, {}},
      {"two zeros", {0.0, -0.0, 1}, {0, 1}, {0, 0, 1}, {}},
      {"any",
       {1e300, 0.5, -7.25, 0.5, -1e300, -0.0, 0.0},
       {-1e300, -7.25, 0, 0.5, 1e300},
       {4, 3, 1, 3, 0, 2, 2},
       {}},
      {"listed", {1, 2, 3, nearTwo}, {2, 9}, {-1, 0, -1, 0}, {9, 2, 2}},
      {"nothing", {kMissing}, {}, {-1}, {}},
  };
  for (const Row& row : rows) {
    const Coding coding = CodeColumn(row.column, kMissing, {}, row.listed);
    EXPECT_EQ(coding.codes, row.codes) << row.name;
    EXPECT_EQ(coding.levelOf, row.levels) << row.name;
  }
  // More codes than the first hash table holds.
  Random random(2);
  std::vector<double> column(20000);
  for (double& value : column) value = 0.5 + random.Below(7000);
  const Coding coding = CodeColumn(column, kMissing);
  EXPECT_TRUE(std::is_sorted(coding.codes.begin(), coding.codes.end()));
  for (std::size_t i = 0; i < column.size(); ++i)
    ASSERT_EQ(coding.codes[static_cast<std::size_t>(coding.levelOf[i])], column[i]);
}

TEST(Crosstab, TestsIndependence) {
  // Snee 1974, doi:10.2307/2683520: hair by eye colour of 592 students; chi-square 138.2898 on 9 df.
  const double counts[4][4] = {{68, 119, 26, 7}, {20, 84, 17, 94}, {15, 54, 14, 10}, {5, 29, 14, 16}};
  std::vector<double> hair, eye, weights, longHair, longEye;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) {
      hair.push_back(c + 0.5);
      eye.push_back(10 - r);
      weights.push_back(counts[r][c]);
      for (int k = 0; k < counts[r][c]; ++k) {
        longHair.push_back(c + 0.5);
        longEye.push_back(10 - r);
      }
    }
  hair.push_back(1.5);  // weighs nothing
  eye.push_back(10);
  weights.push_back(0);
  for (const bool weighted : {true, false}) {
    const Crosstab table = weighted
                               ? MakeCrosstab(CodeColumn(eye, kMissing), CodeColumn(hair, kMissing), weights)
                               : MakeCrosstab(CodeColumn(longEye, kMissing), CodeColumn(longHair, kMissing));
    EXPECT_EQ(table.total, 592);
    EXPECT_EQ(table.cases, weighted ? 16 : 592);
    EXPECT_EQ(table.rowCodes, (std::vector<double>{7, 8, 9, 10}));
    EXPECT_EQ(table.At(3, 1), 119);
    EXPECT_EQ(table.rowTotals[3], 220);
    EXPECT_EQ(table.columnTotals[0], 108);
    const IndependenceTest test = TestIndependence(table);
    EXPECT_NEAR(test.chiSquare, 138.2898, 5e-5);
    EXPECT_EQ(test.df, 9);
    EXPECT_NEAR(test.p / 2.3253e-25, 1, 1e-3);
    EXPECT_NEAR(test.cramersV, std::sqrt(138.28984 / (592 * 3)), 1e-6);
  }
  // A listed code without cases adds no degree of freedom.
  const Crosstab listed = MakeCrosstab(CodeColumn(longEye, kMissing, {}, std::vector<double>{9, 10, 44}),
                                       CodeColumn(longHair, kMissing));
  EXPECT_EQ(listed.rowTotals.back(), 0);
  EXPECT_EQ(TestIndependence(listed).df, 3);
  const IndependenceTest none = TestIndependence(
      MakeCrosstab(CodeColumn(hair, kMissing), CodeColumn(std::vector<double>(17, 1.0), kMissing)));
  EXPECT_EQ(none.df, 0);
  EXPECT_TRUE(std::isnan(none.p));
}

TEST(Descriptives, BreakDownAColumn) {
  struct Row {
    const char* name;
    std::vector<double> values, weights;
    double n, mean, variance, lower, median, upper;
  };
  const Row rows[] = {
      {"odd", {3, 1, 2, kMissing, kNan}, {}, 3, 2, 1, 1, 2, 3},
      {"even", {4, 3, 2, 1}, {}, 4, 2.5, 5.0 / 3, 1.5, 2.5, 3.5},
      {"frequencies are cases", {1, 2, 9}, {2, 2, 0}, 4, 1.5, 1.0 / 3, 1, 1.5, 2},
      {"far from zero", {1e9 + 1, 1e9 + 2, 1e9 + 3}, {}, 3, 1e9 + 2, 1, 1e9 + 1, 1e9 + 2, 1e9 + 3},
      {"one value", {0.1, 0.1, 0.1}, {}, 3, 0.1, 0, 0.1, 0.1, 0.1},
      {"one case", {5}, {}, 1, 5, kNan, 5, 5, 5},
      {"none", {kMissing}, {}, 0, kNan, kNan, kNan, kNan, kNan},
  };
  const auto expectSame = [](double a, double b) {
    EXPECT_TRUE(a == b || std::fabs(a - b) < 1e-12 || (std::isnan(a) && std::isnan(b))) << a << " " << b;
  };
  SummaryOptions options;
  options.quartiles = true;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Summary summary = Summarize(row.values, kMissing, {}, row.weights, options);
    EXPECT_EQ(summary.weight, row.n);
    expectSame(summary.mean, row.mean);
    expectSame(summary.variance, row.variance);
    expectSame(summary.lowerQuartile, row.lower);
    expectSame(summary.median, row.median);
    expectSame(summary.upperQuartile, row.upper);
  }
  // Means of 2 and 3 cases with their limits: 4.303 and 12.706 are the t quantiles of 2 and 1 degrees of
  // freedom.
  const Breakdown breakdown = BreakDown(std::vector<double>{1, 10, 2, 20, 3, 7}, kMissing,
                                        CodeColumn(std::vector<double>{1, 2, 1, 2, 1, kMissing}, kMissing));
  ASSERT_EQ(breakdown.levels.size(), 2u);
  EXPECT_NEAR(breakdown.levels[0].upperLimit, 2 + 4.302652729911275 / std::sqrt(3.0), 1e-9);
  EXPECT_NEAR(breakdown.levels[1].lowerLimit, 15 - 12.706204736174694 * 5, 1e-9);
  EXPECT_EQ(breakdown.total.cases, 5);
  EXPECT_NEAR(breakdown.total.squares, 254.8, 1e-9);
  EXPECT_EQ(breakdown.levels[1].squares, 50);
}

TEST(Descriptives, RangesAreBrokenDownAsEachOfThemAlone) {
  Random random(4);
  std::vector<double> values;
  std::vector<std::size_t> ends;
  for (const int length : {0, 1, 700, 0, 3, 40}) {
    for (int i = 0; i < length; ++i) values.push_back(length == 3 ? 0.1 : 1e6 + random.Normal());
    ends.push_back(values.size());
  }
  const Breakdown breakdown = BreakDownRanges(values, ends);
  const auto expectSame = [&](const Summary& found, std::size_t begin, std::size_t end) {
    SCOPED_TRACE(end - begin);
    const Summary alone = Summarize(std::span(values).subspan(begin, end - begin), kMissing);
    EXPECT_EQ(found.cases, alone.cases);
    EXPECT_EQ(found.squares, alone.squares);
    for (const auto member : {&Summary::mean, &Summary::minimum, &Summary::maximum,
                              &Summary::standardDeviation, &Summary::lowerLimit, &Summary::upperLimit}) {
      EXPECT_TRUE(found.*member == alone.*member || (std::isnan(found.*member) && std::isnan(alone.*member)));
    }
  };
  for (std::size_t level = 0; level < ends.size(); ++level)
    expectSame(breakdown.levels[level], level > 0 ? ends[level - 1] : 0, ends[level]);
  expectSame(breakdown.total, 0, values.size());
}

TEST(Ranks, AverageOverTies) {
  const std::vector<double> column{5, kMissing, 1, 5, -0.0, 0.0, 5};
  std::vector<double> ranks(column.size());
  AverageRanks(OrderOf(column), kMissing, ranks);
  EXPECT_EQ(ranks, (std::vector<double>{5, kMissing, 3, 5, 1.5, 1.5, 5}));
}

TEST(KernelDensity, IsTheSumOfKernelsAlsoWhereItIsSharedOutOrCutOff) {
  Random random(9);
  std::vector<double> values(60000);
  for (double& value : values) value = random.Below(3) == 0 ? random.Normal() * 0.1 : 2 + random.Normal();
  std::vector<double> points(kDensityPoints), found(kDensityPoints);
  DensityPoints(-3, 6, points);
  EXPECT_EQ(points.front(), -3);
  EXPECT_EQ(points.back(), 6);
  for (const double h : {0.5, 0.05, 2e-4}) {  // the last needs the sum over neighbours
    std::vector<double> sample = values;
    if (h < 1e-3) sample.push_back(1e3);
    GaussianDensity(sample, h, points, found);
    const double highest = 0.3989422804014327 / h;
    double worst = 0;
    for (std::size_t k = 0; k < points.size(); k += 15) {
      double sum = 0;
      for (const double value : sample)
        sum += std::exp(-0.5 * (points[k] - value) / h * (points[k] - value) / h);
      worst = std::max(worst, std::fabs(sum / static_cast<double>(sample.size()) * highest - found[k]));
    }
    EXPECT_LT(worst, 1e-5 * highest) << h;
    EXPECT_GT(*std::max_element(found.begin(), found.end()), 0);
  }
  GaussianDensity(std::vector<double>{0, std::numeric_limits<double>::infinity()}, 1, std::vector<double>{0},
                  std::span(found).first(1));
  EXPECT_NEAR(found[0], 0.3989422804014327, 1e-15);
  for (const double h : {0.0, -1.0, kNan}) {
    GaussianDensity(values, h, points, found);
    EXPECT_EQ(*std::max_element(found.begin(), found.end()), 0) << h;
  }
}

}  // namespace
}  // namespace velmora::stats
