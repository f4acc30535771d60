// Recode files, rules scripts and bins applied to a table, and the messages for files at fault.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/tolerant.h"
#include "workbench/bins/coding_program.h"
#include "workbench/data/readers.h"

namespace velmora::testing {
namespace {

// age: on, below and above cut points, missing. home: texts. code: numbers.
Table People() {
  Table table;
  table.fileName = "people.csv";
  table.caseCount = 6;
  const auto add = [&](const char* name, std::vector<double> values, std::vector<std::string> labels) {
    Column& column = table.columns.emplace_back();
    column.name = name;
    column.values = std::move(values);
    column.fromText = !labels.empty();
    for (std::size_t i = 0; i < labels.size(); ++i)
      column.labels.push_back({static_cast<double>(i) + 1, labels[i]});
  };
  add("age", {25, 25.5, 40, 40.0001, kMissing, -1e9}, {});
  add("home", {1, 2, 3, 4, kMissing, 1}, {"7", "M\xC3\xBCnster, \"old\"", "age", "own"});
  add("code", {1, 2, 3, kMissing, 5, 6}, {});
  return table;
}

std::string Shown(const Column& column) {
  std::string text;
  for (const double value : column.values) {
    const std::string* label = column.LabelOf(value);
    text += (text.empty() ? "" : "|") + (value == kMissing  ? "."
                                         : label != nullptr ? *label
                                                            : std::to_string(static_cast<int>(value)));
  }
  return column.name + ": " + text;
}

// The coded variables and notices, or the failure.
std::string Coded(const std::string& content) {
  const Table table = People();
  std::vector<std::string> notices;
  std::string text;
  try {
    CodingProgram program(ParseCodingFile(content, "f"), table, notices);
    for (const Column& column : program.Run({})) text += (text.empty() ? "" : "; ") + Shown(column);
    WorkerPool pool(3);
    std::string shared;
    for (const Column& column : program.Run({}, &pool))
      shared += (shared.empty() ? "" : "; ") + Shown(column);
    EXPECT_EQ(shared, text) << "on three threads";
  } catch (const DataError& error) {
    return error.what();
  }
  for (const std::string& notice : notices) text += " / " + notice;
  return text;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

// Bins of one predictor; bin 0 is lo with figure 1, bin 1 hi with figure 2.
std::string Bins(const std::string& predictor, const std::string& figure = R"("w")",
                 const std::string& coded = R"("c")") {
  return R"({"format":"velmora bins","version":1,"dataFile":"d","responses":[{"name":"r","kind":"binary","codes":[],)"
         R"("predictors":[{)" +
         predictor + R"("codedVariable":)" + coded + R"(,"figureVariables":[)" + figure +
         R"(],"bins":[{"label":"lo","woe":1},{"label":"hi","woe":2}]}]}]})";
}

const std::string kAges =
    "[SelectionConditions]\nConditionSize=3\n[SelectionConditions\\Cond0]\nIgnore=0\nCondition=\"\"\"age\"\"<"
    "="
    "2.500000000000000e+01\"\nValue=(-Inf, "
    "25]\n[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"age\"\"<="
    "4.000000000000000e+01\"\nValue= [odd] = \"x\"; \n[SelectionConditions\\Cond2]\nIgnore=0\nCondition="
    "\"\"\"age\"\">4.000000000000000e+01\"\nValue=(40, Inf)\n\n";
const char kCodedAges[] = "age_Coded: (-Inf, 25]| [odd] = \"x\"; | [odd] = \"x\"; |(40, Inf)|.|(-Inf, 25]";

TEST(Recode, CodesEveryForm) {
  struct Row {
    const char* name;
    std::string content;
    std::string expected;
  };
  const Row rows[] = {
      {"section a line", kAges, kCodedAges},
      {"run together", Replaced(kAges, "=3\n[", "=3["), kCodedAges},
      {"CR LF, byte-order mark, remark", "\xEF\xBB\xBF; remark\r\n" + Replaced(kAges, "\n", "\r\n"),
       kCodedAges},
      {"decimal commas", Replaced(Replaced(kAges, "2.5", "2,5"), "4.0", "4,0"), kCodedAges},
      {"not tested", Replaced(kAges, "Cond1]\nIgnore=0", "Cond1]\nIgnore=1"),
       "age_Coded: (-Inf, 25]|.|.|(40, Inf)|.|(-Inf, 25]"},
      {"levels by text, one that the data lack",
       "[SelectionConditions]\nConditionSize=3[SelectionConditions\\Cond0]\nIgnore=0\nCondition="
       "\"\"\"home\"\"="
       "\"\"M\xC3\xBCnster, "
       "\"\"\"\"old\"\"\"\"\"\"\"\nValue=A\n[SelectionConditions\\Cond1]\nIgnore=0\nCondition="
       "\"\"\"home\"\"=\"\"age\"\"\"\nValue=B\n[SelectionConditions\\Cond2]\nIgnore=0\nCondition="
       "\"\"\"home\"\"="
       "\"\"rent\"\"\"\nValue=C\n",
       "home_Coded: .|A|B|.|.|."},
      {"levels that the data have none of",
       "[SelectionConditions]\nConditionSize=2\n[SelectionConditions\\Cond0]\nIgnore=0\nCondition="
       "\"\"\"home\"\"="
       "\"\"rent\"\"\"\nValue=A\n[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"home\"\"="
       "\"\"none\"\"\"\n"
       "Value=B\n",
       "home_Coded: .|.|.|.|.|. / f, line 5: people.csv has none of the levels of home that are named, "
       "such as rent."},
      {"a number against texts, a text against numbers",
       "[SelectionConditions]\nConditionSize=2\n[SelectionConditions\\Cond0]\nIgnore=0\nCondition="
       "\"\"\"home\"\"="
       "7\"\nValue=seven\n[SelectionConditions\\Cond1]\nIgnore=0\nCondition=\"\"\"code\"\"="
       "\"\"2\"\"\"\nValue="
       "two\n",
       "home_Coded: seven|two|.|.|.|seven"},
  };
  for (const Row& row : rows) EXPECT_EQ(Coded(row.content), row.expected) << row.name;
}

TEST(Recode, NamesFileLineAndReason) {
  struct Row {
    const char* from;
    std::string to;
    std::string expected;
  };
  const Row rows[] = {
      {"[SelectionConditions]\n", "",
       "f, line 1: the section [SelectionConditions] is missing before \"ConditionSize\"."},
      {"Size=3", "Size=4",
       "f, line 2: ConditionSize is 4, but the section [SelectionConditions\\Cond3] is missing."},
      {"Size=3", "Size=2",
       "f, line 11: the section [SelectionConditions\\Cond2] is one too many for ConditionSize=2."},
      {"Size=3", "Size=x", "f, line 2: ConditionSize is not a number of conditions: \"x\"."},
      {"\\Cond1]", "\\" + std::string(100000, '[') + "]",
       "f, line 7: the section \"SelectionConditions\\" + std::string(20, '[') + "...\" is unknown."},
      {"Size=3", "Size=9999999",
       "f, line 2: ConditionSize is 9999999, but the section "
       "[SelectionConditions\\Cond3] is missing."},
      {"ConditionSize=3\n", "", "f, line 1: ConditionSize is missing."},
      {"\\Cond1]", "\\Cond0]", "f, line 7: the section [SelectionConditions\\Cond0] occurs twice."},
      {"\\Cond1]", "\\Cand1]", "f, line 7: the section \"SelectionConditions\\Cand1\" is unknown."},
      {"\\Cond1]", "\\Cond1", "f, line 7: ] is missing at the end of the section's name."},
      {"Value=(40", "Value=\xFC (40", "f, line 14: the text is not in UTF-8; save it in that encoding."},
      {"Value=(40", "Vale=(40", "f, line 14: the key \"Vale\" is unknown in a condition."},
      {"Value=(40, Inf)\n", "", "f, line 11: Value is missing in [SelectionConditions\\Cond2]."},
      {"Value=(40, Inf)", "(40, Inf)", "f, line 14: the line is neither a section nor KEY=VALUE."},
      {"4.000000000000000e+01\"\nValue= ", "4\nValue= ",
       "f, line 9: the quotation marks of Condition are broken: the closing one is missing."},
      {"\"\"age\"\">", "\"age\">",
       "f, line 13: the quotation marks of Condition are broken: what is inside must double its own."},
      {"\"age\"\">", "\"agee\"\">",
       "f, line 13: There is no variable \"agee\" in people.csv; did you mean \"age\"?"},
      {"\"age\"\">", "\"home\"\">",
       "f, line 13: \"home\" is compared by > with a number, but holds texts in people.csv."},
      {"\"\"age\"\">4.000000000000000e+01", "\"\"age\"\">> 1",
       "f, line 13: The expression \"\"age\">> 1\" cannot be read at character 7: a value is expected before "
       "\">\"."},
  };
  for (const Row& row : rows) {
    const std::string content = Replaced(kAges, row.from, row.to);
    EXPECT_NE(content, kAges) << row.from;
    EXPECT_EQ(Coded(content), row.expected) << row.from << " -> " << row.to;
  }
}

TEST(Rules, CodesEveryForm) {
  const std::string ages =
      "If( EvalExpr(\"\"\"age\"\"<=2.500000000000000e+01\") )\n\"r_age_Coded\"=\"(-Inf, 25]\"\nEndIf\n"
      "If( EvalExpr(\"\"\"age\"\" > 2.500000000000000e+01 And \"\"age\"\"<=4.000000000000000e+01\") )\n"
      "\"r_age_Coded\"=\"a \"\"quoted\"\", label\"\nEndIf\n"
      "If( EvalExpr(\"\"\"age\"\" > 4.000000000000000e+01\") )\n\"r_age_Coded\"=\"(40, Inf)\"\nEndIf\n";
  const char coded[] =
      "r_age_Coded: (-Inf, 25]|a \"quoted\", label|a \"quoted\", label|(40, Inf)|.|(-Inf, 25]";
  struct Row {
    const char* name;
    std::string content;
    std::string expected;
  };
  const Row rows[] = {
      {"as screening writes it", ages, coded},
      {"decimal commas, CR LF", Replaced(Replaced(ages, ".", ","), "\n", "\r\n"), coded},
      {"numbers", "If EvalExpr(\"age<30\") Then \"n\"=-1.5e0 Else \"n\"=2", "n: -1|-1|2|2|.|-1"},
      {"numbers and texts are texts", "If EvalExpr(\"age<30\") Then \"n\"=1.5 Else \"n\"=\"x\"",
       "n: 1.5|1.5|x|x|.|1.5"},
      {"an expression, nested blocks, the last assignment holds",
       "\"n\"=EvalExpr(\"code*10\")\nIf EvalExpr(\"code>1\") And Not EvalExpr(\"code=3\")\nIf "
       "EvalExpr(\"v0=2\") "
       "Then\n\"n\"=7\nElseIf EvalExpr(\"v0>5\")\n\"n\"=8\nElse\n\"n\"=9\nEnd If\nEnd If",
       "n: 10|7|30|.|9|8"},
  };
  for (const Row& row : rows) EXPECT_EQ(Coded(row.content), row.expected) << row.name;
}

TEST(Rules, NamesFileLineAndReason) {
  struct Row {
    const char* content;
    const char* expected;
  };
  const Row rows[] = {
      {"", "f is empty."},
      {"' nothing", "f assigns nothing: there is no If block in it."},
      {"\nPrint 5", "f, line 2: the statement that begins with \"Print\" is unknown."},
      {"If EvalExpr(\"age>1\")\n\"x\"=\"a\"", "f, line 1: End If is missing."},
      {"If age>1 Then\n\"x\"=1\nEndIf",
       "f, line 1: a condition is made of EvalExpr(\"...\"), And, Or and Not."},
      {"If EvalExpr(\"agee>1\") Then \"x\"=1",
       "f, line 1: There is no variable \"agee\" in people.csv; did you mean \"age\"?"},
      {"\n\"x\"=y", "f, line 2: a text, a number or EvalExpr(\"...\") is expected here."},
      {"x=1", "f, line 1: put the name of a variable that is given values in double quotation marks."},
      {"\"x\"=\"a\"\n\"x\"=EvalExpr(\"age\")",
       "f, line 2: \"x\" is given texts and the numbers of an expression."},
      {"Sub a()\nEnd Sub", "f, line 1: a program that codes cases has no Sub."},
  };
  for (const Row& row : rows) EXPECT_EQ(Coded(row.content), row.expected) << row.content;
}

// A name means the variable of exactly this name, or none.
TEST(SavedNames, AreExact) {
  const auto rule = [](const std::string& name) {
    return "If( EvalExpr(\"\"\"" + name + "\"\"<=30\") )\n\"x\"=\"a\"\nEndIf";
  };
  EXPECT_EQ(Coded(rule("Age")),
            "f, line 1: There is no variable \"Age\" in people.csv; did you mean \"age\"?");
  EXPECT_TRUE(Coded(rule("v1")).starts_with("f, line 1: There is no variable \"v1\" in people.csv"));
  EXPECT_TRUE(Coded("If EvalExpr(\"v3>1\") Then \"x\"=1")
                  .starts_with("f, line 1: There is no variable \"v3\" in people.csv"));
  EXPECT_EQ(Coded(Bins(R"("name":"Age","kind":"continuous","cutPoints":[30],)")),
            "f: There is no variable \"Age\" in people.csv; did you mean \"age\"?");
}

TEST(Bins, CodeEveryForm) {
  struct Row {
    const char* name;
    std::string predictor;
    const char* expected;
  };
  const Row rows[] = {
      {"cut points and a code for missing",
       R"("name":"age","kind":"continuous","missingCode":40,"cutPoints":[25.499999999999996],)",
       "c: lo|lo|.|hi|.|lo; w: 1|1|.|2|.|1"},
      {"texts",
       R"("name":"home","kind":"categorical","levels":[{"level":"own","bin":0},{"level":"7","bin":1}],)",
       "c: hi|.|.|lo|.|hi; w: 2|.|.|1|.|2"},
      {"numbers of a column that holds texts here",
       R"("name":"home","kind":"categorical","levels":[{"level":7,"bin":1},{"level":4,"label":"own","bin":0}],)",
       "c: hi|.|.|lo|.|hi; w: 2|.|.|1|.|2"},
      {"texts of a column that holds numbers here",
       R"("name":"code","kind":"categorical","levels":[{"level":"2","bin":1},{"level":"x","bin":0}],)",
       "c: .|hi|.|.|.|.; w: .|2|.|.|.|."},
      {"a number that is nearly a level",
       R"("name":"code","kind":"categorical","levels":[{"level":3.0000000000000004,"bin":1}],)",
       "c: .|.|hi|.|.|.; w: .|.|2|.|.|."},
      {"levels that the data lack",
       R"("name":"home","kind":"categorical","levels":[{"level":"rent","bin":1}],)",
       "c: .|.|.|.|.|.; w: .|.|.|.|.|. / f: people.csv has no home = rent."},
      {"a text that is a number and the label of another",
       R"("name":"home","kind":"categorical","levels":[{"level":7,"bin":1},{"level":4,"label":"7","bin":0}],)",
       "f: \"7\" of \"home\" in people.csv can be either of two levels with different bins, a number and the "
       "label of another."},
      {"cut points of texts", R"("name":"home","kind":"continuous","cutPoints":[30],)",
       "f: \"home\" has cut points, but holds texts in people.csv."},
  };
  for (const Row& row : rows) EXPECT_EQ(Coded(Bins(row.predictor)), row.expected) << row.name;
}

TEST(Bins, RefuseWhatTheyCannotHold) {
  struct Row {
    const char* name;
    std::string content;
    const char* expected;
  };
  const std::string age = R"("name":"age","kind":"continuous","cutPoints":[30],)";
  const std::string level = R"("name":"home","kind":"categorical","levels":[{"level":"own","bin":BIN}],)";
  std::string deep = R"({"format":)";
  deep += std::string(100000, '[') + std::string(100000, ']') + "}";
  const Row rows[] = {
      {"a nested value", deep, "f is nested more than 64 deep."},
      {"a bin beyond the int", Bins(Replaced(level, "BIN", "4294967296")),
       "f: bin of a level of the predictor home is missing or is not the number of a bin, from 0."},
      {"a bin below 0", Bins(Replaced(level, "BIN", "-1")),
       "f: bin of a level of the predictor home is missing or is not a number."},
      {"descending cut points", Bins(Replaced(age, "[30]", "[30,20]")),
       "f: cutPoints of the predictor age is missing or is not a list of ascending numbers."},
      {"a name twice", Bins(age + R"("name":"home",)"), "f names name twice."},
      {"a variable twice", Bins(age, R"("c")"), "f makes the variable c twice."},
      {"no JSON", "{]", "f is not valid JSON: "},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Coded(row.content).substr(0, std::strlen(row.expected)), row.expected) << row.name;
}

// Equality within 15 units in the last place, the same for cut points and levels.
TEST(Bins, AgreeWithRulesAroundACutPoint) {
  const double cut = 0.3;
  Table table;
  Column& x = table.columns.emplace_back();
  x.name = "x";
  for (int ulps = -20; ulps <= 20; ++ulps)
    x.values.Own().push_back(vlm::FromOrderedBits(vlm::OrderedBits(cut) + ulps));
  table.caseCount = static_cast<std::int64_t>(x.values.size());
  const auto coded = [&](const std::string& content) {
    std::vector<std::string> notices;
    return CodingProgram(ParseCodingFile(content, "f"), table, notices).Run({}).front().values;
  };
  const ColumnValues bins = coded(Bins(R"("name":"x","kind":"continuous","cutPoints":[0.3],)"));
  EXPECT_EQ(bins, coded("If( EvalExpr(\"\"\"x\"\"<=3e-01\") )\n\"c\"=\"lo\"\nEndIf\n"
                        "If( EvalExpr(\"\"\"x\"\" > 3e-01\") )\n\"c\"=\"hi\"\nEndIf\n"));
  const auto low = static_cast<std::size_t>(std::count(bins.begin(), bins.end(), 2.0));
  EXPECT_EQ(low, 36u) << "20 below, the cut, 15 above";
}

// The cost of a case grows with the logarithm of the number of levels, in each form.
TEST(Bins, CostLittleMoreForManyLevels) {
  const auto seconds = [](int levels, bool rules) {
    Table table;
    table.caseCount = 200'000;
    Column& x = table.columns.emplace_back();
    x.name = "x";
    for (int i = 0; i < table.caseCount; ++i) x.values.Own().push_back(i * 7919LL % levels);
    std::string list, script;
    for (int i = 0; i < levels; ++i) {
      const std::string number = std::to_string(i);
      list +=
          (i == 0 ? R"({"level":)" : R"(,{"level":)") + number + R"(,"bin":)" + std::to_string(i % 2) + "}";
      if (rules)
        script +=
            "If( EvalExpr(\"\"\"x\"\"=" + number + "\") )\n\"c\"=\"b" + std::to_string(i % 2) + "\"\nEndIf\n";
    }
    std::vector<std::string> notices;
    CodingProgram program(
        ParseCodingFile(rules ? script : Bins(R"("name":"x","kind":"categorical","levels":[)" + list + "],"),
                        "f"),
        table, notices);
    const std::clock_t begin = std::clock();  // of this process, whatever else runs
    const std::vector<Column> columns = program.Run({});
    const double time = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    EXPECT_EQ(std::count(columns[0].values.begin(), columns[0].values.end(), kMissing), 0);
    return time;
  };
  for (const bool rules : {false, true})
    EXPECT_LT(seconds(16'000, rules), 30 * seconds(20, rules) + 0.02) << rules;
}

// Many cases in several blocks, each coded by its own value.
TEST(Rules, WorkOnManyCases) {
  Table table;
  table.caseCount = 100'001;
  Column& column = table.columns.emplace_back();
  column.name = "x";
  for (int i = 0; i < table.caseCount; ++i) column.values.Own().push_back(i % 7 == 0 ? kMissing : i);
  std::vector<std::string> notices;
  CodingProgram program(
      ParseCodingFile("If EvalExpr(\"x<50000\") Then \"y\"=\"low\" Else \"y\"=\"high\"", "f"), table,
      notices);
  const Column coded = program.Run({}).front();
  for (int i = 0; i < table.caseCount; ++i) {
    const double expected = i % 7 == 0 ? kMissing : i < 50000 ? 2 : 1;
    ASSERT_EQ(coded.values[static_cast<std::size_t>(i)], expected) << i;
  }
  EXPECT_THROW(program.Run([](double) { return false; }), Cancelled);
}

}  // namespace
}  // namespace velmora::testing
