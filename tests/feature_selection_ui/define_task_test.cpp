// The startup dialog control by control, and FSLStartup member by member.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "module/resources/automation_tables.h"
#include "module/resources/control_ids.h"
#include "tests/feature_selection_ui/scripted_session.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kTooFew[] =
    "Too few variables selected; select at least one dependent variable and two predictors.";
constexpr char kTooMany[] =
    "More than 1,000,000 variables selected. Please reduce the number of selected variables in order to "
    "avoid memory allocation error.";
constexpr char kBadInteger[] = "Invalid integer entered in edit field";
constexpr char kAllVariables[] = "1 | 2 | 3 4 5 | 6";

std::string Captions(ScriptedWindow& window) {
  std::string all;
  for (const int control : {1006, 1007, 1013, 1011, 1027})
    all += (all.empty() ? "" : " / ") + window.texts[control];
  return all;
}

TEST(DefineTask, OpensWithTheDefaults) {
  Session session;
  ScriptedWindow& window = session.Open(101);
  EXPECT_EQ(window.TemplateId(), 4873);
  EXPECT_THAT(window.pages, ElementsAre(4874, 4875));
  EXPECT_EQ(Captions(window), "none / none / none / none / none");
  EXPECT_EQ(window.ranges[kControlPredictorCuts], "2..20");
  EXPECT_EQ(window.ranges[kControlDependentCuts], "2..20");
  EXPECT_EQ(window.texts[kControlPredictorCuts], "10");
  EXPECT_EQ(window.texts[kControlDependentCuts], "10");
  EXPECT_TRUE(window.Checked(kControlCramersV) && !window.Checked(kControlChiSquare));
  EXPECT_TRUE(window.Checked(kControlUseWeightsAsGiven));
  EXPECT_TRUE(!window.Checked(kControlCasewiseDeletion) && !window.Checked(kControlCutDependents));
  EXPECT_EQ(session.host.weightFlags, "1 0");
}

TEST(DefineTask, CommandsChangeSettingsAndWhatIsEnabled) {
  struct Row {
    const char* name;
    std::vector<int> pressed;
    std::vector<int> checked, unchecked, enabled, disabled;
  };
  const Row rows[] = {
      {"nothing", {}, {1098, 1020}, {1099, 1035, 1040, 1021}, {}, {1041, 1042, 1019, 1020, 1021}},
      {"casewise", {1035}, {1035}, {}, {}, {}},
      {"casewise twice", {1035, 1035}, {}, {1035}, {}, {}},
      {"cut dependents", {1040}, {1040}, {}, {1041, 1042}, {}},
      {"cut dependents twice", {1040, 1040}, {}, {1040}, {}, {1041, 1042}},
      {"chi-square", {1099}, {1099}, {1098}, {}, {}},
      {"chi-square and back", {1099, 1098}, {1098}, {1099}, {}, {}},
      {"weights as given, no weight set", {1021}, {1021}, {1020}, {}, {1019, 1020, 1021}},
      {"a weight is set", {1002}, {1020}, {}, {1019, 1020, 1021}, {}},
      {"a weight, rounded", {1002, 1004}, {}, {1004}, {}, {1019, 1020, 1021}},
      {"a weight, mode 1", {1002, 1021}, {1004, 1021}, {1020}, {1019}, {}},
      {"an unknown control", {4711}, {1098}, {1099}, {}, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Session session;
    session.host.weightAfterDialog = true;
    ScriptedWindow& window = session.Open(101);
    for (const int control : row.pressed) window.Press(control);
    for (const int control : row.checked) EXPECT_TRUE(window.Checked(control)) << control;
    for (const int control : row.unchecked) EXPECT_FALSE(window.Checked(control)) << control;
    for (const int control : row.enabled) EXPECT_TRUE(window.Enabled(control)) << control;
    for (const int control : row.disabled) EXPECT_FALSE(window.Enabled(control)) << control;
  }
}

TEST(DefineTask, HostDialogsRunInTheirOrder) {
  struct Row {
    int control;
    std::string log;
  };
  const Row rows[] = {
      {1001, "lock, select, unlock"}, {1002, "lock, weight, unlock"}, {1003, "open"}, {2, "menus 1, exit 0"}};
  for (const Row& row : rows) {
    Session session;
    ScriptedWindow& window = session.Open(101);
    window.Press(row.control);
    EXPECT_EQ(window.TakeLog(), row.log) << row.control;
  }
}

TEST(DefineTask, OtherDataStartAfreshInTheOpenDialog) {
  Session session;
  ScriptedWindow& window = session.Open(101);
  Session::Put(window, "Variables", TextValue("1 | 2 | 3-5 | 6"));
  Session::Put(window, "NumberOfCutsForContinuousPredictor", IntValue(4));
  window.openDataAnswer = 1;
  window.Press(kControlOpenData);
  EXPECT_EQ(window.TakeLog(), "open, restore");
  EXPECT_EQ(Captions(window), "none / none / none / none / none");
  EXPECT_EQ(window.texts[kControlPredictorCuts], "10");
  // And when the host replaces the file by itself.
  Session::Put(window, "Variables", TextValue("1 | 2 | 3-5 | 6"));
  session.analysis->InitializeAfterFileChanged();
  EXPECT_EQ(Captions(window), "none / none / none / none / none");
}

TEST(DefineTask, VariablesAreAskedUntilThereAreEnough) {
  const std::vector<std::vector<int>> tooFew = {{1}, {}, {3}, {}}, enough = {{1}, {2}, {3, 4}, {6}};
  struct Row {
    const char* name;
    std::vector<ListsAnswer> answers;
    bool automation;
    std::string log, captions;
    std::size_t notices;
  };
  const Row rows[] = {
      {"cancelled", {}, false, "variables", "none / none / none / none / none", 0},
      {"enough at once", {{true, enough}}, false, "variables", "1 / 2 / 3 4 / 6 / none", 0},
      {"one predictor, then enough",
       {{true, tooFew}, {true, enough}},
       false,
       "variables, variables",
       "1 / 2 / 3 4 / 6 / none",
       1},
      {"one predictor, then cancelled",
       {{true, tooFew}},
       false,
       "variables, variables",
       "1 / none / 3 / none / none",
       1},
      {"one predictor under automation",
       {{true, tooFew}, {true, enough}},
       true,
       "variables",
       "1 / none / 3 / none / none",
       1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Session session;
    ScriptedWindow& window = session.Open(101);
    window.listsAnswers.assign(row.answers.begin(), row.answers.end());
    session.host.underAutomation = row.automation;
    window.Press(kControlVariables);
    EXPECT_EQ(window.TakeLog(), row.log);
    EXPECT_EQ(Captions(window), row.captions);
    EXPECT_EQ(session.host.messages, std::vector<std::string>(row.notices, kTooFew));
    EXPECT_EQ(window.lastLists,
              "Select dependent variables and predictors\n"
              "Dependent; continuous: kind 2 at most 7\nDependent; categorical: kind 1 at most 7\n"
              "Predictors; continuous: kind 2 at most 7\nPredictors; categorical: kind 1 at most 7");
  }
}

TEST(DefineTask, TheCountVariableIsChosenAndCleared) {
  Session session;
  ScriptedWindow& window = session.Open(101);
  window.listsAnswers = {{true, {{kCount}}}, {false, {}}, {true, {{}}}};
  window.Press(kControlCountVariable);
  EXPECT_EQ(window.lastLists, "Select count variable\nCount variable kind 2 at most 1");
  EXPECT_EQ(window.texts[kControlCountVariableCaption], "7");
  window.Press(kControlCountVariable);
  EXPECT_EQ(window.texts[kControlCountVariableCaption], "7") << "cancelled";
  window.Press(kControlCountVariable);
  EXPECT_EQ(window.texts[kControlCountVariableCaption], "none");
}

// OK: the messages, whether the run starts, and which cuts it takes.
TEST(DefineTask, OkChecksInOrder) {
  struct Row {
    const char* name;
    const char* variables;
    bool cutDependents;
    const char *cuts, *dependentCuts;
    bool runs;
    std::vector<int> editErrors;
    int storedCuts, storedDependentCuts;
  };
  const Row rows[] = {
      {"one dependent and one predictor", "1 | | 3 |", false, "10", "10", true, {}, 10, 10},
      {"no predictor", "1 | 2 | |", false, "10", "10", false, {}, 10, 10},
      {"no dependent", "| | 3 | 6", false, "10", "10", false, {}, 10, 10},
      {"a single cut", "1 | | 3 4 |", false, "1", "10", true, {}, 1, 10},
      {"the most cuts", "1 | | 3 4 |", true, "20", "20", true, {}, 20, 20},
      {"too many cuts", "1 | | 3 4 |", false, "21", "10", true, {1032}, 10, 10},
      {"no cuts", "1 | | 3 4 |", false, "0", "10", true, {1032}, 10, 10},
      {"half a number", "1 | | 3 4 |", false, "1x", "10", true, {1032}, 10, 10},
      {"an empty edit", "1 | | 3 4 |", false, "", "10", true, {1032}, 10, 10},
      {"dependents' cuts are not read", "1 | | 3 4 |", false, "5", "99", true, {}, 5, 10},
      {"dependents' cuts are read", "1 | | 3 4 |", true, "5", "99", true, {1041}, 5, 10},
      {"both are wrong", "1 | | 3 4 |", true, "x", "y", true, {1032, 1041}, 10, 10},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Session session;
    ScriptedWindow& window = session.Open(101);
    Session::Put(window, "Variables", TextValue(row.variables));
    if (row.cutDependents) window.Press(kControlCutDependents);
    window.Type(kControlPredictorCuts, row.cuts);
    window.Type(kControlDependentCuts, row.dependentCuts);
    session.host.resultsChanges.clear();
    window.Press(kControlOk);
    EXPECT_EQ(window.IsOpen(), !row.runs);
    EXPECT_EQ(window.exitStep, row.runs ? 102 : -1);
    EXPECT_EQ(session.host.resultsChanges, row.runs ? std::vector<int>{1} : std::vector<int>{});
    vlm::IFeatureSelectionResults* results = session.analysis->GetFeatureSelectionResults();
    ASSERT_EQ(results != nullptr, row.runs);
    EXPECT_EQ(window.editErrors.size(), row.editErrors.size());
    for (const int control : row.editErrors) EXPECT_EQ(window.editErrors[control], kBadInteger) << control;
    EXPECT_THAT(session.host.messages, IsEmpty());
    if (!row.runs) continue;
    vlm::FeatureSelectionRun run;
    results->GetRun(&run);
    EXPECT_EQ(run.cutsContinuousPredictor, row.storedCuts);
    EXPECT_EQ(run.cutsContinuousDependent, row.storedDependentCuts);
    EXPECT_EQ(run.caseCount, 12);
    EXPECT_EQ(run.validCases, 12);
  }
}

TEST(DefineTask, OkWithoutAPredictorAsksOrRefuses) {
  {
    Session session;
    ScriptedWindow& window = session.Open(101);
    window.Press(kControlOk);
    EXPECT_EQ(window.TakeLog(), "variables");
    EXPECT_TRUE(window.IsOpen());
    window.listsAnswers = {{true, {{1}, {}, {3, 4}, {}}}};
    window.Press(kControlOk);
    EXPECT_EQ(window.TakeLog(), "variables, exit 102");
  }
  Session session;
  ScriptedWindow& window = session.Open(101);
  EXPECT_EQ(Session::Call(window, "OK", vlm::kInvokeMethod), "");
  EXPECT_EQ(session.host.automationError, "65535: Variable selection not valid.");
  EXPECT_EQ(window.TakeLog(), "") << "a script is not asked";
  Session::Put(window, "Variables", TextValue("1 | | 3 4 |"));
  EXPECT_EQ(Session::Call(window, "OK", vlm::kInvokeMethod), "1");
  EXPECT_FALSE(window.IsOpen());
}

TEST(DefineTask, AMillionVariablesAreTheMost) {
  for (const int extra : {0, 1}) {
    Session session;
    // The run itself is not needed.
    session.host.engine.Fail({.failAllocation = 0, .stopAtCase = 1});
    session.host.engine.columns.resize(500000, {{}, vlm::kMissingValue, "v"});
    session.analysis->InitializeAfterFileChanged();
    ScriptedWindow& window = session.Open(101);
    const std::string lists = "1 | " + std::string(extra ? "2" : "") + " | 2-500000 | 1-500000";
    EXPECT_EQ(Session::Put(window, "Variables", TextValue(lists)), "");
    window.Press(kControlOk);
    EXPECT_EQ(session.host.messages, extra ? std::vector<std::string>{kTooMany} : std::vector<std::string>{});
    EXPECT_EQ(session.host.engine.log.empty(), extra == 1) << "the run begins at exactly a million";
  }
}

TEST(DefineTask, AFailedRunLeavesTheDialogOpenAndNothingHeld) {
  struct Row {
    const char* name;
    Faults faults;
  };
  std::vector<Row> rows = {{"reader stops", {.stopAtCase = 5}},
                           {"cancelled in the second pass", {.cancelButtonAtStep = 3, .inPass = 2}}};
  for (int allocation = 1; allocation <= 6; ++allocation) {
    rows.push_back({"no memory", {.failAllocation = allocation}});
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.faults.failAllocation));
    Session session;
    ScriptedWindow& window = session.Open(101);
    Session::Put(window, "Variables", TextValue("1 | 2 | 3 4 5 | 6"));
    const std::size_t held = session.host.engine.BlocksHeld();
    session.host.engine.Fail(row.faults);
    window.Press(kControlOk);
    EXPECT_TRUE(window.IsOpen());
    EXPECT_EQ(session.analysis->GetFeatureSelectionResults(), nullptr);
    EXPECT_EQ(session.host.engine.BlocksHeld(), held);
    session.host.engine.Fail({});
    window.Press(kControlOk);
    EXPECT_FALSE(window.IsOpen()) << "the settings serve the next run";
    EXPECT_NE(session.analysis->GetFeatureSelectionResults(), nullptr);
    EXPECT_THAT(session.host.engine.Misuses(), IsEmpty());
  }
}

// Settings that are changed after a run no longer describe its results.
TEST(DefineTask, ChangedSettingsDropTheResults) {
  Session session;
  ScriptedWindow& results = session.RunAndShowResults(kAllVariables);
  ScriptedWindow& again = session.Open(101);
  again.Press(kControlVariables);
  ASSERT_NE(session.analysis->GetFeatureSelectionResults(), nullptr) << "a cancelled choice changes nothing";
  Session::Put(again, "Variables", TextValue("1 | | 3-6 3 4 |"));
  EXPECT_EQ(session.analysis->GetFeatureSelectionResults(), nullptr);
  EXPECT_EQ(session.host.resultsChanges.back(), 0);
  results.Press(kControlSummary);
  EXPECT_THAT(session.host.documents.shown, IsEmpty());

  for (const char* property :
       {"CountVariable", "NumberOfCutsForContinuousPredictor", "CasewiseDeletionOfMD",
        "TreatContinuousDependentAsCategorical", "NumberOfCutsForContinuousDependentVariable",
        "UseCramerVForCategoricalDependentVariable", "UseChiSquareForCategoricalDependentVariable"}) {
    Session other;
    other.RunAndShowResults(kAllVariables);
    ScriptedWindow& startup = other.Open(101);
    EXPECT_EQ(Session::Put(startup, property, TextValue("many")).empty(), false);
    EXPECT_NE(other.analysis->GetFeatureSelectionResults(), nullptr) << property << " was not put";
    EXPECT_EQ(Session::Put(startup, property, IntValue(1)), "");
    EXPECT_EQ(other.analysis->GetFeatureSelectionResults(), nullptr) << property;
  }
}

TEST(DefineTask, OtherDataEndTheResults) {
  Session session;
  session.RunAndShowResults(kAllVariables);
  session.analysis->InitializeAfterFileChanged();
  EXPECT_EQ(session.analysis->GetFeatureSelectionResults(), nullptr);
  EXPECT_THAT(session.host.resultsChanges, ElementsAre(1, 0));
}

// While a dialog of the host is up, neither a click nor a script changes what the command works on,
// and a host that closes the window meanwhile leaves no results behind that the new lists do not
// fit.
TEST(DefineTask, OneCommandAtATime) {
  Session session;
  ScriptedWindow& window = session.Open(101);
  window.listsAnswers = {{true, {{1}, {}, {3, 4}, {}}}};
  window.whileListsAreShown = [&] {
    window.Press(kControlCutDependents);
    EXPECT_EQ(Session::Put(window, "Variables", TextValue("2")), "65535: The dialog is busy.");
    EXPECT_EQ(Session::Get(window, "Variables"), "65535: The dialog is busy.");
  };
  window.Press(kControlVariables);
  EXPECT_FALSE(window.Checked(kControlCutDependents));
  EXPECT_EQ(Session::Get(window, "Variables"), "1 |  | 3 4 | ");

  Session closed;
  closed.RunAndShowResults(kAllVariables);
  ScriptedWindow& startup = closed.Open(101);
  startup.listsAnswers = {{true, {{1}, {2}, {3, 4, 5}, {6, 7}}}};
  startup.whileListsAreShown = [&] { startup.Close(0); };
  startup.Press(kControlVariables);
  EXPECT_EQ(closed.analysis->GetFeatureSelectionResults(), nullptr);
}

// --- FSLStartup

TEST(FslStartup, PropertiesAndControlsSayTheSame) {
  struct Row {
    const char* property;
    vlm::AutomationValue put;
    std::string got;
    int control;
    std::string shown;  // text, or "checked" / "unchecked"
  };
  const Row rows[] = {
      {"Variables", TextValue("1 | 2 | 3-5 | 6"), "1 | 2 | 3 4 5 | 6", 1013, "3 4 5"},
      {"Variables", TextValue("1||3"), "1 |  | 3 | ", 1011, "none"},
      {"Variables", TextValue("1 1 1"), "1 |  |  | ", 1006, "1"},
      {"Variables", TextValue(""), " |  |  | ", 1006, "none"},
      {"CountVariable", TextValue("7"), "7", 1027, "7"},
      {"CountVariable", IntValue(7), "7", 1027, "7"},
      {"CountVariable", TextValue("None"), "none", 1027, "none"},
      {"CountVariable", TextValue(""), "none", 1027, "none"},
      {"CountVariable", IntValue(0), "none", 1027, "none"},
      {"NumberOfCutsForContinuousPredictor", IntValue(5), "5", 1032, "5"},
      {"NumberOfCutsForContinuousPredictor", IntValue(-1), "-1", 1032, "-1"},
      {"NumberOfCutsForContinuousDependentVariable", IntValue(6), "6", 1041, "6"},
      {"CasewiseDeletionOfMD", IntValue(-1), "1", 1035, "checked"},
      {"CasewiseDeletionOfMD", IntValue(0), "0", 1035, "unchecked"},
      {"TreatContinuousDependentAsCategorical", IntValue(65536), "1", 1040, "checked"},
      {"UseCramerVForCategoricalDependentVariable", IntValue(0), "0", 1099, "checked"},
      {"UseCramerVForCategoricalDependentVariable", IntValue(1), "1", 1098, "checked"},
      {"UseChiSquareForCategoricalDependentVariable", IntValue(1), "1", 1098, "unchecked"},
      {"UseChiSquareForCategoricalDependentVariable", IntValue(0), "0", 1098, "checked"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.property);
    Session session;
    ScriptedWindow& window = session.Open(101);
    EXPECT_EQ(Session::Put(window, row.property, row.put), "");
    EXPECT_EQ(Session::Get(window, row.property), row.got);
    if (row.shown == "checked" || row.shown == "unchecked") {
      EXPECT_EQ(window.Checked(row.control), row.shown == "checked");
    } else {
      EXPECT_EQ(window.texts[row.control], row.shown);
    }
  }
}

TEST(FslStartup, VariablesAlsoComeAsArrays) {
  const std::vector<vlm::AutomationValue> first = {IntValue(3), RealValue(4), TextValue("5")};
  const std::vector<vlm::AutomationValue> lists = {IntValue(1), vlm::AutomationValue{}, ArrayValue(first),
                                                   TextValue("6")};
  Session session;
  ScriptedWindow& window = session.Open(101);
  EXPECT_EQ(Session::Put(window, "Variables", ArrayValue(lists)), "");
  EXPECT_EQ(Session::Get(window, "Variables"), "1 |  | 3 4 5 | 6");
}

TEST(FslStartup, WrongSelectionsAreNamedAndChangeNothing) {
  struct Row {
    const char* property;
    vlm::AutomationValue put;
    std::string error;
  };
  const Row rows[] = {
      {"Variables", TextValue("1 | 2 | 3-8 |"),
       "65535: There is no variable number 8: the data have 7 variables."},
      {"Variables", TextValue("0"), "65535: There is no variable number 0: the data have 7 variables."},
      {"Variables", TextValue("1 | yeild"), "65535: There is no variable \"yeild\"."},
      {"Variables", TextValue("1|2|3|4|5"), "65535: Variables takes 4 lists, and 5 were given."},
      {"CountVariable", TextValue("1-3"), "65535: CountVariable takes one variable, and 3 were given."},
      {"CountVariable", IntValue(9), "65535: There is no variable number 9: the data have 7 variables."},
      {"NumberOfCutsForContinuousPredictor", TextValue("many"), "status 3"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.error);
    Session session;
    ScriptedWindow& window = session.Open(101);
    Session::Put(window, "Variables", TextValue("1 | 2 | 3 4 | 6"));
    Session::Put(window, "CountVariable", IntValue(7));
    EXPECT_EQ(Session::Put(window, row.property, row.put), row.error);
    EXPECT_EQ(Session::Get(window, "Variables"), "1 | 2 | 3 4 | 6");
    EXPECT_EQ(Session::Get(window, "CountVariable"), "7");
    EXPECT_EQ(Session::Get(window, "NumberOfCutsForContinuousPredictor"), "10");
  }
}

TEST(FslStartup, AHeldObjectOutlivesItsDialogAndFails) {
  Session session;
  ScriptedWindow& window = session.Open(101);
  vlm::IAutomationObject& object = window.Automation();
  object.AddReference();
  EXPECT_EQ(object.GetInterface()->name, std::string("FSLStartup"));
  EXPECT_EQ(Session::Get(window, "name"), "0") << "inherited members are the host's";
  window.Press(kControlCancel);
  session.analysis.Destroy();
  Answer answer;
  EXPECT_EQ(CallByName(object, "Variables", vlm::kInvokeGet, {}, answer), vlm::kDispatchFailed);
  EXPECT_EQ(CallByName(object, "OK", vlm::kInvokeMethod, {}, answer), vlm::kDispatchFailed);
  object.ReleaseReference();
}

// Every member that the table describes has a handler.
TEST(FslStartup, EveryMemberOfTheTableIsServed) {
  Session session;
  ScriptedWindow& startup = session.Open(101);
  for (int i = 0; i < kFslStartup.memberCount; ++i) {
    EXPECT_NE(Session::Get(startup, kFslStartup.members[i].name), "") << kFslStartup.members[i].name;
  }
  ScriptedWindow& results = session.RunAndShowResults(kAllVariables);
  for (int i = 0; i < kFslResults.memberCount; ++i) {
    const vlm::AutomationMember& member = kFslResults.members[i];
    if ((member.kinds & vlm::kInvokeGet) == 0) continue;
    std::vector<vlm::AutomationValue> arguments(static_cast<std::size_t>(member.argumentCount), IntValue(1));
    const std::string answer = Session::Get(results, member.name, arguments);
    EXPECT_TRUE(!answer.empty() || member.getType == vlm::kAutomationText) << member.name;
  }
}

}  // namespace
}  // namespace vlmfsl::testing
