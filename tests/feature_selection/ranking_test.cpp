// The ranking rule, as rows of one dependent's results.
#include <gtest/gtest.h>

#include <numeric>

#include "module/feature_selection/select_best_predictors.h"
#include "tests/support/scripted_engine_host.h"

namespace vlmfsl::testing {
namespace {

constexpr const char* kNone =
    "None of the predictor variables for dependent variable income meet the specified p-value criterion; all "
    "predictors will be selected and shown instead.";
constexpr const char* kTooMany =
    "The number of predictor variables for dependent variable income are more than 5000. the first 5000 "
    "predictors will be displayed.";

struct Row {
  const char* name;
  DisplayMode mode;
  int best, bestByP;
  std::vector<double> statistic, pValue;
  std::vector<int> notComputable;
  std::vector<int> expected;
  std::vector<std::string> notices = {};
};

std::vector<double> Same(int count, double value) {
  return std::vector<double>(static_cast<std::size_t>(count), value);
}

class Ranking {
 public:
  explicit Ranking(const Row& row) {
    host_.AddColumn({1, 2, 3}, "income");
    EXPECT_EQ(settings_.Create(&host_), kOk);
    EXPECT_EQ(settings_.SetVariables(VariableRole::kContinuousDependent, std::vector<int>{1}), kOk);
    EXPECT_EQ(
        settings_.SetVariables(VariableRole::kContinuousPredictor, std::vector<int>(row.statistic.size(), 1)),
        kOk);
    settings_.displayMode = row.mode;
    settings_.fixedNumberOfBest = row.best;
    settings_.fixedNumberOfBestByP = row.bestByP;
    statistic_ = row.statistic;
    pValue_ = row.pValue;
    notComputable_ = row.notComputable;
    notComputable_.resize(row.statistic.size());
    settings_.statistic = statistic_.data();
    settings_.pValue = pValue_.data();
    settings_.notComputable = notComputable_.data();
  }
  ~Ranking() {
    settings_.statistic = settings_.pValue = nullptr;
    settings_.notComputable = nullptr;
    settings_.ReleaseAll();
    EXPECT_EQ(host_.BlocksHeld(), 0u);
  }

  ScriptedEngineHost host_;
  FeatureSelectionSettings settings_;

 private:
  std::vector<double> statistic_, pValue_;
  std::vector<int> notComputable_;
};

TEST(SelectBestPredictors, RanksLimitsAndSaysWhy) {
  using M = DisplayMode;
  const double justAbove = 0.01 * (1 + 2e-15), further = 0.01 * (1 + 1e-14);
  const Row rows[] = {
      {"largest statistic first", M::kFixedNumber, 2, 9, {1, 5, 3}, {.5, .1, .2}, {}, {2, 3}},
      {"fewer computable than asked for", M::kFixedNumber, 10, 10, {0, 5, 3}, {1, .1, .2}, {1, 0, 0}, {2, 3}},
      {"criterion, the limit does not apply",
       M::kFixedPValue,
       2,
       2,
       {1, 1, 1, 1},
       {.001, .004, .02, .003},
       {},
       {1, 4, 2}},
      {"criterion met within the tolerance",
       M::kFixedPValue,
       1,
       1,
       {1, 1, 1},
       {.5, justAbove, further},
       {},
       {2}},
      {"criterion met by none", M::kFixedPValue, 1, 1, {1, 2, 0}, {.5, .4, 1}, {0, 0, 1}, {2, 1}, {kNone}},
      {"smallest p first", M::kFixedNumberByPValue, 9, 2, {1, 2, 3}, {.3, .2, .1}, {}, {3, 2}},
      {"none computable, more than asked for",
       M::kFixedNumberByPValue,
       9,
       1,
       {0, 0},
       {1, 1},
       {1, 1},
       {},
       {kNone}},
      {"none computable, as many as asked for", M::kFixedNumber, 2, 1, {0, 0}, {1, 1}, {1, 1}, {}},
      {"a limit of nothing", M::kFixedNumber, 0, 0, {1, 2}, {.1, .2}, {}, {2, 1}, {kNone}},
      // Equal keys keep the heap's order.
      {"ties, ascending", M::kFixedNumberByPValue, 9, 9, Same(6, 1), Same(6, .5), {}, {2, 3, 4, 5, 6, 1}},
      {"ties, descending", M::kFixedNumber, 9, 9, {2, 7, 7, 2, 7}, Same(5, .5), {}, {5, 3, 2, 4, 1}},
      {"a single one", M::kFixedNumber, 9, 9, {4}, {.5}, {}, {1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Ranking ranking(row);
    BestPredictors best(ranking.host_);
    ASSERT_EQ(best.Select(ranking.settings_, 0), kOk);
    EXPECT_EQ(std::vector<int>(best.Best().begin(), best.Best().end()), row.expected);
    EXPECT_EQ(ranking.host_.notices, row.notices);
    if (!row.notices.empty()) {
      EXPECT_EQ(ranking.host_.log.front(), "SwitchNoticeDisplay 1");
    }
  }
}

TEST(SelectBestPredictors, ListsNoMoreThanTheCap) {
  Row row{"6000", DisplayMode::kFixedPValue, 1, 1, Same(6000, 1), Same(6000, 0), {}, {}};
  std::iota(row.pValue.rbegin(), row.pValue.rend(), 0.0);
  for (double& p : row.pValue) p *= 1e-9;
  Ranking ranking(row);
  BestPredictors best(ranking.host_);
  ASSERT_EQ(best.Select(ranking.settings_, 0), kOk);
  EXPECT_EQ(best.Listed(), 5000);
  EXPECT_EQ(best.Best().front(), 6000);
  EXPECT_EQ(best.Best().back(), 1001);
  EXPECT_EQ(ranking.host_.notices, std::vector<std::string>{kTooMany});
}

TEST(SelectBestPredictors, FailsQuietlyWithoutMemory) {
  Ranking ranking({"", DisplayMode::kFixedNumber, 1, 1, {1, 2}, {.1, .2}, {}, {}});
  ranking.host_.Fail({.failAllocation = 1});
  BestPredictors best(ranking.host_);
  EXPECT_EQ(best.Select(ranking.settings_, 0), kFailed);
  EXPECT_EQ(best.Listed(), 0);
  EXPECT_TRUE(ranking.host_.log.empty());
}

}  // namespace
}  // namespace vlmfsl::testing
