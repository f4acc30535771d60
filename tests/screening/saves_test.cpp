// The "Save" page in a session: the files, that all forms agree, and failures.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/screening/screening_session.h"
#include "tests/support/paths.h"
#include "tests/support/scratch_folder.h"
#include "workbench/bins/coding_program.h"
#include "workbench/dialogs/dialog_window.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The label of each case, empty where it is missing.
std::vector<std::string> LabelsOf(const Column& column) {
  std::vector<std::string> labels;
  for (const double value : column.values) {
    const std::string* label = IsMissing(value, column.missingCode) ? nullptr : column.LabelOf(value);
    labels.push_back(label != nullptr ? *label : IsMissing(value, column.missingCode) ? "" : "no label");
  }
  return labels;
}

// The variables that a saved file gives the table.
std::vector<Column> Applied(const ScratchFolder& folder, const std::string& name, const Table& table) {
  std::vector<std::string> notices;
  CodingProgram program(ParseCodingFile(folder.Content(name), name), table, notices);
  std::vector<Column> columns = program.Run([](double) { return true; });
  EXPECT_THAT(notices, IsEmpty());
  return columns;
}

const Column* Find(const std::vector<Column>& columns, const std::string& name) {
  for (const Column& column : columns) {
    if (column.name == name) return &column;
  }
  return nullptr;
}

// Saves the coded variables, recode files and rules of the best predictors, and compares them case
// by case.
void ExpectOneCoding(ScreeningSession& run, int number, std::size_t codedCount) {
  const ScratchFolder folder;
  const int before = run.session.Data().VariableCount();
  AutomationClient results = run.session.ResultsDialog();
  results.Put("NumberOfPredictorsToSave", number);
  results.Call("AddCodedVarsToSprSheet");
  results.Call("SaveAsDataRecodeConditions", {folder.At("base.ini")});
  results.Put("ResultsSaveFileName", folder.At("rules.txt"));
  results.Call("SaveAsRules");
  EXPECT_THAT(run.frontend.messages,
              ElementsAre("Coded variables have been saved to spreadsheet.",
                          "Recode functions have been saved.", "Rules have been saved."));
  const Table& table = run.session.Data();
  ASSERT_EQ(table.VariableCount(), before + static_cast<int>(codedCount));
  EXPECT_THAT(folder.Names(), SizeIs(codedCount + 1));
  const std::vector<Column> rules = Applied(folder, "rules.txt", table);
  ASSERT_THAT(rules, SizeIs(codedCount));
  for (int variable = before + 1; variable <= table.VariableCount(); ++variable) {
    const Column& coded = table.Variable(variable);
    SCOPED_TRACE(coded.name);
    const std::vector<std::string> labels = LabelsOf(coded);
    const Column* const byRules = Find(rules, coded.name);
    ASSERT_NE(byRules, nullptr);
    EXPECT_EQ(LabelsOf(*byRules), labels);
    // RESPONSE_PREDICTOR_Coded
    const std::string stem = coded.name.substr(0, coded.name.size() - 6);
    const std::size_t bar = stem.find('_');
    std::string file = "base - " + stem.substr(bar + 1) + "_" + stem.substr(0, bar) + "__Coded.ini";
    std::replace_if(
        file.begin(), file.end(), [](char c) { return c == '"' || c == '<' || (c >= 0 && c < ' '); }, '_');
    const std::vector<Column> recoded = Applied(folder, file, table);
    ASSERT_THAT(recoded, SizeIs(1));
    EXPECT_EQ(LabelsOf(recoded.front()), labels);
  }
}

// risk follows x and home, whose names and labels are hard to write: controls, quotes, the number
// of another level. Cases of no training come last: values on the cut points and beside them,
// outside the range, missing, and a level that no training case has.
Table HardCases(const std::vector<double>& cutPoints) {
  std::vector<double> risk, amount, train, x, home;
  const auto add = [&](double isTrained, double value, double level) {
    const auto n = static_cast<int>(x.size());
    risk.push_back(value > 0.3 + 0.2 * (n % 3) || (n * 7 % 5 == 0 && level > 2) ? 1 : 0);
    amount.push_back(std::isfinite(value) ? value * 3 + level + n % 4 : 0);
    train.push_back(isTrained);
    x.push_back(value);
    home.push_back(level);
  };
  for (int i = 0; i < 300; ++i) add(1, std::sin(i * 1.7) / 3, 1 + i % 4);
  for (int i = 0; i < 12; ++i) add(1, kMissing, 1 + i % 4);
  for (const double cut : cutPoints) {
    for (const double value : {cut, std::nextafter(cut, -1e9), std::nextafter(cut, 1e9), cut + 1e-9})
      add(0, value, 1);
  }
  for (const double value : {-1e300, 1e300, -0.0, 5e-324}) add(0, value, 2);
  add(0, kMissing, kMissing);
  add(0, 0.1, 9);
  return MakeTable(
      {MakeColumn("risk", risk, {{0, "bad"}, {1, "good"}}), MakeColumn("amount", amount),
       MakeColumn("train", train), MakeColumn("x \"<\" 1,5", x),
       MakeColumn("ho\nme\x01", home,
                  {{1, "own"}, {2, "rent, \"cheap\""}, {3, "größer\r\nals"}, {4, "3"}, {9, "new; level"}})});
}

TEST(Saves, OneCodingInEveryForm) {
  const Wanted wanted = {
      .continuousResponse = "2", .binaryResponse = "1", .categorical = "5", .continuous = "4"};
  std::vector<double> cuts;
  {
    ScreeningSession first(HardCases({}));
    first.session.SelectCases("train = 1", "");
    ASSERT_TRUE(first.Run(wanted));
    for (const int response : {vlm::kBinaryResponse, vlm::kContinuousResponse}) {
      for (int i = 0; i < 2; ++i) {
        for (const double cut : first.CutPoints(response, i)) cuts.push_back(cut);
      }
    }
    ASSERT_GT(cuts.size(), 3u);
  }
  for (const char* const separator : {".", ","}) {
    SCOPED_TRACE(separator);
    ScreeningSession run(HardCases(cuts), separator);
    run.session.SelectCases("train = 1", "");
    ASSERT_TRUE(run.Run(wanted));
    ExpectOneCoding(run, 2, 4);
    // On a cut point a value belongs to the bin below it.
    const Table& table = run.session.Data();
    const std::vector<double> own = run.CutPoints(vlm::kBinaryResponse, 0).empty()
                                        ? run.CutPoints(vlm::kBinaryResponse, 1)
                                        : run.CutPoints(vlm::kBinaryResponse, 0);
    const std::vector<std::string> labels =
        run.Labels(vlm::kBinaryResponse, run.CutPoints(vlm::kBinaryResponse, 0).empty() ? 1 : 0);
    const Column* const coded = Find(table.columns, "risk_x \"<\" 1,5_Coded");
    ASSERT_NE(coded, nullptr);
    EXPECT_EQ(coded->longName, "binary response");
    EXPECT_EQ(coded->measurement, Measurement::kCategorical);
    const std::vector<std::string> codedLabels = LabelsOf(*coded);
    const ColumnValues& x = table.Variable(4).values;
    for (std::size_t i = 0; i < x.size(); ++i) {
      std::size_t bin = 0;
      while (bin < own.size() && x[i] > std::nextafter(own[bin], 1e9)) ++bin;
      EXPECT_EQ(codedLabels[i], x[i] == kMissing ? "" : labels[bin]) << x[i];
    }
  }
}

TEST(Saves, OneCodingOnRealData) {
  ScreeningSession run(ReadTable(SourceDir() + "/samples/german_credit.csv", {}));
  run.session.SelectCases("age > 22", "amount > 9000");
  ASSERT_TRUE(run.Run({.categoricalResponse = "16",
                       .binaryResponse = "1",
                       .categorical = "2 4 5",
                       .continuous = "3 6 14",
                       .good = "good",
                       .bad = "bad"}));
  ExpectOneCoding(run, 3, 6);
}

Wanted Small() { return {.binaryResponse = "1", .categorical = "3", .continuous = "2"}; }

Table SmallTable() {
  std::vector<double> flag, x, group;
  for (int i = 0; i < 60; ++i) {
    x.push_back(i);
    group.push_back(1 + i % 3);
    flag.push_back((i > 30) != (i % 7 == 0) ? 1 : 0);
  }
  return MakeTable({MakeColumn("flag", flag), MakeColumn("x", x), MakeColumn("group", group)});
}

TEST(Saves, BundlesOfBestAndOfCodedPredictors) {
  ScreeningSession run(SmallTable());
  ASSERT_TRUE(run.Run(Small()));
  AutomationClient results = run.session.ResultsDialog();
  results.Put("NumberOfPredictorsToSave", 2);
  results.Call("SavePredictorsToVariableBundle");
  results.Put("SaveToVariableBundle", 1);
  results.Call("AddCodedVarsToSprSheet");
  results.Call("AddCodedVarsToSprSheet");
  std::vector<std::string> bundles;
  for (const VariableBundle& bundle : run.session.Data().bundles) {
    bundles.push_back(bundle.name);
    for (const int number : bundle.variableNumbers) bundles.back() += " " + std::to_string(number);
  }
  EXPECT_THAT(bundles,
              ElementsAre("flag - best continuous predictors 2", "flag - best categorical predictors 3",
                          "flag - coded predictors 4 5", "flag - coded predictors_01 6 7"));
  EXPECT_THAT(run.frontend.messages,
              ElementsAre("Predictors have been saved to input spreadsheet as a variable bundle.",
                          "Coded variables have been saved to spreadsheet.",
                          "Coded variables have been saved to spreadsheet."));
  // Results still speak of the run's data, and are made again from it.
  const std::size_t documents = run.session.Documents().Documents().size();
  results.Get("RulesReport");
  EXPECT_EQ(run.session.Documents().Documents().size(), documents + 2);
  EXPECT_EQ(results.GetObject("RulesReport").Get("Title").AsText(), "Rules report");
}

// A frontend whose user answers the save-as dialog, and may cancel the progress display.
class SavingFrontend : public RecordingFrontend {
 public:
  std::optional<std::string> AskSaveFile(DialogWindow&, std::string_view title,
                                         std::string_view extension) override {
    asked.push_back(std::string(title) + " " + std::string(extension));
    return answer;
  }
  void DialogOpened(DialogWindow& window) override { last = &window; }
  bool CancelPressed() override { return cancel; }
  std::optional<std::string> answer;
  std::vector<std::string> asked;
  DialogWindow* last = nullptr;
  bool cancel = false;
};

TEST(Saves, ButtonsAskAndNothingIsHalfDone) {
  const ScratchFolder folder;
  SavingFrontend frontend;
  Session session(frontend, ModuleOptions());
  session.AnalysisSettings().pruneTrees = false;
  session.SetTable(SmallTable());
  AutomationClient startup = session.StartScreening();
  ScreeningSession::Prepare(startup, Small());
  startup.Call("OK");
  constexpr int kNumber = 1071, kBundles = 1072, kRecode = 1086, kRules = 1087, kCoded = 1088, kReport = 1097;
  const auto press = [&](int control) {
    frontend.messages.clear();
    frontend.last->Press(control);
    return frontend.messages;
  };
  const std::size_t documents = session.Documents().Documents().size();
  const char kWrongNumber[] = "Please specify an appropriate number of predictors to save.";
  for (const char* const number : {"0.4", "3", "", "-1", "x"}) {
    frontend.last->TypeText(kNumber, number);
    for (const int control : {kBundles, kRecode, kRules, kCoded, kReport}) {
      EXPECT_THAT(press(control), ElementsAre(kWrongNumber)) << number << " " << control;
    }
  }
  EXPECT_THAT(frontend.asked, IsEmpty());
  frontend.last->TypeText(kNumber, "1.5");  // taken as 2
  EXPECT_THAT(press(kRecode), IsEmpty());
  EXPECT_THAT(press(kRules), IsEmpty());
  EXPECT_THAT(frontend.asked, ElementsAre("Save as recode function(s) .ini", "Save as rules .txt"));
  frontend.answer = folder.At("no such folder/base");
  EXPECT_THAT(
      press(kRecode),
      ElementsAre("The file " + folder.At("no such folder/base - x_flag__Coded.ini cannot be written.")));
  EXPECT_THAT(press(kRules), ElementsAre("The file " + *frontend.answer + " cannot be written."));
  frontend.cancel = true;
  EXPECT_THAT(press(kCoded), IsEmpty());
  frontend.cancel = false;
  EXPECT_THAT(folder.Names(), IsEmpty());
  EXPECT_EQ(session.Data().VariableCount(), 3);
  EXPECT_THAT(session.Data().bundles, IsEmpty());
  EXPECT_EQ(session.Documents().Documents().size(), documents);

  frontend.answer = folder.At("base");
  EXPECT_THAT(press(kRecode), ElementsAre("Recode functions have been saved."));
  EXPECT_THAT(folder.Names(), SizeIs(2));
  EXPECT_EQ(session.ResultsDialog().Get("NumberOfPredictorsToSave").AsInt(), 2);
  EXPECT_THAT(press(kCoded), ElementsAre("Coded variables have been saved to spreadsheet."));

  // The distribution button: a graph, and after it a table with one row per distinct value.
  frontend.last->Press(1051);
  const Sheet* const distribution = session.Documents().Documents().back().AsSheet();
  ASSERT_NE(distribution, nullptr);
  EXPECT_THAT(distribution->Title(), ::testing::StartsWith("Distribution : x\nDependent variable: "));
  EXPECT_EQ(distribution->ColumnLongName(5), "Empirical CDF (%)");
  const auto row = [&](int number) {
    std::vector<double> cells;
    for (int column = 1; column <= 5; ++column) cells.push_back(distribution->Cell(number, column));
    return cells;
  };
  ASSERT_EQ(distribution->RowCount(), 60);
  EXPECT_THAT(row(1), ElementsAre(0, 0, 0, 1, 100.0 / 60));
  EXPECT_THAT(row(60), ElementsAre(59, 0, 0, 1, 100));

  // A script cannot answer a dialog; it learns what was wrong.
  AutomationClient results = session.ResultsDialog();
  frontend.answer.reset();
  const auto failure = [&](auto call) {
    try {
      call();
    } catch (const AutomationError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(failure([&] { results.Call("SaveAsRules"); }), HasSubstr("ResultsSaveFileName"));
  EXPECT_THAT(failure([&] { results.Call("SaveAsDataRecodeConditions", {""}); }),
              HasSubstr("ResultsSaveFileName"));
  results.Put("NumberOfPredictorsToSave", 7);
  for (const char* const method :
       {"SavePredictorsToVariableBundle", "AddCodedVarsToSprSheet", "SaveAsRules"}) {
    EXPECT_EQ(failure([&] { results.Call(method); }), kWrongNumber);
  }
  EXPECT_EQ(failure([&] { results.Get("RulesReport"); }), kWrongNumber);
}

}  // namespace
}  // namespace velmora::testing
