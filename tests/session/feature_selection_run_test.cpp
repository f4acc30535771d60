// The module itself, loaded as a plug-in and driven like a script drives it, on the German credit
// data. The expected figures were computed independently with R 4.2: anova(lm(y ~ factor(x))) and
// chisq.test(correct = FALSE), continuous predictors cut with cut points from their minimum, mean
// and standard deviation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "module/resources/control_ids.h"
#include "tests/session/session_support.h"
#include "tests/support/paths.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/data/readers.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

using enum vlmfsl::ControlId;

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kData = SourceDir() + "/samples/german_credit.csv";
constexpr char kLists[] =
    "amount | risk | duration_months age | "
    "checking_account credit_history purpose savings telephone";

struct ExpectedPair {
  const char* dependent;
  const char* predictor;
  double statistic;  // F, or Cramer's V
  double pValue;
};

// 12 cuts.
const ExpectedPair kExpected[] = {
    {"amount", "duration_months", 71.409389488419535, 2.5865910456191332e-101},
    {"amount", "age", 0.70432468122097269, 0.70536159277304578},
    {"amount", "checking_account", 7.1861926923933765, 8.9505979036630633e-05},
    {"amount", "credit_history", 9.6535599479854621, 1.1629982636939209e-07},
    {"amount", "purpose", 17.552048071816237, 3.5570328452203514e-27},
    {"amount", "savings", 4.2432236264388719, 0.0020701547707342163},
    {"amount", "telephone", 82.936228662050084, 4.5146063770892785e-19},
    {"risk", "duration_months", 0.2333410653621876, 1.5514652843279706e-08},
    {"risk", "age", 0.13672935402648165, 0.027915601566064104},
    {"risk", "checking_account", 0.35173988047457116, 1.218902072289374e-26},
    {"risk", "credit_history", 0.24837752910558455, 1.2791872956750979e-12},
    {"risk", "purpose", 0.18263747386946128, 0.00011574910079691585},
    {"risk", "savings", 0.18999717943279765, 2.7612142385682506e-07},
    {"risk", "telephone", 0.036466190179963422, 0.2488438213033142},
};

// Answers the dialogs' questions, and keeps the window that is open.
struct UserFrontend final : WindowFrontend {
  bool AskVariableLists(DialogWindow&, std::string_view, std::vector<VariableListQuestion>& lists) override {
    ++asked;
    if (answers.empty()) return false;
    for (std::size_t index = 0; index < lists.size(); ++index)
      lists[index].variables = answers.front()[index];
    answers.erase(answers.begin());
    return true;
  }
  std::optional<std::string> AskDataFile(DialogWindow&) override { return dataFile; }
  bool CancelPressed() override { return cancelAtStep > 0 && steps.back() >= cancelAtStep; }

  std::vector<std::vector<std::vector<int>>> answers;
  int asked = 0;
  int cancelAtStep = 0;
  std::optional<std::string> dataFile;
};

struct FeatureSelectionRunTest : testing::Test {
  FeatureSelectionRunTest() : session(frontend, ModuleOptions()) { session.SetTable(ReadTable(kData)); }
  AutomationClient Run(const char* lists, int cuts = 12) {
    const AutomationClient startup = session.StartFeatureSelection();
    startup.Put("Variables", lists);
    startup.Put("NumberOfCutsForContinuousPredictor", cuts);
    EXPECT_EQ(startup.Call("OK").AsInt(), 1);
    return session.ResultsDialog();
  }
  int Number(const char* name) { return ResolveVariable(session.Data(), name); }

  UserFrontend frontend;
  Session session;
};

TEST_F(FeatureSelectionRunTest, FiguresAgreeWithAnIndependentComputation) {
  ASSERT_TRUE(Run(kLists));
  vlm::IFeatureSelectionResults* const results = session.FeatureSelectionResults();
  ASSERT_NE(results, nullptr);
  vlm::FeatureSelectionRun run{};
  results->GetRun(&run);
  EXPECT_EQ(run.caseCount, 1000);
  EXPECT_EQ(run.validCases, 1000);
  EXPECT_EQ(run.continuousDependents + run.categoricalDependents, 2);
  std::size_t row = 0;
  for (int dependent = 0; dependent < 2; ++dependent) {
    for (int predictor = 0; predictor < 7; ++predictor, ++row) {
      const ExpectedPair& expected = kExpected[row];
      SCOPED_TRACE(std::string(expected.dependent) + " by " + expected.predictor);
      EXPECT_EQ(results->GetDependentNumber(dependent), Number(expected.dependent));
      ASSERT_EQ(results->GetPredictorNumber(predictor), Number(expected.predictor));
      vlm::FeatureSelectionPair pair{};
      results->GetPair(dependent, predictor, &pair);
      EXPECT_NEAR(pair.statistic, expected.statistic, 1e-10 * expected.statistic);
      EXPECT_NEAR(pair.pValue, expected.pValue, 1e-9 * expected.pValue);
      EXPECT_EQ(pair.notComputable, 0);
    }
  }
}

TEST_F(FeatureSelectionRunTest, MakesItsDocuments) {
  const AutomationClient results = Run(kLists);
  results.Get("Summary");
  results.Get("HistogramOfImportanceForBestPredictors");
  results.Get("ReportOfBestKPredictors");
  const Workbook& workbook = session.Documents();
  ASSERT_EQ(workbook.Documents().size(), 5U);
  EXPECT_THAT(frontend.notices, ElementsAre());

  const Sheet& sheet = *workbook.Documents()[0].AsSheet();
  EXPECT_EQ(sheet.Title(), "Best predictors for continuous dependent var: amount");
  EXPECT_EQ(sheet.ColumnName(1), "F-value");
  ASSERT_EQ(sheet.RowCount(), 7);
  std::vector<std::string> order;
  for (int index = 1; index <= 7; ++index)
    order.emplace_back(workbook.shortNames.FullNameOf(sheet.RowName(index)));
  EXPECT_THAT(order, ElementsAre("telephone", "duration_months", "purpose", "credit_history",
                                 "checking_account", "savings", "age"));
  EXPECT_LE(sheet.RowName(2).size(), 8U);
  EXPECT_NEAR(sheet.Cell(2, 1), 71.409389488419535, 1e-9);

  const Graph& graph = *workbook.Documents()[3].AsGraph();
  EXPECT_THAT(graph.titleLines, ElementsAre("Importance plot", "Dependent variable: risk"));
  ASSERT_EQ(graph.series.size(), 1U);
  EXPECT_EQ(graph.series[0].x.at(0), 7) << "the best predictor stands at the far end";
  EXPECT_NEAR(graph.series[0].y.at(0), 0.35173988047457116, 1e-12);
  EXPECT_EQ(graph.positionAxis.minimum, 0.5);
  EXPECT_EQ(graph.positionAxis.maximum, 7.5);

  EXPECT_THAT(
      workbook.Documents()[4].AsText()->text,
      HasSubstr("Best predictors for continuous dependent var: amount\n\nBest continuous predictors: 3 14\n"
                "Best categorical predictors: 20 5 4 2 7\n\n\n"));
  // One group per dependent holds its table and its graph; the report belongs to the whole run.
  ASSERT_EQ(workbook.Groups().size(), 3U);
  EXPECT_EQ(workbook.Documents()[0].group, workbook.Documents()[2].group);
  EXPECT_EQ(workbook.Group(workbook.Documents()[1].group)->name, "risk");
  EXPECT_EQ(workbook.Documents()[4].group, 0);
  EXPECT_THAT(WriteCsv(sheet, workbook.shortNames), HasSubstr("duration_months,71.4093894884"));
}

TEST_F(FeatureSelectionRunTest, BestPredictorsAnswerByVariableNumber) {
  const AutomationClient results = Run(kLists);
  results.Put("FixedNumberOfBestPredictors", 3);
  EXPECT_THAT(results.Get("BestCategoricalPredictors", {1}).AsIntegers(), ElementsAre(2, 4));
  EXPECT_THAT(results.Get("BestContinuousPredictors", {1}).AsIntegers(), ElementsAre(3));
  EXPECT_EQ(results.Get("BestCategoricalPredictorString", {Number("amount")}).AsText(), " 20 5");
  EXPECT_EQ(ErrorOf([&] { results.Get("BestContinuousPredictors", {3}); }),
            "Cannot find the variable in dependent variable list");
}

TEST_F(FeatureSelectionRunTest, SelectionAndWeightsReachTheFigures) {
  session.SelectCases("age > 30", "");
  session.WeightBy(Number("existing_credits"));
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", "|risk||checking_account telephone");
  startup.Put("UseChiSquareForCategoricalDependentVariable", 1);
  ASSERT_EQ(startup.Call("OK").AsInt(), 1);
  vlm::FeatureSelectionRun run{};
  session.FeatureSelectionResults()->GetRun(&run);
  EXPECT_EQ(run.excludedCases, 411);
  EXPECT_EQ(run.validCases, 589);
  EXPECT_EQ(run.totalWeight, 862);
  vlm::FeatureSelectionPair pair{};
  session.FeatureSelectionResults()->GetPair(0, 0, &pair);
  EXPECT_NEAR(pair.statistic, 104.80127995544997, 1e-10);
  EXPECT_EQ(pair.usedCases, 589);
  EXPECT_EQ(pair.missingCases, 0);
  EXPECT_EQ(pair.count, 862);
  EXPECT_EQ(pair.df1, 3);
}

TEST_F(FeatureSelectionRunTest, SavesBundlesUnderFreeNames) {
  const AutomationClient results = Run("|risk|duration_months age|checking_account");
  results.Call("SavePredictorsToVariableBundle");
  results.Call("SavePredictorsToVariableBundle");
  const auto& bundles = session.Data().bundles;
  ASSERT_EQ(bundles.size(), 4U);
  EXPECT_EQ(bundles[2].name, bundles[0].name + "_01");
  EXPECT_EQ(bundles[0].variableNumbers, bundles[2].variableNumbers);
  EXPECT_EQ(frontend.messages.back(),
            "Predictors have been saved to input spreadsheet as a variable bundle.");
}

TEST_F(FeatureSelectionRunTest, RefusesARunWithoutVariables) {
  const AutomationClient startup = session.StartFeatureSelection();
  EXPECT_EQ(ErrorOf([&] { startup.Call("OK"); }), "Variable selection not valid.");
  EXPECT_THAT(ErrorOf([&] { startup.Put("Variables", "nosuch||1|2"); }), HasSubstr("nosuch"));
  startup.Put("Variables", "|risk|age|telephone");
  EXPECT_EQ(startup.Call("OK").AsInt(), 1) << "the dialog is as good as before";
}

TEST_F(FeatureSelectionRunTest, ACancelledRunLeavesTheDialogUsable) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kLists);
  frontend.cancelAtStep = 400;
  EXPECT_EQ(startup.Call("OK").AsInt(), 0);
  EXPECT_EQ(session.FeatureSelectionResults(), nullptr);
  frontend.cancelAtStep = 0;
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
  EXPECT_EQ(static_cast<int>(frontend.progress.size()), frontend.progressClosed);
}

TEST_F(FeatureSelectionRunTest, APersonPressesTheSameButtons) {
  session.StartFeatureSelection();
  ASSERT_NE(frontend.window, nullptr);
  EXPECT_EQ(frontend.window->Caption(), " Feature Selection and Variable Screening");
  // Too few at first, so the question comes again.
  frontend.answers = {{{}, {1}, {3}, {}}, {{}, {1}, {3, 14}, {2}}};
  EXPECT_TRUE(frontend.window->Press(kControlVariables));
  EXPECT_EQ(frontend.asked, 2);
  EXPECT_THAT(frontend.messages.back(), HasSubstr("Too few variables selected"));
  EXPECT_EQ(frontend.window->Find(kControlContinuousPredictorsLabel + 1)->text, "3 14");
  EXPECT_EQ(frontend.window->Find(kControlContinuousDependents)->text, "none");
  EXPECT_FALSE(frontend.window->Find(kControlDependentCuts)->enabled);
  EXPECT_TRUE(frontend.window->Press(kControlCutDependents));
  EXPECT_TRUE(frontend.window->Find(kControlDependentCuts)->enabled);
  EXPECT_TRUE(frontend.window->Find(kControlCutDependents)->checked);
  // A bad number is shown on its edit and does not keep the run from starting.
  EXPECT_TRUE(frontend.window->TypeText(kControlPredictorCuts, "21"));
  EXPECT_TRUE(frontend.window->Press(kControlOk));
  EXPECT_THAT(frontend.editErrors, ElementsAre(std::pair<int, std::string>(
                                       kControlPredictorCuts, "Invalid integer entered in edit field")));
  ASSERT_TRUE(session.ResultsDialog());
  EXPECT_EQ(frontend.window->Caption(), "FSL Results ");
  EXPECT_TRUE(frontend.window->Find(kControlModeFixedNumber)->checked);
  EXPECT_FALSE(frontend.window->Find(kControlPCriterion)->enabled);
  EXPECT_TRUE(frontend.window->Press(kControlModePValue));
  EXPECT_TRUE(frontend.window->Find(kControlPCriterion)->enabled);
  EXPECT_TRUE(frontend.window->Press(kControlSummary));
  EXPECT_EQ(session.Documents().Documents().size(), 1U);
  EXPECT_TRUE(frontend.window->Press(kControlCancel));
  EXPECT_TRUE(session.StartupDialog()) << "Cancel leads back to the startup dialog";
}

TEST_F(FeatureSelectionRunTest, OtherDataOpenedInTheDialogStartAfresh) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kLists);
  startup.Put("NumberOfCutsForContinuousPredictor", 5);
  frontend.dataFile = SourceDir() + "/samples/house_prices.csv";
  EXPECT_TRUE(frontend.window->Press(kControlOpenData));
  EXPECT_EQ(session.Data().VariableCount(), 12);
  ASSERT_NE(frontend.window, nullptr);
  EXPECT_EQ(startup.Get("NumberOfCutsForContinuousPredictor").AsInt(), 10)
      << "the same dialog, fresh settings";
  EXPECT_EQ(frontend.window->Find(kControlContinuousDependents)->text, "none");
  startup.Put("Variables", "price||lotsize bedrooms|driveway");
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
}

TEST_F(FeatureSelectionRunTest, AClosedDialogFailsAndIsWrittenDown) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kLists);
  startup.Call("OK");
  EXPECT_THROW(startup.Get("Variables"), AutomationError);
  ASSERT_FALSE(session.LogTexts().empty());
  EXPECT_THAT(session.LogTexts().back(),
              HasSubstr("Exception in automation method [CDefineTask::get_Variables]: "));
  const AutomationClient results = session.ResultsDialog();
  session.EndAnalysis();
  EXPECT_THROW(results.Get("Summary"), AutomationError);
  EXPECT_THROW(results.Call("OK"), AutomationError);
}

}  // namespace
}  // namespace velmora
