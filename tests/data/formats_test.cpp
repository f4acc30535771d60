// Parquet, JSON and the files of statistics programs, made by DuckDB and by ReadStat's writers.
#include <gmock/gmock.h>
#include <readstat.h>

#include <cmath>

#include "tests/data/data_test_support.h"
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
            Path("none.parquet") + " has columns but no cases.");
  std::filesystem::create_directories(Path("year=2020"));
  session.Run("COPY (SELECT 1 AS a) TO " + SqlText(Path("year=2020/a.parquet")) + " (FORMAT parquet)");
  EXPECT_EQ(Show(ReadTable(Path("year=2020/a.parquet"))), "a: 1");
  const std::string junk = WriteFile("junk.parquet", "not a parquet file at all");
  EXPECT_THAT(ErrorOf([&] { ReadTable(junk); }), HasSubstr("Cannot read " + junk + ": "));
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

ssize_t AppendBytes(const void* data, size_t length, void* context) {
  static_cast<std::string*>(context)->append(static_cast<const char*>(data), length);
  return static_cast<ssize_t>(length);
}

using BeginWriting = readstat_error_t (*)(readstat_writer_t*, void*, long);

// Three cases: a labelled number (9 user-missing where the format has that), a date, a labelled text, and a number
// that is missing in the second case.
std::string MakeStatFile(BeginWriting begin, const char* dateFormat, const double (&dates)[2],
                         bool userMissing, const char* const (&names)[4]) {
  std::string bytes;
  readstat_writer_t* writer = readstat_writer_init();
  readstat_set_data_writer(writer, AppendBytes);
  readstat_label_set_t* answers = readstat_add_label_set(writer, READSTAT_TYPE_INT32, "answers");
  readstat_label_int32_value(answers, 1, "yes");
  readstat_label_int32_value(answers, 2, "no");
  readstat_label_int32_value(answers, 9, "no answer");
  readstat_variable_t* answer = readstat_add_variable(writer, names[0], READSTAT_TYPE_INT32, 0);
  readstat_variable_set_label(answer, "Answer to question 1");
  readstat_variable_set_label_set(answer, answers);
  if (userMissing) readstat_variable_add_missing_double_value(answer, 9);
  readstat_variable_t* day = readstat_add_variable(writer, names[1], READSTAT_TYPE_DOUBLE, 0);
  readstat_variable_set_format(day, dateFormat);
  readstat_variable_t* sex = readstat_add_variable(writer, names[2], READSTAT_TYPE_STRING, 8);
  readstat_variable_t* x = readstat_add_variable(writer, names[3], READSTAT_TYPE_DOUBLE, 0);
  EXPECT_EQ(begin(writer, &bytes, 3), READSTAT_OK);
  const int answerCells[] = {2, 9, 1};
  const char* const sexCells[] = {"m", "", "f"};
  for (int i = 0; i < 3; ++i) {
    readstat_begin_row(writer);
    readstat_insert_int32_value(writer, answer, answerCells[i]);
    if (i < 2)
      readstat_insert_double_value(writer, day, dates[i]);
    else
      readstat_insert_missing_value(writer, day);
    readstat_insert_string_value(writer, sex, sexCells[i]);
    if (i == 1)
      readstat_insert_missing_value(writer, x);
    else
      readstat_insert_double_value(writer, x, 0.1 + i);
    readstat_end_row(writer);
  }
  EXPECT_EQ(readstat_end_writing(writer), READSTAT_OK);
  readstat_writer_free(writer);
  return bytes;
}

TEST_F(DataTest, FilesOfStatisticsPrograms) {
  const struct {
    const char* file;
    BeginWriting begin;
    const char* dateFormat;
    double dates[2];  // 1970-01-01 and 1970-01-03
    bool userMissing;
    bool labels;
    const char* names[4];  // portable files have capitals only
  } rows[] = {
      {"a.sav",
       readstat_begin_writing_sav,
       "DATE11",
       {141428.0 * 86400, 141430.0 * 86400},
       true,
       true,
       {"answer", "day", "sex", "x"}},
      {"a.por",
       readstat_begin_writing_por,
       "DATE11",
       {141428.0 * 86400, 141430.0 * 86400},
       false,  // the writer drops them for whole numbers
       true,
       {"ANSWER", "DAY", "SEX", "X"}},
      {"a.dta", readstat_begin_writing_dta, "%td", {3653, 3655}, false, true, {"answer", "day", "sex", "x"}},
      {"a.xpt",
       readstat_begin_writing_xport,
       "DATE9",
       {3653, 3655},
       false,
       false,
       {"answer", "day", "sex", "x"}},
      {"a.sas7bdat",
       readstat_begin_writing_sas7bdat,
       "DATE9",
       {3653, 3655},
       false,
       false,
       {"answer", "day", "sex", "x"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const std::string bytes = MakeStatFile(row.begin, row.dateFormat, row.dates, row.userMissing, row.names);
    const std::string path = WriteFile(row.file, bytes);
    Table table;
    EXPECT_EQ(ErrorOf([&] { table = ReadTable(path); }), "no error");
    ASSERT_EQ(table.VariableCount(), 4);
    EXPECT_EQ(table.columns[0].name, row.names[0]);
    table.columns[0].name = "a";
    EXPECT_EQ(Show(table.columns[0]), row.userMissing ? "a: 2[no] . 1[yes]"
                                      : row.labels    ? "a: 2[no] 9[no answer] 1[yes]"
                                                      : "a: 2 9 1");
    EXPECT_EQ(table.columns[0].longName, "Answer to question 1");
    if (row.labels) {
      EXPECT_NE(table.columns[0].LabelOf(9), nullptr);
      EXPECT_EQ(table.columns[0].measurement, Measurement::kCategorical);
    }
    EXPECT_THAT(table.columns[1].values, ElementsAre(0, 2, kMissing));
    EXPECT_EQ(table.columns[1].role, Role::kDate);
    table.columns[2].name = "s";
    EXPECT_EQ(Show(table.columns[2]), "s: 2[m] . 1[f]");
    EXPECT_THAT(table.columns[3].values, ElementsAre(0.1, kMissing, 2.1));
    const std::string cut = WriteFile(std::string("cut_") + row.file, bytes.substr(0, bytes.size() / 3));
    EXPECT_THAT(ErrorOf([&] { ReadTable(cut); }), HasSubstr(cut));
  }
}

}  // namespace
}  // namespace velmora
