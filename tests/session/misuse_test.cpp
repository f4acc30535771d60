// Wrong use by people and scripts, with the module itself: pressing OK too early, typing half a
// number, removing data, dialogs and whole analyses while they are in use.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "module/resources/control_ids.h"
#include "tests/session/session_support.h"
#include "tests/support/paths.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/data/readers.h"

namespace velmora {
namespace {

using enum vlmfsl::ControlId;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kCredit = SourceDir() + "/samples/german_credit.csv";
const std::string kHouses = SourceDir() + "/samples/house_prices.csv";
constexpr char kNone[] = "No predictor variables have been selected.";

// A user who answers as the test says and may do something foolish at any time.
struct FoolishFrontend final : WindowFrontend {
  bool AskVariableLists(DialogWindow&, std::string_view, std::vector<VariableListQuestion>& lists) override {
    Do();
    for (std::size_t i = 0; i < lists.size() && i < answer.size(); ++i) lists[i].variables = answer[i];
    return !answer.empty();
  }
  bool AskCodes(DialogWindow&, CodesQuestion& question) override {
    Do();
    lastChoices = question.choices;
    if (keepsCodes) return true;
    for (CodeChoice& choice : question.choices) choice = {{1, 2}, false};
    return true;
  }
  bool AskCaseSelection(DialogWindow&, CaseSelectionText& selection) override {
    Do();
    selection.include = "age > 30";
    return true;
  }
  std::optional<std::string> AskDataFile(DialogWindow&) override { return std::exchange(file, {}); }
  std::vector<CodeChoice> lastChoices;
  bool keepsCodes = false;
  void ProgressStep(int step) override {
    RecordingFrontend::ProgressStep(step);
    Do();
  }
  void Notice(std::string_view text) override {
    RecordingFrontend::Notice(text);
    Do();
  }
  void Do() {
    if (foolish) std::exchange(foolish, nullptr)();
  }

  std::vector<std::vector<int>> answer;
  std::optional<std::string> file;
  std::function<void()> foolish;  // done once, inside the next call
};

struct MisuseTest : testing::Test {
  MisuseTest() : session(frontend, ModuleOptions()) { session.SetTable(ReadTable(kCredit)); }
  int Number(const char* name) { return ResolveVariable(session.Data(), name); }
  const std::string& Text(int controlId) { return frontend.window->Find(controlId)->text; }

  FoolishFrontend frontend;
  Session session;
};

constexpr char kFeatureLists[] = "amount | risk | duration_months age | checking_account telephone";
constexpr char kScreeningLists[] = "amount | | risk | purpose | duration_months age";

TEST_F(MisuseTest, OkWithTooLittleChosenSaysWhatIsMissing) {
  const AutomationClient features = session.StartFeatureSelection();
  EXPECT_EQ(ErrorOf([&] { features.Call("OK"); }), "Variable selection not valid.");
  EXPECT_TRUE(frontend.window->Press(kControlOk));
  EXPECT_TRUE(session.StartupDialog()) << "nobody chose anything, the dialog stays";
  session.EndAnalysis();

  const AutomationClient screening = session.StartScreening();
  EXPECT_EQ(screening.Call("OK").AsInt(), 0);
  EXPECT_THAT(frontend.messages, ElementsAre(kNone));
  screening.Put("Variables", "| | | | age");
  EXPECT_TRUE(frontend.window->Press(kControlOk));
  EXPECT_EQ(frontend.messages.back(), "No response variables have been selected.");
  EXPECT_EQ(ErrorOf([&] { screening.Put("FactorCodes", "1 2"); }),
            "Set Variables first: no variable of theirs takes these codes.");
  frontend.answer = {{}, {}, {}, {}, {}};
  EXPECT_TRUE(frontend.window->Press(kControlVariables));
  EXPECT_THAT(frontend.instructionErrors, ElementsAre("No response variables have been selected."));
  frontend.answer = {{Number("amount")}, {}, {}, {}, {}};
  EXPECT_TRUE(frontend.window->Press(kControlVariables));
  EXPECT_EQ(frontend.instructionErrors.back(), kNone);
}

// The checks come in their order, each with its own sentence, and a half-typed number is no number.
TEST_F(MisuseTest, CodesOfTheBinaryResponseAreCheckedOneByOne) {
  const AutomationClient startup = session.StartScreening();
  startup.Put("Variables", kScreeningLists);
  struct Row {
    const char *good, *bad, *message;
  };
  constexpr char kGood[] = "The code used to specify 'Good' is not appropriate.";
  constexpr char kBad[] = "The code used to specify 'Bad' is not appropriate.";
  const Row rows[] = {
      {"", "", kGood},           {"3", "1", kGood},           {"1e", "2", kGood}, {"-", "nonsense", kGood},
      {"1", "", kBad},           {"good", "2.", "identical"}, {"2", "2e", kBad},  {"good", "1.5", kBad},
      {"1", "bad", "identical"}, {"bad", "bad", "identical"}};
  for (const Row& row : rows) {
    frontend.messages.clear();
    EXPECT_TRUE(frontend.window->TypeText(kControlGoodCode, row.good));
    EXPECT_TRUE(frontend.window->TypeText(kControlBadCode, row.bad));
    EXPECT_TRUE(frontend.window->Press(kControlOk));
    ASSERT_EQ(frontend.messages.size(), 1U) << row.good << " " << row.bad;
    EXPECT_THAT(frontend.messages[0], HasSubstr(row.message)) << row.good << " " << row.bad;
    EXPECT_TRUE(session.StartupDialog());
  }
}

TEST_F(MisuseTest, ChosenCodesGoWithWhatTheyWereChosenFor) {
  const AutomationClient startup = session.StartScreening();
  EXPECT_FALSE(frontend.window->Find(kControlFactorCodes)->enabled);
  EXPECT_FALSE(frontend.window->Find(kControlGoodCode)->enabled);
  startup.Put("Variables", "| housing | risk | purpose savings | age");
  const auto choose = [&] {
    EXPECT_TRUE(frontend.window->Press(kControlFactorCodes));
    EXPECT_TRUE(frontend.window->Press(kControlResponseCodes));
    EXPECT_EQ(Text(kControlFactorCodesCaption) + " " + Text(kControlResponseCodesCaption),
              "selected selected");
  };
  choose();
  EXPECT_TRUE(frontend.window->Press(kControlCaseSelection));
  EXPECT_EQ(Text(kControlFactorCodesCaption) + " " + Text(kControlResponseCodesCaption), "none none")
      << "codes are those of the selected cases";
  choose();
  frontend.keepsCodes = true;
  EXPECT_TRUE(frontend.window->Press(kControlFactorCodes));
  EXPECT_EQ(frontend.lastChoices, (std::vector<CodeChoice>{{{1, 2}, false}, {{1, 2}, false}}))
      << "OK without a change changes nothing";
  EXPECT_EQ(startup.Get("FactorCodes").AsText(), "1 2 | 1 2");
  startup.Put("Variables", "| housing | risk | purpose | age");
  EXPECT_EQ(Text(kControlFactorCodesCaption) + " " + Text(kControlResponseCodesCaption), "none selected");
  startup.Put("Variables", "| | | | age");
  EXPECT_EQ(Text(kControlFactorCodesCaption) + " " + Text(kControlResponseCodesCaption), "none none");
  EXPECT_FALSE(frontend.window->Find(kControlResponseCodes)->enabled);
  EXPECT_FALSE(frontend.window->Press(kControlFactorCodes));
  EXPECT_EQ(startup.Get("FactorCodes").AsText(), "");
}

// Good and bad codes belong to one response of one file.
TEST_F(MisuseTest, BinaryCodesGoWithTheirResponse) {
  const AutomationClient startup = session.StartScreening();
  const auto codes = [&] { return startup.Get("GoodCode").AsText() + " " + startup.Get("BadCode").AsText(); };
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  startup.Put("Variables", kScreeningLists);
  EXPECT_EQ(codes(), "good bad") << "the first response takes codes given before it";
  startup.Put("Variables", "| | risk | purpose | age");
  EXPECT_EQ(codes(), "good bad") << "other lists change";
  startup.Put("Variables", "| | telephone | purpose | age");
  EXPECT_EQ(codes(), " ");
  EXPECT_EQ(frontend.window->Find(kControlGoodCode)->valuesOf, Number("telephone"));
  startup.Put("GoodCode", "yes");
  frontend.file = kHouses;
  EXPECT_TRUE(frontend.window->Press(kControlOpenData));
  const AutomationClient fresh = session.StartupDialog();
  EXPECT_EQ(fresh.Get("GoodCode").AsText(), "");
}

// A code that no selected case has is still a code of the data; the run reports how it treats it.
TEST_F(MisuseTest, BinaryCodesAreThoseOfTheData) {
  const AutomationClient startup = session.StartScreening();
  startup.Put("Variables", "| | risk | | age");
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  session.SelectCases("risk = 'good'", "");
  startup.Call("OK");
  for (const std::string& message : frontend.messages)
    EXPECT_THAT(message, Not(HasSubstr("not appropriate")));
}

TEST_F(MisuseTest, EveryCategoricalResponseKeepsItsCodes) {
  const AutomationClient startup = session.StartScreening();
  startup.Put("Variables", "| housing purpose | | | age");
  startup.Put("ResponseCodes", "1 2 | 3 4");
  EXPECT_EQ(startup.Get("ResponseCodes").AsText(), "1 2 | 3 4");
  startup.Put("ResponseCodes", "| 3 4");
  EXPECT_EQ(startup.Get("ResponseCodes").AsText(), " | 3 4");
  EXPECT_EQ(Text(kControlResponseCodesCaption), "selected");
}

// A dialog shows the cases that are used, whether a user or a script chose them.
TEST_F(MisuseTest, OpenDialogsFollowTheSelectionAndTheWeights) {
  session.StartFeatureSelection();
  EXPECT_TRUE(frontend.window->Find(kControlUseWeightsAsGiven)->shown);
  EXPECT_FALSE(frontend.window->Find(kControlWeightedMomentsMode1)->enabled);
  session.SelectCases("age > 30", "");
  session.WeightBy(Number("amount"));
  EXPECT_THAT(frontend.window->DataLine(), HasSubstr("; cases where age > 30; weighted by amount"));
  EXPECT_TRUE(frontend.window->Press(kControlWeightedMomentsMode1));
  EXPECT_THAT(frontend.messages,
              ElementsAre("Mode 1 of the weighted moments is not available; mode 0 is used."));
  EXPECT_TRUE(frontend.window->Find(kControlWeightedMomentsMode0)->checked);
  session.WeightBy(0);
  EXPECT_FALSE(frontend.window->Find(kControlWeightedMomentsMode1)->enabled);
}

// Numbers that a script sets are used as they are, and the run reports the consequences.
TEST_F(MisuseTest, NumbersOutsideTheirRangeAreSaid) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kFeatureLists);
  startup.Put("NumberOfCutsForContinuousPredictor", 0);
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
  EXPECT_THAT(frontend.notices, Contains(HasSubstr("The number of cuts is 0, outside 1 to 20;")));
  const AutomationClient results = session.ResultsDialog();
  results.Put("DisplayBestPredictorsWithFixedPValue", 1);
  results.Put("FixedPValueOfBestPredictors", 5);
  results.Get("Summary");
  EXPECT_THAT(frontend.notices, Contains(HasSubstr("The p criterion is 5, which is not between 0 and 1;")));
}

// "*" means the codes of the cases that the run has, not of those selected when a script chose it.
TEST_F(MisuseTest, AllCodesAreThoseOfTheRun) {
  const AutomationClient startup = session.StartScreening();
  startup.Put("Variables", "| housing | risk | purpose housing | age");
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  session.SelectCases("housing <> 'own'", "");
  startup.Put("FactorCodes", "\"new car\" \"used car\" | *");
  startup.Put("ResponseCodes", "*");
  EXPECT_EQ(startup.Get("FactorCodes").AsText(), "5 10 | 1 3");
  session.SelectCases("", "");
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
  vlm::IScreeningResults& results = *session.ScreeningResults();
  vlm::ScreeningRun run{};
  results.GetRun(vlm::kCategoricalResponse, &run);
  EXPECT_EQ(run.classCount, 3);
  int levelCount = 0;
  for (int index = 0; index < 3; ++index) levelCount += results.GetLevelCount(vlm::kBinaryResponse, index);
  EXPECT_EQ(levelCount, 2 + 3);
}

// Codes that OK asks for are the script's own, once it has given them.
TEST_F(MisuseTest, AScriptAnswersTheQuestionsOfOk) {
  const AutomationClient startup = session.StartScreening();
  startup.Put("Variables", "| | risk | housing purpose | age");
  startup.Put("GoodCode", "good");
  startup.Put("BadCode", "bad");
  EXPECT_THAT(ErrorOf([&] { startup.Put("FactorCodes", "own | castle"); }),
              HasSubstr("\"castle\" is neither a code nor a value label of purpose, whose codes are "
                        "\"business\", \"domestic appliance\", "));
  startup.Put("ResultsCodes", "own \"rent\" | castle");
  EXPECT_THAT(ErrorOf([&] { startup.Call("OK"); }),
              HasSubstr("\"castle\" is neither a code nor a value label of purpose, whose codes are"));
  startup.Put("ResultsCodes", "own | 1 2 | 3");
  EXPECT_THAT(ErrorOf([&] { startup.Call("OK"); }),
              HasSubstr("There are 2 lists to choose, and 3 were given."));
  startup.Put("ResultsCodes", "own | 1 2");
  EXPECT_EQ(startup.Call("OK").AsInt(), 0);
  EXPECT_THAT(frontend.messages.back(), HasSubstr("not enough distinct factor codes"));
  startup.Put("FactorCodes", "");
  startup.Put("ResultsCodes", Variant::Array{std::vector<int>{1, 2}, Variant::Array{1, 2.0, "3"}});
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
}

TEST_F(MisuseTest, AFileThatCannotBeReadChangesNothing) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kFeatureLists);
  const std::string before = startup.Get("Variables").AsText();
  frontend.file = "/nowhere/else.csv";
  EXPECT_TRUE(frontend.window->Press(kControlOpenData));
  EXPECT_THAT(frontend.instructionErrors.back(), HasSubstr("/nowhere/else.csv"));
  EXPECT_EQ(startup.Get("Variables").AsText(), before);
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
}

TEST_F(MisuseTest, OtherDataLeaveHeldDialogsClosedAndFreshOnesOpen) {
  for (const bool screening : {false, true}) {
    session.SetTable(ReadTable(kCredit));
    const AutomationClient held = screening ? session.StartScreening() : session.StartFeatureSelection();
    held.Put("Variables", screening ? kScreeningLists : kFeatureLists);
    session.SetTable(ReadTable(kHouses));
    for (const char* member : {"Variables", "Name", "Parent"}) {
      EXPECT_THROW(held.Get(member), AutomationError) << member;
    }
    EXPECT_THROW(held.Put("Variables", ""), AutomationError);
    EXPECT_THROW(held.Call("OK"), AutomationError);
    EXPECT_THROW(held.Call("Cancel"), AutomationError);
    const AutomationClient fresh = session.StartupDialog();
    ASSERT_TRUE(fresh);
    EXPECT_THAT(fresh.Get("Variables").AsText(), testing::Not(HasSubstr("1")));
    session.EndAnalysis();
  }
}

// Whatever calls into the module is on the stack, the analysis goes only when it has returned.
TEST_F(MisuseTest, AnAnalysisMayBeEndedOutOfAnyOfItsCommands) {
  struct Row {
    const char* name;
    bool screening;
    int control;  // 0: a script's OK
  };
  const Row rows[] = {{"variables", false, kControlVariables},
                      {"cases", false, kControlCaseSelection},
                      {"run", false, 1},
                      {"script", false, 0},
                      {"variables", true, kControlVariables},
                      {"factor codes", true, kControlFactorCodes},
                      {"cases", true, kControlCaseSelection},
                      {"run", true, 1},
                      {"script", true, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.screening ? "screening: " : "feature selection: ") + row.name);
    session.SelectCases("", "");
    const AutomationClient startup =
        row.screening ? session.StartScreening() : session.StartFeatureSelection();
    startup.Put("Variables", row.screening ? kScreeningLists : kFeatureLists);
    if (row.screening) {
      startup.Put("GoodCode", "good");
      startup.Put("BadCode", "bad");
      startup.Put("FactorCodes", "*");
      if (row.control == kControlFactorCodes) startup.Put("FactorCodes", "");
    }
    frontend.answer = {{Number("amount")}, {}, {}, {Number("purpose")}, {Number("age")}};
    if (!row.screening) frontend.answer.pop_back();
    bool ended = false;
    frontend.foolish = [&] {
      session.EndAnalysis();
      ended = true;
      EXPECT_THROW(startup.Get("Variables"), AutomationError);
    };
    if (row.control != 0) {
      EXPECT_TRUE(frontend.window->Press(row.control));
    } else {
      try {
        startup.Call("OK");
      } catch (const AutomationError&) {
      }
    }
    EXPECT_TRUE(ended);
    EXPECT_FALSE(session.StartupDialog());
    EXPECT_FALSE(session.ResultsDialog());
    EXPECT_EQ(session.FeatureSelectionResults(), nullptr);
    EXPECT_EQ(frontend.window, nullptr);
  }
  EXPECT_THAT(session.LogTexts(), testing::Each(testing::Not(HasSubstr("blocks of memory"))));
}

TEST_F(MisuseTest, DataStayWhatTheyAreWhileTheyAreRead) {
  for (const bool screening : {false, true}) {
    const AutomationClient startup = screening ? session.StartScreening() : session.StartFeatureSelection();
    startup.Put("Variables", screening ? "amount | | | | duration_months" : kFeatureLists);
    std::vector<std::string> refused;
    frontend.foolish = [&] {
      refused = {ErrorOf([&] { session.SetTable(ReadTable(kHouses)); }),
                 ErrorOf([&] { session.SelectCases("age > 30", ""); }),
                 ErrorOf([&] { session.WeightBy(1); }),
                 ErrorOf([&] { session.Application().Call("Open", {kHouses}); }),
                 ErrorOf([&] { startup.Put("Variables", ""); }),
                 ErrorOf([&] { startup.Call("OK"); })};
    };
    EXPECT_EQ(startup.Call("OK").AsInt(), 1);
    constexpr char kStill[] = "The data cannot be changed while an analysis reads them.";
    EXPECT_THAT(refused,
                ElementsAre(kStill, kStill, kStill, kStill, "The dialog is busy.", "The dialog is busy."));
    EXPECT_EQ(session.Data().fileName, kCredit);
    session.EndAnalysis();
  }
}

// Results of the old data must not be read for documents that are made while the data are replaced.
TEST_F(MisuseTest, ResultsGoWhileTheirOutputIsMade) {
  const AutomationClient startup = session.StartFeatureSelection();
  startup.Put("Variables", kFeatureLists);
  startup.Call("OK");
  const AutomationClient results = session.ResultsDialog();
  results.Put("DisplayBestPredictorsWithFixedPValue", 1);
  results.Put("FixedPValueOfBestPredictors", 1e-300);
  frontend.foolish = [&] { session.SetTable(ReadTable(kHouses)); };
  try {
    results.Get("Summary");
  } catch (const AutomationError&) {
  }
  EXPECT_FALSE(frontend.notices.empty());
  EXPECT_FALSE(frontend.foolish) << "the data went in the middle";
  EXPECT_FALSE(session.ResultsDialog());
  EXPECT_TRUE(session.StartupDialog());
  EXPECT_THROW(results.Get("Summary"), AutomationError);
}

}  // namespace
}  // namespace velmora
