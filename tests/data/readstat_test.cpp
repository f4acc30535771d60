// The files of statistics programs, made by ReadStat's writers.
#include <gmock/gmock.h>
#include <readstat.h>

#include "tests/data/data_test_support.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

ssize_t AppendBytes(const void* data, size_t length, void* context) {
  static_cast<std::string*>(context)->append(static_cast<const char*>(data), length);
  return static_cast<ssize_t>(length);
}

using BeginWriting = readstat_error_t (*)(readstat_writer_t*, void*, long);

// Three cases: a labelled number (9 user-missing where the format has that), a date, a labelled
// text, and a number that is missing in the second case.
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
  if (userMissing) readstat_writer_set_fweight_variable(writer, x);  // SPSS, too
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
    EXPECT_EQ(table.declaredWeight, row.userMissing ? "x" : "");
    const std::string cut = WriteFile(std::string("cut_") + row.file, bytes.substr(0, bytes.size() / 3));
    EXPECT_THAT(ErrorOf([&] { ReadTable(cut); }), HasSubstr(cut));
  }
}

TEST_F(DataTest, NamesOutsideTheCodePage) {
  const double dates[] = {3653, 3655};
  const char* const names[] = {"a", "day", "sex", "x"};
  const std::string path =
      WriteFile("Größe 数据.dta", MakeStatFile(readstat_begin_writing_dta, "%td", dates, false, names));
  EXPECT_EQ(Show(ReadTable(path).columns[2]), "sex: 2[m] . 1[f]");
}

// Numbers with declared missing values: 96 and the range 97 to 99 of SPSS, .a and .r of Stata.
TEST_F(DataTest, UserMissingValuesComeBesideTheTable) {
  const struct {
    const char* file;
    BeginWriting begin;
    bool lettered;
  } rows[] = {{"u.sav", readstat_begin_writing_sav, false},
              {"u.zsav", readstat_begin_writing_sav, false},
              {"u.dta", readstat_begin_writing_dta, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    std::string bytes;
    readstat_writer_t* writer = readstat_writer_init();
    readstat_set_data_writer(writer, AppendBytes);
    if (std::string(row.file) == "u.zsav") readstat_writer_set_compression(writer, READSTAT_COMPRESS_BINARY);
    readstat_label_set_t* labels = readstat_add_label_set(writer, READSTAT_TYPE_DOUBLE, "labels");
    if (row.lettered) readstat_label_tagged_value(labels, 'r', "refused");
    if (!row.lettered) readstat_label_double_value(labels, 98, "refused");
    readstat_variable_t* plain = readstat_add_variable(writer, "plain", READSTAT_TYPE_DOUBLE, 0);
    readstat_variable_t* income = readstat_add_variable(writer, "income", READSTAT_TYPE_DOUBLE, 0);
    readstat_variable_set_label_set(income, labels);
    if (!row.lettered) {
      readstat_variable_add_missing_double_value(income, 96);
      readstat_variable_add_missing_double_range(income, 97, 99);
    }
    ASSERT_EQ(row.begin(writer, &bytes, 5), READSTAT_OK);
    for (int i = 0; i < 5; ++i) {
      readstat_begin_row(writer);
      readstat_insert_double_value(writer, plain, 97);
      if (i == 2) {
        readstat_insert_missing_value(writer, income);
      } else if (row.lettered && (i == 1 || i == 4)) {
        readstat_insert_tagged_missing_value(writer, income, i == 1 ? 'a' : 'r');
      } else {
        const double values[] = {10, 96, 0, 30, 98};
        readstat_insert_double_value(writer, income, values[i]);
      }
      readstat_end_row(writer);
    }
    ASSERT_EQ(readstat_end_writing(writer), READSTAT_OK);
    readstat_writer_free(writer);

    const std::string path = WriteFile(row.file, bytes);
    EXPECT_EQ(Show(ReadTable(path).Variable(2)), "income: 10 . . 30 .");
    UserMissing missing;
    ReadOptions options;
    options.userMissing = &missing;
    Table table = ReadTable(path, options);
    Column& income2 = table.Variable(2);
    EXPECT_EQ(Show(income2), "income: 10 . . 30 .");
    ASSERT_EQ(missing.size(), 1u);
    const double first = row.lettered ? LetteredMissing('a') : 96,
                 second = row.lettered ? LetteredMissing('r') : 98;
    const std::vector<double> codes = RestoreUserMissing(missing["income"], income2);
    EXPECT_THAT(codes, ::testing::UnorderedElementsAre(first, second));
    EXPECT_THAT(missing["income"].declared, std::vector<double>(row.lettered ? 0 : 1, 96));
    EXPECT_THAT(income2.values, ElementsAre(10, first, kMissing, 30, second));
    ASSERT_NE(income2.LabelOf(second), nullptr);
    EXPECT_EQ(*income2.LabelOf(second), "refused");
    if (row.lettered) {
      ASSERT_NE(income2.LabelOf(first), nullptr);
      EXPECT_EQ(*income2.LabelOf(first), ".a");
    }
    RemoveUserMissing(missing["income"], income2);
    EXPECT_EQ(Show(income2), "income: 10 . . 30 .");
    // Codes that the user calls missing stay so.
    if (row.lettered) continue;
    SetMissingCode(table, "income", 98);
    EXPECT_THAT(RestoreUserMissing(missing["income"], income2), ElementsAre(96));
  }
}

}  // namespace
}  // namespace velmora
