// Foreign files that would bring their libraries down, and the process that they are read in.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cmath>
#include <cstring>

#include "tests/data/data_test_support.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/save.h"
#include "workbench/data/table_sink.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

bool HasChildren() { return waitpid(-1, nullptr, WNOHANG) != -1; }

Table Numbers(std::int64_t cases) {
  Table table;
  table.caseCount = cases;
  for (const char* name : {"x", "y"}) {
    table.columns.emplace_back();
    table.columns.back().name = name;
    for (std::int64_t i = 0; i < cases; ++i)
      table.columns.back().values.Own().push_back(static_cast<double>(i * 7919 % 100003) + 0.25);
  }
  return table;
}

std::string Nested(const char* open, const char* close, int depth) {
  std::string text = R"({"t":"a \"[[[","x":)";
  for (int i = 0; i < depth; ++i) text += open;
  text += "1";
  for (int i = 0; i < depth; ++i) text += close;
  return text + "}\n";
}

TEST_F(DataTest, DamagedForeignFilesAreOneSentence) {
  const struct {
    const char* file;
    std::string bytes;
    const char* reason = "";
  } rows[] = {
      {"lists.jsonl", Nested("[", "]", 100000),
       ": its values are nested 100001 deep, more than can be read."},
      {"lists.json", Nested("[", "]", 100000), ": its values are nested 100001 deep, more than can be read."},
      {"junk.sav", "$FL2" + std::string(5000, '\x7f')},
      {"junk.dta", std::string("\x75\x01\x01\x00\xff\xff\xff\xff\xff\x7f", 10) + std::string(2000, 'a')},
      {"junk.sas7bdat", std::string(5000, '\xc2')},
      {"junk.parquet", "PAR1" + std::string(500, '\xff') + "PAR1"},
  };
  for (const auto& row : rows) {
    const std::string path = WriteFile(row.file, row.bytes);
    EXPECT_THAT(ErrorOf([&] { ReadTable(path); }), HasSubstr(path + row.reason)) << row.file;
    EXPECT_FALSE(HasChildren()) << row.file;
  }
  const Table table = ReadTable(WriteFile("objects.jsonl", Nested("{\"a\":", "}", 8000)));
  EXPECT_EQ(table.columns.at(0).name, "t") << "values that are no cells are left out";
}

// ReadStat reports what the header claims before it finds that there are no such rows.
TEST_F(DataTest, RowCountsOfHeadersAreNotTrusted) {
  const ReadOptions options;
  TableSink sink("claims.dta", options, 1154);
  ForeignHeader header;
  header.caseCount = std::int64_t{1} << 50;
  header.columns.resize(3);
  for (ForeignColumn& column : header.columns) column.kind = CellKind::kNumber;
  sink.Begin(header);
  sink.End({});
  Table table;
  std::vector<std::string> warnings;
  EXPECT_EQ(ErrorOf([&] { sink.MoveInto(table, warnings); }), "claims.dta has variables but no cases.");
}

// Blocks come from a process that a damaged file may have led astray.
TEST_F(DataTest, BlocksAreChecked) {
  constexpr std::uint64_t kHuge = ~std::uint64_t{0} - 8;
  const struct {
    const char* name;
    ColumnSlice slice;
    std::int64_t rowCount;
  } rows[] = {
      {"values past the end", {0, CellKind::kNumber, kNoBitmap, 64, 0, 0}, 1},
      {"an offset that wraps around", {0, CellKind::kNumber, kNoBitmap, kHuge, 0, 0}, 2},
      {"more rows than bytes", {0, CellKind::kNumber, kNoBitmap, 0, 0, 0}, std::int64_t{1} << 61},
      {"fewer than no rows", {0, CellKind::kNumber, kNoBitmap, 0, 0, 0}, -1},
      {"a bitmap past the end", {0, CellKind::kNumber, 64, 0, 0, 0}, 1},
      {"an unknown column", {7, CellKind::kNumber, kNoBitmap, 0, 0, 0}, 1},
      {"an unknown kind", {0, static_cast<CellKind>(99), kNoBitmap, 0, 0, 0}, 1},
      {"a text that ends before it begins", {1, CellKind::kText, kNoBitmap, 0, 16, 8}, 1},
      {"texts past the end", {1, CellKind::kText, kNoBitmap, 0, 16, 4096}, 1},
  };
  for (const auto& row : rows) {
    const ReadOptions options;
    TableSink sink("x.sav", options, 64);
    ForeignHeader header;
    header.columns.resize(2);
    header.columns[0].kind = CellKind::kNumber;
    header.columns[1].kind = CellKind::kText;
    sink.Begin(header);
    std::byte* const block = sink.Buffer(64);
    const std::uint64_t offsets[2] = {9, 3};
    std::memcpy(block, offsets, sizeof offsets);
    EXPECT_THAT(ErrorOf([&] { sink.Deliver(std::span(&row.slice, 1), row.rowCount, 0); }), HasSubstr("x.sav"))
        << row.name;
  }
}

TEST_F(DataTest, TheReaderHasLimits) {
  const std::string path = Path("n.parquet");
  SaveTable(Numbers(300000), path);
  Table table;
  std::vector<std::string> warnings;
  const ReadOptions options;
#if !defined(VELMORA_SANITIZED)
  EXPECT_THAT(ErrorOf([&] {
                ReadForeignFile({path, path, "parquet", options.threads, {}}, options,
                                {std::uint64_t{24} << 20, 0}, table, warnings);
              }),
              HasSubstr("Cannot read " + path + ": "));
#endif
  EXPECT_EQ(
      ErrorOf([&] {
        ReadForeignFile({path, path, "parquet", options.threads, {}}, options, {0, 30}, table, warnings);
      }),
      "no error");
  EXPECT_EQ(table.caseCount, 300000);
  EXPECT_FALSE(HasChildren());
}

TEST_F(DataTest, CancellingEndsTheReader) {
  const std::string path = Path("n.parquet");
  const Table numbers = Numbers(300000);
  SaveTable(numbers, path);
  int reports = 0;
  ReadOptions options;
  options.progress = [&](double) {
    ++reports;
    return true;
  };
  EXPECT_EQ(ReadTable(path, options).columns[1].values, numbers.columns[1].values);
  ASSERT_GT(reports, 10);
  // The number of reports besides those of the rows depends on the load.
  for (const int stopAt : {0, 1, 5}) {
    int seen = 0;
    options.progress = [&](double) { return seen++ < stopAt; };
    EXPECT_THROW(ReadTable(path, options), Cancelled) << stopAt;
    EXPECT_FALSE(HasChildren());
  }
}

TEST_F(DataTest, AnyFileNameCanBeRead) {
  Table table = Numbers(3);
  for (const char* name : {"a\\*", "back\\slash", "caf\xE9", "line\nbreak", "-v", "it's \"q\" [x]?"}) {
    for (const char* ending : {".csv", ".parquet"}) {
      const std::string path = Path(std::string(name) + ending);
      EXPECT_EQ(ErrorOf([&] { SaveTable(table, path); }), "no error") << path;
      Table back;
      EXPECT_EQ(ErrorOf([&] { back = ReadTable(path); }), "no error") << path;
      EXPECT_EQ(back.caseCount, 3) << path;
    }
  }
}

// The time in which DuckDB plans a query grows with the square of the number of columns.
TEST_F(DataTest, WideParquetFilesAreReadInSlices) {
  constexpr int kColumns = 1203;
  std::string select;
  for (int i = 0; i < kColumns; ++i)
    select += (i ? ", " : "") + std::to_string(i) + (i % 2 ? "::DOUBLE" : "::VARCHAR") + " AS \"c\"\"" +
              std::to_string(i) + "\"";
  DuckDbSession(1).Run("COPY (SELECT " + select + ") TO " + SqlText(Path("w.parquet")) + " (FORMAT parquet)");
  const Table table = ReadTable(Path("w.parquet"));
  ASSERT_EQ(table.VariableCount(), kColumns);
  for (int i = 0; i < kColumns; ++i) {
    const Column& column = table.columns[static_cast<std::size_t>(i)];
    ASSERT_EQ(column.name, "c\"" + std::to_string(i));
    if (i % 2)
      ASSERT_THAT(column.values, ElementsAre(i));
    else
      ASSERT_EQ(column.labels.at(0).text, std::to_string(i));
  }
}

}  // namespace
}  // namespace velmora
