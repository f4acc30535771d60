// Statistics against figures from elsewhere: small tables worked by hand, and real data by sums of
// squares and expected counts in NumPy, frozen.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "module/feature_selection/feature_selection_settings.h"
#include "tests/support/paths.h"
#include "tests/support/scripted_engine_host.h"

namespace vlmfsl::testing {
namespace {

struct Score {
  double statistic;
  int notComputable;
};

enum Kind { kOneWay, kChiSquare, kCramersV };

// Scores categorical predictor x against dependent y.
Score ScoreOf(Kind kind, const std::vector<double>& y, const std::vector<double>& x,
              const std::vector<double>& weights = {}, const std::vector<double>& counts = {}) {
  ScriptedEngineHost host;
  host.AddColumn(y);
  host.AddColumn(x);
  host.AddColumn(counts.empty() ? std::vector<double>(y.size(), 1.0) : counts);
  host.weights = weights;
  FeatureSelectionSettings settings;
  EXPECT_EQ(settings.Create(&host), kOk);
  const std::vector<int> dependent{1}, predictor{2};
  EXPECT_EQ(settings.SetVariables(
                kind == kOneWay ? VariableRole::kContinuousDependent : VariableRole::kCategoricalDependent,
                dependent),
            kOk);
  EXPECT_EQ(settings.SetVariables(VariableRole::kCategoricalPredictor, predictor), kOk);
  settings.useCramersV = kind == kCramersV;
  settings.useCountVariable = 1;
  settings.countVariable = 3;
  EXPECT_EQ(RunFeatureSelection(settings), kOk);
  const Score score{settings.statistic[0], settings.notComputable[0]};
  EXPECT_EQ(settings.pValue[0] == 1.0, score.notComputable == 1);
  settings.ReleaseAll();
  return score;
}

TEST(KnownAnswers, OfSmallTables) {
  struct Row {
    const char* name;
    Kind kind;
    std::vector<double> y, x, weights, counts;
    double statistic;
    int notComputable;
  };
  const Row rows[] = {
      // Groups {1,2,3}, {4,6}, {9}: total sum of squares 42 5/6, within 4; 2 and 3 degrees of
      // freedom.
      {"one-way",
       kOneWay,
       {1, 2, 3, 4, 6, 9},
       {1, 1, 1, 2, 2, 3},
       {},
       {},
       (42.8333333333333333 - 4) / 2 / (4.0 / 3),
       0},
      {"the same weights leave F as it is",
       kOneWay,
       {1, 2, 3, 4, 6, 9},
       {1, 1, 1, 2, 2, 3},
       {5, 5, 5, 5, 5, 5},
       {},
       (42.8333333333333333 - 4) / 2 / (4.0 / 3),
       0},
      {"one group", kOneWay, {1, 2, 3}, {7, 7, 7}, {}, {}, 0, 1},
      {"no variation within", kOneWay, {1, 1, 2, 2}, {1, 1, 2, 2}, {}, {}, 0, 1},
      {"no variation between", kOneWay, {1, 3, 1, 3}, {1, 1, 2, 2}, {}, {}, 0, 1},
      // Cells 10 20 / 30 40: 100 (10 x 40 - 20 x 30)^2 / (30 x 70 x 40 x 60).
      {"2 x 2 by counts",
       kChiSquare,
       {1, 2, 1, 2},
       {1, 1, 2, 2},
       {},
       {10, 20, 30, 40},
       100 * 200.0 * 200 / 5040000,
       0},
      {"2 x 2 by weights",
       kChiSquare,
       {1, 2, 1, 2},
       {1, 1, 2, 2},
       {10, 20, 30, 40},
       {},
       100 * 200.0 * 200 / 5040000,
       0},
      {"V of the same",
       kCramersV,
       {1, 2, 1, 2},
       {1, 1, 2, 2},
       {},
       {10, 20, 30, 40},
       std::sqrt(40000.0 / 5040000),
       0},
      {"equal proportions", kChiSquare, {1, 2, 1, 2}, {1, 1, 2, 2}, {}, {10, 20, 30, 60}, 0, 1},
      // Every code its own row: a cell that never occurs counts its expected mass.
      {"empty cells", kChiSquare, {1, 2, 3, 4}, {1, 2, 3, 4}, {}, {}, 12, 0},
      {"V of full association", kCramersV, {1, 2, 3, 1, 2, 3}, {1, 2, 3, 1, 4, 5}, {}, {}, 1, 0},
  };
  for (const Row& row : rows) {
    const Score score = ScoreOf(row.kind, row.y, row.x, row.weights, row.counts);
    EXPECT_NEAR(score.statistic, row.statistic, 1e-12 * (1 + row.statistic)) << row.name;
    EXPECT_EQ(score.notComputable, row.notComputable) << row.name;
  }
}

// Columns of a comma-separated file by name; texts become codes in the order met.
std::map<std::string, std::vector<double>> ReadColumns(const std::string& file) {
  std::ifstream in(file);
  std::string line, field;
  std::vector<std::string> names;
  std::getline(in, line);
  for (std::istringstream header(line); std::getline(header, field, ',');) names.push_back(field);
  std::map<std::string, std::vector<double>> columns;
  std::map<std::string, std::map<std::string, double>> codes;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    for (const std::string& name : names) {
      std::getline(fields, field, ',');
      char* end = nullptr;
      const double value = std::strtod(field.c_str(), &end);
      auto& known = codes[name];
      columns[name].push_back(
          *end == '\0' ? value : known.try_emplace(field, static_cast<double>(known.size())).first->second);
    }
  }
  return columns;
}

TEST(KnownAnswers, OfGermanCredit) {
  auto columns = ReadColumns(SourceDir() + "/samples/german_credit.csv");
  ASSERT_EQ(columns["risk"].size(), 1000u);
  struct Row {
    const char* predictor;
    double f, chiSquare, cramersV, cutChiSquare;  // amount; risk; risk; amount cut into five
  };
  const Row rows[] = {
      {"duration_months", 89.51564513605521, 47.92000145658507, 0.21890637600715304, 461.8058806778267},
      {"age", 1.129054679003506, 12.8313065488678, 0.11327535720035405, 20.401330585658883},
      {"purpose", 17.552048071816277, 33.35644686141815, 0.18263747386946128, 167.25892390322804},
      {"checking_account", 7.18619269239337, 123.7209435162656, 0.35173988047457116, 21.778691479864733}};
  ScriptedEngineHost host;
  host.AddColumn(columns["amount"]);
  host.AddColumn(columns["risk"]);
  for (const Row& row : rows) host.AddColumn(columns[row.predictor]);
  FeatureSelectionSettings settings;
  ASSERT_EQ(settings.Create(&host), kOk);
  for (const auto& [role, numbers] :
       std::map<VariableRole, std::vector<int>>{{VariableRole::kContinuousDependent, {1}},
                                                {VariableRole::kCategoricalDependent, {2}},
                                                {VariableRole::kContinuousPredictor, {3, 4}},
                                                {VariableRole::kCategoricalPredictor, {5, 6}}}) {
    ASSERT_EQ(settings.SetVariables(role, numbers), kOk);
  }
  const auto expect = [&](int dependent, double Row::*figure) {
    ASSERT_EQ(RunFeatureSelection(settings), kOk);
    for (int p = 0; p < 4; ++p) {
      const double want = rows[p].*figure;
      EXPECT_NEAR(settings.statistic[settings.MatrixIndex(dependent, p)], want, 1e-10 * want)
          << rows[p].predictor;
    }
  };
  expect(0, &Row::f);
  expect(1, &Row::cramersV);
  settings.useCramersV = false;
  expect(1, &Row::chiSquare);
  settings.treatContinuousDependentAsCategorical = 1;
  settings.cutsContinuousDependent = 5;
  expect(0, &Row::cutChiSquare);
  settings.ReleaseAll();
}

}  // namespace
}  // namespace vlmfsl::testing
