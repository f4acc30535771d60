// --memory: the same results in less memory, and one sentence where that cannot be.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

constexpr int kRows = 100000, kColumns = 100;

// Columns that take 80 megabytes: a class, a measured outcome, levels, and numbers of
// three digits, some of them missing.
std::string WriteTable(const TemporaryFolder& folder) {
  std::string text = "risk,amount,home";
  for (int column = 3; column <= kColumns; ++column) text += ",x" + std::to_string(column);
  text += "\n";
  std::uint64_t random = 1;
  const auto next = [&random] {
    return random = random * 6364136223846793005U + 1442695040888963407U, random >> 33;
  };
  for (int i = 0; i < kRows; ++i) {
    const std::uint64_t amount = next() % 900 + 100;
    text += amount + next() % 500 > 800 ? "bad," : "good,";
    text += std::to_string(amount) + (next() % 3 == 0 ? ",own" : ",rent");
    for (int column = 3; column <= kColumns; ++column) {
      text += ',';
      if (next() % 50 != 0)
        text += std::to_string((next() % 700 + amount * static_cast<unsigned>(column) / 100) % 1000);
    }
    text += '\n';
  }
  return folder.Write("cases.csv", text);
}

class MemoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(folder_.Path() / "scratch");
    setenv("TMPDIR", (folder_.Path() / "scratch").c_str(), 1);
  }
  void TearDown() override { unsetenv("TMPDIR"); }
  bool ScratchIsEmpty() const { return std::filesystem::is_empty(folder_.Path() / "scratch"); }

  TemporaryFolder folder_;
};

// The findings of a report, without the command that made it.
std::string Results(const ProcessResult& result) {
  Json report = Json::parse(result.out, nullptr, false);
  EXPECT_FALSE(report.is_discarded()) << result.err;
  if (report.contains("run")) report["run"].erase("provenance");
  return report.dump();
}

TEST_F(MemoryTest, KeepsResultsAndItsLimit) {
  const std::string table = WriteTable(folder_);
  struct Row {
    const char* name;
    Words words;
    int megabytes;  // half of it is less than the columns need
  };
  const std::vector<Row> rows = {
      {"ranking", {"feature-selection", table, "--dependents", "risk", "amount"}, 120},
      {"complete cases",
       {"feature-selection", table, "--dependents", "risk", "--casewise", "--intervals", "tree"},
       120},
      {"dialogs", {"feature-selection", table, "--dependents", "amount", "--classic"}, 120},
      {"screening",
       {"screen", table, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--compare", "4"},
       130},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Words common = With(row.words, {"--format", "json", "--quiet"});
    const ProcessResult held = RunVelmora(common);
    const ProcessResult limited = RunVelmora(With(common, {"--memory", std::to_string(row.megabytes) + "M"}));
    ASSERT_EQ(limited.exitCode, 0) << limited.err;
    EXPECT_EQ(limited.err, held.err);
    EXPECT_EQ(Results(limited), Results(held));
    EXPECT_TRUE(ScratchIsEmpty());
#ifndef VELMORA_SANITIZED
    EXPECT_LE(limited.peakBytes, row.megabytes * 1048576LL);
#endif
  }
}

TEST_F(MemoryTest, ListsTheVariablesOfATableThatDoesNotFit) {
  const std::string table = WriteTable(folder_);
  const ProcessResult held = RunVelmora({"variables", table});
  const ProcessResult limited = RunVelmora({"variables", table, "--memory", "120M", "--threads", "3"});
  ASSERT_EQ(limited.exitCode, 0) << limited.err;
  EXPECT_EQ(limited.out, held.out);
  EXPECT_EQ(limited.err, held.err);
  EXPECT_TRUE(ScratchIsEmpty());
#ifndef VELMORA_SANITIZED
  EXPECT_LE(limited.peakBytes, 120 * 1048576LL);
#endif
}

TEST_F(MemoryTest, CodesATableThatDoesNotFit) {
  const std::string table = WriteTable(folder_);
  const auto place = [&](const char* name) { return (folder_.Path() / name).string(); };
  RunVelmora({"screen", table, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--predictors",
              "amount", "home", "x*", "--bins", place("bins.json"), "--save-chance", "--quiet"});
  for (const std::string ending : {".csv", ".parquet"}) {
    SCOPED_TRACE(ending);
    const Words common = {"apply", place("bins.json"), table, "--out"};
    const ProcessResult held = RunVelmora(With(common, {place("held") + ending}));
    const ProcessResult limited =
        RunVelmora(With(common, {place("limited") + ending, "--memory", "100M", "--threads", "2"}));
    ASSERT_EQ(limited.exitCode, 0) << limited.err;
    const std::size_t written = held.err.find("Written");
    EXPECT_EQ(limited.err.substr(0, written), held.err.substr(0, written));
    EXPECT_TRUE(ReadFile(place("limited") + ending) == ReadFile(place("held") + ending));
    EXPECT_TRUE(ScratchIsEmpty());
#ifndef VELMORA_SANITIZED
    // DuckDB holds the rows of a group while it writes Parquet.
    if (ending == ".csv") {
      EXPECT_LE(limited.peakBytes, 100 * 1048576LL);
      EXPECT_GT(held.peakBytes, 100 * 1048576LL);
    }
#endif
  }
}

TEST_F(MemoryTest, SaysWhatIsNeededAndWhatItTakes) {
  const std::string table = WriteTable(folder_);
  const Words ranking = {"feature-selection", table, "--dependents", "risk"};
  struct Row {
    const char* limit;
    int exitCode;
    std::vector<std::string> parts;
  };
  for (const Row& row :
       {Row{"100M", 1, {"--memory 100M is too little", "100,000 cases takes 1", "M."}},
        Row{"0G", 2, {"--memory", "2G"}}, Row{"2", 2, {"--memory"}}, Row{"much", 2, {"--memory"}},
        Row{"-1G", 2, {"--memory"}}, Row{"99999999999T", 2, {"--memory"}}}) {
    const ProcessResult result = RunVelmora(With(ranking, {std::string("--memory=") + row.limit}));
    EXPECT_EQ(result.exitCode, row.exitCode) << row.limit;
    ExpectSaid(result, row.parts);
    EXPECT_TRUE(ScratchIsEmpty());
  }
  setenv("TMPDIR", "/nowhere", 1);
  const ProcessResult nowhere = RunVelmora(With(ranking, {"--memory", "120M"}));
  EXPECT_EQ(nowhere.exitCode, 1);
  ExpectSaid(nowhere, {"/nowhere", "TMPDIR"});
}

}  // namespace
}  // namespace velmora::testing
