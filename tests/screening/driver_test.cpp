// The driver on a scripted host: order of work, steps, how runs end, and a host that fails at every
// result sheet and every allocation in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>
#include <stdexcept>

#include "contract/screening_results.h"
#include "module/resources/control_ids.h"
#include "tests/support/loaded_module.h"
#include "tests/support/scripted_analysis_host.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/session/document_adapters.h"

namespace vlmfsl::testing {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kPartly[] =
    "One or more predictor(s) failed and will be omitted from the valid predictors list.";
constexpr char kNothing[] = "No results can be computed. Please review the dataset for appropriate values.";
constexpr char kUnable[] =
    "Predictor screening is unable to complete the requested analysis.  Please review data for appropriate "
    "values.";
constexpr char kFatal[] = "An fatal error has occurred and the analysis must close.";

constexpr int kAllGroups[] = {1, 2, 3, 4};

// Variables: 1 flag, 2 amount (follows x), 3 x, 4 constant, 5 all missing, 6 group, 7 y.
class Driver {
 public:
  explicit Driver(Faults faults = {}) : analysis(module_.Make(vlm::kScreeningFactory), host) {
    std::vector<double> flag, amount, x, group, y;
    for (int i = 0; i < 40; ++i) {
      flag.push_back(i % 3 == 0 || i > 25 ? 1 : 0);
      amount.push_back(i * i % 17 + (i > 20 ? 30 : 0));
      x.push_back(i);
      group.push_back(1 + (i / 3) % 4);
      y.push_back(i * 7 % 11);
    }
    const std::vector<double> constant(40, 5.0), missing(40, vlm::kMissingValue);
    const char* const names[] = {"flag", "amount", "x", "constant", "missing", "group", "y"};
    const std::vector<double>* const values[] = {&flag, &amount, &x, &constant, &missing, &group, &y};
    table_.caseCount = 40;
    for (int i = 0; i < 7; ++i) {
      host.engine.AddColumn(*values[i], names[i]);
      velmora::Column column;
      column.name = names[i];
      column.values = *values[i];
      table_.columns.push_back(column);
    }
    home_->workbook = std::make_shared<velmora::Workbook>();
    velmora::ProcedureEnvironment environment;
    environment.table = [this]() -> const velmora::Table& { return table_; };
    environment.selection = [](std::string&, std::string&) {};
    environment.weightVariable = [] { return 0; };
    environment.wrapSheet = [this](std::shared_ptr<velmora::Sheet> sheet) {
      if (++sheetsMade == failAtSheet) throw std::runtime_error("no sheet");
      return velmora::MakeSpreadsheet(home_, 0, std::move(sheet));
    };
    environment.checkpoint = [this] {
      if (++checkpoints != cancelAtCheckpoint) return;
      host.engine.cancelPressed = true;
      throw std::runtime_error("Cancelled.");
    };
    analyses_ = std::make_unique<velmora::HostProcedures>(std::move(environment));
    analyses_->Settings().pruneTrees = false;
    host.procedures = [this](int id) { return analyses_->Create(id); };
    host.input.distinctValues = {0, 1};  // of the flag
    host.engine.Fail(faults);
    analysis.Step(100);
    analysis.Step(101);
  }

  // Presses OK for these variables: continuous response | categorical | binary | predictors,
  // categorical | continuous.
  void Run(std::string_view variables, std::span<const int> codes = kAllGroups) {
    if (!host.Window().IsOpen()) analysis.Step(101);
    Put("Variables", TextValue(variables));
    vlm::AutomationValue factorCodes{};
    factorCodes.type = vlm::kAutomationIntArray;
    factorCodes.integers = codes.data();
    factorCodes.length = static_cast<int>(codes.size());
    Put("FactorCodes", factorCodes);
    Put("ResponseCodes", factorCodes);
    Put("GoodCode", TextValue("1"));
    Put("BadCode", TextValue("0"));
    host.Window().Press(1);
  }
  void Put(std::string_view name, const vlm::AutomationValue& value) {
    vlm::IAutomationObject& startup = host.Window().Automation();
    int id = 0;
    ASSERT_EQ(startup.GetIdOfName(name.data(), static_cast<int>(name.size()), &id), vlm::kDispatchOk);
    Answer answer;
    startup.Invoke(id, vlm::kInvokePut, &value, 1, &answer);
  }
  // "analysed best-first / failed" of a response kind; "no results".
  std::string Outcome(int response) {
    vlm::IScreeningResults* results = analysis->GetScreeningResults();
    if (results == nullptr) return "no results";
    std::string text;
    struct Order final : vlm::IIntegerSink {
      virtual ~Order() = default;
      void Clear() override { numbers.clear(); }
      void Append(int value) override { numbers.push_back(value); }
      std::vector<int> numbers;
    } order;
    results->GetOrder(response, &order);
    TextSink name;
    for (const int index : order.numbers) {
      results->GetPredictorName(response, index, &name);
      text += name.text + " ";
    }
    vlm::ScreeningRun run{};
    results->GetRun(response, &run);
    text += "/";
    for (int i = 0; i < run.failedCount; ++i) {
      results->GetFailedName(response, i, &name);
      text += " " + name.text;
    }
    return text;
  }

  ScriptedAnalysisHost host;
  int sheetsMade = 0;
  int failAtSheet = 0;
  int checkpoints = 0;  // of the host's procedures
  int cancelAtCheckpoint = 0;

 private:
  LoadedModule module_;
  velmora::Table table_;
  std::shared_ptr<velmora::DocumentHome> home_ = std::make_shared<velmora::DocumentHome>();
  std::unique_ptr<velmora::HostProcedures> analyses_;

 public:
  AnalysisUnderTest analysis;
};

TEST(ScreeningDriver, RunsEndAsTheirPredictorsDo) {
  struct Row {
    const char* name;
    const char* variables;
    const char* steps;
    std::vector<std::string> messages;
    const char* outcome;  // of the continuous response
  };
  const Row rows[] = {
      {"one predictor shows two steps", "2|||| 3", "dstart 2", {}, "x /"},
      {"categorical predictors come first", "2||| 6 | 3 7", "dstart 3", {}, "x y group /"},
      {"some fail", "2|||| 3 4 5", "dstart 3", {kPartly}, "x / constant missing"},
      {"all fail: one message alone", "2|||| 4 5", "dstart 2", {kNothing}, "no results"},
      {"no predictor", "2||||", nullptr, {"No predictor variables have been selected."}, "no results"},
      {"no response", "|||| 3", nullptr, {"No response variables have been selected."}, "no results"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Driver driver;
    driver.Run(row.variables);
    if (row.steps != nullptr) {
      EXPECT_THAT(driver.host.engine.log, Contains(row.steps));
    }
    EXPECT_EQ(driver.host.messages, row.messages);
    EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), row.outcome);
    EXPECT_EQ(driver.host.Window().exitStep, std::string(row.outcome) == "no results" ? -1 : 102);
    EXPECT_THAT(driver.host.engine.Misuses(), IsEmpty());
    EXPECT_EQ(driver.host.engine.BlocksHeld(), 0u);
  }
}

// The framework is notified after each save, whatever its result; for rules only when the number is
// valid.
TEST(ScreeningDriver, SavesNotifyTheFramework) {
  struct Row {
    const char* number;
    int control;
    const char* log;
  };
  const Row rows[] = {{"1", kControlSaveBundle, "command 52818"},
                      {"x", kControlSaveBundle, "command 52818"},
                      {"1", kControlAddCodedVariables, "command 52819"},
                      {"x", kControlAddCodedVariables, "command 52819"},
                      {"1", kControlSaveRules, "command 52821"},  // the file question is cancelled
                      {"x", kControlSaveRules, ""}};
  Driver driver;
  driver.Run("2|||| 3");
  ASSERT_TRUE(driver.analysis.Step(102));
  ScriptedWindow& window = driver.host.Window();
  window.TakeLog();
  for (const Row& row : rows) {
    window.Type(kControlNumberToSave, row.number);
    window.Press(row.control);
    EXPECT_EQ(window.TakeLog(), row.log) << row.number << " " << row.control;
  }
}

// Each sort radio chooses its order and leaves the others unchecked.
TEST(ScreeningDriver, SortRadiosExcludeEachOther) {
  const std::pair<int, int> pairs[] = {{kControlSortGini, kControlSortInformationValue},
                                       {kControlSortChiSquareP, kControlSortChiSquare},
                                       {kControlSortRSquared, kControlSortFStatistic}};
  Driver driver;
  ScriptedWindow& window = driver.host.Window();
  for (const auto& [first, second] : pairs) {
    EXPECT_TRUE(window.Checked(first) && !window.Checked(second)) << first;
    window.Press(second);
    EXPECT_TRUE(!window.Checked(first) && window.Checked(second)) << second;
    window.Press(first);
    EXPECT_TRUE(window.Checked(first) && !window.Checked(second)) << first;
  }
}

TEST(ScreeningDriver, CancellingLeavesNoResults) {
  for (int step = 1; step <= 3; ++step) {
    SCOPED_TRACE(step);
    Faults faults;
    faults.inPass = 1;
    faults.cancelButtonAtStep = step;
    Driver driver(faults);
    driver.Run("2|||| 3 7 1");
    EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "no results");
    EXPECT_THAT(driver.host.messages, IsEmpty());
    EXPECT_EQ(driver.host.Window().exitStep, -1);
    EXPECT_EQ(driver.host.engine.log.back(), "dstop");
    EXPECT_THAT(driver.host.engine.Misuses(), IsEmpty());
  }
}

TEST(ScreeningDriver, ReasonsAreNoticesWhenThereAreNoResults) {
  Driver driver;
  driver.Run("2|||| 4 5");
  EXPECT_THAT(driver.host.engine.notices,
              ElementsAre("constant: No split of the predictor separates the response.",
                          "missing: There are no cases with a value of the predictor and of the response."));
}

// An application that counts how often its screen updating is switched.
class Screen final : public vlm::IAutomationObject {
 public:
  virtual ~Screen() = default;
  void AddReference() override {}
  void ReleaseReference() override {}
  const vlm::AutomationInterface* GetInterface() override { return nullptr; }
  void* MakeComObject(vlm::IAutomationObject*) override { return nullptr; }
  int GetIdOfName(const char* name, int length, int* id) override {
    *id = 7;
    return std::string_view(name, static_cast<std::size_t>(length)) == "ScreenUpdating"
               ? vlm::kDispatchOk
               : vlm::kDispatchMemberNotFound;
  }
  int Invoke(int id, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult*) override {
    EXPECT_EQ(id, 7);
    EXPECT_EQ(kind, vlm::kInvokePut);
    EXPECT_EQ(argumentCount, 1);
    puts.push_back(arguments[0].intValue);
    return vlm::kDispatchOk;
  }
  std::vector<int> puts;
};

TEST(ScreeningDriver, ScreenUpdatingIsOffDuringARunHoweverItEnds) {
  for (const bool cancels : {false, true})
    for (const bool fails : {false, true}) {
      Faults faults;
      faults.inPass = cancels ? 1 : 0;
      faults.cancelButtonAtStep = cancels ? 2 : 0;
      Driver driver(faults);
      if (fails) driver.host.procedures = nullptr;
      Screen screen;
      driver.host.application = &screen;
      driver.Run("2|||| 3 7");
      EXPECT_THAT(screen.puts, ElementsAre(0, 1));
      driver.host.application = nullptr;
    }
}

// The user cancels while a procedure of the host works: it fails, and the run ends like any
// cancelled one.
TEST(ScreeningDriver, CancellingInsideAProcedureLeavesNoResults) {
  constexpr char kVariables[] = "7| 6| 1| 6| 3";
  Driver whole;
  whole.Run(kVariables);
  ASSERT_EQ(whole.Outcome(vlm::kContinuousResponse), "x group /");
  ASSERT_GT(whole.checkpoints, 20);
  for (int checkpoint = 1; checkpoint <= whole.checkpoints; ++checkpoint) {
    SCOPED_TRACE(checkpoint);
    Driver driver;
    driver.cancelAtCheckpoint = checkpoint;
    driver.Run(kVariables);
    EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "no results");
    EXPECT_THAT(driver.host.messages, IsEmpty());
    EXPECT_EQ(driver.host.Window().exitStep, -1);
    EXPECT_EQ(driver.host.engine.BlocksHeld(), 0u);
    if (::testing::Test::HasFailure()) break;
  }
}

TEST(ScreeningDriver, AHostWithoutTreesEndsTheRunWithAMessage) {
  Driver driver;
  driver.host.procedures = nullptr;
  driver.Run("2|||| 3");
  EXPECT_THAT(driver.host.messages, ElementsAre(kUnable));
  EXPECT_THAT(driver.host.engine.notices, ElementsAre("The host has no procedure 0."));
  EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "no results");
}

// When any sheet cannot be made, the predictor or the run fails with a message, and the next run
// works.
TEST(ScreeningDriver, EverySheetMayFail) {
  constexpr char kVariables[] = "2||| 6 | 3";
  Driver whole;
  whole.Run(kVariables);
  ASSERT_EQ(whole.Outcome(vlm::kContinuousResponse), "x group /");
  ASSERT_GT(whole.sheetsMade, 4);
  int fatal = 0;
  for (int sheet = 1; sheet <= whole.sheetsMade; ++sheet) {
    SCOPED_TRACE(sheet);
    Driver driver;
    driver.failAtSheet = sheet;
    driver.Run(kVariables);
    ASSERT_FALSE(driver.host.messages.empty());
    fatal += driver.host.messages.front() == kFatal ? 1 : 0;
    if (driver.host.messages.front() == kUnable) {
      EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "no results");
    }
    driver.host.messages.clear();
    driver.failAtSheet = 0;
    driver.Run(kVariables);
    EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "x group /");
    EXPECT_THAT(driver.host.messages, IsEmpty());
  }
  EXPECT_GT(fatal, 0);
}

TEST(ScreeningDriver, AllocationFailureEndsTheRun) {
  Faults faults;
  faults.failAllocation = 1;
  Driver driver(faults);
  driver.Run("2|||| 3");
  EXPECT_THAT(driver.host.messages, ElementsAre(kUnable));
  EXPECT_EQ(driver.Outcome(vlm::kContinuousResponse), "no results");
  EXPECT_EQ(driver.host.engine.BlocksHeld(), 0u);
}

// When any call of a graph fails: a message, no document, no reference kept. Then the button works
// again.
TEST(ScreeningDriver, EveryCallOfAGraphMayBeRefused) {
  struct Button {
    int control;
    int fewestFaults;  // so that there is something to refuse
    std::size_t documents = 1;
  };
  // The distribution comes with its table.
  const Button buttons[] = {{1051, 6, 2}, {1052, 2}, {1068, 3}, {1069, 4}, {1082, 5}, {1083, 3}, {1084, 2}};
  for (const Button& button : buttons) {
    SCOPED_TRACE(button.control);
    int told = 0;
    // Each fault: the call, the result sheet or the allocation with this number.
    for (const char* fault : {"call", "sheet", "allocation"}) {
      for (int number = 1; number < 50; ++number) {
        SCOPED_TRACE(fault + std::string(" ") + std::to_string(number));
        Driver driver;
        driver.Run("7| 6| 1|| 3");
        ASSERT_THAT(driver.host.messages, IsEmpty());
        ASSERT_TRUE(driver.analysis.Step(102));
        driver.sheetsMade = 0;
        driver.failAtSheet = *fault == 's' ? number : 0;
        driver.host.documents.refuseGraphCall = *fault == 'c' ? number : 0;
        driver.host.engine.Fail({.failAllocation = *fault == 'a' ? number : 0});
        driver.host.Window().Press(button.control);
        EXPECT_EQ(driver.host.engine.BlocksHeld(), 0u);
        EXPECT_EQ(driver.host.documents.alive, 0);
        if (driver.host.messages.empty()) {
          EXPECT_EQ(driver.host.documents.shown.size(), button.documents);
          break;
        }
        ++told;
        EXPECT_THAT(driver.host.messages, ElementsAre(kFatal));
        EXPECT_THAT(driver.host.documents.shown, IsEmpty());
        driver.host.messages.clear();
        driver.failAtSheet = driver.host.documents.refuseGraphCall = 0;
        driver.host.engine.Fail({});
        driver.host.Window().Press(button.control);
        EXPECT_THAT(driver.host.messages, IsEmpty());
        EXPECT_EQ(driver.host.documents.shown.size(), button.documents);
      }
    }
    EXPECT_GE(told, button.fewestFaults);
  }
}

}  // namespace
}  // namespace vlmfsl::testing
