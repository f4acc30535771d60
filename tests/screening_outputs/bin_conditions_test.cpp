// Recode files, rules scripts and the report against the full expected texts, and the files that
// hold them.
#include "module/screening_outputs/bin_conditions.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "base/tolerant.h"
#include "module/screening_outputs/coded_variables.h"
#include "module/screening_outputs/rules_report.h"
#include "module/screening_outputs/text_file.h"
#include "tests/screening_outputs/records.h"
#include "tests/support/scratch_folder.h"

namespace vlmfsl::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using velmora::testing::ScratchFolder;

PredSummary Intervals() {
  PredSummary record = ContinuousRecord("net \"x\"", vlm::kBinaryResponse, {-1.5, 1.0 / 3}, -9, 9,
                                        {"(-Inf, -1.5]", "(-1.5, 0.333333]", "(0.333333, Inf)"});
  record.bins.lowerTexts = {"-Inf", "-1.5", "0.333333"};
  record.bins.upperTexts = {"-1.5", "0.333333", "Inf"};
  return record;
}

// Codes 1 and 2 have labels, 3.5 has none, and 7 shares the label of 1.
PredSummary Levels(Analysis& analysis) {
  analysis.host.input.labels = {{1, "say \"a\", b"}, {2, "zwölf"}, {7, "say \"a\", b"}};
  PredSummary record(kCategoricalPredictor, 3, "group", vlm::kBinaryResponse, 1, "risk");
  record.bins.names = {"low", "the \"rest\""};
  record.bins.nodes = {2, 3};
  record.bins.levelOf = {{1, 1}, {2, 0}, {3.5, 0}, {7, 1}};
  return record;
}

TEST(BinConditions, RecodeFiles) {
  Analysis analysis(",");  // no recode file holds a comma
  EXPECT_EQ(RecodeConditions(analysis.screening, Intervals()),
            "[SelectionConditions]\nConditionSize=3\n"
            "[SelectionConditions\\Cond0]\nIgnore=0\n"
            "Condition=\"\"\"net \"\"\"\"x\"\"\"\"\"\"<=-1.500000000000000e+00\"\nValue=(-Inf, -1.5]\n"
            "[SelectionConditions\\Cond1]\nIgnore=0\n"
            "Condition=\"\"\"net \"\"\"\"x\"\"\"\"\"\"<=3.333333333333333e-01\"\nValue=(-1.5, 0.333333]\n"
            "[SelectionConditions\\Cond2]\nIgnore=0\n"
            "Condition=\"\"\"net \"\"\"\"x\"\"\"\"\"\">3.333333333333333e-01\"\nValue=(0.333333, Inf)\n"
            "\n");
  EXPECT_EQ(RecodeConditions(analysis.screening, Levels(analysis)),
            "[SelectionConditions]\nConditionSize=4\n"
            "[SelectionConditions\\Cond0]\nIgnore=0\n"
            "Condition=\"\"\"group\"\"=\"\"say \"\"\"\"a\"\"\"\", b\"\"\"\nValue=the \"rest\"\n"
            "[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"group\"\"=\"\"zwölf\"\"\"\nValue=low\n"
            "[SelectionConditions\\Cond2]\nIgnore=0\nCondition=\"\"\"group\"\"=3.5\"\nValue=low\n"
            "[SelectionConditions\\Cond3]\nIgnore=0\nCondition=\"\"\"group\"\"=7\"\nValue=the \"rest\"\n"
            "\n");
  const PredSummary one = ContinuousRecord("x", vlm::kBinaryResponse, {2}, 0, 4, {"a", "b"});
  EXPECT_EQ(
      RecodeConditions(analysis.screening, one),
      "[SelectionConditions]\nConditionSize=2\n"
      "[SelectionConditions\\Cond0]\nIgnore=0\nCondition=\"\"\"x\"\"<=2.000000000000000e+00\"\nValue=a\n"
      "[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"x\"\">2.000000000000000e+00\"\nValue=b\n\n");
}

TEST(BinConditions, RulesScripts) {
  Analysis analysis(",");
  EXPECT_EQ(RulesScript(analysis.screening, Intervals()),
            "If( EvalExpr(\"\"\"net \"\"\"\"x\"\"\"\"\"\"<=-1,500000000000000e+00\") )\n"
            "\"risk_net \"\"x\"\"_Coded\"=\"(-Inf, -1.5]\"\nEndIf\n"
            "If( EvalExpr(\"\"\"net \"\"\"\"x\"\"\"\"\"\" > -1,500000000000000e+00 And "
            "\"\"net \"\"\"\"x\"\"\"\"\"\"<=3,333333333333333e-01\") )\n"
            "\"risk_net \"\"x\"\"_Coded\"=\"(-1.5, 0.333333]\"\nEndIf\n"
            "If( EvalExpr(\"\"\"net \"\"\"\"x\"\"\"\"\"\" > 3,333333333333333e-01\") )\n"
            "\"risk_net \"\"x\"\"_Coded\"=\"(0.333333, Inf)\"\nEndIf\n");
  EXPECT_EQ(RulesScript(analysis.screening, Levels(analysis)),
            "If( EvalExpr(\"\"\"group\"\"=\"\"zwölf\"\"\") )\n\"risk_group_Coded\"=\"low\"\nEndIf\n"
            "If( EvalExpr(\"\"\"group\"\"=3,5\") )\n\"risk_group_Coded\"=\"low\"\nEndIf\n"
            "If( EvalExpr(\"\"\"group\"\"=\"\"say \"\"\"\"a\"\"\"\", b\"\"\") )\n"
            "\"risk_group_Coded\"=\"the \"\"rest\"\"\"\nEndIf\n"
            "If( EvalExpr(\"\"\"group\"\"=7\") )\n\"risk_group_Coded\"=\"the \"\"rest\"\"\"\nEndIf\n");
}

TEST(BinConditions, ValuesOnAndAroundCutPoints) {
  PredSummary record = Intervals();
  const double cut = record.bins.cutPoints[1];
  const auto ulpsAbove = [](double value, int ulps) {
    return vlm::FromOrderedBits(vlm::OrderedBits(value) + ulps);
  };
  const BinFinder finder(record);
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, int> cases[] = {{-infinity, 0}, {-2, 0},       {-1.5, 0},
                                          {-1.4, 1},      {cut, 1},      {ulpsAbove(cut, 8), 1},
                                          {0.34, 2},      {infinity, 2}, {std::nan(""), -1}};
  for (const auto& [value, bin] : cases) EXPECT_EQ(finder.BinOf(value), bin) << value;
  Analysis analysis;
  const BinFinder levels(Levels(analysis));
  EXPECT_EQ(levels.BinOf(3.5), 0);
  EXPECT_EQ(levels.BinOf(7), 1);
  EXPECT_EQ(levels.BinOf(4), -1);
}

TEST(BinConditions, ReportAndTableOfAllPredictors) {
  Analysis analysis;
  CFeatureSelectionTemplate& screening = analysis.screening;
  PredSummary first = Levels(analysis), second = Intervals(), third = Intervals(), failed = Intervals();
  third.predictorName = "third";
  third.predictorVariable = 5;
  failed.predictorName = "failed";
  failed.predictorVariable = 6;
  screening.Results(vlm::kBinaryResponse) = {second, first, third};
  screening.Order(vlm::kBinaryResponse) = {1, 0, 2};
  screening.Failed(vlm::kBinaryResponse) = {failed};
  screening.binaryResponseName = "risk";
  screening.binaryResponseCount = 1;
  PredSummary again = Intervals();
  again.responseKind = vlm::kContinuousResponse;
  again.responseName = "amount";
  again.continuous.rSquared = 0.25;
  again.continuous.fStatistic = vlm::kMissingValue;
  screening.Results(vlm::kContinuousResponse) = {again};
  screening.Order(vlm::kContinuousResponse) = {0};
  screening.continuousResponseName = "amount";
  screening.continuousResponseCount = 1;

  ASSERT_TRUE(ShowRulesReport(screening, 2));
  const vlm::Ref<vlm::ISpreadsheet> table = MakeAllPredictorsTable(screening);
  ASSERT_TRUE(table);
  table->Show();
  EXPECT_THAT(
      analysis.host.documents.shown,
      ElementsAre("text 2 Rules report\n"
                  "Dependent variable: risk\n\n"
                  "Rank  Categorical predictors  Coded\n"
                  "1     group                   risk_group_Coded\n"
                  "      group = zwölf, 3.5              ->  low\n"
                  "      group = say \"a\", b, say \"a\", b  ->  the \"rest\"\n\n"
                  "Rank  Continuous predictors  Coded\n"
                  "2     net \"x\"                risk_net \"x\"_Coded\n"
                  "      net \"x\" <= -1.5             ->  (-Inf, -1.5]\n"
                  "      -1.5 < net \"x\" <= 0.333333  ->  (-1.5, 0.333333]\n"
                  "      net \"x\" > 0.333333          ->  (0.333333, Inf)\n\n"
                  "Dependent variable: amount\n\n"
                  "Rank  Continuous predictors  Coded\n"
                  "1     net \"x\"                amount_net \"x\"_Coded\n"
                  "      net \"x\" <= -1.5             ->  (-Inf, -1.5]\n"
                  "      -1.5 < net \"x\" <= 0.333333  ->  (-1.5, 0.333333]\n"
                  "      net \"x\" > 0.333333          ->  (0.333333, Inf)\n\n",
                  "sheet All predictors\n"
                  "|Rank|Gini|Information value|Cramer's V|Rank|R-squared|F-statistic|Variable number\n"
                  "group|1|0|0|0||||3\n"
                  "net \"x\"|2|0|0|0|1|0.25||2\n"
                  "third|3|0|0|0||||5\n"
                  "failed||||||||6\n"));
}

TEST(RecodeFiles, NamesAndWhatCannotBeWritten) {
  const ScratchFolder folder;
  Analysis analysis;
  PredSummary first = Intervals(), alike = Intervals(), second = Intervals(), longName = Intervals();
  first.predictorName = "a/b";
  alike.predictorName = "A:b";
  second.predictorName = "größe";
  longName.predictorName = std::string(300, 'n');
  analysis.screening.Results(vlm::kBinaryResponse) = {first, alike, second, longName};
  analysis.screening.Order(vlm::kBinaryResponse) = {0, 1, 2, 3};
  // One of the names is taken by a folder: the others are written all the same.
  fs::create_directories(velmora::PathOf(folder.At("base - größe_risk__Coded.ini")));
  std::string refused;
  EXPECT_EQ(SaveRecodeFiles(MakeRecodeFiles(analysis.screening, folder.At("base"), 4), refused), 3);
  EXPECT_EQ(refused, folder.At("base - größe_risk__Coded.ini"));
  EXPECT_THAT(folder.Names(),
              UnorderedElementsAre("base - a_b_risk__Coded.ini", "base - A_b_risk__Coded (2).ini",
                                   "base - größe_risk__Coded.ini", "base - nnnnnnn~_risk__Coded.ini"));
  EXPECT_EQ(folder.Content("base - a_b_risk__Coded.ini"), RecodeConditions(analysis.screening, first));
}

TEST(TextFiles, CompleteOrAsTheyWere) {
  const ScratchFolder folder;
  const std::string path = folder.At("rules.txt");
  ASSERT_TRUE(WriteTextFile(path, "first"));
  ASSERT_TRUE(WriteTextFile(path, "second"));
  EXPECT_EQ(folder.Content("rules.txt"), "second");
  // A text that cannot be written aside leaves the old one.
  fs::create_directories(path + ".part");
  EXPECT_FALSE(WriteTextFile(path, "third"));
  EXPECT_EQ(folder.Content("rules.txt"), "second");
  EXPECT_FALSE(WriteTextFile(folder.At("no/such/folder.txt"), "text"));
  EXPECT_THAT(folder.Names(), UnorderedElementsAre("rules.txt", "rules.txt.part"));
#ifndef _WIN32
  fs::create_symlink(path, folder.At("link.txt"));
  ASSERT_FALSE(WriteTextFile(folder.At("link.txt"), "third"));
  fs::remove(path + ".part");
  ASSERT_TRUE(WriteTextFile(folder.At("link.txt"), "third"));
  EXPECT_EQ(folder.Content("rules.txt"), "third") << "what the link leads to";
  EXPECT_FALSE(WriteTextFile("/dev/full", "text"));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
#endif
}

}  // namespace
}  // namespace vlmfsl::testing
