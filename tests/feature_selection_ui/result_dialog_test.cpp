// The results dialog control by control, FSLResults member by member, and the outputs as a reader
// sees them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "module/resources/control_ids.h"
#include "tests/feature_selection_ui/scripted_session.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr char kBadInteger[] = "Invalid integer entered in edit field";
constexpr char kBadP[] = "Invalid p value entered in edit field";
constexpr char kAll[] = "1 | 2 | 3 4 5 | 6";

TEST(ResultDialog, OpensWithTheRecordsChoices) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  EXPECT_EQ(window.TemplateId(), 4872);
  EXPECT_THAT(window.pages, ElementsAre(4876));
  EXPECT_EQ(window.ranges[kControlFixedNumber], "1..10000");
  EXPECT_EQ(window.ranges[kControlPCriterion], "1e-05..0.99999");
  EXPECT_EQ(window.ranges[kControlFixedNumberByP], "1..10000");
  EXPECT_EQ(window.texts[kControlFixedNumber], "10");
  EXPECT_EQ(window.texts[kControlPCriterion], "0.01");
  window.Press(kControlModeFixedNumberByP);
  window.Press(kControlCancel);
  EXPECT_EQ(window.TakeLog(), "exit 101");
  EXPECT_TRUE(session.Open(102).Checked(kControlModeFixedNumberByP))
      << "a later dialog shows the last choice";
}

TEST(ResultDialog, EachModeEnablesItsEdit) {
  struct Row {
    int radio;
    const char* property;
    int edit;
  };
  const Row rows[] = {{1029, "DisplayFixedNumberOfBestPredictors", 1024},
                      {1030, "DisplayBestPredictorsWithFixedPValue", 1028},
                      {1039, "DisplayFixedNumberOfBestPredictorsByPValue", 1038}};
  for (const bool byScript : {false, true}) {
    Session session;
    ScriptedWindow& window = session.RunAndShowResults(kAll);
    for (const Row& row : rows) {
      if (byScript) {
        Session::Put(window, row.property, IntValue(1));
      } else {
        window.Press(row.radio);
      }
      for (const Row& other : rows) {
        const bool active = other.radio == row.radio;
        EXPECT_EQ(window.Checked(other.radio), active) << row.radio;
        EXPECT_EQ(window.Enabled(other.edit), active) << row.radio;
        EXPECT_EQ(Session::Get(window, other.property), active ? "1" : "0");
      }
      Session::Put(window, row.property, IntValue(0));
      EXPECT_TRUE(window.Checked(row.radio)) << "false selects nothing";
    }
  }
}

// A wrong number is an error on its edit; the output is made with the number that was there.
TEST(ResultDialog, EditsAreReadBeforeAnOutput) {
  struct Row {
    int mode, edit;
    const char* property;
    const char* typed;
    const char* stored;
    const char* error;
  };
  const Row rows[] = {
      {1029, 1024, "FixedNumberOfBestPredictors", "10000", "10000", ""},
      {1029, 1024, "FixedNumberOfBestPredictors", "10001", "10", kBadInteger},
      {1029, 1024, "FixedNumberOfBestPredictors", "0", "10", kBadInteger},
      {1029, 1024, "FixedNumberOfBestPredictors", "3.5", "10", kBadInteger},
      {1029, 1038, "FixedNumberOfBestPredictorsByPValue", "junk", "10", ""},
      {1039, 1038, "FixedNumberOfBestPredictorsByPValue", "2", "2", ""},
      {1039, 1038, "FixedNumberOfBestPredictorsByPValue", "", "10", kBadInteger},
      {1030, 1028, "FixedPValueOfBestPredictors", "0.99999", "0.99999000000000005", ""},
      {1030, 1028, "FixedPValueOfBestPredictors", "0.00001", "1.0000000000000001e-05", ""},
      {1030, 1028, "FixedPValueOfBestPredictors", "1", "0.01", kBadP},
      {1030, 1028, "FixedPValueOfBestPredictors", "0.9999999999999999", "0.01", kBadP},
      {1030, 1028, "FixedPValueOfBestPredictors", "0", "0.01", kBadP},
      {1030, 1028, "FixedPValueOfBestPredictors", "7e-323", "0.01", kBadP},
      {1030, 1028, "FixedPValueOfBestPredictors", "8e-323", "7.9050503334599447e-323", ""},
      {1030, 1028, "FixedPValueOfBestPredictors", "-0.5", "0.01", kBadP},
      {1030, 1028, "FixedPValueOfBestPredictors", "nan", "0.01", kBadP},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.property) + " " + row.typed);
    for (const int output : {1022, 1031, 1034}) {
      Session session;
      ScriptedWindow& window = session.RunAndShowResults(kAll);
      window.Press(row.mode);
      window.Type(row.edit, row.typed);
      window.Press(output);
      EXPECT_EQ(window.editErrors[row.edit], row.error);
      EXPECT_EQ(Session::Get(window, row.property), row.stored);
      EXPECT_THAT(session.host.documents.shown, SizeIs(output == 1034 ? 1 : 2));
    }
  }
  Session session;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  window.Type(kControlFixedNumber, "7x");
  window.Press(kControlSaveBundle);
  EXPECT_THAT(window.editErrors, IsEmpty()) << "saving does not read the edits";
}

TEST(ResultDialog, WithoutResultsNothingHappens) {
  Session session;
  ScriptedWindow& window = session.Open(102);
  for (const int control : {kControlSummary, kControlHistogram, kControlReport, kControlSaveBundle})
    window.Press(control);
  EXPECT_EQ(Session::Call(window, "SavePredictorsToVariableBundle", vlm::kInvokeMethod), "");
  EXPECT_EQ(window.TakeLog(), "");
  EXPECT_THAT(session.host.documents.shown, IsEmpty());
  EXPECT_THAT(session.host.input.bundles, IsEmpty());
  EXPECT_THAT(session.host.messages, IsEmpty());
}

// --- Outputs

TEST(Outputs, SummarySheets) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  window.Press(kControlSummary);
  vlm::IFeatureSelectionResults* results = session.analysis->GetFeatureSelectionResults();
  const auto cells = [&](int dependent, int predictor) {
    vlm::FeatureSelectionPair pair;
    results->GetPair(dependent, predictor, &pair);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "|%.6g|%.6g\n", pair.statistic, pair.pValue);
    return std::string(buffer);
  };
  // Predictors by their index: 0 temperature, 1 pressure, 2 the constant, which has no statistic, 3
  // machine.
  EXPECT_THAT(session.host.documents.shown,
              ElementsAre("sheet Best predictors for continuous dependent var: yield\n|F-value|p-value\n"
                          "tempera~" +
                              cells(0, 0) + "machine" + cells(0, 3) + "pressure" + cells(0, 1),
                          ::testing::StartsWith("sheet Best predictors for categorical dependent var: grade\n"
                                                "|Cramer'~|p-value\n")));
}

TEST(Outputs, SummaryNamesFitTheSheet) {
  Session session;
  session.host.engine.columns[0].name = std::string(60, 'n');
  session.host.sheetColumnNameWidth = 4;
  session.host.sheetRowNameWidth = 5;
  ScriptedWindow& window = session.RunAndShowResults("1 | | 3 |");
  window.Press(kControlSummary);
  const std::string& sheet = session.host.documents.shown.at(0);
  const std::string title = sheet.substr(6, sheet.find('\n') - 6);
  EXPECT_EQ(title, ("Best predictors for continuous dependent var: " + std::string(60, 'n')).substr(0, 80));
  EXPECT_THAT(sheet, ::testing::HasSubstr("\n|F-va|p-va\ntempera~|"));

  // Lengths are characters, and none is cut in two.
  Session umlauts;
  const auto repeated = [](std::string text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  umlauts.host.engine.columns[0].name = repeated("ü", 60);
  umlauts.host.engine.columns[2].name = repeated("ö", 8);
  umlauts.RunAndShowResults("1 | | 3 |").Press(kControlSummary);
  EXPECT_THAT(
      umlauts.host.documents.shown.at(0),
      ::testing::StartsWith("sheet Best predictors for continuous dependent var: " + repeated("ü", 80 - 46) +
                            "\n|F-value|p-value\n" + repeated("ö", 8) + "|"));
}

// A list by p-value can hold predictors without a statistic: an empty row, and no bar.
TEST(Outputs, NotComputablePredictorsInAListByPValue) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults("1 | | 3 4 5 |");
  Session::Put(window, "DisplayBestPredictorsWithFixedPValue", IntValue(1));
  Session::Put(window, "FixedPValueOfBestPredictors",
               RealValue(1.0));  // refused on the edit, kept in the record
  window.Press(kControlSummary);
  window.Press(kControlHistogram);
  EXPECT_THAT(session.host.documents.shown.at(0), ::testing::HasSubstr("\nconstan~||\n"));
  const std::string& graph = session.host.documents.shown.at(1);
  EXPECT_THAT(graph, ::testing::HasSubstr("range 0 0.5 3.5 1\n"));
  EXPECT_THAT(graph, ::testing::Not(::testing::HasSubstr("constan~")));
  EXPECT_EQ(Session::Get(window, "BestContinuousPredictors", {IntValue(kYield)}), "[3 4]");
}

TEST(Outputs, ImportanceGraphs) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults("1 | | 3 4 | 6");
  window.Press(kControlHistogram);
  vlm::FeatureSelectionPair best;
  session.analysis->GetFeatureSelectionResults()->GetPair(0, 0, &best);
  std::ostringstream largest;
  largest << best.statistic;
  const std::string& graph = session.host.documents.shown.at(0);
  EXPECT_THAT(graph, ::testing::StartsWith("graph 0\ntitle Importance plot\ntitle Dependent variable: yield\n"
                                           "axis 1 Importance (F-value)\nseries F-value\n"
                                           "point 0 3 " +
                                           largest.str() + " tempera~\npoint 0 2 "));
  EXPECT_THAT(graph, ::testing::EndsWith("range 0 0.5 3.5 1\nrange 1 0 " + largest.str() + " 0\n"));
}

TEST(Outputs, TheReportListsNumbersByKind) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults("1 | 2 | 3 4 5 | 6");
  Session::Put(window, "FixedNumberOfBestPredictors", IntValue(2));
  window.Press(kControlReport);
  ASSERT_THAT(session.host.documents.shown, SizeIs(1));
  EXPECT_THAT(session.host.documents.shown[0],
              ::testing::StartsWith("text 2 Best predictor lists\n"
                                    "Best predictors for continuous dependent var: yield\n\n"
                                    "Best continuous predictors: 3\nBest categorical predictors: 6\n\n\n"
                                    "Best predictors for categorical dependent var: grade\n\n"
                                    "Best continuous predictors:"));
}

TEST(Outputs, BundlesFindFreeNames) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults("1 | | 3 4 | 6");
  const std::string continuous = "yield - best continuous predictors";
  const std::string categorical = "yield - best categorical predictors";
  window.Press(kControlSaveBundle);
  EXPECT_EQ(window.TakeLog(), "command 52818");
  EXPECT_THAT(session.host.messages,
              ElementsAre("Predictors have been saved to input spreadsheet as a variable bundle."));
  Session::Call(window, "SavePredictorsToVariableBundle", vlm::kInvokeMethod);
  EXPECT_EQ(window.TakeLog(), "command 52818");
  EXPECT_THAT(session.host.input.bundles,
              ElementsAre(Pair(continuous, "3 4"), Pair(categorical, "6"), Pair(continuous + "_01", "3 4"),
                          Pair(categorical + "_01", "6")));
  for (int i = 2; i <= 10; ++i) window.Press(kControlSaveBundle);
  EXPECT_EQ(session.host.input.bundles.back().first, categorical + "_10");

  Session onlyCategorical;
  onlyCategorical.RunAndShowResults("1 | | | 6").Press(kControlSaveBundle);
  EXPECT_THAT(onlyCategorical.host.input.bundles, ElementsAre(Pair(categorical, "6")));

  // One variable, continuous and categorical dependent: its bundles do not take each other's names
  // either.
  Session twice;
  twice.RunAndShowResults("1 | 1 | 3 |").Press(kControlSaveBundle);
  EXPECT_THAT(twice.host.input.bundles, ElementsAre(Pair(continuous, "3"), Pair(continuous + "_01", "3")));
}

// A dependent that no predictor has a statistic for is passed over; the others are still there.
TEST(Outputs, ADependentWithoutAListIsPassedOver) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults("5 1 | | 3 4 |");
  for (const int control : {kControlSummary, kControlHistogram, kControlReport, kControlSaveBundle})
    window.Press(control);
  ASSERT_THAT(session.host.documents.shown, SizeIs(3));
  EXPECT_THAT(session.host.documents.shown[0], ::testing::HasSubstr("var: yield"));
  EXPECT_THAT(session.host.documents.shown[1], ::testing::HasSubstr("variable: yield"));
  EXPECT_EQ(session.host.documents.shown[2].find("constant"), std::string::npos);
  EXPECT_THAT(session.host.input.bundles, ElementsAre(Pair("yield - best continuous predictors", "3 4")));

  Session none;
  ScriptedWindow& empty = none.RunAndShowResults("5 | | 3 4 |");
  for (const int control : {kControlSummary, kControlHistogram, kControlReport, kControlSaveBundle})
    empty.Press(control);
  EXPECT_THAT(none.host.documents.shown, IsEmpty());
  EXPECT_THAT(none.host.input.bundles, IsEmpty());
  const std::string nothing = "There are no best predictors to show.";
  EXPECT_THAT(none.host.messages,
              ElementsAre(nothing, nothing, nothing, "There are no best predictors to save."));
  EXPECT_EQ(Session::Get(empty, "ReportOfBestKPredictors"), "null");
}

TEST(Outputs, WithoutMemoryNothingIsShown) {
  struct Row {
    const char* name;
    int failAllocation, refuseDocument, refuseGraphCall;
  };
  const Row rows[] = {{"first ranking", 1, 0, 0},
                      {"second ranking", 2, 0, 0},
                      {"first document", 0, 1, 0},
                      {"second document", 0, 2, 0},
                      {"bars of the second graph", 0, 0, 4}};
  for (const int control : {kControlSummary, kControlHistogram}) {
    for (const Row& row : rows) {
      if (row.refuseGraphCall != 0 && control != kControlHistogram) continue;
      SCOPED_TRACE(std::string(row.name) + " " + std::to_string(control));
      Session session;
      ScriptedWindow& window = session.RunAndShowResults(kAll);
      session.host.engine.Fail({.failAllocation = row.failAllocation});
      session.host.refuseDocument = row.refuseDocument;
      session.host.documents.refuseGraphCall = row.refuseGraphCall;
      const std::size_t held = session.host.engine.BlocksHeld();
      window.Press(control);
      EXPECT_THAT(session.host.documents.shown, IsEmpty());
      EXPECT_EQ(session.host.documents.alive, 0);
      EXPECT_EQ(session.host.engine.BlocksHeld(), held);
      EXPECT_THAT(session.host.messages, IsEmpty());
    }
  }
  Session session;
  session.host.input.refuseBundles = true;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  EXPECT_EQ(Session::Call(window, "SavePredictorsToVariableBundle", vlm::kInvokeMethod),
            "65535: The predictors could not be saved as variable bundles.");
  EXPECT_EQ(window.TakeLog(), "command 52818") << "the framework is notified in any case";
}

// --- FSLResults

TEST(FslResults, OutputsComeAsObjects) {
  Session session;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  {
    Answer summary, count, second, third;
    ASSERT_EQ(CallByName(window.Automation(), "Summary", vlm::kInvokeGet, {}, summary), vlm::kDispatchOk);
    ASSERT_NE(summary.object, nullptr);
    EXPECT_EQ(CallByName(*summary.object, "Count", vlm::kInvokeGet, {}, count), vlm::kDispatchOk);
    EXPECT_EQ(count.text, "2");
    EXPECT_EQ(CallByName(*summary.object, "Item", vlm::kInvokeGet, {IntValue(2)}, second), vlm::kDispatchOk);
    EXPECT_EQ(second.text, "object");
    EXPECT_EQ(CallByName(*summary.object, "Item", vlm::kInvokeGet, {IntValue(3)}, third),
              vlm::kDispatchException);
    EXPECT_EQ(third.error, "65535: There is no output 3: outputs are numbered 1 to 2.");
    Answer report;
    EXPECT_EQ(CallByName(window.Automation(), "ReportOfBestKPredictors", vlm::kInvokeGet, {}, report),
              vlm::kDispatchOk);
    EXPECT_EQ(report.text, "object");
    EXPECT_EQ(session.host.documents.alive, 3);
  }
  EXPECT_EQ(session.host.documents.alive, 0) << "what nobody refers to is gone";
  Session empty;
  EXPECT_EQ(Session::Get(empty.Open(102), "ReportOfBestKPredictors"), "null");
}

TEST(FslResults, BestPredictorsAsData) {
  struct Row {
    const char* member;
    int dependent;
    std::string answer;
  };
  const Row rows[] = {
      {"BestContinuousPredictors", kYield, "[3 4]"},
      {"BestCategoricalPredictors", kYield, "[6]"},
      {"BestContinuousPredictorString", kYield, " 3 4"},
      {"BestCategoricalPredictorString", kYield, " 6"},
      {"BestContinuousPredictors", kTemperature,
       "65535: Cannot find the variable in dependent variable list"},
      {"BestCategoricalPredictorString", 0, "65535: Cannot find the variable in dependent variable list"},
  };
  Session session;
  ScriptedWindow& window = session.RunAndShowResults(kAll);
  for (const Row& row : rows)
    EXPECT_EQ(Session::Get(window, row.member, {IntValue(row.dependent)}), row.answer);
  // The edits are read first.
  window.Type(kControlFixedNumber, "1");
  EXPECT_EQ(Session::Get(window, "BestCategoricalPredictors", {IntValue(kYield)}), "[]");
  EXPECT_EQ(Session::Get(window, "BestCategoricalPredictorString", {IntValue(kYield)}), "");
  session.host.engine.Fail({.failAllocation = 1});
  EXPECT_EQ(Session::Get(window, "BestContinuousPredictors", {IntValue(kYield)}),
            "65535: Not enough memory available.");
  session.host.engine.Fail({.failAllocation = 1});
  EXPECT_EQ(Session::Get(window, "BestContinuousPredictorString", {IntValue(kYield)}),
            "65535: Insufficient memory; close other applications and try again.");
}

TEST(FslResults, TheHostReadsTheSameRanking) {
  struct Numbers final : vlm::IIntegerSink {
    void Clear() override { values.clear(); }
    void Append(int value) override { values.push_back(value); }
    std::vector<int> values;
  };
  Session session;
  session.RunAndShowResults(kAll);
  vlm::IFeatureSelectionResults* results = session.analysis->GetFeatureSelectionResults();
  Numbers best;
  EXPECT_EQ(results->SelectBest(0, &best), 0);
  EXPECT_THAT(best.values, ElementsAre(0, 3, 1));
  EXPECT_EQ(results->GetPredictorNumber(3), kMachine);
  EXPECT_EQ(results->GetDependentNumber(1), kGrade);
  TextSink name;
  results->GetStatisticName(1, &name);
  EXPECT_EQ(name.text, "Cramer's V");
  // Past the ends.
  EXPECT_NE(results->SelectBest(2, &best), 0);
  EXPECT_EQ(results->GetPredictorNumber(4), 0);
  vlm::FeatureSelectionPair pair;
  results->GetPair(0, -1, &pair);
  EXPECT_EQ(pair.notComputable, 1);
}

}  // namespace
}  // namespace vlmfsl::testing
