// The files of a screening run against the coded variables that the module itself adds: recode
// files, rules, bins as JSON, SQL on DuckDB and Python, run on data that screening has seen and on
// data that it has not, give every case the same bin.
#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <numeric>
#include <set>
#include <sstream>

#include "tests/cli/command_checks.h"
#include "workbench/data/duckdb_session.h"
#include "workbench/data/readers.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;

using Fields = std::vector<std::string>;
using Coded = std::map<std::string, Fields>;  // by variable; an empty text: no value

// The text with numbers in one spelling.
std::string Plain(std::string text) {
  double number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || read.ec != std::errc() || read.ptr != text.data() + text.size()) return text;
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

// --- Data: a sample with hard names and labels, holes, and cases that screening does not see.
Fields Split(const std::string& line) {
  Fields fields;
  std::istringstream rest(line + ",");
  for (std::string field; std::getline(rest, field, ',');) fields.push_back(field);
  return fields;
}

std::string Joined(const Fields& fields) {
  std::string line;
  for (const std::string& field : fields) {
    std::string quoted;
    for (const char c : field) quoted += c == '"' ? std::string(2, c) : std::string(1, c);
    const bool plain = field.find_first_of(",\"\n\r") == std::string::npos;
    line += (plain ? field : "\"" + quoted + "\"") + ",";
  }
  line.back() = '\n';
  return line;
}

bool IsNumber(const std::string& text) { return !text.empty() && Plain(text + "e0") != text + "e0"; }

struct SampleFiles {
  std::string whole, held;  // paths; held: the cases of whole that screening does not see
  std::vector<std::size_t> heldCases;
};

// part is 1 for cases that screening sees. renamed: names and texts that replace others.
SampleFiles Prepare(const TemporaryFolder& folder, const std::string& sample, const std::string& response,
                    const std::map<std::string, std::string>& renamed) {
  std::ifstream file(Sample(sample));
  std::vector<Fields> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(Split(line));
  const Fields names = lines.front();
  Fields strange = lines[1], high = lines[1], low = lines[1];
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] == response) continue;
    const bool isNumber = IsNumber(lines[1][i]);
    strange[i] = isNumber ? "" : "it's \"new\", too";
    high[i] = isNumber ? "123456789.5" : "";
    low[i] = isNumber ? "-123456789.5" : "";
  }
  lines.insert(lines.end(), {strange, high, low});
  SampleFiles files;
  std::string whole, held;
  for (std::size_t row = 0; row < lines.size(); ++row) {
    Fields& fields = lines[row];
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (row > 0 && names[i] != response && (row + i) % 13 == 0) fields[i].clear();
      if (const auto other = renamed.find(fields[i]); other != renamed.end()) fields[i] = other->second;
    }
    const bool isHeld = row % 3 == 0 || row + 3 >= lines.size();
    fields.push_back(row == 0 ? "part" : isHeld ? "0" : "1");
    whole += Joined(fields);
    if (row == 0 || isHeld) held += Joined(fields);
    if (row > 0 && isHeld) files.heldCases.push_back(row - 1);
  }
  files.whole = folder.Write("whole.csv", whole);
  files.held = folder.Write("held.csv", held);
  return files;
}

// --- The coded variables of each form
Coded FromTable(const std::string& path) {
  Coded coded;
  const Table table = ReadTable(path);
  for (const Column& column : table.columns) {
    Fields& fields = coded[column.name];
    for (const double value : column.values) {
      const std::string* label = column.LabelOf(value);
      fields.push_back(value == kMissing  ? ""
                       : label != nullptr ? Plain(*label)
                                          : Plain(std::to_string(value)));
      if (label == nullptr && value != kMissing) {
        char digits[32];
        fields.back().assign(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
      }
    }
  }
  return coded;
}

Coded Applied(const TemporaryFolder& folder, const Words& files, const Words& options) {
  const std::string out = (folder.Path() / "applied.csv").string();
  fs::remove(out + ".bundles.json");
  const ProcessResult result = RunVelmora(With({"apply"}, With(With(files, {"--out", out}), options)));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return FromTable(out);
}

Coded FromSql(const std::string& query, const std::string& data, const Words& variables) {
  DuckDbSession session(1);
  session.Run("CREATE TABLE whole AS SELECT * FROM read_csv(" + SqlPath(data) +
              ", header=true, sample_size=-1)");
  Coded coded;
  std::string names;
  for (const std::string& variable : variables) {
    std::string quoted;
    for (const char c : variable) quoted += c == '"' ? std::string(2, c) : std::string(1, c);
    names += (names.empty() ? "\"" : ", \"") + quoted + "\"";
  }
  session.Rows("SELECT " + names + " FROM (" + query.substr(0, query.rfind(';')) + ")",
               [&](const char* const* texts) {
                 for (std::size_t i = 0; i < variables.size(); ++i)
                   coded[variables[i]].push_back(texts[i] == nullptr ? "" : Plain(texts[i]));
               });
  return coded;
}

// Every case as texts and as numbers, which must give the same result.
constexpr char kDriver[] = R"(
import csv, importlib.util, json, math, sys
spec = importlib.util.spec_from_file_location('bins', sys.argv[1])
bins = importlib.util.module_from_spec(spec)
spec.loader.exec_module(bins)
def value(text):
    if text == '':
        return None
    try:
        return float(text)
    except ValueError:
        return text
for number, row in enumerate(csv.DictReader(open(sys.argv[2], encoding='utf-8', newline=''))):
    typed = {name: value(text) for name, text in row.items()}
    if number % 2:
        typed = {name: math.nan if x is None else x for name, x in typed.items()}
    result = bins.code_case(typed)
    other = bins.code_case(row)
    assert result == other, {name: (x, other[name]) for name, x in result.items() if x != other[name]}
    print(json.dumps(result))
assert bins.code_case({}) == bins.code_case({name: None for name in typed})
for blank in ('', ' \t'):
    assert bins.code_case({}) == bins.code_case({name: blank for name in row})
)";

bool HasPython() { return std::system("python3 -c 0 > /dev/null 2>&1") == 0; }

Coded FromPython(const TemporaryFolder& folder, const std::string& data) {
  const std::string driver = folder.Write("driver.py", kDriver);
  const std::string out = (folder.Path() / "python.out").string();
  const std::string line = "PYTHONDONTWRITEBYTECODE=1 python3 " + driver + " " +
                           (folder.Path() / "saved" / "bins.py").string() + " " + data + " > " + out +
                           " 2> " + out + ".err";
  EXPECT_EQ(std::system(line.c_str()), 0) << ReadFile(out + ".err");
  Coded coded;
  std::istringstream lines(ReadFile(out));
  for (std::string text; std::getline(lines, text);) {
    const Json json = Json::parse(text);
    for (const auto& [name, value] : json.items())
      coded[name].push_back(value.is_null()     ? ""
                            : value.is_string() ? Plain(value.get<std::string>())
                                                : Plain(value.dump()));
  }
  return coded;
}

// The variables of expected that one of the forms gives, case by case.
void ExpectSame(const std::string& form, const Coded& expected, const Words& variables, const Coded& coded) {
  for (const std::string& name : variables) {
    ASSERT_TRUE(coded.contains(name)) << form << " has no " << name;
    const Fields& wanted = expected.at(name);
    const Fields& found = coded.at(name);
    ASSERT_EQ(found.size(), wanted.size()) << form << " of " << name;
    for (std::size_t i = 0; i < wanted.size(); ++i)
      ASSERT_EQ(found[i], wanted[i]) << form << " of " << name << ", case " << i + 1;
  }
}

// Each case has the figures of the bin whose label its coded variable has. Adds the names of the
// figures' variables to variables.
void ExpectFigures(const Json& bins, const Coded& coded, Words& variables) {
  for (const Json& response : bins["responses"]) {
    for (const Json& predictor : response["predictors"]) {
      const Fields labels = coded.at(predictor["codedVariable"]);
      for (std::size_t v = 0; v < predictor["figureVariables"].size(); ++v) {
        std::map<std::string, std::string> figureOf;
        for (const Json& bin : predictor["bins"]) {
          const Json& figure = bin.contains("woe")    ? bin["woe"]
                               : bin.contains("mean") ? bin["mean"]
                                                      : bin["shares"][v];
          figureOf[Plain(bin["label"])] = figure.is_null() ? "" : Plain(figure.dump());
        }
        variables.push_back(predictor["figureVariables"][v]);
        Fields figures;
        for (const std::string& label : labels) figures.push_back(label.empty() ? "" : figureOf.at(label));
        ASSERT_TRUE(coded.contains(variables.back())) << variables.back();
        EXPECT_EQ(coded.at(variables.back()), figures) << variables.back();
      }
    }
  }
}

struct Case {
  const char* name;
  const char* sample;
  const char* response;
  Words options;
  Words missing;
  const char* cutPoints;
  std::map<std::string, std::string> renamed;
  std::size_t leastPredictors;
};

// Screens the cases whose part is 1, saves every form and compares what each says of all cases.
void ExpectFormsAgree(const TemporaryFolder& folder, const SampleFiles& data, const Words& options,
                      const Words& missing, std::size_t leastPredictors) {
  const fs::path saved = folder.Path() / "saved";
  const auto path = [&](const char* name) { return (saved / name).string(); };
  const Words words = With({"screen",         data.whole, "--select",        "part = 1",
                            "--save-best",    "100",      "--save-chance",   "--format",
                            "json",           "--coded",  path("coded.csv"), "--recode",
                            path("recode"),   "--rules",  path("rules.bas"), "--sql",
                            path("bins.sql"), "--python", path("bins.py"),   "--bins",
                            path("bins.json")},
                           With(options, missing));
  const ProcessResult screened = RunVelmora(words);
  ASSERT_EQ(screened.exitCode, 0) << screened.err;

  const Coded whole = FromTable(path("coded.csv"));
  Words coded;
  for (const auto& [name, fields] : whole) {
    if (name.ends_with("_Coded")) coded.push_back(name);
  }
  EXPECT_GE(coded.size(), leastPredictors);
  Words all = coded;
  ExpectFigures(Json::parse(ReadFile(saved / "bins.json")), whole, all);
  Coded held;
  for (const std::string& name : all) {
    for (const std::size_t i : data.heldCases) held[name].push_back(whole.at(name)[i]);
  }
  Words recodes;
  for (const auto& entry : fs::directory_iterator(saved / "recode")) {
    if (entry.path().extension() == ".ini") recodes.push_back(entry.path().string());
  }
  EXPECT_EQ(recodes.size(), coded.size());

  // Other data may number the same texts in another way.
  for (const auto& [file, expected] : {std::pair(data.whole, whole), std::pair(data.held, held)}) {
    SCOPED_TRACE(file);
    ExpectSame("recode files", expected, coded, Applied(folder, With(recodes, {file}), missing));
    ExpectSame("rules", expected, coded, Applied(folder, {path("rules.bas"), file}, missing));
    ExpectSame("JSON", expected, all, Applied(folder, {path("bins.json"), file}, {}));
  }
  ExpectSame("SQL", whole, all, FromSql(ReadFile(saved / "bins.sql"), data.whole, all));
  if (HasPython()) ExpectSame("Python", whole, all, FromPython(folder, data.whole));
}

class SavedForms : public ::testing::TestWithParam<Case> {};

TEST_P(SavedForms, SayTheSameOfEveryCase) {
  const Case& row = GetParam();
  const TemporaryFolder folder;
  const SampleFiles data = Prepare(folder, row.sample, row.response, row.renamed);
  Words options = row.options;
  if (row.cutPoints != nullptr)
    options = With(options, {"--cut-points", folder.Write("cuts.json", row.cutPoints)});
  ExpectFormsAgree(folder, data, options, row.missing, row.leastPredictors);
}

// The codes -999 and -998 of x: both in cases that screening does not see, -998 in others, too.
SampleFiles DataWithNewCodes(const TemporaryFolder& folder) {
  std::string whole = "x,risk,amount,kind,part\n", held = whole;
  SampleFiles files;
  for (std::size_t i = 0; i < 800; ++i) {
    const bool isHeld = i % 4 == 0;
    const std::size_t x = i * 37 % 100;
    const bool isBad = i * 31 % 100 < (x < 40 ? 70 : 20);
    const std::string value = i % 20 == 4 || i % 20 == 9   ? ""
                              : i % 20 == 7 || i % 40 == 8 ? "-998"
                              : isHeld && i % 40 == 0      ? "-999"
                                                           : std::to_string(x);
    const std::string line = value + (isBad ? ",bad," : ",good,") + std::to_string(x + i % 7) +
                             (isBad        ? ",a,"
                              : i % 3 == 0 ? ",b,"
                                           : ",c,") +
                             (isHeld ? "0\n" : "1\n");
    whole += line;
    if (isHeld) held += line;
    if (isHeld) files.heldCases.push_back(i);
  }
  files.whole = folder.Write("whole.csv", whole);
  files.held = folder.Write("held.csv", held);
  return files;
}

// Such a case is in the bin of its code, without training cases, and counts as an average case.
TEST(ScreenSave, SpecialCodesThatOnlyNewCasesHaveAreBinsInEveryForm) {
  const struct {
    const char* name;
    Words options;
    const char* label;  // of the bin of -999
  } rows[] = {
      {"two classes", {"--binary-response", "risk", "--special", "x=-999,-998"}, "-999"},
      {"trees", {"--binary-response", "risk", "--special", "x=-999,-998", "--binning", "tree"}, "-999"},
      {"one bin",
       {"--binary-response", "risk", "--special", "x=-999,-998", "--special-together"},
       "-999, -998"},
      {"no missing bin",
       {"--binary-response", "risk", "--special", "x=-999", "--missing-bin", "drop"},
       "-999"},
      {"measured", {"--continuous-response", "amount", "--special", "x=-999,-998"}, "-999"},
      {"three classes", {"--categorical-response", "kind", "--special", "x=-999,-998"}, "-999"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    const SampleFiles data = DataWithNewCodes(folder);
    const bool isBinary = row.options.front() == "--binary-response";
    const bool isMeasured = row.options.front() == "--continuous-response";
    const Words codes = isBinary ? Words{"--good", "good", "--bad", "bad"} : Words();
    ExpectFormsAgree(folder, data, With(With(row.options, codes), {"--predictors", "x"}), {}, 1);
    const Coded coded = FromTable((folder.Path() / "saved" / "coded.csv").string());
    const Json bins = Json::parse(ReadFile(folder.Path() / "saved" / "bins.json"));
    const Json& predictor = bins["responses"][0]["predictors"][0];
    std::vector<double> total(predictor["bins"][0]["counts"].size());
    for (const Json& bin : predictor["bins"]) {
      for (std::size_t c = 0; c < total.size(); ++c) total[c] += bin["counts"][c].get<double>();
    }
    std::size_t found = 0;
    for (std::size_t i = 0; i < coded.at("x").size(); ++i) {
      if (coded.at("x")[i] != "-999") continue;
      ++found;
      EXPECT_EQ(coded.at(predictor["codedVariable"])[i], row.label);
      if (row.label != std::string("-999")) continue;
      for (std::size_t v = 0; v < predictor["figureVariables"].size(); ++v) {
        const double all = std::accumulate(total.begin(), total.end(), 0.0);
        const double average = isBinary ? 0 : isMeasured ? total[1] / total[0] : total[v] / all;
        EXPECT_NEAR(std::stod(coded.at(predictor["figureVariables"][v])[i]), average, 1e-12);
      }
    }
    EXPECT_EQ(found, 20u);
  }
}

// Edited bins that have a special code in an interval, or with the missing values, are those of the
// next run and of all its forms.
TEST(ScreenSave, SpecialCodesInOtherBinsByHandStayThere) {
  const struct {
    const char* name;
    Words edit;
    const char* response;
  } rows[] = {
      {"in the first interval", {"group", "x", "-998", "--into", "1"}, "--binary-response"},
      {"in the last interval", {"group", "x", "-998", "--into", "2"}, "--binary-response"},
      {"means", {"group", "x", "-998", "--into", "2"}, "--continuous-response"},
      {"with the missing values", {"group", "x", "-998", "--missing"}, "--binary-response"},
      {"a code without cases, too", {"group", "x", "-998", "-999", "--missing"}, "--binary-response"},
      {"in the interval of missing values",
       {"group", "x", "-998", "--missing", "--into", "1"},
       "--binary-response"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    const SampleFiles data = DataWithNewCodes(folder);
    const std::string edited = (folder.Path() / "edited.json").string();
    const bool isBinary = row.response == std::string("--binary-response");
    const Words run = isBinary ? Words{row.response, "risk", "--good", "good", "--bad", "bad"}
                               : Words{row.response, "amount"};
    const ProcessResult first =
        RunVelmora(With({"screen", data.whole, "--select", "part = 1", "--predictors", "x", "--max-bins", "2",
                         "--special", "x=-998,-999", "--bins", edited, "--quiet"},
                        run));
    ASSERT_EQ(first.exitCode, 0) << first.err;
    const ProcessResult edit = RunVelmora(With({"bins", "edit", edited}, row.edit));
    ASSERT_EQ(edit.exitCode, 0) << edit.err;
    ExpectFormsAgree(folder, data,
                     With(run, {"--predictors", "x", "--special", "x=-998,-999", "--cut-points", edited}), {},
                     1);
    const auto predictor = [](const std::string& text) {
      return Json::parse(text)["responses"][0]["predictors"][0];
    };
    const Json wanted = predictor(ReadFile(edited));
    const Json found = predictor(ReadFile(folder.Path() / "saved" / "bins.json"));
    ASSERT_EQ(found["bins"].size(), wanted["bins"].size()) << found["bins"];
    for (std::size_t bin = 0; bin < found["bins"].size(); ++bin)
      EXPECT_EQ(found["bins"][bin]["counts"], wanted["bins"][bin]["counts"]) << found["bins"][bin];
    EXPECT_EQ(found["specialCodes"], wanted["specialCodes"]);
    EXPECT_EQ(found["missing"], wanted["missing"]);
  }
}

// Names of eight characters each, and a level of every character alone and between letters.
TEST(ScreenSave, EveryCharacterSurvivesInNamesAndLevels) {
  std::vector<std::string> characters;
  for (char c = 1; c > 0 && c < 0x7F; ++c) characters.emplace_back(1, c);
  for (const char* other :
       {"\x7F", "\xC2\x80", "\xC2\x85", "\xC2\x9B", "\xC2\xA0", "\xC2\xAD", "\xCC\x81", "\xE2\x80\x8B",
        "\xE2\x80\xA8", "\xE2\x80\xAE", "\xEF\xBB\xBF", "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF0\x9F\x98\x80"})
    characters.emplace_back(other);
  Fields names = {"y", "alone", "between"};
  for (std::size_t i = 0; i < characters.size(); i += 8) {
    names.push_back("n" + std::to_string(i));
    for (std::size_t k = i; k < std::min(i + 8, characters.size()); ++k) names.back() += characters[k];
    names.back() += "e";
  }
  names.emplace_back("part");
  const TemporaryFolder folder;
  SampleFiles data;
  std::string whole = Joined(names), held = whole;
  const std::size_t cases = 6 * characters.size();
  for (std::size_t row = 0; row < cases; ++row) {
    const std::string& character = characters[row % characters.size()];
    // Alone, it is a missing value.
    const bool isBlank = character == " " || character == "\t";
    const std::size_t value = row * 7919 % 101;
    Fields fields = {(row % characters.size() + row / 7) % 3 == 0 ? "bad" : "good", isBlank ? "" : character,
                     "a" + character + "b"};
    while (fields.size() + 1 < names.size())
      fields.push_back(std::to_string((value * fields.size() + row) % 101));
    const bool isHeld = row >= cases / 2 && row % 3 == 0;
    fields.emplace_back(isHeld ? "0" : "1");
    whole += Joined(fields);
    if (isHeld) held += Joined(fields);
    if (isHeld) data.heldCases.push_back(row);
  }
  data.whole = folder.Write("whole.csv", whole);
  data.held = folder.Write("held.csv", held);
  const Words response = {"--binary-response", "y", "--good", "good", "--bad", "bad"};
  ExpectFormsAgree(folder, data, response, {}, names.size() - 2);
}

INSTANTIATE_TEST_SUITE_P(
    Screen, SavedForms,
    ::testing::Values(
        Case{"binary",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad"},
             {},
             nullptr,
             {{"purpose", "Zweck \"wof\xC3\xBCr\", wo"},
              {"age", "how old?"},
              {"housing", "income - other_sources"},
              {"amount", "how old*"},               // the same in a file's name
              {"duration", std::string(240, 'd')},  // too long for one
              {"radio or tv",
               "Radio, \"TV\" & K\xC3\xBC"
               "che"},
              {"own", "age"},
              {"rent", "it's rented"}},
             17},
        Case{"cutPointsThatCasesHave",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--categorical",
              "instalment_rate"},
             {"--missing", "amount=1169"},
             R"({"age": [25, 40, 67], "amount": [1169, 5951.0], "instalment_rate": [[1, 3], [2, 4]]})",
             {},
             17},
        Case{"missingAndSpecialBins",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--missing-bin", "own",
              "--special", "duration_months=24,12", "--special", "housing=own", "--special", "age=27,30,35"},
             {},
             nullptr,
             {},
             17},
        Case{"missingWithTheMostAlike",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--missing-bin", "most-alike",
              "--special", "*=30,35", "--special-together"},
             {},
             nullptr,
             {},
             17},
        Case{"missingBinsOfMeans",
             "house_prices.csv",
             "price",
             {"--continuous-response", "price", "--missing-bin", "own", "--special", "bedrooms=2,4"},
             {},
             nullptr,
             {},
             10},
        Case{"sumsThatMissTheCutPoint",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--continuous",
              "instalment_rate"},
             {},
             R"({"instalment_rate": [0.3, 1.5]})",
             {{"3", "0.30000000000000004"}},
             17},
        Case{"controlsAndLabelsAlike",
             "german_credit.csv",
             "risk",
             {"--binary-response", "risk", "--good", "good", "--bad", "bad"},
             {},
             R"({"housing": [["o\u0001\twn", "rent"], ["o\u0001\twn, rent"]]})",
             {{"own", "o\x01\twn"},
              {"for free", "o\x01\twn, rent"},
              {"purpose", "the\npurpose\x7F"},
              {"business", "1"},
              {"furniture or equipment", "\t1"},
              {"car (new)", "01"},
              {"age", "a\x02ge\n\"in\" years"},
              {"radio or tv", "radio\nor\n\ntv"}},
             17},
        Case{"continuous",
             "house_prices.csv",
             "price",
             {"--continuous-response", "price"},
             {},
             nullptr,
             {},
             10},
        Case{"missingValuesInABin",
             "schools.csv",
             "api2000",
             {"--continuous-response", "api2000", "--missing-bin", "own", "--predictors", "class_size_46",
              "class_size_k3", "enrolled"},
             {},
             nullptr,
             {},
             3},
        Case{"classes",
             "vehicle.csv",
             "class",
             {"--categorical-response", "class"},
             {},
             nullptr,
             {{"van", "a \"van\", \xC3\xA9"}},
             15},
        Case{"weightsAndThreeKinds",
             "schools.csv",
             "awards",
             {"--binary-response", "awards", "--good", "yes", "--bad", "no", "--continuous-response",
              "api2000", "--categorical-response", "school_type", "--weight", "weight", "--raw-weights"},
             {},
             nullptr,
             {},
             30}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ScreenSave, NamesThatDifferByCaseStayTwoInSql) {
  const TemporaryFolder folder;
  std::string csv = "Age,age,risk\n";
  for (int i = 0; i < 200; ++i)
    csv +=
        std::to_string(i % 61) + "," + std::to_string(i * 7 % 53) + "," + std::to_string(i % 61 > 30) + "\n";
  const std::string query = (folder.Path() / "bins.sql").string();
  const ProcessResult result = RunVelmora({"screen", folder.Write("a.csv", csv), "--binary-response", "risk",
                                           "--good", "1", "--bad", "0", "--sql", query, "--save-chance"});
  const std::string second = "risk_age_Coded is risk_age_Coded_2 in the query";
  ExpectSaid(result, {"many databases take the columns Age and age for one", second.c_str()});
  EXPECT_NE(ReadFile(query).find("-- Note: " + second), std::string::npos);
  DuckDbSession session(1);
  session.Run("CREATE TABLE a AS SELECT i AS age, i AS risk FROM range(9) t(i)");
  session.Run("CREATE TABLE coded AS " + ReadFile(query));
  session.Rows("SELECT string_agg(column_name, ' ') FROM duckdb_columns() WHERE table_name = 'coded'",
               [](const char* const* texts) {
                 EXPECT_STREQ(texts[0],
                              "age risk risk_Age_Coded risk_Age_WOE risk_age_Coded_2 risk_age_WOE_2");
               });
}

TEST(ScreenSave, WritesAllOrNothingAndSaysWhatDoesNotFit) {
  struct Row {
    const char* name;
    Words options;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"unknown ending", {"--bins", "b.json", "--coded", "c.doc"}, 2, {"c.doc"}},
      {"one name twice", {"--bins", "b.json", "--sql", "./b.json"}, 2, {"--sql", "--bins", "b.json"}},
      {"a folder that is a file", {"--sql", "b.sql", "--recode", "a.csv"}, 1, {"a.csv"}},
      {"a number", {"--save-best", "0"}, 2, {"--save-best", "1 to 100000"}},
      {"no name", {"--rules"}, 2, {"--rules"}},
  };
  const TemporaryFolder folder;
  folder.Write("a.csv", ReadFile(Sample("german_credit.csv")));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(
        With({"screen", "a.csv", "--binary-response", "risk", "--good", "good", "--bad", "bad"}, row.options),
        options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(folder.Names(), Words{"a.csv"});
  }
}

// risk follows size; renaming does not change the figures.
std::string RiskData(const std::string& header, const std::function<std::string(int)>& further) {
  std::string data = header + "\n";
  for (int i = 0; i < 300; ++i)
    data += std::to_string(i * 37 % 300) + "," + further(i) +
            (i * 37 % 300 + 100 * (i % 3) > 300 ? ",bad\n" : ",good\n");
  return data;
}

// A bin of many levels is a number and a short name, not a list of its levels in every row.
TEST(ScreenSave, ShortensLabelsOfManyLevels) {
  const TemporaryFolder folder;
  const std::string coded = (folder.Path() / "coded.csv").string();
  const std::string data =
      folder.Write("data.csv", RiskData("size,branch,risk", [](int i) {
                     return std::string(i % 3 == 0 ? "late" : "early") + std::to_string(i % 60);
                   }));
  const ProcessResult result =
      RunVelmora({"screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--coded",
                  coded, "--predictors", "size", "branch"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const Coded variables = FromTable(coded);
  const Fields& labels = variables.at("risk_branch_Coded");
  const std::set<std::string> distinct(labels.begin(), labels.end());
  EXPECT_GE(distinct.size(), 2u);
  for (const std::string& label : distinct) {
    EXPECT_LE(label.size(), 80u);
    EXPECT_TRUE(label.starts_with("1: ") || label.starts_with("2: ") || label.size() < 75) << label;
  }
}

// "a" of "b_c" and "a_b" of "c" give one name; each form numbers the later one.
TEST(ScreenSave, NumbersCodedVariablesOfOneName) {
  const TemporaryFolder folder;
  std::string csv = "a,a_b,b_c,c\n";
  for (int i = 0; i < 300; ++i)
    csv += std::string(i % 50 > 20 ? "1," : "0,") + std::to_string(i * 7 % 41) + "," +
           std::to_string(i % 50) + "," + std::to_string(i * 7 % 41 + i % 3) + "\n";
  const std::string data = folder.Write("d.csv", csv);
  const auto path = [&](const char* name) { return (folder.Path() / name).string(); };
  const ProcessResult result = RunVelmora({"screen",
                                           data,
                                           "--binary-response",
                                           "a",
                                           "--good",
                                           "1",
                                           "--bad",
                                           "0",
                                           "--continuous-response",
                                           "a_b",
                                           "--predictors",
                                           "b_c",
                                           "c",
                                           "--continuous",
                                           "b_c",
                                           "c",
                                           "--bins",
                                           path("bins.json"),
                                           "--rules",
                                           path("rules.txt"),
                                           "--recode",
                                           path("recode"),
                                           "--coded",
                                           path("coded.csv")});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Coded coded = FromTable(path("coded.csv"));
  const Words names = {"a_b_c_Coded", "a_b_c_Coded_2"};
  ASSERT_TRUE(coded.contains(names[0]) && coded.contains(names[1]));
  EXPECT_NE(coded.at(names[0]), coded.at(names[1]));
  Words recodes;
  for (const auto& entry : fs::directory_iterator(path("recode"))) {
    if (entry.path().extension() == ".ini") recodes.push_back(entry.path().string());
  }
  ExpectSame("JSON", coded, names, Applied(folder, {path("bins.json"), data}, {}));
  ExpectSame("rules", coded, names, Applied(folder, {path("rules.txt"), data}, {}));
  ExpectSame("recode files", coded, names, Applied(folder, With(recodes, {data}), {}));
}

// A predictor that the data lack is not another one of nearly the same name.
TEST(ScreenSave, FindsPredictorsByTheirExactNames) {
  const TemporaryFolder folder;
  const auto other = [](int i) { return std::to_string(i * 13 % 97); };
  const std::string data = folder.Write("d.csv", RiskData("v3,age,risk", other));
  const auto path = [&](const char* name) { return (folder.Path() / name).string(); };
  ASSERT_EQ(RunVelmora({"screen", data, "--save-chance", "--binary-response", "risk", "--good", "good",
                        "--bad", "bad", "--continuous", "v3", "age", "--bins", path("bins.json"), "--rules",
                        path("rules.txt"), "--sql", path("b.sql")})
                .exitCode,
            0);
  const std::string without = folder.Write("without.csv", RiskData("V3,Age,risk", other));
  for (const char* const file : {"bins.json", "rules.txt"}) {
    const ProcessResult result = RunVelmora({"apply", path(file), without});
    EXPECT_EQ(result.exitCode, 1);
    ExpectSaid(result, {file, "There is no variable \"", "without.csv; did you mean \""});
  }
}

TEST(ScreenSave, WarnsOfCodesForMissingThatAFileCannotHold) {
  const TemporaryFolder folder;
  const std::string data = folder.Write(
      "d.csv", RiskData("size,age,risk", [](int i) { return std::to_string(i % 9 == 0 ? -9 : i); }));
  const auto path = [&](const char* name) { return (folder.Path() / name).string(); };
  const Words words = {"screen",
                       data,
                       "--binary-response",
                       "risk",
                       "--good",
                       "good",
                       "--bad",
                       "bad",
                       "--missing",
                       "age=-9",
                       "--continuous",
                       "age",
                       "--bins",
                       path("bins.json"),
                       "--save-chance"};
  const ProcessResult bins = RunVelmora(words);
  EXPECT_EQ(bins.err.find("Warning: recode"), std::string::npos) << bins.err;
  const ProcessResult rules = RunVelmora(With(words, {"--rules", path("rules.txt")}));
  ExpectSaid(rules, {"Warning: recode files and rules do not say that -9 of age means missing", "--missing"});
}

}  // namespace
}  // namespace velmora::testing
