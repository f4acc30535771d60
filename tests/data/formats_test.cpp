// Parquet and JSON, made by DuckDB.
#include <gmock/gmock.h>

#include <cmath>

#include "tests/data/data_test_support.h"
#include "tests/support/paths.h"
#include "workbench/data/duckdb_session.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(DataTest, ParquetTypes) {
  const struct {
    const char* select;  // of two rows, one column x
    const char* expected;
    const char* warning;
  } rows[] = {
      {"unnest([1::TINYINT, NULL]) x", "x: 1 .", ""},
      {"unnest([-2::SMALLINT, 3]) x", "x: -2 3", ""},
      {"unnest([18446744073709551615::UBIGINT, 0]) x", "x: 2[18446744073709551615] 1[0]", "read as text"},
      {"unnest([9007199254740993::BIGINT, 4]) x", "x: 2[9007199254740993] 1[4]", "read as text"},
      {"unnest([-9007199254740994::BIGINT, 4]) x", "x: -9.0072e+15 4", ""},
      {"unnest([12345678901234567890123::DECIMAL(38,0), 4]) x", "x: 1[12345678901234567890123] 2[4]",
       "read as text"},
      {"unnest([0.1::DECIMAL(10,2), -3]) x", "x: 0.1 -3", ""},
      {"unnest([0.5::FLOAT, 'nan'::FLOAT]) x", "x: 0.5 .", ""},
      {"unnest(['inf'::DOUBLE, 1]) x", "x: . 1", "first in case 1"},
      {"unnest([true, false]) x", "x: 1[true] 0[false]", ""},
      {"unnest([DATE '1970-01-03', NULL]) x", "x: 2 .", ""},
      {"unnest([TIMESTAMP '1970-01-01 00:00:01.5', NULL]) x", "x: 1.5 .", ""},
      {"unnest([TIMESTAMP_NS '1970-01-01 00:00:01.5', NULL]) x", "x: 1.5 .", ""},
      {"unnest([TIMESTAMPTZ '1970-01-01 02:00:00+02', NULL]) x", "x: 0 .", ""},
      {"unnest(['b', 'a']) x", "x: 2[b] 1[a]", ""},
      {"unnest(['', 'a']) x", "x: . 1[a]", ""},
      {"unnest(['007', '12']) x", "x: 1[007] 2[12]", ""},
      {"unnest(['b'::ENUM('b', 'a'), 'a']) x", "x: 2[b] 1[a]", ""},
      {"unnest([TIME '10:00:00', NULL]) x", "x: 1[10:00:00] .", ""},
      {"unnest([NULL::INTEGER, NULL]) x", "x: . .", ""},
      {"unnest([1, 2]) x, [1] AS list, {'a': 1} AS struct", "x: 1 2", "\"list\""},
  };
  DuckDbSession session(1);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.select);
    session.Run("COPY (SELECT " + std::string(row.select) + ") TO " + SqlText(Path("a.parquet")) +
                " (FORMAT parquet)");
    ReadReport report;
    EXPECT_EQ(Show(ReadTable(Path("a.parquet"), {}, &report)), row.expected);
    if (*row.warning == 0)
      EXPECT_THAT(report.warnings, ElementsAre());
    else
      EXPECT_THAT(report.warnings, ::testing::Contains(HasSubstr(row.warning)));
  }
  session.Run("COPY (SELECT 1 AS a, 2 AS b WHERE false) TO " + SqlText(Path("none.parquet")) +
              " (FORMAT parquet)");
  EXPECT_EQ(ErrorOf([&] { ReadTable(Path("none.parquet")); }),
            Path("none.parquet") + " has variables but no cases.");
  std::filesystem::create_directories(Path("year=2020"));
  session.Run("COPY (SELECT 1 AS a) TO " + SqlText(Path("year=2020/a.parquet")) + " (FORMAT parquet)");
  EXPECT_EQ(Show(ReadTable(Path("year=2020/a.parquet"))), "a: 1");
  const std::string junk = WriteFile("junk.parquet", "not a parquet file at all");
  EXPECT_THAT(ErrorOf([&] { ReadTable(junk); }), HasSubstr("Cannot read " + junk + ": "));
}

// What is chosen is the same as in the whole table; what is not has its place and no values.
TEST_F(DataTest, ChosenColumnsOfFiles) {
  DuckDbSession session(1);
  session.Run(
      "CREATE TABLE t AS SELECT i, 'k' || i % 7 AS k, i / 3 AS x, [i] AS list, "
      "if(i % 5 = 0, NULL, 9007199254740993 + i) AS big, DATE '2024-01-01' + i::INTEGER AS d FROM "
      "range(5000) r(i)");
  session.Run("COPY t TO " + SqlText(Path("a.parquet")) + " (FORMAT parquet)");
  session.Run("COPY t TO " + SqlText(Path("a.ndjson")) + " (FORMAT json)");
  session.Run("ATTACH " + SqlText(Path("a.duckdb")) +
              " AS saved; CREATE TABLE saved.t AS FROM t; DETACH saved");
  for (const std::string& path : {Path("a.parquet"), Path("a.ndjson"), Path("a.duckdb"),
                                  SourceDir() + "/tests/data/samples/types.arrows"}) {
    SCOPED_TRACE(path);
    const Table whole = ReadTable(path);
    for (std::size_t wanted = 0; wanted < whole.columns.size(); ++wanted) {
      ReadOptions options;
      options.choose = [&](const std::vector<std::string>& names) {
        std::vector<bool> chosen(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) chosen[i] = names[i] == whole.columns[wanted].name;
        return chosen;
      };
      const Table some = ReadTable(path, options);
      ASSERT_EQ(some.caseCount, whole.caseCount);
      ASSERT_EQ(some.columns.size(), whole.columns.size());
      for (std::size_t i = 0; i < some.columns.size(); ++i)
        EXPECT_EQ(Show(some.columns[i]), i == wanted ? Show(whole.columns[i]) : whole.columns[i].name + ":");
    }
  }
  // Nothing but what no variable can hold: then all is read.
  ReadOptions options;
  options.choose = [](const std::vector<std::string>& names) {
    std::vector<bool> chosen(names.size());
    chosen[3] = true;
    return chosen;
  };
  EXPECT_EQ(Show(ReadTable(Path("a.parquet"), options)), Show(ReadTable(Path("a.parquet"))));
}

TEST_F(DataTest, JsonRecords) {
  const struct {
    const char* file;
    const char* bytes;
    const char* expected;
  } rows[] = {
      {"a.jsonl", "{\"x\":1,\"k\":\"b\"}\n{\"x\":2.5,\"k\":null}\n{\"k\":\"a\"}\n",
       "x: 1 2.5 . | k: 2[b] . 1[a]"},
      {"a.ndjson", "{\"z\":\"007\",\"b\":true,\"d\":\"1970-01-02\"}\n", "z: 1[007] | b: 1[true] | d: 1"},
      {"a.json", "[{\"x\":1},{\"x\":-1e308}]", "x: 1 -1e+308"},
      {"a.json", "{\"x\":1}\n{\"x\":2}\n", "x: 1 2"},
      {"a.jsonl", "{\"m\":1}\n{\"m\":\"q\"}\n", "m: 1[1] 2[q]"},
      {"a.jsonl", "{\"x\":9007199254740993}\n{\"x\":1}\n", "x: 2[9007199254740993] 1[1]"},
      {"a.jsonl", "{\"x\":0.1,\"n\":{\"a\":1}}\n", "x: 0.1"},
      {"a.jsonl", "{\"x\":1,\"n\":{\"a\":{\"b\":[[[1]]]}},\"l\":[[[[1]]]],\"d\":[{\"e\":{\"f\":1}}]}\n",
       "x: 1"},
      // A NUL does not end a text, but a name.
      {"a.jsonl", "{\"k\":\"a\\u0000b\",\"x\\u0000\":1}\n",
       "k: 1[a\xEF\xBF\xBD"
       "b] | x: 1"},
  };
  for (const auto& row : rows) EXPECT_EQ(Show(ReadTable(WriteFile(row.file, row.bytes))), row.expected);
  const struct {
    const char* file;
    const char* bytes;
    const char* expected;
  } bad[] = {
      {"b.jsonl", "{\"x\":1}\n\n{\"x\":\n", ": line 3 is not a JSON object."},
      {"b.jsonl", "{\"x\":\"caf\xE9\"}\n", ": line 1 is not a JSON object."},
      {"b.jsonl", "[1,2]\n", ": line 1 is not a JSON object."},
      {"b.jsonl", "{\"id\":12345678901234567890,\"x\":1e400}\n{\"id\":1,\"x\":2}\n", "12345678901234567890"},
      {"b.json", "[]", ": it holds no objects with named values."},
      {"b.json", "[1,2]", ": it holds no objects with named values."},
      {"b.json", "[{\"x\":1,", "Malformed JSON"},
  };
  for (const auto& row : bad) {
    const std::string path = WriteFile(row.file, row.bytes);
    EXPECT_THAT(ErrorOf([&] { ReadTable(path); }),
                ::testing::AllOf(HasSubstr("Cannot read " + path), HasSubstr(row.expected)))
        << row.bytes;
  }
}

}  // namespace
}  // namespace velmora
