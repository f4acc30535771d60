// The module as a loaded library: its factories and the life of an analysis.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "module/resources/automation_tables.h"
#include "tests/frame/host_process.h"
#include "tests/support/loaded_module.h"
#include "tests/support/scripted_analysis_host.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool IsBracedGuid(const std::string& id) {
  const std::string pattern = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  return std::equal(id.begin(), id.end(), pattern.begin(), pattern.end(), [](char c, char wanted) {
    return wanted == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) && !std::islower(c) : c == wanted;
  });
}

TEST(ModuleFile, RegistersItsTypeLibraryOnLoad) {
  Process().registrations.clear();
  const LoadedModule module;
  EXPECT_THAT(Process().registrations, ElementsAre(std::string(kLibraryId) + ", null, null"));
  std::set<std::string> ids = {kLibraryId};
  for (const LibraryInterface& row : LibraryInterfaces()) {
    EXPECT_TRUE(IsBracedGuid(row.id)) << row.id;
    EXPECT_TRUE(ids.insert(row.id).second) << row.id << " stands twice";
  }
}

struct FactoryRow {
  const char* factory;
  int id;
  std::string name;
};

TEST(ModuleFile, FactoriesMakeAnalysesThatNeedNoHostYet) {
  const FactoryRow rows[] = {
      {vlm::kFeatureSelectionFactory, 4870, " Feature Selection and Variable Screening"},
      {vlm::kScreeningFactory, 4871, "Predictor Screening"},
  };
  const LoadedModule module;
  for (const FactoryRow& row : rows) {
    SCOPED_TRACE(row.factory);
    vlm::IAnalysis* analysis = module.Make(row.factory);
    ASSERT_NE(analysis, nullptr);
    EXPECT_EQ(analysis->GetContractVersion(), vlm::kContractVersion);
    EXPECT_EQ(analysis->GetAnalysisID(), row.id);
    TextSink name;
    analysis->GetAnalysisName(&name);
    EXPECT_EQ(name.text, row.name);
    EXPECT_NE(analysis->GetLibInstance(), nullptr);
    EXPECT_EQ(analysis->GetFeatureSelectionResults(), nullptr);
    int count = 0;
    const vlm::SequenceStep* steps = analysis->GetSequenceTable(&count);
    std::vector<std::pair<int, int>> walk;
    for (int i = 0; i < count; ++i) walk.emplace_back(steps[i].step, steps[i].followingStep);
    EXPECT_THAT(walk, ElementsAre(std::pair(100, 101), std::pair(101, 0), std::pair(102, 0)));
    // A host that calls too early gets an answer, not a crash.
    EXPECT_EQ(steps[0].operation(analysis), 1);
    EXPECT_EQ(steps[1].operation(analysis), 0);
    EXPECT_EQ(analysis->ForwardSequence(3, 4), 0);
    analysis->Destroy();
  }
}

ScriptedAnalysisHost& AddThreeColumns(ScriptedAnalysisHost& host) {
  for (const char* name : {"y", "a", "b"}) host.engine.AddColumn({1, 2, 3, 4}, name);
  return host;
}

TEST(AnalysisLife, EveryInitMakesAFreshRecordAndAllDieWithTheAnalysis) {
  const LoadedModule module;
  ScriptedAnalysisHost host;
  AddThreeColumns(host);
  AnalysisUnderTest analysis(module.Make(vlm::kFeatureSelectionFactory), host);
  std::size_t blocksOfOne = 0;
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(i == 1 ? analysis.Step(100) : analysis->InitializeAfterFileChanged(), 1);
    if (i == 1) blocksOfOne = host.engine.BlocksHeld();
    EXPECT_EQ(host.engine.BlocksHeld(), i * blocksOfOne);
  }
  EXPECT_EQ(analysis->ForwardSequence(7, 2), 72);
  EXPECT_THAT(host.resultsChanges, IsEmpty());
  analysis.Destroy();
  EXPECT_EQ(host.engine.BlocksHeld(), 0u);
  EXPECT_THAT(host.engine.Misuses(), IsEmpty());
}

TEST(AnalysisLife, BothAnalysesShareSelectionAndWeights) {
  const LoadedModule module;
  ScriptedAnalysisHost first, second;
  AnalysisUnderTest selection(module.Make(vlm::kFeatureSelectionFactory), AddThreeColumns(first));
  AnalysisUnderTest screening(module.Make(vlm::kScreeningFactory), AddThreeColumns(second));
  selection.Step(100);
  screening.Step(100);
  EXPECT_EQ(first.commonBlocks, second.commonBlocks);
  EXPECT_EQ((std::set<vlm::SharedBlock*>(first.commonBlocks.begin(), first.commonBlocks.end()).size()), 4u);
}

TEST(AnalysisLife, WithoutMemoryForItsListsTheDialogSaysSo) {
  const LoadedModule module;
  for (int failing = 1; failing <= 4; ++failing) {
    SCOPED_TRACE(failing);
    ScriptedAnalysisHost host;
    AnalysisUnderTest analysis(module.Make(vlm::kFeatureSelectionFactory), AddThreeColumns(host));
    host.engine.Fail({.failAllocation = failing});
    EXPECT_EQ(analysis.Step(100), 1);
    EXPECT_EQ(host.engine.BlocksHeld(), 0u);
    EXPECT_EQ(analysis.Step(101), -1);
    for (const int control : {1005, 1026, 1040, 1}) host.Window().Press(control);
    EXPECT_EQ(host.messages, std::vector<std::string>(4, "Not enough memory available."));
    Answer answer;
    EXPECT_EQ(CallByName(host.Window().Automation(), "CasewiseDeletionOfMD", vlm::kInvokeGet, {}, answer),
              vlm::kDispatchException);
    EXPECT_EQ(answer.error, "65535: Not enough memory available.");
    // The next data file finds memory again.
    host.engine.Fail({});
    analysis->InitializeAfterFileChanged();
    EXPECT_EQ(host.Window().texts[1032], "10");
    host.Window().Press(2);
    EXPECT_FALSE(host.Window().IsOpen());
  }
}

TEST(AnalysisLife, ADialogThatTheHostRefusesIsNotOpened) {
  const LoadedModule module;
  ScriptedAnalysisHost host;
  AnalysisUnderTest analysis(module.Make(vlm::kFeatureSelectionFactory), AddThreeColumns(host));
  analysis.Step(100);
  host.refuseDialogs = true;
  EXPECT_EQ(analysis.Step(101), 0);
  EXPECT_EQ(analysis.Step(102), 0);
}

}  // namespace
}  // namespace vlmfsl::testing
