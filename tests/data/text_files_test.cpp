// Text files as people have them: encodings, files without a header, ragged rows, codes of several
// variables, dates as predictors, names that are not local files.
#include <gmock/gmock.h>

#include "tests/data/data_test_support.h"
#include "workbench/data/date_parts.h"
#include "workbench/data/field_parser.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// ASCII with a byte-order mark or without.
std::string Utf16(std::u16string_view text, bool bigEndian) {
  std::string bytes;
  for (const char16_t c : text) {
    const char high = static_cast<char>(c >> 8);
    const char low = static_cast<char>(c & 0xFF);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

TEST_F(DataTest, EncodingsAreDetectedOrGiven) {
  using enum TextEncoding;
  const char* const expected = "k: 1[caf\xC3\xA9] 2[\xE2\x82\xAC \xF0\x9F\x98\x80] | x: 1 2";
  const std::u16string text = u"k,x\r\ncaf\u00E9,1\r\n\u20AC \U0001F600,2\r\n";
  std::string many = "k,x\n";  // more than one block, the first of them ASCII
  for (int i = 0; i < 200000; ++i) many += "abc,1\n";
  const struct {
    const char* name;
    std::string bytes;
    TextEncoding given;
    const char* expected;  // the table, or a part of the sentence
    const char* warning;
  } rows[] = {
      {"UTF-16 LE with mark", "\xFF\xFE" + Utf16(text, false), kDetect, expected, "is read as UTF-16"},
      {"UTF-16 BE with mark", "\xFE\xFF" + Utf16(text, true), kDetect, expected, "is read as UTF-16"},
      {"UTF-16 LE", Utf16(text, false), kDetect, expected, "is read as UTF-16"},
      {"UTF-16 BE", Utf16(text, true), kDetect, expected, "is read as UTF-16"},
      {"UTF-16 given", Utf16(text, true), kUtf16Be, expected, ""},
      {"the mark decides", "\xFE\xFF" + Utf16(text, true), kUtf16Le, expected, ""},
      {"half a pair", Utf16(u"k\n\xD83D\n", false), kUtf16Le, "it has half of a character", ""},
      {"UTF-16 as UTF-8", "\xFF\xFE" + Utf16(text, false), kUtf8, "give --encoding utf-16", ""},
      {"Windows-1252", "k\n\x80\n\xFC\n", kDetect, "k: 2[\xE2\x82\xAC] 1[\xC3\xBC]", "read as Windows-1252"},
      {"Windows-1252 given", "k\n\xC3\xA9\n", kWindows1252, "k: 1[\xC3\x83\xC2\xA9]", ""},
      {"not Windows-1252", "k\n\x81\n", kWindows1252, "0x81, which is no character", ""},
      {"Windows-1252 in the header", "\xE4,x\na,1\n", kDetect, "\xC3\xA4: 1[a] | x: 1",
       "read as Windows-1252"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ReadOptions options;
    options.text.encoding = row.given;
    ReadReport report;
    std::string shown;
    const std::string path = WriteFile("a.csv", row.bytes);
    const std::string error = ErrorOf([&] { shown = Show(ReadTable(path, options, &report)); });
    EXPECT_THAT(shown.empty() ? error : shown, HasSubstr(row.expected));
    if (*row.warning == 0)
      EXPECT_THAT(report.warnings, ElementsAre());
    else
      EXPECT_THAT(report.warnings, ElementsAre(HasSubstr(row.warning)));
  }
  const Table late = ReadTable(WriteFile("late.csv", many + "\xE9,2\n"));
  ASSERT_EQ(late.caseCount, 200001);
  EXPECT_EQ(late.columns[0].labels.back().text, "\xC3\xA9");
}

TEST_F(DataTest, HeadersAndRaggedRows) {
  using enum RaggedRecords;
  const struct {
    const char* name;
    std::string bytes;
    TextFormat format;
    const char* expected;
    const char* warning;
  } rows[] = {
      {"no header", "1,a\n2,b\n", {{}, false, kError}, "v1: 1 2 | v2: 1[a] 2[b]", ""},
      {"no header, decimal commas", "5;6,5\n7;8\n", {{}, false, kError}, "v1: 5 7 | v2: 6.5 8", ""},
      {"no header, ragged",
       "1,a\n2\n",
       {{}, false, kError},
       "row 2: 1 field where the first line has 2.",
       ""},
      {"pad",
       "x,k\n1\n2,b,c\n3,d\n",
       {{}, true, kPad},
       "x: 1 2 3 | k: . 1[b] 2[d]",
       "2 rows of FILE have not as many fields as there are columns (the first is row 2) and are filled"},
      {"skip",
       "x,k\n1,a\n2\n3,\"d\ne\"\n4,\n",
       {{}, true, kSkip},
       "x: 1 3 4 | k: 1[a] 2[d\ne] .",
       "1 row of FILE has not as many fields as there are columns (row 3) and is left out."},
      {"nothing left", "x,k\n1\n", {{}, true, kSkip}, "No row of", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ReadOptions options;
    options.text = row.format;
    ReadReport report;
    std::string shown;
    const std::string path = WriteFile("a.csv", row.bytes);
    const std::string error = ErrorOf([&] { shown = Show(ReadTable(path, options, &report)); });
    EXPECT_THAT(shown.empty() ? error : shown, HasSubstr(row.expected));
    std::string warning = row.warning;
    if (const std::size_t at = warning.find("FILE"); at != std::string::npos) warning.replace(at, 4, path);
    if (warning.empty())
      EXPECT_THAT(report.warnings, ElementsAre());
    else
      EXPECT_THAT(report.warnings, ElementsAre(HasSubstr(warning)));
  }
}

// Wide records whose other columns are skipped, with quotes, blanks and line ends among them.
TEST_F(DataTest, ChosenColumnsAreThoseOfTheWholeFile) {
  constexpr std::size_t kColumns = 61;
  const char* const fields[] = {"1",       "",           "-2.5", "abcdefghijklmnopqrstuvw",
                                "\"a,b\"", "\"x\r\ny\"", " 7 ",  "\"\"\"\""};
  std::string bytes;
  unsigned state = 1;
  for (std::size_t row = 0; row < 200; ++row) {
    for (std::size_t column = 0; column < kColumns; ++column) {
      if (column > 0) bytes += ',';
      state = state * 1664525U + 1013904223U;
      bytes += row == 0 ? "c" + std::to_string(column) : fields[(state >> 16) % std::size(fields)];
    }
    bytes += row % 3 == 0 ? "\r\n" : "\n";
  }
  const std::string path = WriteFile("wide.csv", bytes);
  const Table whole = ReadTable(path);
  for (std::size_t wanted = 0; wanted < kColumns; wanted += 4) {
    ReadOptions options;
    options.choose = [&](const std::vector<std::string>& names) {
      std::vector<bool> chosen(names.size());
      chosen[wanted] = chosen[kColumns - 1] = true;
      return chosen;
    };
    const Table some = ReadTable(path, options);
    ASSERT_EQ(some.caseCount, whole.caseCount);
    for (std::size_t column = 0; column < kColumns; ++column) {
      const bool isChosen = column == wanted || column == kColumns - 1;
      EXPECT_EQ(some.columns[column].name, whole.columns[column].name);
      EXPECT_EQ(Show(some.columns[column]),
                isChosen ? Show(whole.columns[column]) : some.columns[column].name + ":");
    }
  }
}

TEST_F(DataTest, CodesOfSeveralVariables) {
  Table table = ReadTable(WriteFile("a.csv", "q1,q2,q3,k\n99,1,99,99 b\n2,98,a,a\n3,99,b,a\n"));
  EXPECT_EQ(ApplyMissingOption(table, "q*=99,98"), 4);
  EXPECT_EQ(Show(table), "q1: . 2 3 | q2: 1 . . | q3: . 2[a] 3[b] | k: 1[99 b] 2[a] 2[a]");
  EXPECT_EQ(ApplyMissingOption(table, "?=a"), 2);
  EXPECT_EQ(Show(table.columns[3]), "k: 1[99 b] . .");
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(table, "q*=zz"); }),
              HasSubstr("of the 3 variables of \"q*\""));
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(table, "z*=1"); }), HasSubstr("z*"));
}

TEST_F(DataTest, DatesBecomePredictors) {
  Table table = ReadTable(
      WriteFile("a.csv", "d,t,x\n2024-02-29,1969-12-31 18:00:00,1\n1900-01-01,,2\n,2000-01-01 00:00:00,3\n"));
  AddDateParts(table, 1);
  AddDateParts(table, 2);
  ApplySinceOption(table, "d=2024-02-28");
  ApplySinceOption(table, "t=1970-01-01");
  std::string shown;
  for (std::size_t i = 3; i < table.columns.size(); ++i) shown += Show(table.columns[i]) + "\n";
  EXPECT_EQ(shown,
            "d_year: 2024 1900 .\nd_month: 2[February] 1[January] .\nd_day: 29 1 .\n"
            "d_weekday: 4[Thursday] 1[Monday] .\n"
            "t_year: 1969 . 2000\nt_month: 12[December] . 1[January]\nt_day: 31 . 1\n"
            "t_weekday: 3[Wednesday] . 6[Saturday]\n"
            "d_days_since: 1 -45348 .\nt_days_since: -0.25 . 10957\n");
  EXPECT_THAT(ErrorOf([&] { AddDateParts(table, 3); }), HasSubstr("\"x\" holds no dates"));
  EXPECT_THAT(ErrorOf([&] { AddDateParts(table, 1); }), HasSubstr("has a variable \"d_year\" already"));
  EXPECT_THAT(ErrorOf([&] { ApplySinceOption(table, "d=1.1.2024"); }), HasSubstr("NAME=YYYY-MM-DD"));
}

// A name reaches a local file and nothing else.
TEST_F(DataTest, NamesAreLocalFiles) {
  WriteFile("one.csv", "x\n1\n");
  WriteFile("one.jsonl", "{\"x\": 1}\n");
  for (const std::string& name :
       {std::string("https://example.org/a.parquet"), std::string("s3://bucket/a.parquet"),
        std::string("file:///etc/hosts.csv"), Path("*.jsonl"), Path("*.csv"), Path("o?e.jsonl")})
    EXPECT_EQ(ErrorOf([&] { ReadTable(name); }), "There is no file " + name + ".");
}

}  // namespace
}  // namespace velmora
