// Each writer's bytes, read back by an independent reader.
#include "workbench/documents/writers.h"
#include "tests/support/paths.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/documents/sample.h"
#include "workbench/documents/embedded_files.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

using Json = nlohmann::json;

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

std::vector<std::vector<std::string>> ParseCsv(const std::string& bytes) {
  std::vector<std::vector<std::string>> rows(1, {""});
  bool quoted = false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    if (quoted && c == '"' && i + 1 < bytes.size() && bytes[i + 1] == '"') {
      rows.back().back() += bytes[++i];
    } else if (c == '"') {
      quoted = !quoted;
    } else if (!quoted && c == ',') {
      rows.back().emplace_back();
    } else if (!quoted && c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
      if (++i + 1 < bytes.size()) rows.push_back({""});
    } else {
      rows.back().back() += c;
    }
  }
  EXPECT_FALSE(quoted);
  return rows;
}

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Texts, NumbersForPeople) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    double value;
    const char* format;
    const char* expected;
  };
  for (const Row& row : std::initializer_list<Row>{{0.5, "", "0.5"},
                                                   {1e6, "", "1000000"},
                                                   {123456.789, "", "123457"},
                                                   {1e15, "", "1e+15"},
                                                   {-0.0, "", "0"},
                                                   {-0.00001, "0.0000", "0.0000"},
                                                   {2.5, "0", "2"},
                                                   {0.12345, "0.0000", "0.1235"},
                                                   {12345.6, "0.00E+00", "1.23e+04"},
                                                   {1e300, "0.00", "1e+300"},
                                                   {inf, "0.00", "Inf"},
                                                   {-inf, "", "-Inf"},
                                                   {1.0 / 3, "#nonsense", "0.333333"}}) {
    EXPECT_EQ(row.expected, ShownNumber(row.value, row.format)) << row.value << " " << row.format;
  }
  for (const Row& row : std::initializer_list<Row>{{0, "", "<1e-16"},
                                                   {1e-17, "", "<1e-16"},
                                                   {1.234e-10, "", "1.23e-10"},
                                                   {0.0001034, "", "1.03e-04"},
                                                   {0.001034, "", "0.00103"},
                                                   {0.01034, "", "0.0103"},
                                                   {0.04999, "", "0.0500"},
                                                   {1, "", "1.0000"},
                                                   {-3, "", "-3"}}) {
    EXPECT_EQ(row.expected, ShownProbability(row.value)) << row.value;
  }
}

TEST(Texts, WidthsAndBrokenBytes) {
  struct Row {
    std::string text;
    int width;
    const char* cut;  // to 5 columns
  };
  const Row rows[] = {{"abc", 3, "abc"},           {"abcdef", 6, "abcd…"},
                      {"日本語", 6, "日本…"},      {"e\u0301tude", 5, "e\u0301tude"},
                      {"a日本", 5, "a日本"},       {"a日本語", 7, "a日…"},
                      {"😀😀😀", 6, "😀😀…"},           {"\xE6\x97", 2, nullptr},
                      {"\xED\xA0\x80", 3, nullptr}};
  for (const Row& row : rows) {
    EXPECT_EQ(row.width, WidthOf(row.text)) << row.text;
    if (row.cut) {
      EXPECT_EQ(row.cut, CutToWidth(row.text, 5, "…")) << row.text;
    }
  }
  EXPECT_EQ("a\uFFFDb\uFFFD\uFFFD", Utf8Of("a\xFF"
                                           "b\xC3\xC0"));
  EXPECT_EQ("\uFFFD\uFFFD", Utf8Of("\xC0\xAF")) << "an overlong form is not a slash";
}

TEST(Csv, ReadsBackToTheSameBits) {
  ShortNames shortNames;
  const Sheet sheet = sample::Table(shortNames);
  const auto rows = ParseCsv(WriteCsv(sheet, shortNames));
  ASSERT_EQ(static_cast<std::size_t>(sheet.RowCount()) + 1, rows.size());
  EXPECT_EQ((std::vector<std::string>{"Name", "F-value", "p-value"}), rows[0]);
  for (std::size_t i = 0; i < sample::kNumbers.size(); ++i) {
    EXPECT_TRUE(SameBits(sample::kNumbers[i], std::strtod(rows[i + 1][1].c_str(), nullptr)))
        << rows[i + 1][1];
  }
  EXPECT_EQ(sample::kLong, rows[1][0]);
  EXPECT_EQ(sample::kHostile, rows[2][0]);
  EXPECT_EQ("row, \"4\"", rows[4][0]);
  const std::size_t last = sample::kNumbers.size();
  const char* specials[] = {"", "", "Inf", "NaN"};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(specials[i], rows[last + 1 + i][1]);

  Sheet lines(2, 1);
  lines.SetText(1, 1, " two\r\nlines ");
  const auto parsed = ParseCsv(WriteCsv(lines, shortNames));
  ASSERT_EQ(3u, parsed.size()) << "a row with nothing but an empty cell is still a row";
  EXPECT_EQ(" two\r\nlines ", parsed[1][0]);
}

TEST(Json, HoldsTheWholeWorkbook) {
  const Workbook workbook = sample::Everything();
  for (const int indent : {-1, 1}) {
    const Json json = Json::parse(WriteJson(workbook, indent));
    ASSERT_EQ(workbook.Documents().size(), json["documents"].size());
    EXPECT_EQ("houses & more.csv", json["facts"][0]["value"]);
    EXPECT_EQ(1, json["notices"][1]["group"]);
    EXPECT_EQ(sample::kHostile, json["groups"][2]["name"]);
    EXPECT_EQ("number_of_bathrooms", json["documents"][0]["rowNames"][1]);
    EXPECT_EQ("number_of_bathrooms", json["documents"][1]["series"][0]["labels"][1]);
    EXPECT_EQ(100.0 / 3, json["documents"][1]["series"][0]["y"][2].get<double>());
    EXPECT_TRUE(json["documents"][1]["valueAxis"]["minimum"].is_null());

    const Json& numbers = json["documents"][4];
    const Json& values = numbers["columns"][0]["values"];
    for (std::size_t i = 0; i < sample::kNumbers.size(); ++i) {
      EXPECT_TRUE(SameBits(sample::kNumbers[i], values[i].get<double>())) << values[i];
    }
    for (std::size_t i = sample::kNumbers.size(); i < values.size(); ++i)
      EXPECT_TRUE(values[i].is_null()) << i;
    EXPECT_EQ("probability", numbers["columns"][1]["role"]);
    EXPECT_EQ("broken \uFFFD utf-8 \x1B[31m", numbers["rowNames"][2]);

    const Json& bins = json["documents"][5]["columns"];
    EXPECT_EQ("= v3/v2", bins[3]["formula"]);
    EXPECT_EQ(3, bins[3]["values"][0]);
    EXPECT_EQ("n/a", bins[3]["texts"][1]);
    EXPECT_EQ("=\"quoted\", label", bins[0]["labels"][1]["text"]);
  }
}

TEST(PlainText, TableAsPrinted) {
  const std::string text = WriteText(sample::Everything());
  EXPECT_NE(std::string::npos, text.find("\nprice\n=====\n"
                                         "continuous dependent\n"
                                         "Notice: One notice of a group.\n"
                                         "\n"
                                         "Best predictors for continuous dependent var: price\n"
                                         "                     F-value  p-value\n"
                                         "lotsize              100.000   <1e-16\n"
                                         "number_of_bathrooms   50.000   0.0123\n"
                                         "garage                33.333   0.0123\n"
                                         "\n"
                                         "Graph: Importance plot. Dependent variable: price.\n"))
      << text;
  EXPECT_EQ(text.find('\x1B'), std::string::npos);
}

class Xlsx : public testing::Test {
 protected:
  Json Read(const Workbook& workbook) {
    std::string bytes;
    std::string error;
    EXPECT_TRUE(WriteXlsx(workbook, bytes, error)) << error;
    const std::string path =
        testing::TempDir() + "velmora_writers_test_" + std::to_string(getpid()) + ".xlsx";
    std::ofstream(path, std::ios::binary) << bytes;
    // Debian's interpreter has Debian's openpyxl, whatever else is on the path.
    const std::string command = "/usr/bin/python3 " + SourceDir() + "/tests/documents/read_xlsx.py " + path;
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    char buffer[4096];
    while (const std::size_t read = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, read);
    EXPECT_EQ(0, pclose(pipe));
    std::filesystem::remove(path);
    return Json::parse(output);
  }
};

TEST_F(Xlsx, ReadByOpenpyxl) {
  const Json sheets = Read(sample::Everything());
  std::vector<std::string> names;
  for (const Json& sheet : sheets) names.push_back(sheet["name"]);
  EXPECT_EQ((std::vector<std::string>{"Run", "price", "a<b>&\"q\"<_script><script>alert(", "Numbers",
                                      "Crosstabulation results _ _age_", "Best predictor lists"}),
            names);
  const Json& best = sheets[1];
  EXPECT_EQ("B3", best["frozen"]);
  EXPECT_EQ("A2:C5", best["filter"]);
  EXPECT_EQ((Json{"Name", "F-value", "p-value"}), best["rows"][1]);
  EXPECT_EQ("number_of_bathrooms", best["rows"][3][0]);
  EXPECT_EQ(1e-30, best["rows"][2][2].get<double>());
  EXPECT_EQ("[<0.001]0.00E+00;[<0.01]0.00000;0.0000", best["formats"][2][2]);

  const Json& numbers = sheets[3]["rows"];
  for (std::size_t i = 0; i < sample::kNumbers.size(); ++i) {
    if (std::fabs(sample::kNumbers[i]) >= 1e308) {
      EXPECT_EQ("1.7976931348623157e+308", numbers[i + 2][1]) << "beyond what spreadsheet programs hold";
      continue;
    }
    const double read = numbers[i + 2][1].get<double>();
    EXPECT_LE(std::fabs(read - sample::kNumbers[i]), std::fabs(sample::kNumbers[i]) * 1e-15) << read;
  }
  const std::size_t last = sample::kNumbers.size() + 2;
  EXPECT_TRUE(numbers[last][1].is_null());
  EXPECT_TRUE(numbers[last + 1][1].is_null());
  EXPECT_EQ("Inf", numbers[last + 2][1]);
  EXPECT_EQ("broken \uFFFD utf-8 [31m", numbers[4][0]);

  EXPECT_EQ("= v3/v2", sheets[4]["comments"][0]);
  EXPECT_EQ((Json{"=\"quoted\", label", 20, 30, "n/a"}), sheets[4]["rows"][3])
      << "texts never become formulas";
  EXPECT_EQ("0.0000", sheets[4]["formats"][2][3]);
  EXPECT_EQ("<b>not bold</b>", sheets[5]["rows"][3][0]);
  EXPECT_EQ(5u, sheets[0]["links"].size());
}

TEST_F(Xlsx, NumbersAmongFactsAreNumbers) {
  Workbook workbook;
  workbook.facts = {CountFact("cases", 1234567), {"weight", "1.5", 1.5}, {"code", "12"}};
  const Json run = Read(workbook)[0];
  EXPECT_EQ(run["rows"][1][1], 1234567);
  EXPECT_EQ(run["formats"][1][1], "#,##0");
  EXPECT_EQ(run["rows"][2][1], 1.5);
  EXPECT_EQ(run["rows"][3][1], "12");
}

TEST_F(Xlsx, TakesNoCharacterThatXmlForbids) {
  const std::string hostile = "a\uFFFE\uFFFF\x01\x0B b";
  Workbook workbook;
  workbook.title = hostile;
  workbook.SetFact(hostile, hostile);
  workbook.AddNotice(hostile);
  auto sheet = std::make_shared<Sheet>(1, 1);
  sheet->SetTitle(hostile);
  sheet->SetColumnName(1, hostile);
  sheet->SetRowName(1, hostile);
  sheet->SetText(1, 1, hostile);
  workbook.Add(sheet);
  const Json sheets = Read(workbook);  // openpyxl refuses what is not well-formed
  EXPECT_EQ("a b", sheets[1]["name"]);
  EXPECT_EQ("a b", sheets[1]["rows"][2][1]);
}

TEST_F(Xlsx, NamesStayUniqueWhateverTheTitles) {
  Workbook workbook;
  const std::string titles[] = {"",
                                "",
                                "A",
                                "a",
                                "'",
                                "History",
                                "run",
                                std::string(40, 'x'),
                                std::string(50, 'x'),
                                "😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀"};
  for (const std::string& title : titles) {
    auto sheet = std::make_shared<Sheet>(1, 1);
    sheet->SetTitle(title);
    const int id = workbook.Add(sheet);
    if (title == "A") workbook.SetName(id, "Named [A]");
  }
  const Json sheets = Read(workbook);
  std::vector<std::string> names;
  for (const Json& sheet : sheets) names.push_back(sheet["name"]);
  EXPECT_EQ((std::vector<std::string>{"Run", "Sheet", "Sheet (2)", "Named _A_", "a", "Sheet (3)",
                                      "History (2)", "run (2)", std::string(31, 'x'),
                                      std::string(27, 'x') + " (2)", "😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀"}),
            names);
}

// The page's data block, as the page's script will read it.
Json DataOf(const std::string& page) {
  const std::string start = "<script type=\"application/json\" id=\"data\">";
  const std::size_t begin = page.find(start) + start.size();
  return Json::parse(page.substr(begin, page.find("</script>", begin) - begin));
}

TEST(Html, EscapedAndSelfContained) {
  const std::string page = WriteHtml(sample::Everything());
  // Only ours: the data, the chart library, the page's script. A text that became markup would add
  // one.
  EXPECT_EQ(3, Count(page, "<script"));
  EXPECT_EQ(3, Count(page, "</script"));
  EXPECT_EQ(0, Count(page, "<b>not bold"));
  EXPECT_EQ(1, Count(page, "\\u003cb>not bold\\u003c/b>"));
  EXPECT_EQ(0, Count(page, "\x1B"));
  std::string own = page;
  own.erase(own.find(ChartLibrary()), ChartLibrary().size());
  const std::string svg = "http://www.w3.org/2000/svg";  // names the elements, fetches nothing
  own.erase(own.find(svg), svg.size());
  for (const char* fetching : {"src=", "@import", "url(", "action=", "http:", "https:"}) {
    EXPECT_EQ(0, Count(own, fetching)) << fetching;
  }
  EXPECT_NE(std::string::npos, own.find("default-src 'none'"));
  EXPECT_EQ(std::string_view::npos, ChartLibrary().find("</script"));
  EXPECT_NE(std::string_view::npos, ChartLibrary().find("Apache License"));

  const Json sections = DataOf(page)["sections"];
  const Json& columns = sections[2]["parts"][0]["columns"];
  EXPECT_EQ(sample::kHostile, columns[0]["texts"][1]);
  for (std::size_t i = 0; i < sample::kNumbers.size(); ++i) {
    EXPECT_TRUE(SameBits(sample::kNumbers[i], columns[1]["values"][i].get<double>()));
  }
  const Json& bar = sections[0]["parts"][0]["chart"]["bars"][1];
  EXPECT_EQ("number_of_bathrooms", bar["label"]);
  EXPECT_EQ("50.00", bar["text"]);
}

TEST(Html, GrowsSlowlyWithItsRows) {
  const std::string page = WriteHtml(sample::Large(5000));
  const Json parts = DataOf(page)["sections"][0]["parts"];
  EXPECT_EQ(50u, parts[0]["chart"]["bars"].size());
  EXPECT_EQ("The 50 best of 5,000 are drawn; the table holds 4,950 more.", parts[0]["notes"][0]);
  EXPECT_EQ(5000, parts[1]["rowCount"]);
  EXPECT_LT(page.size() - ChartLibrary().size(), 600000u);

  Workbook texts;
  texts.AddNotice("nothing to show");
  EXPECT_EQ(std::string::npos, WriteHtml(texts).find("Apache License")) << "no chart, no chart library";
}

TEST(Workbook, KeepsOneGroupPerSubjectWhateverItsName) {
  const std::string stem(300, 'n');
  Workbook workbook;
  const int first = workbook.GroupOfSubject(3, stem + "1", "continuous dependent");
  const int second = workbook.GroupOfSubject(4, stem + "2");
  EXPECT_NE(first, second);
  EXPECT_EQ(first, workbook.GroupOfSubject(3, stem + "1"));
  EXPECT_EQ("continuous dependent", workbook.Group(first)->description);
  EXPECT_NE(first, workbook.GroupOfSubject(3, "another table's variable 3"));
}

}  // namespace
}  // namespace velmora
