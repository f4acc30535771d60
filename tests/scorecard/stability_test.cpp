// Indices of groups against computation by hand.
#include "workbench/scorecard/stability.h"

#include <gtest/gtest.h>

#include <cmath>

#include "workbench/scorecard/binned_cases.h"

namespace velmora::testing {
namespace {

// Two bins of 100 cases each with bad rates 0.1 and 0.3; in each later
// group something else changes.
GroupedPredictor Binary() {
  GroupedPredictor predictor;
  predictor.name = "x";
  predictor.labels = {"low", "high"};
  predictor.values = {67.5, -67.5};
  predictor.counts = {{{10, 90}, {30, 70}},   // the reference
                      {{5, 45}, {45, 105}},   // other shares, equal rates
                      {{40, 60}, {20, 80}},   // equal shares, the rates cross
                      {{19, 81}, {21, 79}}};  // the rates are nearly equal
  for (const std::vector<SavedCounts>& group : predictor.counts) {
    std::vector<double>& cases = predictor.cases.emplace_back();
    for (const SavedCounts& counts : group) cases.push_back(counts[0] + counts[1]);
  }
  predictor.unbinned.assign(4, 0);
  return predictor;
}

TEST(Stability, IndicesSeparateSharesFromRates) {
  const PredictorStability stability = StabilityOf(Binary(), "binary");
  const auto& groups = stability.groups;
  EXPECT_EQ(groups[0].shareIndex, 0);
  EXPECT_EQ(groups[0].woeIndex, 0);
  // (0.25 - 0.5) ln(0.25 / 0.5) + (0.75 - 0.5) ln(0.75 / 0.5)
  EXPECT_NEAR(groups[1].shareIndex, 0.25 * std::log(2) + 0.25 * std::log(1.5), 1e-14);
  EXPECT_NEAR(groups[2].shareIndex, 0, 1e-14);
  // The rate of all cases has changed, the odds ratio has not.
  EXPECT_NEAR(groups[1].woeIndex, 0, 0.02);
  EXPECT_GT(groups[2].woeIndex, 0.2);
  // By hand for the third group: logits of the bins at the reference's odds of 40 to 160.
  const auto logit = [](double bad, double good, double allBad, double allGood) {
    return std::log(40.0 / 160) - std::log((good / allGood) / (bad / allBad));
  };
  double index = 0;
  const double before[] = {logit(10, 90, 40, 160), logit(30, 70, 40, 160)};
  const double now[] = {logit(40, 60, 60, 140), logit(20, 80, 60, 140)};
  for (int bin = 0; bin < 2; ++bin)
    index +=
        0.5 * (1 / (1 + std::exp(-now[bin])) - 1 / (1 + std::exp(-before[bin]))) * (now[bin] - before[bin]);
  EXPECT_NEAR(groups[2].woeIndex, index, 1e-14);
  EXPECT_EQ(stability.WorstShare(), 1u);
  EXPECT_EQ(stability.WorstWoe(), 2u);
  // Good cases of the high bin among bad ones of the low one, and so on.
  EXPECT_NEAR(groups[0].areaUnderCurve, (90 * (30 + 5) + 70 * 15) / (40.0 * 160), 1e-14);
  EXPECT_EQ(groups[2].crossings, 1);
  EXPECT_EQ(groups[3].crossings, 0);  // the order of the rates has not changed
  EXPECT_LT(stability.trend, 0);
  const PredictorStability all = StabilityOf(Binary(), "binary", kAllGroups);
  EXPECT_GT(all.groups[0].shareIndex, 0);
  EXPECT_EQ(all.reference.cases, 800);
}

TEST(Stability, CasesWithoutABinAndWithoutAResponseCount) {
  GroupedPredictor predictor = Binary();
  predictor.unbinned[1] = 50;
  predictor.counts[3].clear();
  const PredictorStability stability = StabilityOf(predictor, "binary");
  ASSERT_EQ(stability.labels.size(), 3u);
  EXPECT_NEAR(stability.groups[1].unbinnedShare, 0.2, 1e-14);
  EXPECT_NEAR(stability.groups[1].bins[0].share, 0.2, 1e-14);
  EXPECT_GT(stability.groups[1].shareIndex, 0.5);
  EXPECT_EQ(stability.groups[3].strength, kMissing);
  EXPECT_EQ(stability.groups[3].woeIndex, kMissing);
  EXPECT_NEAR(stability.groups[3].shareIndex, 0, 1e-14);
}

TEST(Stability, MeansAndClassesHaveAStrength) {
  GroupedPredictor predictor;
  predictor.labels = {"a", "b"};
  predictor.values = {1, 3};
  predictor.cases = {{2, 2}};
  predictor.unbinned = {0};
  predictor.counts = {{{2, 2, 2.5}, {2, 6, 18.5}}};  // values 0.5, 1.5 and 2.5, 3.5
  EXPECT_NEAR(StabilityOf(predictor, "continuous").groups[0].strength, 1 - 1.0 / 5, 1e-14);
  EXPECT_NEAR(StabilityOf(predictor, "continuous").groups[0].bins[1].rate, 3, 1e-14);
  predictor.cases = {{50, 50}};
  predictor.counts = {{{30, 20}, {20, 30}}};
  EXPECT_NEAR(StabilityOf(predictor, "categorical").groups[0].strength, 0.2, 1e-14);
}

// In a text column of new data, the codes of a saved class that the data lack belong to other
// texts.
TEST(ResponseCases, AClassThatNewDataLackIsNoOtherText) {
  Table table;
  table.caseCount = 3;
  Column& column = table.columns.emplace_back();
  column.name = "outcome";
  column.values = {1, 2, 1};
  column.labels = {{1, "0"}, {2, "unknown"}};
  column.fromText = true;
  SavedResponse response;
  response.name = "outcome";
  response.kind = "binary";
  response.codes = {"1", "0"};
  const auto classes = [&] {
    const CaseBitmap all(table.caseCount);
    const ResponseCases cases(table, CaseWeights(table, all, 0, {}), response);
    std::vector<int> found;
    for (std::size_t i = 0; i < 3; ++i) found.push_back(cases.Uses(i) ? cases.ClassOf(i) : -1);
    return found;
  };
  EXPECT_EQ(classes(), (std::vector<int>{1, -1, 1}));
  column.fromText = false;
  column.labels.clear();
  column.values = {1, 2, 0};
  EXPECT_EQ(classes(), (std::vector<int>{0, -1, 1}));
}

}  // namespace
}  // namespace velmora::testing
