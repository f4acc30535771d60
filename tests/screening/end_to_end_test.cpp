// Whole screening runs of the loaded module in a session of the workbench, against figures that
// this file works out by itself from the cases.
#include <gmock/gmock.h>

#include <cmath>
#include <ctime>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <span>

#include "tests/screening/screening_session.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kBinary = vlm::kBinaryResponse;
constexpr int kContinuous = vlm::kContinuousResponse;
constexpr int kCategorical = vlm::kCategoricalResponse;

// The bin of a value by ascending cut points.
int BinOf(const std::vector<double>& cuts, double x) {
  int bin = 0;
  for (const double cut : cuts) bin += x > cut ? 1 : 0;
  return bin;
}

// Pearson's chi-square of a table of counts.
double ChiSquare(const std::vector<std::vector<double>>& counts) {
  double total = 0;
  std::vector<double> columns(counts[0].size());
  for (const auto& row : counts) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      columns[c] += row[c];
      total += row[c];
    }
  }
  double chiSquare = 0;
  for (const auto& row : counts) {
    const double rowTotal = std::accumulate(row.begin(), row.end(), 0.0);
    for (std::size_t c = 0; c < row.size(); ++c) {
      const double expected = rowTotal * columns[c] / total;
      if (expected > 0) chiSquare += (row[c] - expected) * (row[c] - expected) / expected;
    }
  }
  return chiSquare;
}

struct BinaryFigures {
  double informationValue = 0, giniBefore = 0, giniAfter = 0, chiSquare = 0, cramersV = 0;
};

double Gini(const std::map<double, std::pair<double, double>>& groups, double total) {
  double sum = 0;
  for (const auto& [key, counts] : groups) {
    const double n = counts.first + counts.second;
    sum += 2 * counts.first / n * counts.second / n * n / total;
  }
  return sum;
}

// bins[i]: bin of each case; bad[i]; weights.
BinaryFigures BinaryReference(std::span<const double> x, const std::vector<int>& bins,
                              const std::vector<bool>& bad, int binCount) {
  BinaryFigures figures;
  std::vector<std::vector<double>> counts(static_cast<std::size_t>(binCount), {0, 0});
  std::map<double, std::pair<double, double>> byValue, byBin;
  double totalBad = 0, totalGood = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    counts[static_cast<std::size_t>(bins[i])][bad[i] ? 0 : 1] += 1;
    (bad[i] ? byValue[x[i]].first : byValue[x[i]].second) += 1;
    (bad[i] ? byBin[bins[i]].first : byBin[bins[i]].second) += 1;
    (bad[i] ? totalBad : totalGood) += 1;
  }
  for (const auto& row : counts) {
    if (row[0] == 0 || row[1] == 0) continue;
    const double badShare = row[0] / totalBad, goodShare = row[1] / totalGood;
    figures.informationValue += (goodShare - badShare) * std::log(goodShare / badShare);
  }
  const double total = totalBad + totalGood;
  figures.giniBefore = Gini(byValue, total);
  figures.giniAfter = Gini(byBin, total);
  figures.chiSquare = ChiSquare(counts);
  figures.cramersV = std::sqrt(figures.chiSquare / total);
  return figures;
}

// A response that follows x in steps, with ties, a categorical predictor and noise.
Table Generated(std::size_t cases) {
  std::mt19937_64 random(7);
  std::normal_distribution<double> normal;
  std::vector<double> x, steps, level, noise, risk, amount, kind;
  for (std::size_t i = 0; i < cases; ++i) {
    x.push_back(normal(random));
    steps.push_back(std::floor(4 * x.back()) / 4);
    level.push_back(1 + std::floor(5 * std::generate_canonical<double, 53>(random)));
    noise.push_back(normal(random));
    const double signal = (x.back() > 0.3 ? 1.2 : x.back() < -0.7 ? -1.0 : 0) + (level.back() > 3 ? 0.8 : 0);
    risk.push_back(signal + normal(random) > 0.4 ? 1 : 0);
    amount.push_back(10 * signal + 5 * normal(random));
    kind.push_back(amount.back() > 8 ? 3 : amount.back() > 0 ? 2 : 1);
  }
  return MakeTable({MakeColumn("risk", risk, {{0, "bad"}, {1, "good"}}), MakeColumn("amount", amount),
                    MakeColumn("kind", kind), MakeColumn("x", x), MakeColumn("steps", steps),
                    MakeColumn("level", level, {{1, "a"}, {2, "b"}, {3, "c"}, {4, "d"}, {5, "e"}}),
                    MakeColumn("noise", noise)});
}

constexpr double kTight = 1e-9;

TEST(Screening, BinaryFiguresFollowFromTheCutPoints) {
  Table table = Generated(3000);
  const std::vector<Column> columns = table.columns;
  ScreeningSession run(std::move(table));
  ASSERT_TRUE(run.Run(
      {.binaryResponse = "1", .categorical = "6", .continuous = "4 5 7", .good = "good", .bad = "bad"}));
  std::vector<bool> bad;
  for (const double code : columns[0].values) bad.push_back(code == 0);
  for (int index = 0; index < 4; ++index) {
    const vlm::ScreeningPredictor p = run.Predictor(kBinary, index);
    const ColumnValues& x = columns[static_cast<std::size_t>(p.predictorNumber - 1)].values;
    SCOPED_TRACE(columns[static_cast<std::size_t>(p.predictorNumber - 1)].name);
    std::vector<int> bins;
    if (p.categorical) {
      const std::map<double, int> binOf = run.Levels(kBinary, index);
      EXPECT_EQ(binOf.size(), 5u);
      for (const double value : x) bins.push_back(binOf.at(value));
    } else {
      const std::vector<double> cuts = run.CutPoints(kBinary, index);
      ASSERT_FALSE(cuts.empty());
      for (const double value : x) bins.push_back(BinOf(cuts, value));
    }
    const BinaryFigures want = BinaryReference(x, bins, bad, p.binCount);
    // Totals of four digits are in full in the formulas.
    EXPECT_NEAR(p.informationValue, want.informationValue, kTight);
    EXPECT_NEAR(p.giniBefore, want.giniBefore, kTight);
    EXPECT_NEAR(p.giniAfter, want.giniAfter, kTight);
    EXPECT_NEAR(p.chiSquare, want.chiSquare, kTight * want.chiSquare);
    EXPECT_NEAR(p.cramersV, want.cramersV, kTight);
    double badSum = 0, percentSum = 0, valueSum = 0;
    for (int bin = 0; bin < p.binCount; ++bin) {
      const vlm::ScreeningBin row = run.Bin(kBinary, index, bin);
      const auto cases = std::count(bins.begin(), bins.end(), bin);
      EXPECT_EQ(row.total, static_cast<double>(cases));
      EXPECT_NEAR(row.badRateRow, row.bad / row.total, kTight);
      EXPECT_NEAR(row.odds, row.good / row.bad, kTight * row.odds);
      badSum += row.badRateColumn;
      percentSum += row.percentValidN;
      valueSum += row.informationValue;
    }
    EXPECT_NEAR(badSum, 1, kTight);
    EXPECT_NEAR(percentSum, 100, kTight);
    EXPECT_NEAR(valueSum, p.informationValue, kTight);
    EXPECT_EQ(p.validN, 3000);
  }
}

TEST(Screening, ContinuousAndCategoricalFiguresFollowFromTheBins) {
  Table table = Generated(2000);
  const std::vector<Column> columns = table.columns;
  ScreeningSession run(std::move(table));
  ASSERT_TRUE(run.Run({.continuousResponse = "2", .categoricalResponse = "3", .continuous = "4 5"}));
  const ColumnValues& y = columns[1].values;
  for (int index = 0; index < 2; ++index) {
    const ColumnValues& x = columns[static_cast<std::size_t>(3 + index)].values;
    const std::vector<double> cuts = run.CutPoints(kContinuous, index);
    const auto k = cuts.size() + 1;
    std::vector<double> n(k), sum(k);
    double all = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
      const auto bin = static_cast<std::size_t>(BinOf(cuts, x[i]));
      n[bin] += 1;
      sum[bin] += y[i];
      all += y[i];
    }
    double within = 0, total = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
      const auto bin = static_cast<std::size_t>(BinOf(cuts, x[i]));
      within += std::pow(y[i] - sum[bin] / n[bin], 2);
      total += std::pow(y[i] - all / static_cast<double>(y.size()), 2);
    }
    const vlm::ScreeningPredictor p = run.Predictor(kContinuous, index);
    EXPECT_NEAR(p.rSquared, 1 - within / total, kTight);
    const double f =
        (total - within) / static_cast<double>(k - 1) / (within / static_cast<double>(y.size() - k));
    EXPECT_NEAR(p.fStatistic, f, kTight * f);
    EXPECT_NEAR(p.totalSumOfSquares, total, kTight * total);
    EXPECT_GT(p.rSquaredRanks, 0.1);

    const std::vector<double> classCuts = run.CutPoints(kCategorical, index);
    std::vector<std::vector<double>> counts(classCuts.size() + 1, {0, 0, 0});
    for (std::size_t i = 0; i < y.size(); ++i) {
      counts[static_cast<std::size_t>(BinOf(classCuts, x[i]))]
            [static_cast<std::size_t>(columns[2].values[i]) - 1] += 1;
    }
    const vlm::ScreeningPredictor q = run.Predictor(kCategorical, index);
    const double chiSquare = ChiSquare(counts);
    EXPECT_NEAR(q.chiSquare, chiSquare, kTight * chiSquare);
    EXPECT_NEAR(q.cramersV, std::sqrt(chiSquare / 2000 / 2), kTight);
    for (std::size_t bin = 0; bin < counts.size(); ++bin) {
      double seen[3] = {};
      run.Results()->GetClassCounts(kCategorical, index, static_cast<int>(bin), seen);
      EXPECT_THAT(counts[bin], ElementsAre(seen[0], seen[1], seen[2]));
    }
  }
}

// Figures of german_credit.csv made with NumPy from the cut points 15.5 and 31.5 months.
TEST(Screening, KnownFiguresOfCreditData) {
  Table table = ReadTable(SourceDir() + "/samples/german_credit.csv");
  const auto numberOf = [&](const std::string& name) {
    for (int i = 1; i <= table.VariableCount(); ++i) {
      if (table.Variable(i).name == name) return i;
    }
    return 0;
  };
  const int risk = numberOf("risk"), duration = numberOf("duration_months"),
            checking = numberOf("checking_account");
  ScreeningSession run(std::move(table));
  run.session.AnalysisSettings().userBins[duration].cutPoints = {31.5, 15.5, 900};
  ASSERT_TRUE(run.Run({.binaryResponse = std::to_string(risk),
                       .categorical = std::to_string(checking),
                       .continuous = std::to_string(duration),
                       .good = "good",
                       .bad = "bad",
                       .flags = {"SortByInfoValue"}}));
  EXPECT_THAT(run.CutPoints(kBinary, 1), ElementsAre(15.5, 31.5));
  EXPECT_THAT(run.Labels(kBinary, 1), ElementsAre("(-Inf, 15.5]", "(15.5, 31.5]", "(31.5, Inf)"));
  EXPECT_THAT(run.frontend.notices, ElementsAre(HasSubstr("900")));
  const vlm::ScreeningPredictor p = run.Predictor(kBinary, 1);
  EXPECT_NEAR(p.informationValue, 0.2139727969808633, kTight);
  EXPECT_NEAR(p.giniBefore, 0.38686748664097026, kTight);
  EXPECT_NEAR(p.giniAfter, 0.4008545262449746, kTight);
  EXPECT_NEAR(p.chiSquare, 45.58446132148908, 1e-7);
  EXPECT_NEAR(p.chiSquareP / 1.2631647385630617e-10, 1, 1e-9);  // small ones keep their digits
  EXPECT_EQ(p.minimum, 4);
  EXPECT_EQ(p.maximum, 72);
  EXPECT_THAT(run.Order(kBinary), ElementsAre("checking_account", "duration_months"));
}

// Choosing the levels, growing the tree, applying it, reading it all back and writing the rules.
TEST(Screening, LevelsCostTheirNumberNotItsSquare) {
  const auto processorTime = [](int levelCount) {
    std::vector<double> level, amount;
    std::vector<ValueLabel> labels;
    for (int i = 0; i < levelCount; ++i) {
      level.push_back(i + 1);
      labels.push_back({static_cast<double>(i + 1), "level " + std::to_string(i + 1)});
      amount.push_back(i % 2 == 0 ? i : -i);
    }
    Table table = MakeTable({MakeColumn("amount", amount), MakeColumn("level", level, labels)});
    table.columns[1].fromText = true;
    ScreeningSession run(std::move(table));
    const std::clock_t start = std::clock();
    EXPECT_TRUE(run.Run({.continuousResponse = "1", .categorical = "2"}));
    EXPECT_EQ(run.Levels(kContinuous, 0).size(), static_cast<std::size_t>(levelCount));
    const std::vector<std::string> binLabels = run.Labels(kContinuous, 0);
    EXPECT_EQ(std::set<std::string>(binLabels.begin(), binLabels.end()).size(), binLabels.size());
    for (const std::string& label : binLabels) EXPECT_THAT(label, HasSubstr(" more")) << label.size();
    run.session.ResultsDialog().Put("NumberOfPredictorsToSave", 1);
    EXPECT_TRUE(run.session.ResultsDialog().GetObject("RulesReport"));
    return static_cast<double>(std::clock() - start);
  };
  // Eight times the levels: about 9 times the time, or 64 times.
  EXPECT_LT(processorTime(160'000), 25 * processorTime(20'000));
}

}  // namespace
}  // namespace velmora::testing
