// Missing, special, unseen and broken values: the coding program, Python, DuckDB and SQLite give
// each the bin that is stated here. The text of the SQL in every dialect.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/scratch_folder.h"
#include "workbench/bins/coding_program.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/errors.h"

namespace velmora::testing {
namespace {

using Json = nlohmann::json;

// income: cut points, special codes, missing values, a code for missing. home: levels with special,
// missing and other ones. grade: numbers that are levels. plain: as version 1 has it.
const char kBins[] = R"({"format":"velmora bins","version":2,"dataFile":"data.csv","responses":[
{"name":"risk","kind":"binary","codes":["bad","good"],
 "scorecard":{"version":1,"scoreVariable":"score","probabilityVariable":"probability","basePoints":11,"odds":4,
  "pdo":20,"intercept":0,"terms":[
  {"predictor":"in\"come","coefficient":-1,"points":[10,20,30,40,50.5],"neutralPoints":0},
  {"predictor":"home","coefficient":-1,"points":[1,2,3],"neutralPoints":-5},
  {"predictor":"plain","coefficient":-1,"points":[100],"neutralPoints":0}]},
 "predictors":[
 {"name":"in\"come","kind":"continuous","codedVariable":"income_Coded","figureVariables":["income_WOE"],
  "missingCode":-7,"cutPoints":[10.5,20],"specialCodes":[{"level":-999,"bin":3},{"level":15,"bin":1},{"level":0,"bin":3}],
  "missing":{"bin":4},
  "bins":[{"label":"lo","woe":-1.5},{"label":"mid","woe":0.1},{"label":"hi","woe":2},{"label":"it's \\ special","woe":null},
   {"label":"Missing","woe":-0.30000000000000004}]},
 {"name":"home","kind":"categorical","codedVariable":"home_Coded","figureVariables":["home_WOE"],
  "levels":[{"level":"own","bin":0},{"level":"it's","bin":1},{"level":"7","bin":1}],"missing":{"bin":2},"otherLevels":{"bin":1},
  "bins":[{"label":"own","woe":1},{"label":"rest","woe":2},{"label":"Missing","woe":3}]},
 {"name":"grade","kind":"categorical","codedVariable":"grade_Coded","figureVariables":["grade_WOE"],
  "levels":[{"level":1,"bin":0},{"level":2,"bin":1}],"missing":{"bin":1},
  "bins":[{"label":"one","woe":1},{"label":"two","woe":2}]},
 {"name":"plain","kind":"categorical","codedVariable":"plain_Coded","figureVariables":["plain_WOE"],
  "levels":[{"level":"a","bin":0}],"bins":[{"label":"A","woe":1}]}]}]})";

struct Case {
  const char *income, *home, *grade, *plain;  // empty: missing
  const char *incomeBin, *homeBin, *gradeBin, *plainBin;
  const char* score;
};
const Case kCases[] = {
    {"10.5", "own", "1", "a", "lo", "own", "one", "A", "111"},
    {"10.500000000000002", "it's", "2", "b", "lo", "rest", "two", "", "12"},
    {"10.6", "7", "3", "", "mid", "rest", "", "", "22"},
    {"20.1", "tent", "1.5", "A", "hi", "rest", "", "", "32"},
    {"1e300", "OWN", "", "a ", "hi", "rest", "two", "", "32"},
    {"-1e300", "", "2.0000000000000004", "", "lo", "Missing", "two", "", "13"},
    {"-999", "own ", "1", "", "it's \\ special", "rest", "one", "", "42"},
    {"0", "own", "1", "", "it's \\ special", "own", "one", "", "41"},
    {"15", "own", "1", "", "mid", "own", "one", "", "21"},
    {"15.1", "own", "1", "", "mid", "own", "one", "", "21"},
    {"-7", "own", "1", "", "Missing", "own", "one", "", "51.5"},
    {"", "own", "1", "", "Missing", "own", "one", "", "51.5"},
};

std::string Line(const std::vector<std::string>& bins) {
  std::string line;
  for (const std::string& bin : bins) line += bin + ";";
  return line + "\n";
}

std::string ScoreText(double score) {
  std::ostringstream text;
  text << score;
  return text.str();
}

std::string Expected() {
  std::string text;
  for (const Case& one : kCases)
    text += Line({one.incomeBin, one.homeBin, one.gradeBin, one.plainBin, one.score});
  return text;
}

Column TextColumn(const char* name, const char* Case::*member) {
  Column column;
  column.name = name;
  column.fromText = true;
  for (const Case& one : kCases) {
    const std::string text = one.*member;
    const double* const known = column.ValueOf(text);
    if (text.empty() || known != nullptr) {
      column.values.Own().push_back(text.empty() ? kMissing : *known);
      continue;
    }
    column.labels.push_back({static_cast<double>(column.labels.size()) + 1, text});
    column.values.Own().push_back(column.labels.back().value);
  }
  return column;
}

Column NumberColumn(const char* name, const char* Case::*member) {
  Column column;
  column.name = name;
  for (const Case& one : kCases)
    column.values.Own().push_back(*(one.*member) == 0 ? kMissing : std::strtod(one.*member, nullptr));
  return column;
}

Table Data() {
  Table table;
  table.fileName = "data.csv";
  table.caseCount = std::size(kCases);
  table.columns = {NumberColumn("in\"come", &Case::income), TextColumn("home", &Case::home),
                   NumberColumn("grade", &Case::grade), TextColumn("plain", &Case::plain)};
  return table;
}

// Two cases at a time, as a file is coded that is written meanwhile.
std::vector<Column> CodeInPieces(CodingProgram& program, const Table& table) {
  std::vector<Column> columns = program.EmptyColumns();
  WorkerPool pool(3);
  for (std::int64_t first = 0; first < table.caseCount; first += 2) {
    program.CodeRows(first, static_cast<std::size_t>(std::min<std::int64_t>(2, table.caseCount - first)),
                     &pool);
    for (std::size_t i = 0; i < columns.size(); ++i) {
      for (const double value : program.CodedRows(i)) columns[i].values.Own().push_back(value);
    }
  }
  return columns;
}

std::string CodedBy(bool isInPieces, const Table& table, const UnseenLevels& unseen, std::string* uncovered) {
  std::vector<std::string> notices;
  CodingProgram program(ParseCodingFile(kBins, "f"), table, notices, unseen);
  std::vector<const Column*> coded;
  const std::vector<Column> columns = isInPieces ? CodeInPieces(program, table) : program.Run({});
  for (const Column& column : columns) {
    if (column.name.ends_with("_Coded")) coded.push_back(&column);
  }
  std::string text;
  for (std::size_t i = 0; i < static_cast<std::size_t>(table.caseCount); ++i) {
    std::vector<std::string> bins;
    for (const Column* const column : coded) {
      const std::string* const label = column->LabelOf(column->values[i]);
      bins.push_back(label != nullptr ? *label : "");
    }
    bins.push_back(ScoreText(columns[columns.size() - 2].values[i]));
    text += Line(bins);
  }
  for (const CodingProgram::Uncovered& one : program.UncoveredCases()) {
    *uncovered += one.variable + ": " + std::to_string(one.missing) + " missing";
    for (const auto& [level, count] : one.levels) *uncovered += ", " + level + " " + std::to_string(count);
    if (one.badTexts > 0)
      *uncovered += ", " + std::to_string(one.badTexts) + " bad, first " + one.firstBadText + " in " +
                    std::to_string(one.firstBadCase);
    *uncovered += "\n";
  }
  return text;
}

std::string Coded(const Table& table, const UnseenLevels& unseen, std::string* uncovered = nullptr) {
  std::string ofPieces, ofWhole;
  const std::string pieces = CodedBy(true, table, unseen, &ofPieces);
  const std::string whole = CodedBy(false, table, unseen, &ofWhole);
  EXPECT_EQ(pieces, whole);
  EXPECT_EQ(ofPieces, ofWhole);
  if (uncovered != nullptr) *uncovered += ofWhole;
  return whole;
}

TEST(EveryForm, CodingProgramKnowsMissingSpecialAndOtherValues) {
  std::string uncovered;
  EXPECT_EQ(Coded(Data(), {}, &uncovered), Expected());
  EXPECT_EQ(uncovered,
            "in\"come: 1 missing\nhome: 1 missing, OWN 1, own  1, tent 1\ngrade: 1 missing, 1.5 1, 3 1\n"
            "plain: 8 missing, A 1, a  1, b 1\n");
}

TEST(EveryForm, UnseenLevelsGoWhereTheUserSays) {
  const auto gradeAndPlain = [](const UnseenLevels& unseen) {
    std::istringstream lines(Coded(Data(), unseen));
    std::string text, line;
    for (int row = 0; row < 3 && std::getline(lines, line); ++row)
      text += line.substr(line.find(';', line.find(';') + 1) + 1,
                          line.rfind(';', line.size() - 2) + 1 - line.find(';', line.find(';') + 1) - 1) +
              " ";
    return text;
  };
  EXPECT_EQ(gradeAndPlain({}), "one;A; two;; ;; ");
  EXPECT_EQ(gradeAndPlain({UnseenLevels::Rule::kAsMissing, ""}), "one;A; two;; two;; ");
  EXPECT_EQ(gradeAndPlain({UnseenLevels::Rule::kLabel, "two"}), "one;A; two;two; two;; ");
  EXPECT_EQ(gradeAndPlain({UnseenLevels::Rule::kLabel, "new"}), "one;A; two;new; new;; ");
}

TEST(EveryForm, OneBadTextCostsOneValue) {
  Table table = Data();
  Column& income = table.Variable(1);
  income = TextColumn("in\"come", &Case::income);
  income.labels[2].text = "unknown";  // of case 3, was 10.6
  std::string uncovered, expected = Expected();
  const std::string coded = Coded(table, {}, &uncovered);
  EXPECT_EQ(coded, expected.replace(expected.find("mid;rest;;;22"), 13, "Missing;rest;;;52.5"));
  EXPECT_EQ(uncovered.substr(0, uncovered.find('\n')), "in\"come: 2 missing, 1 bad, first unknown in 3");
}

std::string DuckText(const char* text, bool isText) {
  if (*text == 0) return isText ? "''" : "NULL";
  std::string quoted = "'";
  for (const char* c = text; *c != 0; ++c) quoted.append(*c == '\'' ? 2 : 1, *c);
  return quoted + "'";
}

// The statements that make the table data, in SQL that both engines read.
std::string TableSql() {
  std::string sql = "CREATE TABLE data (\"in\"\"come\" DOUBLE, home VARCHAR, grade DOUBLE, plain VARCHAR);";
  for (const Case& one : kCases) {
    sql += "INSERT INTO data VALUES (" + DuckText(one.income, false) + "," + DuckText(one.home, true) + "," +
           DuckText(one.grade, false) + "," + DuckText(one.plain, true) + ");";
  }
  return sql;
}

std::string Query(SqlDialect dialect) {
  std::vector<std::string> notices;
  return BinsSql(ParseBinsJson(kBins, "f"), notices, dialect);
}

const char kCodedColumns[] =
    "SELECT income_Coded, home_Coded, grade_Coded, plain_Coded, score, probability FROM (";

// The odds are 4 good to 1 bad at 11 points and double every 20 points.
double ExpectedProbability(double score) { return 1 / (1 + 4 * std::exp2((score - 11) / 20)); }

TEST(EveryForm, DuckDb) {
  for (const SqlDialect dialect : {SqlDialect::kDuckDb, SqlDialect::kStandard}) {
    const std::string query = Query(dialect);
    DuckDbSession session(1);
    session.Run(TableSql());
    std::string text;
    session.Rows(kCodedColumns + query.substr(0, query.rfind(';')) + ") AS coded",
                 [&](const char* const* texts) {
                   std::vector<std::string> bins;
                   for (int i = 0; i < 4; ++i) bins.emplace_back(texts[i] == nullptr ? "" : texts[i]);
                   const double score = std::stod(texts[4]);
                   bins.push_back(ScoreText(score));
                   EXPECT_NEAR(std::stod(texts[5]), ExpectedProbability(score), 1e-15);
                   text += Line(bins);
                 });
    EXPECT_EQ(text, Expected());
    session.Run("DELETE FROM data; INSERT INTO data (\"in\"\"come\") VALUES ('nan'), ('inf'), ('-inf')");
    session.Rows("SELECT DISTINCT income_Coded FROM (" + query.substr(0, query.rfind(';')) + ") AS coded",
                 [&](const char* const* texts) { EXPECT_STREQ(texts[0], "Missing"); });
  }
}

// The module of BinsPython, and the query run by SQLite.
constexpr char kDriver[] = R"(
import importlib.util, json, sqlite3, sys
spec = importlib.util.spec_from_file_location('bins', sys.argv[1] + '/bins.py')
bins = importlib.util.module_from_spec(spec)
spec.loader.exec_module(bins)
task = json.load(open(sys.argv[1] + '/task.json', encoding='utf-8'))
def line(values):
    return ''.join(('' if value is None else value) + ';' for value in values)
names = ['income_Coded', 'home_Coded', 'grade_Coded', 'plain_Coded']
for case in task['cases']:
    number = dict(case)
    for name in ('in"come', 'grade'):
        number[name] = float(case[name]) if case[name] else float('nan')
    as_numbers, as_texts = bins.code_case(number), bins.code_case(case)
    assert as_numbers == as_texts, (case, as_numbers, as_texts)
    score = bins.score_case(case)
    assert score == bins.score_case(number), case
    assert abs(score['probability'] - 1 / (1 + 4 * 2 ** ((score['score'] - 11) / 20))) < 1e-15, score
    print(line([as_texts[name] for name in names] + ['%g' % score['score']]))
nothing = bins.code_case({})
assert line(nothing[name] for name in names) == 'Missing;Missing;two;;', nothing
assert bins.code_case({'in"come': float('inf')})['income_WOE'] == -0.30000000000000004
print('--')
base = sqlite3.connect(':memory:')
base.executescript(task['table'])
for *row, score, probability in base.execute(task['query']):
    assert abs(probability - 1 / (1 + 4 * 2 ** ((score - 11) / 20))) < 1e-15, score
    print(line(row + ['%g' % score]))
)";

TEST(EveryForm, PythonAndSqlite) {
  if (std::system("python3 -c 'import sqlite3' > /dev/null 2>&1") != 0) GTEST_SKIP() << "no Python";
  const ScratchFolder folder;
  std::vector<std::string> notices;
  const std::string query = Query(SqlDialect::kSqlite);
  Json cases = Json::array();
  for (const Case& one : kCases)
    cases.push_back(
        {{"in\"come", one.income}, {"home", one.home}, {"grade", one.grade}, {"plain", one.plain}});
  const Json task = {{"cases", cases},
                     {"table", TableSql()},
                     {"query", kCodedColumns + query.substr(0, query.rfind(';')) + ") AS coded"}};
  const std::string path = folder.At(".");
  std::ofstream(path + "/task.json") << task.dump();
  std::ofstream(path + "/bins.py") << BinsPython(ParseBinsJson(kBins, "f"));
  std::ofstream(path + "/driver.py") << kDriver;
  const std::string line = "PYTHONDONTWRITEBYTECODE=1 python3 " + path + "/driver.py " + path + " > " + path +
                           "/out 2> " + path + "/err";
  const int status = std::system(line.c_str());
  std::stringstream out, err;
  out << std::ifstream(path + "/out").rdbuf();
  err << std::ifstream(path + "/err").rdbuf();
  EXPECT_EQ(status, 0) << err.str();
  EXPECT_EQ(out.str(), Expected() + "--\n" + Expected());
}

TEST(EveryForm, DialectsWriteNamesTextsAndNumbersTheirOwnWay) {
  struct Row {
    SqlDialect dialect;
    std::vector<const char*> has;
    std::vector<const char*> hasNot;
  };
  const char* const largest = "1.7976931348623157E308";
  const Row rows[] = {
      {SqlDialect::kStandard,
       {R"(WHEN "in""come" IS NULL OR NOT ("in""come" BETWEEN -1.7976931348623157E308 AND )",
        "THEN 'it''s \\ special'", R"("home" IN ('it''s', '7'))", "FROM \"data\" AS cases", "THEN 1E-01\n"},
       {}},
      {SqlDialect::kPostgresql, {"CAST(1E-01 AS DOUBLE PRECISION)", R"("in""come" <= )"}, {}},
      {SqlDialect::kMysql,
       {"`in\"come` IS NULL OR", R"('it\'s \\ special')",
        "CAST(CONVERT(`home` USING utf8mb4) AS BINARY) IN ('own')", "FROM `data` AS cases"},
       {largest}},
      {SqlDialect::kSqlServer,
       {"[in\"come] IS NULL OR", R"(N'it''s \ special')",
        "[home] COLLATE Latin1_General_100_BIN2 IN (N'own')"},
       {largest}},
      {SqlDialect::kOracle,
       {R"(OR NOT ("in""come" > -BINARY_DOUBLE_INFINITY AND "in""come" < BINARY_DOUBLE_INFINITY))",
        "THEN CAST(1E-01 AS BINARY_DOUBLE)", "FROM \"data\" cases",
        "the name in\"come has quotation marks, which oracle does not take in names"},
       {" AS cases", "E01d"}},
      {SqlDialect::kBigQuery,
       {"`in\"come`", R"('it\'s \\ special')", largest, "has quotation marks, which bigquery does not take"},
       {}},
      {SqlDialect::kSpark,
       {"`in\"come`", R"('it\'s \\ special')", "1.7976931348623157E308D", "THEN 1E-01D"},
       {}},
      {SqlDialect::kDuckDb, {R"("in""come")", largest}, {}},
      {SqlDialect::kSqlite, {R"("in""come")", largest}, {}},
  };
  ASSERT_EQ(std::size(rows), SqlDialectNames().size());
  for (const Row& row : rows) {
    const std::string name = SqlDialectNames()[static_cast<std::size_t>(row.dialect)];
    const std::string query = Query(row.dialect);
    for (const char* const part : row.has)
      EXPECT_NE(query.find(part), std::string::npos) << name << ": " << part;
    for (const char* const part : row.hasNot)
      EXPECT_EQ(query.find(part), std::string::npos) << name << ": " << part;
    // Numbers next to zero are out of the range of some databases.
    SavedBins bins = ParseBinsJson(kBins, "f");
    bins.responses.front().predictors.front().cutPoints.front() = 0;
    std::vector<std::string> notices;
    const std::string atZero = BinsSql(bins, notices, row.dialect);
    EXPECT_NE(atZero.find(" <= 0E00"), std::string::npos) << name;
    EXPECT_EQ(atZero.find("E-3"), std::string::npos) << name;
  }
}

TEST(EveryForm, DialectsSayWhatTheyDoNotHold) {
  SavedBins bins = ParseBinsJson(kBins, "f");
  bins.responses.front().scorecard.reset();
  SavedPredictor& income = bins.responses.front().predictors.front();
  income.name = "income \xF0\x9F\x98\x80";
  income.cutPoints = {1e-200, 1e200};
  std::vector<std::string> notices;
  const std::string oracle = BinsSql(bins, notices, SqlDialect::kOracle);
  EXPECT_EQ(notices, std::vector<std::string>());
  EXPECT_NE(oracle.find("E200d THEN"), std::string::npos);
  EXPECT_NE(oracle.find("E-200d THEN"), std::string::npos);
  BinsSql(bins, notices, SqlDialect::kMysql);
  EXPECT_EQ(notices, (std::vector<std::string>{"SQL: the name " + income.name + " has the character " +
                                               income.name.substr(7) +
                                               ", which mysql does not take in names; change it in the "
                                               "query."}));
}

}  // namespace
}  // namespace velmora::testing
