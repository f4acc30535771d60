// Users' data and settings: locales, labels, selections, weights, codes, extreme values, and
// refusals.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/tolerant.h"
#include "tests/screening/screening_session.h"
#include "workbench/data/errors.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int kBinary = vlm::kBinaryResponse;
constexpr int kContinuous = vlm::kContinuousResponse;

// 12 cases: a response of 0 and 1, a predictor that rises with it.
Table Twelve(std::vector<double> predictor,
             std::vector<double> response = {0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 1}) {
  return MakeTable({MakeColumn("flag", std::move(response)), MakeColumn("x", std::move(predictor))});
}

const std::vector<double> kRising = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

TEST(ScreeningLabels, FollowTheLocaleAndTheNeighbours) {
  struct Row {
    const char* name;
    const char* decimal;
    std::vector<double> x, cuts;
    std::vector<std::string> labels;
  };
  const double base = 1;
  const std::vector<double> close = {1, 1, 1, 1, 1 + 2e-7, 1 + 2e-7, 1 + 2e-7, 1 + 2e-7, 2, 2, 2, 2};
  const double next = base + 0x1p-47;  // 32 units in the last place apart: different values
  const Row rows[] = {
      {"point", ".", kRising, {2.5, 8}, {"(-Inf, 2.5]", "(2.5, 8]", "(8, Inf)"}},
      {"comma", ",", kRising, {2.5, 8}, {"(-Inf; 2,5]", "(2,5; 8]", "(8; Inf)"}},
      {"alike with six digits",
       ".",
       close,
       {1.0000001, 1.0000003},
       {"(-Inf, 1.000000100000000e+00]", "(1.000000100000000e+00, 1.000000300000000e+00]",
        "(1.000000300000000e+00, Inf)"}},
      {"alike in %g, not in %e",
       ".",
       {1234565, 1234565, 1234565, 1234567, 1234567, 1234567, 1234569, 1234569, 1234569, 1234569, 1234569,
        1234569},
       {1234566, 1234568},
       {"(-Inf, 1.234566e+06]", "(1.234566e+06, 1.234568e+06]", "(1.234568e+06, Inf)"}},
      {"neighbouring doubles",
       ".",
       {base, base, base, base, next, next, next, next, 2, 2, 2, 2},
       {base + 0x1p-48, next},
       {"(-Inf, 1.000000000000004e+00]", "(1.000000000000004e+00, 1.000000000000007e+00]",
        "(1.000000000000007e+00, Inf)"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScreeningSession run(Twelve(row.x), row.decimal);
    run.session.AnalysisSettings().userBins[2].cutPoints = row.cuts;
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
    EXPECT_EQ(run.Labels(kBinary, 0), row.labels);
    // Every case is in the bin of its value.
    for (int bin = 0; bin < 3; ++bin) EXPECT_GT(run.Bin(kBinary, 0, bin).total, 0);
  }
}

TEST(ScreeningStatistics, ABinWithoutOneCodeAddsNothingToTheInformationValue) {
  ScreeningSession run(Twelve(kRising, {0, 0, 0, 0, 1, 0, 1, 0, 1, 1, 0, 1}));
  run.session.AnalysisSettings().userBins[2].cutPoints = {4.5, 8.5};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  const vlm::ScreeningBin empty = run.Bin(kBinary, 0, 0);
  EXPECT_EQ(empty.good, 0);
  EXPECT_EQ(empty.woe, vlm::kMissingValue);
  EXPECT_EQ(empty.informationValue, vlm::kMissingValue);
  EXPECT_EQ(empty.gini, 0);
  const double want = (2.0 / 5 - 2.0 / 7) * std::log((2.0 / 5) / (2.0 / 7)) +
                      (3.0 / 5 - 1.0 / 7) * std::log((3.0 / 5) / (1.0 / 7));
  EXPECT_NEAR(run.Predictor(kBinary, 0).informationValue, want, 1e-12);
}

TEST(ScreeningStatistics, ConstantLevelsLeaveNoError) {
  ScreeningSession run(Twelve(kRising, {1, 1, 1, 1, 1, 1, 4, 4, 4, 4, 4, 4}));
  ASSERT_TRUE(run.Run({.continuousResponse = "1", .continuous = "2"}));
  const vlm::ScreeningPredictor p = run.Predictor(kContinuous, 0);
  EXPECT_EQ(p.rSquared, 1);
  EXPECT_EQ(p.fStatistic, vlm::kMissingValue);
  // The importance table leaves that F out.
  run.session.ResultsDialog().Get("Summary");
  const auto& documents = run.session.Documents().Documents();
  ASSERT_FALSE(documents.empty());
  const Sheet& sheet = *documents.back().AsSheet();
  EXPECT_EQ(sheet.Title(), "Importance: flag");
  EXPECT_EQ(sheet.Cell(1, 1), 1);
  EXPECT_TRUE(IsEmptyCell(sheet.Cell(1, 2)));
  EXPECT_EQ(sheet.Cell(1, 3), 2);
}

// Rows of unique values: neighbours within 15 doubles share one, over the blocks in which cases are
// read, too.
TEST(ScreeningStatistics, GiniBeforeTellsValuesApartByTheTolerance) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kLargest = std::numeric_limits<double>::max();
  std::vector<double> x{-kInfinity,  -kLargest, -0.0,     0.0,       5e-324 * 15,
                        5e-324 * 31, kLargest,  kLargest, kInfinity, kInfinity};
  double value = 1;
  for (int i = 0; i < 5000; ++i) {  // steps of 0 to 29 doubles
    for (int step = i * 7919 % 30; step > 0; --step) value = std::nextafter(value, 2);
    x.push_back(value);
  }
  std::sort(x.begin(), x.end());
  std::vector<double> flag;
  for (std::size_t i = 0; i < x.size(); ++i) flag.push_back(i * 7 % 5 < 2 ? 1 : 0);

  double expected = 0;
  for (std::size_t first = 0; first < x.size();) {
    std::size_t end = first + 1;
    while (end < x.size() && (x[end] == x[end - 1] || vlm::NearlyEqual(x[end], x[end - 1]))) ++end;
    double bad = 0;
    for (std::size_t i = first; i < end; ++i) bad += 1 - flag[i];
    const double n = static_cast<double>(end - first), p = bad / n;
    expected += 2 * p * (1 - p) * n / static_cast<double>(x.size());
    first = end;
  }
  ScreeningSession run(MakeTable({MakeColumn("flag", flag), MakeColumn("x", x)}));
  run.session.AnalysisSettings().userBins[2].cutPoints = {0.5};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  EXPECT_NEAR(run.Predictor(kBinary, 0).giniBefore, expected, 1e-12);
}

// For any number of sorted predictors kept for further responses, with missing values or without.
TEST(ScreeningData, KeptOrdersChangeNoFigure) {
  constexpr std::size_t kCases = 400;
  std::vector<Column> columns{MakeColumn("flag", {}), MakeColumn("amount", {}), MakeColumn("kind", {})};
  for (int p = 0; p < 5; ++p) columns.push_back(MakeColumn("x" + std::to_string(p), {}));
  for (std::size_t i = 0; i < kCases; ++i) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const double noise = static_cast<double>((i * 7919 + c * 104729) % 1009) / 1009;
      const double trend = static_cast<double>(i) / kCases;
      double value = noise + trend;
      if (c == 0 || c == 2) value = std::floor(value * (c == 0 ? 1 : 1.5));
      if ((c == 1 && i % 50 == 7) || (c == 4 && i % 30 == 5)) value = kMissing;
      columns[c].values.Own().push_back(c == 0 ? std::min(value, 1.0) : value);
    }
  }
  const Wanted wanted{.continuousResponse = "2",
                      .categoricalResponse = "3",
                      .binaryResponse = "1",
                      .continuous = "4 5 6 7 8"};
  const auto figures = [&](std::size_t keptBytes) {
    ScreeningSession run(MakeTable(columns));
    run.session.AnalysisSettings().orderCacheBytes = keptBytes;
    std::vector<double> found;
    for (int go = 0; go < 2; ++go) {
      EXPECT_TRUE(run.Run(wanted));
      for (int response = 0; response < vlm::kResponseKindCount; ++response) {
        for (int p = 0; p < 5; ++p) {
          const vlm::ScreeningPredictor one = run.Predictor(response, p);
          found.insert(found.end(), {one.informationValue, one.giniBefore, one.chiSquare, one.rSquared,
                                     one.rSquaredRanks, one.mean, static_cast<double>(one.validN)});
        }
      }
      run.session.SelectCases("", "");  // the cache is cleared, its memory used again
    }
    return found;
  };
  const std::vector<double> all = figures(std::size_t{1} << 20);
  for (const std::size_t keptBytes : {std::size_t{0}, kCases * 8 + 4, kCases * 20}) {
    EXPECT_EQ(figures(keptBytes), all) << keptBytes;
  }
}

TEST(ScreeningSelection, TreesSeeWhatTheUserExcludesAndStatisticsDoNot) {
  Table table = Twelve(kRising);
  table.columns.push_back(MakeColumn("part", {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2}));
  {
    ScreeningSession run(table);
    run.session.SelectCases("part < 3", "part = 2");
    run.session.AnalysisSettings().userBins[2].cutPoints = {4.5, 10.5};
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
    EXPECT_THAT(run.frontend.notices, ElementsAre(HasSubstr("exclusion")));
    // The bin above 10.5 comes from excluded cases alone.
    EXPECT_THAT(run.CutPoints(kBinary, 0), ElementsAre(4.5, 10.5));
    EXPECT_EQ(run.Bin(kBinary, 0, 1).total, 6);
    EXPECT_EQ(run.Bin(kBinary, 0, 2).total, 0);
    EXPECT_EQ(run.Bin(kBinary, 0, 3).total, 10);
    EXPECT_EQ(run.Predictor(kBinary, 0).maximum, 10);
  }
  {
    ScreeningSession run(std::move(table));
    run.session.SelectCases("part = 1", "");
    run.session.AnalysisSettings().userBins[2].cutPoints = {4.5, 10.5};
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
    EXPECT_THAT(run.CutPoints(kBinary, 0), ElementsAre(4.5));
  }
}

// 120 cases: part 1 or 2 by halves; predictors 3.. with values in part 1, in both, or in both but
// in one bin of part 2.
Table InTwoParts() {
  std::vector<double> flag, part, a, b, c, amount, kind;
  for (int i = 0; i < 120; ++i) {
    const bool second = i >= 60;
    part.push_back(second ? 2 : 1);
    flag.push_back(i % 7 < 3 || (second && i % 5 == 0) ? 1 : 0);
    amount.push_back(10 + i % 13 + 3 * (i % 7));
    kind.push_back(1 + (i % 7 + i % 2) % 3);
    a.push_back(second ? kMissing : i % 7);
    b.push_back(i % 7 + 0.1 * (i % 3));
    c.push_back(second ? 100 + i % 9 : i % 7);
  }
  return MakeTable({MakeColumn("flag", flag), MakeColumn("amount", amount), MakeColumn("kind", kind),
                    MakeColumn("part", part), MakeColumn("a", a), MakeColumn("b", b), MakeColumn("c", c)});
}

TEST(ScreeningSelection, PredictorsWithoutCasesOrWithOneBinFailInsteadOfLeading) {
  ScreeningSession run(InTwoParts());
  run.session.SelectCases("", "part = 1");
  run.session.AnalysisSettings().userBins[7].cutPoints = {50};
  ASSERT_TRUE(run.Run(
      {.continuousResponse = "2", .categoricalResponse = "3", .binaryResponse = "1", .continuous = "5 6 7"}));
  for (int kind = 0; kind < vlm::kResponseKindCount; ++kind) {
    SCOPED_TRACE(kind);
    EXPECT_THAT(run.Order(kind), ElementsAre("b"));
    EXPECT_THAT(run.FailedReasons(kind),
                ElementsAre("a: No selected case has a value of the predictor and of the response.",
                            "c: All selected cases with a value of the predictor are in one bin."));
  }
}

TEST(ScreeningSelection, PredictorsOfAConstantResponseFail) {
  Table table = InTwoParts();
  for (const std::size_t response : {0, 1, 2}) {
    for (std::size_t i = 60; i < 120; ++i)
      if (i % 2 == 0) table.columns[response].values.Own()[i] = 1;
  }
  for (std::size_t i = 61; i < 120; i += 2) table.columns[5].values.Own()[i] = kMissing;
  ScreeningSession run(std::move(table));
  run.session.SelectCases("", "part = 1");
  ASSERT_TRUE(run.Run(
      {.continuousResponse = "2", .categoricalResponse = "3", .binaryResponse = "1", .continuous = "6 7"}));
  for (int kind = 0; kind < vlm::kResponseKindCount; ++kind) {
    SCOPED_TRACE(kind);
    EXPECT_THAT(run.FailedReasons(kind),
                ::testing::Contains(
                    "b: The response is constant over the selected cases with a value of the predictor."));
  }
}

TEST(ScreeningLabels, OfDifferentBinsDiffer) {
  struct Row {
    const char* name;
    std::vector<ValueLabel> labels;
    std::vector<std::string> expected;
  };
  for (const Row& row :
       {Row{"a label reads like a list", {{1, "e"}, {2, "f"}, {3, "e, f"}}, {"e, f", "e, f (2)"}},
        {"a list but for a line break", {{1, "e"}, {2, "f"}, {3, "e,\nf"}}, {"e, f", "e, f (2)"}},
        {"two codes of one label", {{1, "x"}, {2, "y"}, {3, "x"}}, {"x, y", "x"}},
        {"a label is another code", {{1, "3"}}, {"3, 2", "3"}},
        {"80 characters", {{1, std::string(77, 'a')}, {2, "b"}}, {std::string(77, 'a') + ", b", "3"}},
        {"more than 80 characters",
         {{1, std::string(78, 'a')}, {2, "b"}, {3, std::string(90, 'a')}},
         {"1: " + std::string(60, 'a') + "...", "2: " + std::string(60, 'a') + "..."}}}) {
    SCOPED_TRACE(row.name);
    Table table = Twelve({1, 1, 2, 3, 1, 2, 3, 3, 2, 3, 3, 3});
    table.columns[1].labels = row.labels;
    ScreeningSession run(std::move(table));
    run.session.AnalysisSettings().userBins[2].groups = {{1, 2}, {3}};
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .categorical = "2"}));
    EXPECT_EQ(run.Labels(kBinary, 0), row.expected);
  }
}

// Values that differ by rounding alone are one value in the tree, in the tables and in coded
// variables.
TEST(ScreeningData, ValuesWithinTheToleranceAreOneValueEverywhere) {
  const std::vector<double> values = {0.1, 0.2, 0.1 * 3, 0.3, 0.1 * 3, 0.4, 0.5, 0.1 * 6, 0.6, 0.1 * 7, 0.7};
  std::vector<double> x, flag, amount;
  for (int i = 0; i < 660; ++i) {
    x.push_back(values[static_cast<std::size_t>(i) % values.size()]);
    flag.push_back(
        // Separates 0.3 from 0.1 * 3.
        (i * 37 % 101 < 50) == (x.back() < 0.3 || x.back() == 0.6) ? 1 : 0);
    amount.push_back(flag.back() * 5 + i % 17);
  }
  ScreeningSession run(
      MakeTable({MakeColumn("flag", flag), MakeColumn("amount", amount), MakeColumn("x", x)}));
  ASSERT_TRUE(run.Run({.continuousResponse = "2", .binaryResponse = "1", .continuous = "3"}));
  for (const int kind : {kBinary, kContinuous}) {
    const std::vector<double> cuts = run.CutPoints(kind, 0);
    std::vector<double> expected(cuts.size() + 1);
    for (const double value : x) {
      std::size_t bin = 0;
      while (bin < cuts.size() && vlm::GreaterBeyondTolerance(value, cuts[bin])) ++bin;
      ++expected[bin];
    }
    for (std::size_t bin = 0; bin < expected.size(); ++bin)
      EXPECT_EQ(run.Bin(kind, 0, static_cast<int>(bin)).total, expected[bin]) << bin;
  }
  const vlm::ScreeningPredictor predictor = run.Predictor(kBinary, 0);
  EXPECT_LE(predictor.giniBefore, predictor.giniAfter);  // bins are unions of values
}

TEST(ScreeningStatistics, RSquaredHasNoUnit) {
  Table table = InTwoParts();
  std::vector<double> weights;
  for (int i = 0; i < 120; ++i) weights.push_back(1 + i % 4);
  table.columns.push_back(MakeColumn("w", weights));
  const auto figures = [&](double responseUnit, double weightUnit) {
    Table scaled = table;
    for (double& value : scaled.columns[1].values.Own()) value *= responseUnit;
    for (double& value : scaled.columns[7].values.Own()) value *= weightUnit;
    ScreeningSession run(std::move(scaled));
    run.session.WeightBy(8);
    EXPECT_TRUE(run.Run({.continuousResponse = "2", .continuous = "6 7"}));
    return std::pair(run.Predictor(kContinuous, 0), run.Predictor(kContinuous, 1));
  };
  const auto [b, c] = figures(1, 1);
  EXPECT_GT(b.fStatistic, 1);
  for (const double unit : {1e-6, 1.0 / 120, 0.02, 7.0, 1e9}) {
    SCOPED_TRACE(unit);
    const auto [weightedB, weightedC] = figures(1, unit);
    EXPECT_NEAR(weightedB.rSquared, b.rSquared, 1e-12);
    EXPECT_NEAR(weightedC.rSquared, c.rSquared, 1e-12);
    EXPECT_NEAR(weightedB.rSquaredRanks, b.rSquaredRanks, 1e-12);
    EXPECT_GE(weightedB.fStatistic, 0);  // not computable where no degrees of freedom are left
    EXPECT_EQ(weightedB.nodeCount, b.nodeCount);
  }
  for (const double unit : {1e-300, 1e-165, 1e155, 1e300}) {
    SCOPED_TRACE(unit);
    const auto [scaledB, scaledC] = figures(unit, 1);
    EXPECT_NEAR(scaledB.rSquared, b.rSquared, 1e-12);
    EXPECT_NEAR(scaledC.rSquaredRanks, c.rSquaredRanks, 1e-12);
    EXPECT_NEAR(scaledB.fStatistic / b.fStatistic, 1, 1e-9);
  }
}

// A frequency weight of 3 is the case written three times, in every figure.
TEST(ScreeningWeights, FrequenciesAreCasesWrittenOut) {
  Table table = InTwoParts();
  Table longTable = table;
  for (Column& column : longTable.columns) column.values = {};
  std::vector<double> weights;
  for (std::size_t i = 0; i < 120; ++i) {
    weights.push_back(static_cast<double>(i * 5 % 4));
    for (int k = 0; k < weights.back(); ++k)
      for (std::size_t c = 0; c < table.columns.size(); ++c)
        longTable.columns[c].values.Own().push_back(table.columns[c].values[i]);
  }
  longTable.caseCount = static_cast<std::int64_t>(longTable.columns[0].values.size());
  table.columns.push_back(MakeColumn("w", weights));
  const Wanted wanted{.continuousResponse = "2", .continuous = "6"};
  ScreeningSession weighted(std::move(table)), written(std::move(longTable));
  weighted.session.WeightBy(8);
  for (ScreeningSession* run : {&weighted, &written}) {
    run->session.AnalysisSettings().userBins[6].cutPoints = {1.5, 3.5, 5};
    ASSERT_TRUE(run->Run(wanted));
  }
  const vlm::ScreeningPredictor a = weighted.Predictor(kContinuous, 0), b = written.Predictor(kContinuous, 0);
  EXPECT_NEAR(a.rSquared, b.rSquared, 1e-12);
  EXPECT_NEAR(a.rSquaredRanks, b.rSquaredRanks, 1e-12);
  EXPECT_NEAR(a.fStatistic, b.fStatistic, 1e-9);
  EXPECT_NEAR(a.mean, b.mean, 1e-12);
}

// F is not computable where the sum of the weights leaves no degrees of freedom; the others keep
// their order.
TEST(ScreeningStatistics, NotComputableComesLast) {
  std::vector<Column> columns{MakeColumn("y", {}), MakeColumn("w", {})};
  constexpr int kPredictors = 11;
  for (int p = 0; p < kPredictors; ++p) columns.push_back(MakeColumn("p" + std::to_string(p), {}));
  for (int i = 0; i < 300; ++i) {
    columns[0].values.Own().push_back(i % 10 + 0.1 * (i % 7));
    columns[1].values.Own().push_back(0.05);  // 15 in all
    for (std::size_t p = 0; p < kPredictors; ++p) {
      const double value = i % 10 + (i * 31 % 17) * 0.4 * static_cast<double>(p);
      columns[p + 2].values.Own().push_back(value);
    }
  }
  ScreeningSession run(MakeTable(std::move(columns)));
  run.session.WeightBy(2);
  for (int p = 0; p < kPredictors; ++p) {
    std::vector<double> cuts;
    for (int cut = 0; cut < (p % 3 == 0 ? 16 : 3); ++cut)
      cuts.push_back(0.5 + cut * (p % 3 == 0 ? 0.5 : 2.5));
    run.session.AnalysisSettings().userBins[p + 3].cutPoints = cuts;
  }
  ASSERT_TRUE(run.Run({.continuousResponse = "1", .continuous = "3-13", .flags = {"SortByFStatistic"}}));
  Numbers order;
  run.Results()->GetOrder(kContinuous, &order);
  std::vector<double> figures;
  int notComputable = 0;
  for (const int index : order.numbers) {
    const double f = run.Predictor(kContinuous, index).fStatistic;
    if (f == kMissing)
      ++notComputable;
    else
      EXPECT_EQ(notComputable, 0) << "a figure after one that is not computable";
    if (f != kMissing) figures.push_back(f);
  }
  EXPECT_GE(notComputable, 2);
  EXPECT_GE(figures.size(), 5u);
  EXPECT_TRUE(std::is_sorted(figures.rbegin(), figures.rend()));
}

TEST(ScreeningWeights, CountsAreWeightedAndTheUniqueValuesAreNot) {
  Table table = Twelve({1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3});
  table.columns.push_back(MakeColumn("w", {1, 1, 1, 5, 1, 1, 1, 1, 1, 1, 0, kMissing}));
  ScreeningSession run(std::move(table));
  run.session.WeightBy(3);
  run.session.AnalysisSettings().userBins[2].cutPoints = {1.5};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  const vlm::ScreeningBin first = run.Bin(kBinary, 0, 0);
  EXPECT_EQ(first.bad, 3);
  EXPECT_EQ(first.good, 5);
  EXPECT_EQ(run.Bin(kBinary, 0, 2).total, 14);
  EXPECT_EQ(run.Predictor(kBinary, 0).validN, 14);
  // Unweighted: values 1 (3 bad, 1 good), 2 (2, 2), 3 (1, 1).
  const double before = (2 * 0.75 * 0.25 * 4 + 2 * 0.25 * 4 + 2 * 0.25 * 2) / 10;
  EXPECT_NEAR(run.Predictor(kBinary, 0).giniBefore, before, 1e-12);
}

// Sums of weights beyond what the record's count can hold.
TEST(ScreeningWeights, LargeSumsKeepTheirRates) {
  Table table = Twelve(kRising);
  table.columns.push_back(MakeColumn("w", std::vector<double>(12, 1e9)));
  ScreeningSession run(std::move(table));
  run.session.WeightBy(3);
  run.session.AnalysisSettings().userBins[2].cutPoints = {3.5};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  EXPECT_DOUBLE_EQ(run.Bin(kBinary, 0, 0).percentValidN, 25);
  EXPECT_EQ(run.Predictor(kBinary, 0).validN, std::numeric_limits<int>::max());
}

TEST(ScreeningCodes, WhatIsRefusedAndWhatIsNot) {
  struct Row {
    const char* name;
    Wanted wanted;
    std::vector<std::string> messages;  // none: the run has results
  };
  const Row rows[] = {
      {"good code not in the data",
       {.binaryResponse = "1", .continuous = "2", .good = "2", .bad = "9"},
       {"The code used to specify 'Good' is not appropriate."}},
      {"bad code not in the data",
       {.binaryResponse = "1", .continuous = "2", .good = "1", .bad = "9"},
       {"The code used to specify 'Bad' is not appropriate."}},
      {"identical",
       {.binaryResponse = "1", .continuous = "2", .good = "1", .bad = "1"},
       {"Good and bad codes are identical.\nPlease select different codes."}},
      {"one factor code",
       {.binaryResponse = "1", .categorical = "3", .continuous = "2"},
       {"For at least one selected categorical predictor there are not enough distinct factor codes.\n"
        "Please review variables for appropriate values."}},
      {"codes that are not whole",
       {.binaryResponse = "4", .continuous = "2", .good = "1.5", .bad = "0.25"},
       {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Table table = Twelve(kRising);
    table.columns.push_back(MakeColumn("one", std::vector<double>(12, 3)));
    std::vector<double> halves;
    for (const double code : table.columns[0].values) halves.push_back(code == 1 ? 1.5 : 0.25);
    table.columns.push_back(MakeColumn("halves", halves));
    ScreeningSession run(std::move(table));
    run.session.AnalysisSettings().userBins[2].cutPoints = {6.5};
    EXPECT_EQ(run.Run(row.wanted), row.messages.empty());
    EXPECT_EQ(run.frontend.messages, row.messages);
    if (row.messages.empty()) {
      EXPECT_GT(run.Predictor(kBinary, 0).informationValue, 0.1);
      EXPECT_EQ(TextFrom([&](vlm::ITextSink* sink) { run.Results()->GetClassText(kBinary, 1, sink); }),
                "1.5");
    }
  }
}

// Codes decide, not their labels.
TEST(ScreeningCodes, LabelsOfSeveralCodesMixNothingUp) {
  struct Row {
    const char* name;
    std::vector<ValueLabel> labels;
    const char* goodText;
    const char* badText;
  };
  const Row rows[] = {
      {"none", {}, "1", "3"},
      {"a third code has the bad code's label", {{1, "paid"}, {2, "lost"}, {3, "lost"}}, "paid", "lost"},
      {"both codes have one label", {{1, "asked"}, {3, "asked"}}, "1", "3"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Table table = Twelve(kRising, {3, 3, 3, 1, 3, 2, 1, 1, 3, 1, 1, 1});
    table.columns[0].labels = row.labels;
    ScreeningSession run(std::move(table));
    run.session.AnalysisSettings().userBins[2].cutPoints = {6.5};
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2", .good = "1", .bad = "3"}));
    EXPECT_EQ(TextFrom([&](vlm::ITextSink* sink) { run.Results()->GetClassText(kBinary, 0, sink); }),
              row.badText);
    EXPECT_EQ(TextFrom([&](vlm::ITextSink* sink) { run.Results()->GetClassText(kBinary, 1, sink); }),
              row.goodText);
    EXPECT_EQ(run.Bin(kBinary, 0, 0).bad, 4);
    EXPECT_EQ(run.Bin(kBinary, 0, 0).good, 1);
    EXPECT_EQ(run.Bin(kBinary, 0, 1).bad, 1);
    EXPECT_EQ(run.Bin(kBinary, 0, 1).good, 5);
    // Each value occurs once, so that raw values separate the codes completely.
    EXPECT_EQ(run.Predictor(kBinary, 0).giniBefore, 0);
  }
}

TEST(ScreeningData, PredictorsThatCannotBeBinnedSayWhy) {
  Table table = Twelve(kRising);
  table.columns.push_back(MakeColumn("constant", std::vector<double>(12, 3)));
  table.columns.push_back(MakeColumn("missing", std::vector<double>(12, kMissing)));
  const double infinity = std::numeric_limits<double>::infinity();
  table.columns.push_back(MakeColumn("infinite", {-infinity, 1, 2, 3, 4, 5, 6, 7, 8, 9, infinity, infinity}));
  ScreeningSession run(std::move(table));
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2 3 4 5"}));
  EXPECT_THAT(run.FailedReasons(kBinary),
              ElementsAre("constant: No split of the predictor separates the response.",
                          "missing: There are no cases with a value of the predictor and of the response."));
  // Infinite values are values: they are in the outer bins.
  EXPECT_EQ(run.Order(kBinary).size(), 2u);
}

// Sheets made before the data changed keep their content.
TEST(ScreeningData, ResultsKeepTheDataThatTheyWereMadeFrom) {
  ScreeningSession run(Twelve(kRising));
  run.session.AnalysisSettings().userBins[2].cutPoints = {4.5};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  AutomationClient sheet = run.session.ResultsDialog().GetObject("BinaryResponseCrosstabulation");
  const double bad = sheet.Get("Value", {1, 2}).AsReal();
  run.session.SetTable(Twelve({9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}));
  EXPECT_EQ(sheet.Get("Value", {1, 2}).AsReal(), bad);
  EXPECT_EQ(run.Results(), nullptr);
}

}  // namespace
}  // namespace velmora::testing
