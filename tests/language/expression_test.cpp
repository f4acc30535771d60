// Expressions, case selection and names.
#include <gmock/gmock.h>

#include <cmath>

#include "tests/data/data_test_support.h"
#include "workbench/data/names.h"
#include "workbench/language/selection.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Column MakeColumn(const std::string& name, std::vector<double> values, double missingCode = kMissing) {
  Column column;
  column.name = name;
  column.values = std::move(values);
  column.missingCode = missingCode;
  return column;
}

// Three cases: age 20 . 40 (code -9), income 0 -1 2.5, risk bad good ., "two words" 1 2 3, good 7 7
// 7, day 2024-05-31 2024-06-01 ., hour 2024-06-01 00:00, 12:30, 2024-06-02 00:00.
Table People() {
  Table table;
  table.caseCount = 3;
  table.columns.push_back(MakeColumn("age", {20, -9, 40}, -9));
  table.columns.push_back(MakeColumn("income", {0, -1, 2.5}));
  table.columns.push_back(MakeColumn("risk", {1, 2, kMissing}));
  table.columns.back().labels = {{1, "bad"}, {2, "good"}, {3, "it's \"odd\""}};
  table.columns.push_back(MakeColumn("two words", {1, 2, 3}));
  table.columns.push_back(MakeColumn("good", {7, 7, 7}));
  table.columns.push_back(MakeColumn("day", {19874, 19875, kMissing}));
  table.columns.back().dateUnit = DateUnit::kDays;
  table.columns.push_back(MakeColumn("hour", {19875.0 * 86400, 19875.0 * 86400 + 45000, 19876.0 * 86400}));
  table.columns.back().dateUnit = DateUnit::kSeconds;
  return table;
}

std::string Evaluate(const std::string& text, const Table& table) {
  std::vector<double> out(3);
  Expression::Compile(text, table).EvaluateBlock(table, 0, 3, out.data());
  std::ostringstream shown;
  for (double value : out) {
    if (value == kMissing)
      shown << ". ";
    else
      shown << value << ' ';
  }
  return shown.str().substr(0, shown.str().size() - 1);
}

TEST(Expression, Rows) {
  const Table table = People();
  const struct {
    const char* text;
    const char* expected;
  } rows[] = {
      // arithmetic and its order
      {"1 + 2 * 3 - 4 / 2", "5 5 5"},
      {"-2 ^ 2", "-4 -4 -4"},
      {"2 ^ 3 ^ 2", "512 512 512"},
      {"2 ^ -1", "0.5 0.5 0.5"},
      {"10 - 3 - 2", "5 5 5"},
      {"(1 + 2) * -v2", "-0 3 -7.5"},
      {"1e2 + .5", "100.5 100.5 100.5"},
      // variables
      {"age", "20 . 40"},
      {"V1 + AGE", "40 . 80"},
      {"\"two words\" * v4", "1 4 9"},
      {"v0", "1 2 3"},
      // missing
      {"age + 1", "21 . 41"},
      {"1 / income", ". -1 0.4"},
      {"Log(income)", ". . 0.916291"},
      {"log10(income * 40)", ". . 2"},
      {"Sqrt(income)", "0 . 1.58114"},
      {"exp(income * 1000)", "1 0 ."},
      {"age ^ 0", "1 . 1"},
      {"Max(age, 30)", "30 . 40"},
      {"IsMD(age)", "0 1 0"},
      {"ismd(age + v4) + 1", "1 2 1"},
      {"age > 30", "0 . 1"},
      {"Not age > 30", "1 . 0"},
      {"age > 30 And income < 0", "0 . 0"},
      {"income > 9 And age > 30", "0 0 0"},
      {"age > 30 Or income < 0", "0 1 1"},
      {"age > 30 or 0", "0 . 1"},
      // functions
      {"Abs(income)", "0 1 2.5"},
      {"Int(income - 0.5)", "-1 -2 2"},
      {"Trunc(income - 0.5)", "-0 -1 2"},
      {"Round(income)", "0 -1 3"},
      {"Round(-income)", "-0 1 -3"},
      {"Min(3, income, v4)", "0 -1 2.5"},
      {"Sin(0) + Cos(0)", "1 1 1"},
      // comparisons
      {"0.1 + 0.2 = 0.3", "1 1 1"},
      {"0.1 + 0.2 > 0.3", "0 0 0"},
      {"0.1 + 0.2 <> 0.3", "0 0 0"},
      {"income >= 0", "1 0 1"},
      {"v4 <= 2", "1 1 0"},
      {"v4 == 2 or v4 != 2", "1 1 1"},
      // texts
      {"risk = \"bad\"", "1 0 ."},
      {"risk <> 'good'", "1 0 ."},
      {"\"bad\" = risk", "1 0 ."},
      {"risk = \"good\"", "0 1 ."},
      {"v4 = \"good\"", "0 0 0"},
      {"risk = 'it''s \"odd\"'", "0 0 ."},
      {"(risk) = \"bad\" and age = 20", "1 0 0"},
      {"risk = 1", "1 0 ."},
      {"1 + v4 * 2 = v4 + 3", "0 1 0"},
      {"risk = 'b' & 'ad'", "1 0 ."},
      {"\"two\" & Chr(32) & \"words\" > 1", "0 1 1"},
      // dates
      {"day >= '2024-06-01'", "0 1 ."},
      {"day >= 2024-06-01", "0 1 ."},
      {"#2024-06-01# = day Or IsMD(day)", "0 1 1"},
      {"day < \"2024-06-01\"", "1 0 ."},
      {"hour > '2024-06-01 12:00'", "0 1 1"},
      {"hour >= #2024-06-01T12:30:00#", "0 1 1"},
      {"hour > 2024-06-01", "0 1 1"},
      {"hour > day", "1 1 ."},
      {"day = day", "1 1 ."},
      {"2024 - 6 - 1 > v4", "1 1 1"},
      // a leading And
      {" And IsMD(v1)", "0 1 0"},
      {"NOT(NOT(1))", "1 1 1"},
  };
  for (const auto& row : rows) {
    std::string result;
    EXPECT_EQ(ErrorOf([&] { result = Evaluate(row.text, table); }), "no error") << row.text;
    EXPECT_EQ(result, row.expected) << row.text;
  }
}

TEST(Expression, ErrorsNameThePlace) {
  const Table table = People();
  const struct {
    std::string text;
    const char* expected;
  } rows[] = {
      {"", "The expression is empty."},
      {"age >", "cannot be read at character 6: a value is expected at the end"},
      {"age 3", "character 5: an operator is expected before \"3\""},
      {"(age > 3", "character 9: a closing parenthesis is expected before the end"},
      {"age > * 3", "character 7: a value is expected before \"*\""},
      {"agee > 3", "character 1: there is no variable \"agee\"; did you mean \"age\"?"},
      {"'x' = 1", "neither a variable nor compared with a variable."},
      {"v9 = 1", "character 1: there is no variable \"v9\""},
      {"foo(3)", "character 1: there is no function \"foo\""},
      {"abs(1, 2)", "character 1: \"abs\" takes one value"},
      {"risk = \"baad\"",
       "character 8: the variable \"risk\" has no value labelled \"baad\"; did you mean \"bad\"?"},
      {"risk < \"bad\"", "character 6: texts can be compared with = and <> only"},
      {"\"nothing\" + 1", "character 1: the text \"nothing\" is neither"},
      {"1 < 2 < 3", "character 7: comparisons cannot be chained"},
      {"age = \"x", "character 7: a quotation mark is opened and never closed"},
      {"age ? 3", "character 5: the character \"?\" has no meaning here"},
      {"3age", "character 1: a name cannot begin with a digit"},
      {"risk = bad", "character 8: there is no variable \"bad\"; put a text in quotes: 'bad'"},
      {"day > 2024 - 06 - 01",
       "character 5: \"day\" holds dates; compare it with a date such as '2024-06-01'"},
      {"day + 1 > '2024-06-01'",
       "character 1: \"day\" holds dates, which can be compared but not computed with"},
      {"Max(day, hour) > 1", "character 5: \"day\" holds dates, which"},
      {"day And 1", "character 1: \"day\" holds dates, which"},
      {"day = '2024-02-30'", "character 7: \"2024-02-30\" is not a date; write one such as '2024-06-01'"},
      {"income > 2024-06-01", "character 10: 2024-06-01 is a date, and \"income\" holds none"},
      {"2024-06-01 + 1 = 2", "character 1: 2024-06-01 is a date, which can be compared with a variable that"},
      {"risk & 'a' = 'bada'", "character 6: & joins texts in quotes and Chr(n) only"},
      {"'\xC3\xA9\xC3\xA9' = risk !", "character 13: the character \"!\""},
      {std::string(100000, '('), "nested too deeply"},
      {std::string(100000, '-') + "1", "nested too deeply"},
  };
  for (const auto& row : rows)
    EXPECT_THAT(ErrorOf([&] { Expression::Compile(row.text, table); }), HasSubstr(row.expected))
        << row.text.substr(0, 40);
}

TEST(Expression, TellsALoneMissingTest) {
  const Table table = People();
  for (const char* text : {"IsMD(v2)", " And IsMD(v2)", "ismd( \"income\" )", "(IsMD(income))"})
    EXPECT_TRUE(IsMissingTest(text, table, 2)) << text;
  for (const char* text :
       {"IsMD(v1)", "Not IsMD(v2)", "IsMD(v2) And 1", "IsMD(v2 + 1)", "IsMD(v22)", "IsMD(2)", "v2", ""})
    EXPECT_FALSE(IsMissingTest(text, table, 2)) << text;
}

// A list of conditions is as deep as one of them, so its length has no limit.
TEST(Expression, TakesLongChains) {
  const Table table = People();
  std::string any = "v4 = 0";
  for (int i = 0; i < 20000; ++i) any += " or v4 = 3";
  EXPECT_EQ(Evaluate(any, table), "0 0 1");
  std::string sums = "0";
  for (int i = 0; i < 20000; ++i) sums += "+1";
  EXPECT_EQ(Evaluate(sums, table), "20000 20000 20000");
}

// Any text comes back from its quoted form, which is on one line and has no control character.
TEST(Syntax, QuotedTextsReadBack) {
  std::string all;
  for (int c = 0; c < 128; ++c) all += static_cast<char>(c);
  for (const std::string& text : {all, std::string(), std::string("\n"), std::string("a\tb"),
                                  std::string("\r\n\"x\""), std::string("it's, \"\xC3\xA9\"")}) {
    const std::string quoted = QuotedText(text);
    for (const char c : quoted) EXPECT_GE(static_cast<unsigned char>(c), 32U) << quoted;
    Syntax value = ParseExpression(quoted);
    FoldTexts(value);
    EXPECT_EQ(value.kind, SyntaxKind::kText) << quoted;
    EXPECT_EQ(value.text, text) << quoted;
  }
}

// Blocks that begin and end anywhere agree with evaluation case by case.
TEST(Expression, BlocksAgreeWithSingleCases) {
  Table table;
  table.caseCount = 2000;
  std::vector<double> values;
  for (int i = 0; i < 2000; ++i) values.push_back(i % 7 == 0 ? kMissing : i * 0.25 - 100);
  table.columns.push_back(MakeColumn("x", values));
  Expression expression = Expression::Compile("(x > 3 or ismd(x)) * v0 + sqrt(x) / (x - 50)", table);
  std::vector<double> single(2000);
  for (int i = 0; i < 2000; ++i) expression.EvaluateBlock(table, i, 1, &single[static_cast<std::size_t>(i)]);
  for (const auto& [first, count] :
       {std::pair{0, 2000}, {1, 1999}, {511, 2}, {512, 1024}, {1999, 1}, {700, 0}}) {
    std::vector<double> block(static_cast<std::size_t>(count));
    expression.EvaluateBlock(table, first, block.size(), block.data());
    EXPECT_TRUE(std::equal(block.begin(), block.end(), single.begin() + first)) << first << ' ' << count;
  }
}

TEST(Selection, Rows) {
  const Table table = People();
  const struct {
    const char* inclusion;
    const char* exclusion;
    bool enabled;
    const char* expected;
  } rows[] = {
      {"", "", true, "111"},
      {"age > 0", "", true, "101"},
      {"", "age > 0", true, "010"},
      {"", "risk = 'bad'", true, "011"},
      {"v4 < 3", "v4 = 1", true, "010"},
      {"0", "", true, "000"},
      {"0", "", false, "111"},
      {"  ", " And IsMD(age)", true, "101"},
      {"2.5", "", true, "111"},
  };
  for (const auto& row : rows) {
    const CaseBitmap bitmap = SelectCases(table, {row.inclusion, row.exclusion, row.enabled});
    std::string shown;
    for (int i = 0; i < 3; ++i) shown += bitmap.Contains(i) ? '1' : '0';
    EXPECT_EQ(shown, row.expected) << row.inclusion << " / " << row.exclusion;
    EXPECT_EQ(bitmap.IncludedCount(), std::count(shown.begin(), shown.end(), '1'));
  }
}

Table Names(const std::vector<std::string>& names) {
  Table table;
  table.fileName = "data.csv";
  for (const std::string& name : names) table.columns.push_back(MakeColumn(name, {}));
  return table;
}

TEST(Names, Resolve) {
  const Table table = Names(
      {"age", "Amount", "v1", "x.a", "x.b", "two words", "Dup", "dup", "\xC3\xA9t\xC3\xA9", "a-b", "12"});
  const struct {
    std::vector<std::string> texts;
    std::vector<int> expected;
    const char* error;
  } rows[] = {
      {{"age", "v2", "V4"}, {1, 2, 4}, ""},
      {{"v1"}, {3}, ""},  // the name wins
      {{"AMOUNT"}, {2}, ""},
      {{"x.*", "age", "x.a"}, {4, 5, 1}, ""},
      {{"?up"}, {7, 8}, ""},
      {{"?t?"}, {9}, ""},
      {{"*"}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, ""},
      {{"dup"}, {8}, ""},
      {{"DUP"}, {}, "ambiguous in data.csv: it could be \"Dup\" or \"dup\""},
      {{"amuont"}, {}, "no variable \"amuont\" in data.csv; did you mean \"Amount\"?"},
      {{"nothing like it"}, {}, "it has age, Amount, v1"},
      {{"v12"}, {}, "There is no variable v12: data.csv has 11 variables."},
      {{"v99999999999999999999"}, {}, "There is no variable v99999999999999999999"},
      {{"z*"}, {}, "No variable of data.csv matches \"z*\"."},
  };
  for (const auto& row : rows) {
    std::vector<int> numbers;
    const std::string error = ErrorOf([&] { numbers = ResolveVariables(table, row.texts); });
    if (*row.error == 0)
      EXPECT_EQ(error, "no error") << row.texts[0];
    else
      EXPECT_THAT(error, HasSubstr(row.error));
    EXPECT_EQ(numbers, row.expected) << row.texts[0];
  }
}

TEST(Names, Lists) {
  const Table table = Names({"age", "Amount", "v1", "x.a", "x.b", "two words", "Dup", "dup",
                             "\xC3\xA9t\xC3\xA9", "a-b", "12", "1-3"});
  const struct {
    const char* text;
    std::vector<int> expected;
    const char* error;
  } rows[] = {
      {"1-5 7 11", {1, 2, 3, 4, 5, 7, 11}, ""},
      {"3,1;2", {3, 1, 2}, ""},
      {"age-v1 v5", {1, 2, 3, 5}, ""},
      {"a-b", {10}, ""},
      {"two words", {6}, ""},
      {"1-3", {1, 2, 3}, ""},
      {"\"1-3\" age", {12, 1}, ""},
      {"\"two words\"-dup \"12\" 1", {6, 7, 8, 11, 1}, ""},
      {"v2-v4", {2, 3, 4}, ""},
      {"", {}, ""},
      {"5-2", {}, "runs backwards"},
      {"0", {}, "no variable 0"},
      {"12", {12}, ""},
      {"13", {}, "no variable 13"},
      {"\"age", {}, "position 1 that is not closed"},
      {"agf", {}, "did you mean \"age\"?"},
  };
  for (const auto& row : rows) {
    std::vector<int> numbers;
    const std::string error = ErrorOf([&] { numbers = ParseVariableList(table, row.text); });
    if (*row.error == 0)
      EXPECT_EQ(error, "no error") << row.text;
    else
      EXPECT_THAT(error, HasSubstr(row.error));
    EXPECT_EQ(numbers, row.expected) << row.text;
  }
  const struct {
    std::vector<int> numbers;
    const char* expected;
  } printed[] = {{{}, ""},
                 {{4}, "4"},
                 {{1, 2}, "1 2"},
                 {{1, 2, 3, 5, 6, 9, 8, 7}, "1-3 5 6 9 8 7"},
                 {{3, 3, 4, 5}, "3 3-5"}};
  for (const auto& row : printed) {
    EXPECT_EQ(PrintVariableList(row.numbers), row.expected);
    EXPECT_EQ(ParseVariableList(table, row.expected), row.numbers);
  }
}

}  // namespace
}  // namespace velmora
