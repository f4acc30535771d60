// Frequency tables, descriptives, ranks and densities against published figures and plain
// references.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "tests/stats/stats_testing.h"
#include "workbench/stats/crosstab.h"
#include "workbench/stats/descriptives.h"
#include "workbench/stats/kernel_density.h"
#include "workbench/stats/ranks.h"

namespace velmora::stats {
namespace {

constexpr double kMissing = 1.7e308;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Rows and columns of codes as the ranges and classes that a table is counted from.
struct Coded {
  SortedOrder rows;
  std::vector<CodedRange> ranges;
  std::vector<std::uint16_t> classOf;
  ClassColumns columns;

  Coded(const std::vector<double>& row, const std::vector<double>& column) : rows(OrderOf(row)) {
    for (std::size_t d = 0; d < rows.DistinctCount(); ++d)
      ranges.push_back({static_cast<std::size_t>(rows.starts[d]),
                        static_cast<std::size_t>(rows.starts[d + 1]), rows.Value(row, d)});
    const SortedOrder order = OrderOf(column);
    classOf.resize(column.size());
    for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
      columns.codes.push_back(order.Value(column, d));
      columns.columnOf.push_back(d);
      for (auto i = order.starts[d]; i < order.starts[d + 1]; ++i)
        classOf[order.cases[static_cast<std::size_t>(i)]] = static_cast<std::uint16_t>(d);
    }
  }
  Crosstab Count(std::span<const double> weights = {}) const {
    return CountClasses(ranges, rows.cases, classOf, columns, weights);
  }
};

TEST(Crosstab, TestsIndependence) {
  // Snee 1974, doi:10.2307/2683520: hair by eye colour of 592 students; chi-square 138.2898 on 9
  // df.
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
    const Crosstab table = weighted ? Coded(eye, hair).Count(weights) : Coded(longEye, longHair).Count();
    EXPECT_EQ(table.total, 592);
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
  // A class without cases adds no degree of freedom, one that is left out no count.
  Coded some(longEye, longHair);
  some.columns.codes.push_back(99);
  some.columns.columnOf[0] = some.columns.codes.size();
  const Crosstab fewer = some.Count();
  EXPECT_EQ(fewer.total, 592 - 108);
  EXPECT_EQ(fewer.columnTotals.back(), 0);
  EXPECT_EQ(TestIndependence(fewer).df, 6);
  const IndependenceTest none = TestIndependence(Coded(hair, std::vector<double>(17, 1.0)).Count());
  EXPECT_EQ(none.df, 0);
  EXPECT_TRUE(std::isnan(none.p));
}

TEST(Crosstab, RangesAreCountedAgainstRanges) {
  // Levels 1, 2, 1, 3 of two to four cases in bins 20, 10, none, 20.
  const std::vector<CodedRange> levels{{0, 2, 1}, {7, 9, 1}, {2, 5, 2}, {9, 13, 3}};
  const std::vector<CodedRange> bins{{0, 3, 20}, {3, 7, 10}, {9, 13, 20}};
  std::vector<std::uint32_t> cases(13);
  std::vector<double> weights(13);
  for (std::uint32_t i = 0; i < 13; ++i) {
    cases[i] = 12 - i;
    weights[12 - i] = i;
  }
  const Crosstab plain = CountRanges(levels, bins, std::vector<double>{10, 20, 30}, cases, {});
  EXPECT_EQ(plain.rowCodes, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(plain.counts, (std::vector<double>{0, 2, 0, 2, 1, 0, 0, 4, 0}));
  const Crosstab weighted = CountRanges(levels, bins, std::vector<double>{10, 20, 30}, cases, weights);
  EXPECT_EQ(weighted.counts, (std::vector<double>{0, 1, 0, 7, 2, 0, 0, 42, 0}));
}

TEST(Descriptives, BreakDownAColumn) {
  struct Row {
    const char* name;
    std::vector<double> values, weights;
    double n, mean, variance, lower, median, upper;
  };
  const Row rows[] = {
      {"odd", {3, 1, 2}, {}, 3, 2, 1, 1, 2, 3},
      {"even", {4, 3, 2, 1}, {}, 4, 2.5, 5.0 / 3, 1.5, 2.5, 3.5},
      {"frequencies are cases", {2, 1}, {2, 2}, 4, 1.5, 1.0 / 3, 1, 1.5, 2},
      {"far from zero", {1e9 + 1, 1e9 + 2, 1e9 + 3}, {}, 3, 1e9 + 2, 1, 1e9 + 1, 1e9 + 2, 1e9 + 3},
      {"one value", {0.1, 0.1, 0.1}, {}, 3, 0.1, 0, 0.1, 0.1, 0.1},
      {"one case", {5}, {}, 1, 5, kNan, 5, 5, 5},
      {"none", {}, {}, 0, kNan, kNan, kNan, kNan, kNan},
  };
  const auto expectSame = [](double a, double b) {
    EXPECT_TRUE(a == b || std::fabs(a - b) < 1e-12 || (std::isnan(a) && std::isnan(b))) << a << " " << b;
  };
  SummaryOptions options;
  options.quartiles = true;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<double> values = row.values;
    const Summary summary = Summarize(values, row.weights, options);
    EXPECT_EQ(summary.weight, row.n);
    expectSame(summary.mean, row.mean);
    expectSame(summary.variance, row.variance);
    expectSame(summary.lowerQuartile, row.lower);
    expectSame(summary.median, row.median);
    expectSame(summary.upperQuartile, row.upper);
  }
  // Means of 2 and 3 cases with their limits: 4.303 and 12.706 are the t quantiles of 2 and 1
  // degrees of freedom.
  std::vector<double> values{1, 2, 3, 10, 20};
  const Breakdown breakdown = BreakDown(values, {}, std::vector<std::size_t>{3, 5});
  ASSERT_EQ(breakdown.levels.size(), 2u);
  EXPECT_NEAR(breakdown.levels[0].upperLimit, 2 + 4.302652729911275 / std::sqrt(3.0), 1e-9);
  EXPECT_NEAR(breakdown.levels[1].lowerLimit, 15 - 12.706204736174694 * 5, 1e-9);
  EXPECT_EQ(breakdown.total.cases, 5);
  EXPECT_NEAR(breakdown.total.squares, 254.8, 1e-9);
  EXPECT_EQ(breakdown.levels[1].squares, 50);
}

// Values whose sum and squares no double holds have a mean and quartiles all the same.
TEST(Descriptives, LargeValuesHaveMeans) {
  const std::vector<double> ascending = {0x1.4p1023, 0x1.8p1023, 0x1.8p1023, 0x1.cp1023};
  const std::vector<std::size_t> ends = {2, 4};
  for (const std::vector<double>& weights : {std::vector<double>{}, {1, 1, 1, 1}}) {
    for (const bool quartiles : {false, true}) {
      std::vector<double> values = ascending;
      SummaryOptions options;
      options.quartiles = options.ascending = quartiles;
      const Breakdown breakdown = BreakDown(values, weights, ends, options);
      EXPECT_EQ(breakdown.total.mean, 0x1.8p1023);
      EXPECT_EQ(breakdown.levels[0].mean, 0x1.6p1023);
      EXPECT_EQ(breakdown.levels[1].mean, 0x1.ap1023);
      EXPECT_FALSE(std::isfinite(breakdown.total.variance));
      if (!quartiles) continue;
      EXPECT_EQ(breakdown.total.lowerQuartile, 0x1.6p1023);
      EXPECT_EQ(breakdown.total.upperQuartile, 0x1.ap1023);
    }
  }
  std::vector<double> symmetric = {-0x1.8p1023, -0x1.8p1023, 0x1.8p1023, 0x1.8p1023};
  EXPECT_EQ(Summarize(symmetric, {}, {}).mean, 0);
}

TEST(Descriptives, RangesAreBrokenDownAsEachOfThemAlone) {
  Random random(4);
  std::vector<double> values;
  std::vector<std::size_t> ends;
  for (const int length : {0, 1, 700, 0, 3, 40}) {
    for (int i = 0; i < length; ++i) values.push_back(length == 3 ? 0.1 : 1e6 + random.Normal());
    ends.push_back(values.size());
  }
  const std::vector<double> kept = values;
  const auto expectSame = [&](const Summary& found, std::size_t begin, std::size_t end,
                              const SummaryOptions& options) {
    SCOPED_TRACE(end - begin);
    std::vector<double> own(kept.begin() + static_cast<std::ptrdiff_t>(begin),
                            kept.begin() + static_cast<std::ptrdiff_t>(end));
    const Summary alone = Summarize(own, {}, options);
    EXPECT_EQ(found.cases, alone.cases);
    EXPECT_EQ(found.squares, alone.squares);
    for (const auto member :
         {&Summary::mean, &Summary::minimum, &Summary::maximum, &Summary::standardDeviation,
          &Summary::lowerLimit, &Summary::upperLimit, &Summary::lowerQuartile, &Summary::median}) {
      EXPECT_TRUE(found.*member == alone.*member || (std::isnan(found.*member) && std::isnan(alone.*member)));
    }
  };
  for (const bool quartiles : {false, true}) {
    SummaryOptions options;
    options.quartiles = quartiles;
    values = kept;
    const Breakdown breakdown = BreakDown(values, {}, ends, options);
    for (std::size_t level = 0; level < ends.size(); ++level)
      expectSame(breakdown.levels[level], level > 0 ? ends[level - 1] : 0, ends[level], options);
    expectSame(breakdown.total, 0, kept.size(), options);
  }
}

TEST(Descriptives, SharesOfSquaresHaveNoUnit) {
  Random random(12);
  std::vector<double> values, weights;
  std::vector<std::size_t> ends;
  for (const int length : {0, 1, 200, 3, 50}) {
    for (int i = 0; i < length; ++i) {
      values.push_back(length + random.Normal());
      weights.push_back(0.5 + random.Uniform());
    }
    ends.push_back(values.size());
  }
  for (const bool weighted : {false, true}) {
    const std::span<const double> used =
        weighted ? std::span<const double>(weights) : std::span<const double>();
    std::vector<double> copy = values;
    const Breakdown breakdown = BreakDown(copy, used, ends);
    const std::vector<double> shares = WithinShares(values, used, ends);
    ASSERT_EQ(shares.size(), ends.size());
    for (std::size_t level = 0; level < ends.size(); ++level)
      EXPECT_NEAR(shares[level], breakdown.levels[level].squares / breakdown.total.squares, 1e-13) << level;
    for (const double unit : {0x1p-1000, 0x1p-540, 0x1p520, 0x1p1010}) {
      std::vector<double> scaled = values, scaledWeights = weights;
      for (double& value : scaled) value *= unit;
      for (double& weight : scaledWeights) weight *= unit;
      EXPECT_EQ(WithinShares(scaled, weighted ? std::span<const double>(scaledWeights) : used, ends), shares)
          << unit;
    }
  }
  const std::vector<double> equal(7, 3e200);
  for (const double share : WithinShares(equal, {}, std::vector<std::size_t>{3, 7}))
    EXPECT_TRUE(std::isnan(share));
}

TEST(Ranks, AverageOverTiesAndCountFrequencies) {
  const std::vector<double> column{5, kMissing, 1, 5, -0.0, 0.0, 5, 2};
  const std::vector<std::uint8_t> ranked{1, 0, 1, 1, 1, 1, 1, 0};
  const CaseRanks plain(OrderOf(column), ranked, {});
  // A weight of 2 or 3 ranks as the case written 2 or 3 times: 0 0 0 1 1 1 5 5 5 5.
  const CaseRanks weighted(OrderOf(column), ranked, std::vector<double>{2, 9, 3, 1, 2, 1, 1, 9});
  const double expected[][2] = {{5, 8.5}, {0, 0}, {3, 5}, {5, 8.5}, {1.5, 2}, {1.5, 2}, {5, 8.5}};
  for (const std::size_t i : {0, 2, 3, 4, 5, 6}) {
    EXPECT_EQ(plain[i], expected[i][0]) << i;
    EXPECT_EQ(weighted[i], expected[i][1]) << i;
  }
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
