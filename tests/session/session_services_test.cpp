// The services that an engine gets, over a small table: cases with selection and weights, memory,
// progress, cancellation, and the input spreadsheet.
#include "workbench/session/session_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <limits>

#include "contract/text.h"
#include "workbench/session/input_spreadsheet.h"
#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"

namespace velmora {
namespace {

using testing::ElementsAre;

struct ServicesTest : testing::Test {
  ServicesTest()
      : core(std::make_shared<SessionCore>(frontend, SessionOptions{})), services(*core), input(*core) {
    Table table;
    table.caseCount = 6;
    const std::vector<double> columns[] = {
        {1, 2, 3, 4, 5, 6},
        {10, -9, 10, 30, 20, 10},
        {1, -2, 0, kMissing, std::numeric_limits<double>::quiet_NaN(), 0.5}};
    for (const auto& values : columns) {
      Column column;
      column.name = std::string(1, static_cast<char>('a' + table.columns.size()));
      column.values = values;
      table.columns.push_back(column);
    }
    table.columns[1].missingCode = -9;
    core->ReplaceTable(std::move(table));
  }
  ~ServicesTest() override { core.reset(); }

  // "use a b w" or "skip" or "stop", one per case.
  std::vector<std::string> ReadAll(std::vector<int> list, int firstCase = 1, int lastCase = 6) {
    std::vector<std::string> read;
    for (int caseNumber = firstCase; caseNumber <= lastCase; ++caseNumber) {
      std::vector<double> values(list.size() + 1, -77);
      int weighted = 0;
      double weight = 0;
      const short result = services.cstrtw_ex_Long(0, caseNumber, list.data(), static_cast<int>(list.size()),
                                                   values.data(), &weighted, &weight, nullptr);
      EXPECT_EQ(values[0], -77);
      EXPECT_EQ(weighted, core->weightVariable != 0);
      std::string text = result == vlm::kCaseUse ? "use" : result == vlm::kCaseSkip ? "skip" : "stop";
      if (result == vlm::kCaseUse) {
        for (std::size_t index = 1; index < values.size(); ++index)
          text += " " + Variant(values[index]).AsText();
        text += " x" + Variant(weight).AsText();
      }
      read.push_back(text);
    }
    return read;
  }

  RecordingFrontend frontend;
  std::shared_ptr<SessionCore> core;
  SessionServices services;
  InputSpreadsheet input;
};

TEST_F(ServicesTest, ReadsCasesInListOrderWithSelectionAndWeights) {
  EXPECT_THAT(ReadAll({2, 1, 2}, 1, 2), ElementsAre("use 10 1 10 x1", "use -9 2 -9 x1"));
  core->WeightBy(3);
  EXPECT_THAT(ReadAll({1}), ElementsAre("use 1 x1", "use 2 x-2", "use 3 x0", "skip", "skip", "use 6 x0.5"))
      << "negative and zero weights are the engine's to judge; a missing one leaves the case out";
  core->SelectCases({"a > 1", "a = 6"});
  EXPECT_THAT(ReadAll({1}), ElementsAre("skip", "use 2 x-2", "use 3 x0", "skip", "skip", "skip"));
  core->SelectCases({" ", ""});
  EXPECT_THAT(ReadAll({1}, 1, 1), ElementsAre("use 1 x1"));
}

TEST_F(ServicesTest, StopsWhereThereIsNothingToRead) {
  EXPECT_THAT(ReadAll({1}, 0, 0), ElementsAre("stop"));
  EXPECT_THAT(ReadAll({1}, 7, 7), ElementsAre("stop"));
  EXPECT_THAT(ReadAll({4}, 1, 1), ElementsAre("stop"));
  EXPECT_THAT(ReadAll({}, 1, 1), ElementsAre("use x1"));
}

TEST_F(ServicesTest, SeesVariablesThatAreAddedDuringTheRun) {
  EXPECT_THAT(ReadAll({1}, 1, 1), ElementsAre("use 1 x1"));
  const double coded[] = {6, 5, 4, 3, 2, 1};
  EXPECT_EQ(input.AddVariable("a_Coded", 7, "a, coded", 8, coded), 4);
  EXPECT_EQ(input.AddVariable("a_Coded", 7, "", 0, coded), 5);
  EXPECT_EQ(core->table.Variable(5).name, "a_Coded_2");
  EXPECT_THAT(ReadAll({4, 1}, 1, 2), ElementsAre("use 6 1 x1", "use 5 2 x1"));
}

TEST_F(ServicesTest, CountsMemory) {
  void* blocks[3] = {};
  for (auto& block : blocks) {
    ASSERT_EQ(services.AllocMem(&block, 100), 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
    std::memset(block, 0xFF, 100);
  }
  void* none = nullptr;
  EXPECT_EQ(services.AllocMem(&none, 0), 0);
  EXPECT_NE(none, nullptr);
  EXPECT_EQ(services.BlocksInUse(), 4);
  EXPECT_EQ(services.BytesInUse(), 300U);
  services.FreeMem(&none);
  services.FreeMem(&none);
  for (auto& block : blocks) services.FreeMem(&block);
  EXPECT_EQ(services.BlocksInUse(), 0);
  EXPECT_EQ(services.BytesInUse(), 0U);
  EXPECT_NE(services.AllocMem(&none, ~std::uint64_t{0} - 8), 0);
}

TEST_F(ServicesTest, ProgressShowsAFewStepsAndCloses) {
  services.d_pbar("Counting", 8);
  services.dstart(1000000);
  for (int step = 1; step <= 1000000; ++step) services.termom(step);
  EXPECT_GE(frontend.steps.size(), 150U);
  EXPECT_LE(frontend.steps.size(), 201U);
  services.dstart(3);  // opens another: the first is closed
  EXPECT_EQ(frontend.progressClosed, 1);
  services.dstop();
  services.dstop();
  EXPECT_EQ(frontend.progressClosed, 2);
  EXPECT_THAT(frontend.stepCounts, ElementsAre(1000000, 3));
}

TEST_F(ServicesTest, CancelIsSeenAtTheNextShownStep) {
  struct CancellingFrontend final : RecordingFrontend {
    bool CancelPressed() override { return steps.back() >= 50; }
  } cancelling;
  const auto other = std::make_shared<SessionCore>(cancelling, SessionOptions{});
  SessionServices cancelled(*other);
  cancelled.dstart(100);
  int step = 1;
  for (; step <= 100 && !cancelled.pcancel(); ++step) cancelled.termom(step);
  EXPECT_EQ(step, 51);
  cancelled.dstop();
  EXPECT_FALSE(cancelled.pcancel()) << "the next run starts without it";
}

TEST_F(ServicesTest, CancelIsSeenWithinALongStep) {
  struct PressedFrontend final : RecordingFrontend {
    bool CancelPressed() override { return isPressed; }
    bool isPressed = false;
  } pressed;
  const auto other = std::make_shared<SessionCore>(pressed, SessionOptions{});
  SessionServices cancelled(*other);
  cancelled.dstart(1);
  cancelled.termom(1);
  EXPECT_FALSE(cancelled.pcancel());
  pressed.isPressed = true;
  const auto latest = std::chrono::steady_clock::now() + std::chrono::minutes(5);
  while (!cancelled.pcancel() && std::chrono::steady_clock::now() < latest) {
  }
  EXPECT_TRUE(cancelled.pcancel());
}

TEST_F(ServicesTest, DistinctValuesLeaveOutMissingAndUnselectedOnes) {
  double values[8] = {};
  EXPECT_EQ(input.GetDistinctValues(2, values, 8), 3);
  EXPECT_THAT(std::vector<double>(values, values + 3), ElementsAre(10, 20, 30));
  EXPECT_EQ(input.GetDistinctValues(2, values, 0), 3);
  core->SelectCases({"", "b = 20"});
  EXPECT_EQ(input.GetDistinctValues(2, values, 1), 2);
  EXPECT_EQ(input.GetDistinctValues(9, values, 1), 0);
}

TEST_F(ServicesTest, DistinctValuesAreSoughtOnceUntilTheDataChange) {
  Table table;
  table.caseCount = 20000;
  for (const int distinct : {3, 20000, 15000}) {
    Column column;
    column.name = "modulo" + std::to_string(distinct);
    for (int i = 0; i < table.caseCount; ++i) column.values.Own().push_back(i % distinct);
    table.columns.push_back(column);
  }
  core->ReplaceTable(std::move(table));
  for (const int variable : {1, 2, 3}) {
    const double* const found = input.SelectedValues(variable).data();
    EXPECT_EQ(input.SelectedValues(variable).data(), found) << variable;
    EXPECT_EQ(input.SelectedValues(1).size(), 3U);
    EXPECT_EQ(input.SelectedValues(variable).data(), found) << variable << ", after another one";
  }
  EXPECT_EQ(input.SelectedValues(2).size(), 20000U);
  core->SelectCases({"modulo20000 < 12000", ""});
  EXPECT_EQ(input.SelectedValues(2).size(), 12000U);
  EXPECT_EQ(input.SelectedValues(3).size(), 12000U);
}

TEST_F(ServicesTest, BundlesTakeWideNamesOnce) {
  const std::u16string name = u"Pr\u00E4dikator \U0001F600";
  EXPECT_EQ(input.AddBundle(name.data(), static_cast<int>(name.size()), "1 3", 3), 0);
  EXPECT_EQ(core->table.bundles.at(0).name,
            "Pr\xC3\xA4"
            "dikator \xF0\x9F\x98\x80");
  EXPECT_THAT(core->table.bundles.at(0).variableNumbers, ElementsAre(1, 3));
  EXPECT_NE(input.AddBundle(name.data(), static_cast<int>(name.size()), "1", 1), 0) << "the name is taken";
  EXPECT_NE(input.AddBundle(u"x", 1, "99", 2), 0) << "no such variable";
  EXPECT_NE(input.AddBundle(u"", 0, "1", 1), 0);
  EXPECT_EQ(input.GetBundleCount(), 1);
}

TEST_F(ServicesTest, LabelsAndValuesFindEachOther) {
  input.SetVariableValueLabel(1, 2, "two", 3);
  input.SetVariableValueLabel(1, 1, "one", 3);
  input.SetVariableValueLabel(1, 2, "TWO", 3);
  vlm::StringSink label;
  EXPECT_EQ(input.GetValueLabel(1, 2, &label), 0);
  EXPECT_EQ(label.Text(), "TWO");
  EXPECT_NE(input.GetValueLabel(1, 3, &label), 0);
  struct Row {
    std::string text;
    double value;
  };
  for (const Row& row : {Row{"one", 1}, Row{"3.5", 3.5}, Row{"two", -1}, Row{"1x", -1}, Row{"", -1}}) {
    double value = -1;
    input.FindValue(1, row.text.data(), static_cast<int>(row.text.size()), &value);
    EXPECT_EQ(value, row.value) << row.text;
  }
}

}  // namespace
}  // namespace velmora
