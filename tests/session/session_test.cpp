// Sessions over small modules that behave and misbehave on demand: the step machine, lives of
// dialogs and of the module's file, documents, and the entries of the log.
#include "workbench/session/session.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/session/session_support.h"
#include "workbench/data/errors.h"

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string FakePath(const std::string& name) { return VELMORA_TESTS_BINARY_DIR "/lib" + name + ".so"; }

bool IsLoaded(const std::string& path) {
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

Table SmallTable() {
  Table table;
  table.fileName = "small.csv";
  table.caseCount = 3;
  for (const char* name : {"risk", "age"}) {
    Column column;
    column.name = name;
    column.values = {1, 2, 3};
    table.columns.push_back(column);
  }
  return table;
}

struct SessionTest : testing::Test {
  SessionTest() : session(frontend, OptionsFor("fake_module")) { session.SetTable(SmallTable()); }
  static SessionOptions OptionsFor(const std::string& name) {
    SessionOptions options;
    options.modulePath = FakePath(name);
    return options;
  }
  AutomationClient Start(const char* behaviour) {
    AutomationClient startup = session.StartFeatureSelection();
    startup.Put("Behaviour", behaviour);
    return startup;
  }
  RecordingFrontend frontend;
  Session session;
};

TEST_F(SessionTest, WalksFromStartupToResultsAndBack) {
  const AutomationClient startup = Start("succeed");
  EXPECT_EQ(startup.Get("InitCount").AsInt(), 1);
  EXPECT_EQ(startup.Get("Name").AsText(), "Fake");
  EXPECT_EQ(startup.GetObject("Parent").Get("Name").AsText(), "Fake analysis");
  EXPECT_EQ(startup.GetObject("Application").Get("Name").AsText(), "Velmora");
  EXPECT_FALSE(session.ResultsDialog());
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
  EXPECT_FALSE(session.StartupDialog());
  const AutomationClient results = session.ResultsDialog();
  ASSERT_TRUE(results);
  EXPECT_THROW(startup.Get("InitCount"), AutomationError) << "closed";
  results.Call("Cancel");
  EXPECT_FALSE(session.ResultsDialog());
  ASSERT_TRUE(session.StartupDialog());
  EXPECT_EQ(session.StartupDialog().Get("InitCount").AsInt(), 1) << "the settings of the run are still there";
  session.StartupDialog().Call("Cancel");
  EXPECT_FALSE(session.StartupDialog());
  EXPECT_EQ(session.FeatureSelectionResults(), nullptr);
}

TEST_F(SessionTest, OkTellsWhetherTheAnalysisWentOn) {
  struct Row {
    const char* behaviour;
    const char* outcome;
  };
  const Row rows[] = {{"succeed", "1"}, {"script?", "1"}, {"huge memory", "1"},
                      {"nothing", "0"}, {"notice", "0"},  {"raise", "Variable selection not valid."}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.behaviour);
    const AutomationClient startup = Start(row.behaviour);
    std::string outcome;
    try {
      outcome = startup.Call("OK").AsText();
    } catch (const AutomationError& error) {
      EXPECT_EQ(error.Code(), 65535);
      outcome = error.what();
    }
    EXPECT_EQ(outcome, row.outcome);
    session.EndAnalysis();
  }
}

TEST_F(SessionTest, WritesDownAModulesMistakes) {
  struct Row {
    const char* behaviour;
    const char* logged;
  };
  const Row rows[] = {
      {"exit twice",
       "The module left a dialog by step 0 after it had left it by step 102; the first counts."},
      {"unknown control", "The module used control 77, which is not in dialog template 10."},
      {"unknown step", "The analysis went to step 777, which is not in its table."},
      {"leave memory", "The analysis did not release 1 blocks of memory (24 bytes)."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.behaviour);
    Start(row.behaviour).Call("OK");
    session.EndAnalysis();
    ASSERT_FALSE(session.LogTexts().empty());
    EXPECT_EQ(session.LogTexts().back(), row.logged);
  }
  EXPECT_EQ(session.LogTexts().size(), 4U);
}

TEST_F(SessionTest, AStepTableThatLeadsInCirclesEnds) {
  Start("circle").Call("OK");
  EXPECT_FALSE(session.StartupDialog());
}

TEST_F(SessionTest, NewDataCloseTheDialogsAndStartAfresh) {
  const AutomationClient startup = Start("succeed");
  startup.Call("OK");
  const AutomationClient results = session.ResultsDialog();
  session.WeightBy(2);
  session.SelectCases("v1 > 1", "");
  session.SetTable(SmallTable());
  EXPECT_EQ(session.WeightVariable(), 0);
  EXPECT_THROW(results.Get("InitCount"), AutomationError);
  ASSERT_TRUE(session.StartupDialog());
  EXPECT_EQ(session.StartupDialog().Get("InitCount").AsInt(), 2);
}

TEST_F(SessionTest, AScriptsHandleKeepsTheModuleLoadedAndFails) {
  AutomationClient held;
  {
    RecordingFrontend otherFrontend;
    Session other(otherFrontend, OptionsFor("fake_module_copy"));
    other.SetTable(SmallTable());
    held = other.StartFeatureSelection();
    EXPECT_TRUE(IsLoaded(FakePath("fake_module_copy")));
  }
  EXPECT_TRUE(IsLoaded(FakePath("fake_module_copy")));
  EXPECT_THROW(held.Get("InitCount"), AutomationError);
  EXPECT_THROW(held.Call("OK"), AutomationError);
  held = AutomationClient();
  EXPECT_FALSE(IsLoaded(FakePath("fake_module_copy")));
}

TEST_F(SessionTest, CollectsDocumentsAndNotices) {
  const AutomationClient startup = Start("documents");
  startup.Call("OK");
  const auto& documents = session.Documents().Documents();
  ASSERT_EQ(documents.size(), 3U) << "shown once each; the sheet that was not shown is not there";
  const DocumentGroup* group = session.Documents().Group(documents[0].group);
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(group->subject, 1);
  EXPECT_EQ(group->name, session.Data().Variable(1).name);
  EXPECT_EQ(documents[1].group, 0) << "the whole run";
  const Sheet& sheet = *documents[0].AsSheet();
  EXPECT_EQ(sheet.RowName(1), "a name that is much longer than ");
  EXPECT_EQ(sheet.Cell(1, 1), 0.5);
  const Graph& graph = *documents[1].AsGraph();
  EXPECT_EQ(graph.kind, GraphKind::kHorizontalBars);
  EXPECT_THAT(graph.series.at(0).labels, ElementsAre("bar"));
  EXPECT_EQ(graph.positionAxis.maximum, 1.5);
  EXPECT_EQ(documents[2].AsText()->text, "a\nb");
  startup.Put("Behaviour", "notice");
  startup.Call("OK");
  EXPECT_THAT(frontend.notices, ElementsAre("Not enough cases"));
  EXPECT_EQ(session.Documents().notices.size(), 1U);
}

TEST_F(SessionTest, NothingThrownPassesThroughTheModule) {
  struct ThrowingFrontend final : RecordingFrontend {
    void Notice(std::string_view) override { throw std::runtime_error("The display is gone."); }
  } throwing;
  Session other(throwing, OptionsFor("fake_module"));
  other.SetTable(SmallTable());
  const AutomationClient startup = other.StartFeatureSelection();
  startup.Put("Behaviour", "notice");
  EXPECT_EQ(ErrorOf([&] { startup.Call("OK"); }), "The display is gone.");
  EXPECT_EQ(startup.Get("InitCount").AsInt(), 1) << "the dialog is as it was";
}

TEST_F(SessionTest, RefusesAnotherThread) {
  const AutomationClient startup = Start("succeed");
  std::string atStart, atCall;
  std::thread([&] {
    atStart = ErrorOf([&] { session.StartFeatureSelection(); });
    atCall = ErrorOf([&] { startup.Call("OK"); });
  }).join();
  EXPECT_THAT(atStart, HasSubstr("on a thread that its module does not belong to"));
  EXPECT_EQ(atCall, atStart);
  EXPECT_EQ(startup.Call("OK").AsInt(), 1);
}

TEST_F(SessionTest, ChangesNothingForAWrongSelectionOrWeight) {
  session.SelectCases("v1 > 1", "");
  session.WeightBy(2);
  EXPECT_THROW(session.SelectCases("v1 >", ""), DataError);
  EXPECT_THROW(session.WeightBy(3), DataError);
  Table longest = SmallTable();
  longest.caseCount = std::int64_t{1} << 31;
  EXPECT_THROW(session.SetTable(longest), DataError) << "cases are numbered by int";
  EXPECT_EQ(session.Data().caseCount, 3);
  EXPECT_EQ(session.WeightVariable(), 2);
}

TEST(ModuleFileTest, SaysWhatIsWrongWithTheFile) {
  const std::string textFile = testing::TempDir() + "not_a_module.so";
  std::ofstream(textFile) << "text";
  struct Row {
    std::string path;
    std::string error;
  };
  const Row rows[] = {
      {"/nowhere/module.so", "There is no module file /nowhere/module.so."},
      {testing::TempDir(), "There is no module file"},
      {textFile, "cannot be loaded"},
      {FakePath("fake_module_half"), "it has no function Qvd6FeatureSelectionTemplate."},
      {FakePath("fake_module_99"),
       "libfake_module_99.so speaks version 99 of the host contract; this workbench speaks"},
  };
  for (const Row& row : rows) {
    RecordingFrontend frontend;
    Session session(frontend, SessionTest::OptionsFor(""));
    SessionOptions options;
    options.modulePath = row.path;
    Session other(frontend, options);
    EXPECT_THAT(ErrorOf([&] { other.StartFeatureSelection(); }), HasSubstr(row.error));
    EXPECT_FALSE(other.StartupDialog());
  }
}

TEST(ModuleFileTest, FailsWithoutAnAnalysis) {
  RecordingFrontend frontend;
  Session session(frontend, SessionTest::OptionsFor("fake_module"));
  EXPECT_THAT(ErrorOf([&] { session.StartScreening(); }),
              HasSubstr("could not make its predictor screening"));
}

}  // namespace
}  // namespace velmora
