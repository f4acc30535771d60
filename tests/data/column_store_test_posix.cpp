// Tables whose columns do not fit into the memory they may take: the same tables, mapped from
// files.
#include "workbench/data/column_store.h"

#include <sys/wait.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "tests/data/data_test_support.h"
#include "workbench/data/save.h"

namespace velmora {
namespace {

class ColumnStoreTest : public DataTest {
 protected:
  void SetUp() override {
    DataTest::SetUp();
    scratch_ = folder_ / "scratch";
    std::filesystem::create_directory(scratch_);
    setenv("TMPDIR", scratch_.c_str(), 1);
  }
  void TearDown() override {
    unsetenv("TMPDIR");
    DataTest::TearDown();
  }
  bool ScratchIsEmpty() const { return std::filesystem::is_empty(scratch_); }

  // Enough rows for several blocks of the text reader: numbers, texts, dates, a column that turns out
  // to be text near its end, one that begins with texts after blank cells, and one without a value.
  std::string WriteMixed(int rows) const {
    std::mt19937 random(7);
    std::string text = "number,level,day,turns,late,empty,flag\n";
    for (int i = 0; i < rows; ++i) {
      const bool isLate = i > rows / 10 * 9;
      text += std::to_string(random() % 100000) + "." + std::to_string(random() % 1000) + ",";
      text += std::string(i % 11 == 0 ? "" : i % 3 == 0 ? "high" : "low") + ",";
      text += "2024-0" + std::to_string(1 + i % 9) + "-11,";
      text += (isLate && i % 2 == 0 ? "x" + std::to_string(i % 5) : std::to_string(i % 40)) + ",";
      text += (isLate ? "t" + std::to_string(i % 7) : std::string()) + ",,";
      text += std::string(i % 2 == 0 ? "NA" : "1") + "\n";
    }
    return WriteFile("mixed.csv", text);
  }

  std::filesystem::path scratch_;
};

struct ReadResult {
  Table table;
  std::vector<std::string> warnings;
};

struct Limit {
  explicit Limit(std::uint64_t bytes) { LimitColumnMemory(bytes); }
  ~Limit() { LimitColumnMemory(0); }
};

ReadResult Read(const std::string& path, std::uint64_t mostColumnBytes) {
  const Limit limit(mostColumnBytes);
  ReadOptions options;
  options.missingTexts = {"NA"};
  ReadReport report;
  ReadResult result;
  result.table = ReadTable(path, options, &report);
  result.warnings = report.warnings;
  return result;
}

// Whether the values are in a file of a scratch folder.
bool AreMapped(const ColumnValues& values) {
  const auto address = reinterpret_cast<std::uintptr_t>(values.data());
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0, end = 0;
    char dash = 0;
    std::istringstream range(line);
    range >> std::hex >> begin >> dash >> end;
    if (address >= begin && address < end) return line.find("/.velmora-") != std::string::npos;
  }
  return false;
}

void ExpectSameTables(const ReadResult& stored, const ReadResult& held) {
  EXPECT_EQ(stored.warnings, held.warnings);
  ASSERT_EQ(stored.table.caseCount, held.table.caseCount);
  ASSERT_EQ(stored.table.columns.size(), held.table.columns.size());
  for (std::size_t c = 0; c < held.table.columns.size(); ++c) {
    const Column &one = stored.table.columns[c], &other = held.table.columns[c];
    SCOPED_TRACE(other.name);
    EXPECT_TRUE(AreMapped(one.values));
    EXPECT_FALSE(AreMapped(other.values));
    EXPECT_EQ(one.measurement, other.measurement);
    EXPECT_EQ(one.role, other.role);
    EXPECT_EQ(one.dateUnit, other.dateUnit);
    ASSERT_EQ(one.labels.size(), other.labels.size());
    for (std::size_t i = 0; i < other.labels.size(); ++i) EXPECT_EQ(one.labels[i].text, other.labels[i].text);
    ASSERT_EQ(one.values.size(), other.values.size());
    std::size_t differences = 0;
    for (std::size_t i = 0; i < other.values.size(); ++i)
      differences +=
          std::bit_cast<std::uint64_t>(one.values[i]) != std::bit_cast<std::uint64_t>(other.values[i]);
    EXPECT_EQ(differences, 0u);
  }
}

TEST_F(ColumnStoreTest, HoldsTheSameTableOfEveryKindOfFile) {
  const std::string text = WriteMixed(150000);
  const ReadResult held = Read(text, 0);
  SaveTable(held.table, Path("mixed.parquet"));
  // One byte: stored from the first cell; the other: after some blocks have been read.
  for (const std::uint64_t most : {std::uint64_t{1}, std::uint64_t{4} << 20}) {
    for (const std::string& path : {text, Path("mixed.parquet")}) {
      SCOPED_TRACE(path + " " + std::to_string(most));
      ExpectSameTables(Read(path, most), Read(path, 0));
      EXPECT_TRUE(ScratchIsEmpty());
    }
  }
  EXPECT_FALSE(AreMapped(Read(text, std::uint64_t{1} << 40).table.columns[0].values));
}

TEST_F(ColumnStoreTest, ReadsAFileOfAnotherEncodingFromItsBegin) {
  std::string bytes = "a,b\n";
  for (int i = 0; i < 400000; ++i) bytes += std::to_string(i) + ",word\n";
  const std::string path = WriteFile("latin.csv", bytes + "1,caf\xE9\n");
  ExpectSameTables(Read(path, 1), Read(path, 0));
}

TEST_F(ColumnStoreTest, ChangesValuesInPlaceUnlessTheyAreShared) {
  const std::string path = WriteFile("a.csv", "x,y\n1,2\n3,4\n5,6\n");
  Table table = Read(path, 1).table;
  const Table copy = table;
  SetMissingCode(table, "x", 3);
  EXPECT_FALSE(AreMapped(table.columns[0].values));
  EXPECT_EQ(Show(copy), "x: 1 3 5 | y: 2 4 6");
  EXPECT_EQ(Show(table), "x: 1 . 5 | y: 2 4 6");

  Table alone = Read(path, 1).table;
  SetMissingCode(alone, "x", 3);
  EXPECT_TRUE(AreMapped(alone.columns[0].values));
  alone.columns[0].values.Release();
  EXPECT_EQ(Show(alone), "x: 1 . 5 | y: 2 4 6");
}

TEST_F(ColumnStoreTest, LeavesNothingAfterAFailureAndRemovesWhatAKilledProcessLeft) {
  EXPECT_THROW(Read(WriteFile("bad.csv", "a,b\n1,2\n3\n"), 1), DataError);
  EXPECT_TRUE(ScratchIsEmpty());
  const pid_t child = fork();
  if (child == 0) {
    ColumnStore::Open()->Append(1, std::vector<double>{1, 2});
    const std::shared_ptr<ColumnStore> left = ColumnStore::Open();
    left->Append(1, std::vector<double>{1, 2});
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_FALSE(ScratchIsEmpty());
  ColumnStore::Open();
  EXPECT_TRUE(ScratchIsEmpty());
}

TEST_F(ColumnStoreTest, SaysWhereATableCannotBeKept) {
  setenv("TMPDIR", (folder_ / "none").c_str(), 1);
  try {
    Read(WriteFile("a.csv", "x\n1\n2\n"), 1);
    FAIL() << "there is no such folder";
  } catch (const DataError& error) {
    const std::string text = error.what();
    EXPECT_NE(text.find((folder_ / "none").string()), std::string::npos) << text;
    EXPECT_NE(text.find("TMPDIR"), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace velmora
