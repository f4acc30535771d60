// The process that reads foreign files, on this system.
#include <windows.h>
// After windows.h, which it builds on.
#include <tlhelp32.h>

#include <gmock/gmock.h>

#include "tests/data/data_test_support.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/save.h"

namespace velmora {
namespace {

using ::testing::HasSubstr;

int CountReaders() {
  HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
    if (lstrcmpiW(entry.szExeFile, L"velmora-read.exe") == 0 &&
        entry.th32ParentProcessID == GetCurrentProcessId())
      ++count;
  CloseHandle(snapshot);
  return count;
}

Table Numbers(std::int64_t cases) {
  Table table;
  table.caseCount = cases;
  for (const char* name : {"x", "y"}) {
    Column& column = table.columns.emplace_back();
    column.name = name;
    for (std::int64_t i = 0; i < cases; ++i)
      column.values.Own().push_back(static_cast<double>(i * 7919 % 100003) + 0.25);
  }
  return table;
}

TEST_F(DataTest, DamagedForeignFilesAreOneSentence) {
  constexpr int kDepth = 100'000;
  const std::string nested = "{\"x\":" + std::string(kDepth, '[') + "1" + std::string(kDepth, ']') + "}\n";
  const struct {
    const char* file;
    std::string bytes;
    const char* reason = "";
  } rows[] = {{"lists.jsonl", nested, ": its values are nested 100001 deep, more than can be read."},
              {"lists.json", nested, ": its values are nested 100001 deep, more than can be read."},
              {"junk.parquet", "PAR1" + std::string(500, '\xff') + "PAR1"}};
  for (const auto& [file, bytes, reason] : rows) {
    const std::string path = WriteFile(file, bytes);
    EXPECT_THAT(ErrorOf([&] { ReadTable(path); }), HasSubstr(path + reason)) << file;
    EXPECT_EQ(CountReaders(), 0) << file;
  }
}

// Blocks grow while they are filled, and a column of numbers that meets a text is delivered again.
TEST_F(DataTest, RowsArriveWhole) {
  const Table numbers = Numbers(300'000);
  const std::string path = Path("n.parquet");
  SaveTable(numbers, path);
  EXPECT_EQ(ReadTable(path).columns[1].values, numbers.columns[1].values);
  std::string lines;
  for (int i = 0; i < 50'000; ++i)
    lines += "{\"a\":\"" + std::to_string(i % 7) + "\",\"b\":" + std::to_string(i) + "}\n";
  const Table table = ReadTable(WriteFile("m.jsonl", lines + "{\"a\":\"x\",\"b\":-1}\n"));
  ASSERT_EQ(table.caseCount, 50'001);
  EXPECT_EQ(*table.columns[0].LabelOf(table.columns[0].values[50'000]), "x");
  EXPECT_EQ(table.columns[1].values[49'999], 49'999);
  EXPECT_EQ(CountReaders(), 0);
}

TEST_F(DataTest, CancellingEndsTheReader) {
  const std::string path = Path("n.parquet");
  SaveTable(Numbers(300'000), path);
  for (const int stopAt : {0, 1, 5}) {
    int seen = 0;
    ReadOptions options;
    options.progress = [&](double) { return seen++ < stopAt; };
    EXPECT_THROW(ReadTable(path, options), Cancelled) << stopAt;
    EXPECT_EQ(CountReaders(), 0) << stopAt;
  }
}

}  // namespace
}  // namespace velmora
