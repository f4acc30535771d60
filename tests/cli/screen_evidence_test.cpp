// The basis of the ranking of velmora screen: the meaning of weights, the cases and the interval of
// every line, p-values of the search, and warnings before a predictor is used.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/cli/command_checks.h"
#include "workbench/cli/words.h"

namespace velmora::testing {
namespace {

const Words kFlag = {"--binary-response", "y", "--good", "good", "--bad", "bad"};

Json ResponseOf(const std::string& data, const Words& options) {
  const Json json = JsonFrom(With({"screen", data}, options));
  return json.is_object() ? json["responses"][0] : Json::object();
}

// A flag, two predictors that matter and one that does not; weights in
// three units, counts, and gaps.
std::string WeightTable(int cases) {
  std::mt19937 random(8);
  std::normal_distribution<double> normal;
  std::lognormal_distribution<double> weight;
  std::string csv = "y,x,level,noise,w,amount,w_small,w_large,count,negative\n";
  for (int i = 0; i < cases; ++i) {
    const bool bad = random() % 3 == 0;
    // Whole thousandths, so that the other units hold the same numbers.
    const double w = 1 + std::floor(weight(random) * 1000);
    char line[200];
    std::snprintf(line, sizeof line, "%s,%.3f,%c,%.3f,%.0f,%.3f,%.0fe-6,%.0fe6,%d,%d\n", bad ? "bad" : "good",
                  normal(random) + (bad ? 0.7 : 0), "abcde"[(random() % 4 + (bad ? 1 : 0)) % 5],
                  normal(random), w, normal(random) + (bad ? 1 : 0), w, w, static_cast<int>(random() % 4),
                  i == 3 ? -1 : 1);
    csv += i % 11 == 0 ? std::string(bad ? "bad" : "good") + "," +
                             std::string(line).substr(std::string(line).find(',', 5))
                       : line;
  }
  return csv;
}

TEST(ScreenWeights, TheirUnitDoesNotMatter) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("w.csv", WeightTable(900));
  for (const Words& options :
       {With(kFlag, {"--predictors", "x", "level", "noise"}),
        Words{"--continuous-response", "amount", "--predictors", "x", "level", "noise"},
        With(kFlag, {"--predictors", "x", "--binning", "tree", "--rank-by", "iv"}),
        With(kFlag, {"--predictors", "x", "level", "--max-adjacent-p", "0.01"})}) {
    std::string first;
    for (const char* weight : {"w", "w_small", "w_large"}) {
      const ProcessResult run =
          RunVelmora(With(With({"screen", data, "--weight", weight}, options), {"--quiet"}));
      ASSERT_EQ(run.exitCode, 0) << run.err;
      std::string text = run.out;
      text.replace(text.find(std::string("weighted by ") + weight), 12 + std::string(weight).size(),
                   "weighted");
      if (first.empty()) first = text;
      EXPECT_EQ(text, first) << weight;
    }
    EXPECT_NE(first.find("design effect"), std::string::npos);
  }
  // Kish: the squared sum over the sum of squares.
  const Json cases = ResponseOf(data, With(kFlag, {"--weight", "w"}))["cases"];
  EXPECT_LT(cases["effective"].get<double>(), 0.6 * cases["used"].get<double>());
  // With equal weights nothing changes, whatever they are.
  const std::string equal =
      folder.Write("e.csv", "y,x,w\ngood,1,7\nbad,2,7\ngood,1,7\nbad,3,7\ngood,2,7\nbad,2,7\n");
  const Json plain = ResponseOf(equal, With(kFlag, {"--predictors", "x"}));
  EXPECT_EQ(ResponseOf(equal, With(kFlag, {"--predictors", "x", "--weight", "w"}))["predictors"][0]["rows"],
            plain["predictors"][0]["rows"]);
}

TEST(ScreenWeights, CountsAreCasesAndRawWeightsAreWhatTheFileHas) {
  const TemporaryFolder folder;
  std::mt19937 random(4);
  std::string rows = "y,x,g,n\n", cases = "y,x,g\n";
  for (int i = 0; i < 150; ++i) {
    const int n = static_cast<int>(random() % 5);
    const std::string row = std::string(i % 3 == 0 ? "bad" : "good") + "," +
                            std::to_string(random() % 40 + (i % 3 == 0 ? 15 : 0)) + "," + "pqr"[random() % 3];
    rows += row + "," + std::to_string(n) + "\n";
    for (int copy = 0; copy < n; ++copy) cases += row + "\n";
  }
  const std::string counted = folder.Write("rows.csv", rows), expanded = folder.Write("cases.csv", cases);
  const Words run = With(kFlag, {"--predictors", "x", "g", "--permutations", "99", "--min-bin-cases", "20"});
  const Json a = ResponseOf(counted, With(run, {"--count", "n"})), b = ResponseOf(expanded, run);
  for (const char* name : {"x", "g"}) {
    const Json& one = Named(a["predictors"], name);
    const Json& other = Named(b["predictors"], name);
    for (const char* member : {"rows", "cutPoints", "informationValue", "chiSquare", "noBetterThanChance"})
      EXPECT_EQ(one[member], other[member]) << name << " " << member;
    EXPECT_DOUBLE_EQ(one["searchP"].get<double>(), other["searchP"].get<double>()) << name;
  }
  EXPECT_EQ(a["cases"]["effective"], b["cases"]["used"]);
  // The cases of a row are spread over the folds like single cases.
  EXPECT_NEAR(Named(a["predictors"], "x")["outOfFoldInformationValue"],
              Named(b["predictors"], "x")["outOfFoldInformationValue"], 0.4);
  const Json table = JsonFrom({"screen", Sample("housing_satisfaction.csv"), "--categorical-response",
                               "satisfaction", "--count", "residents"})["responses"][0];
  EXPECT_GT(Named(table["predictors"], "influence")["outOfFoldExplained"].get<double>(), 0.02);

  const std::string data = folder.Write("w.csv", WeightTable(300));
  const Words cut = With(kFlag, {"--predictors", "x", "--weight", "w", "--cut-points",
                                 folder.Write("c.json", R"({"x": [0, 1]})")});
  const Json relative = ResponseOf(data, cut), raw = ResponseOf(data, With(cut, {"--raw-weights"}));
  const double unit = raw["cases"]["totalWeight"].get<double>() / raw["cases"]["used"].get<double>();
  EXPECT_NEAR(
      raw["predictors"][0]["chiSquare"].get<double>() / relative["predictors"][0]["chiSquare"].get<double>(),
      unit, unit * 1e-9);
  EXPECT_NEAR(raw["predictors"][0]["informationValue"], relative["predictors"][0]["informationValue"], 1e-6);
  EXPECT_EQ(
      ResponseOf(data, With(cut, {"--raw-weights", "--missing-bin", "drop"}))["predictors"][0]["rows"],
      ResponseOf(data, With(With(kFlag, {"--predictors", "x", "--classic", "--weight", "w", "--cut-points"}),
                            {folder.Write("d.json", R"({"x": [0, 1]})")}))["predictors"][0]["rows"]);
}

TEST(ScreenWeights, WrongOnesAreRefused) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("w.csv", WeightTable(100));
  struct Row {
    Words options;
    std::vector<std::string> parts;
  };
  const Row rows[] = {
      {{"--weight", "negative"}, {"--weight: 1 case has a negative weight in negative"}},
      {{"--count", "negative"}, {"--count: 1 case has a negative count in negative"}},
      {{"--count", "level"}, {"--count: level holds texts"}},
      {{"--count", "count", "--weight", "w"}, {"--count and --weight"}},
      {{"--raw-weights"}, {"--raw-weights needs --weight"}},
      {{"--classic", "--count", "count"}, {"takes no --count"}},
      {{"--seed", "3"}, {"--seed needs --permutations"}},
      {{"--classic", "--permutations", "99"}, {"takes no --permutations"}},
      {{"--binning", "tree", "--permutations", "99"}, {"--permutations is about optimal bins"}},
  };
  for (const Row& row : rows) {
    const ProcessResult run = RunVelmora(With(With({"screen", data}, kFlag), row.options));
    EXPECT_EQ(run.exitCode, 2) << row.parts[0];
    ExpectSaid(run, row.parts);
  }
  EXPECT_EQ(RunVelmora(With(With({"screen", data}, kFlag), {"--classic", "--weight", "negative", "--quiet"}))
                .exitCode,
            0);
}

// N, missing and the interval on every line; the command that is stated makes the same file.
TEST(ScreenEvidence, EveryLineSaysWhatItRestsOn) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("w.csv", WeightTable(660));
  const std::string out = (folder.Path() / "out").string();
  const Words run = With(kFlag, {"--weight", "w", "--predictors", "x", "noise"});
  ASSERT_EQ(RunVelmora(With(With({"screen", data}, run), {"--out", out})).exitCode, 0);
  const Json json = Json::parse(ReadFile(out + "/screening.json"));
  const Json& x = Named(json["responses"][0]["predictors"], "x");
  EXPECT_EQ(x["cases"], 600);
  EXPECT_EQ(x["missing"], 60);
  EXPECT_LT(x["outOfFoldLower"], x["outOfFoldInformationValue"]);
  EXPECT_GT(x["outOfFoldUpper"], x["outOfFoldInformationValue"]);
  EXPECT_TRUE(x["pValue"].is_null());
  const std::string command = json["run"]["provenance"]["command"];
  EXPECT_EQ(command.substr(0, 15), "velmora screen ");
  EXPECT_EQ(json["run"]["provenance"]["dataSha256"].get<std::string>().size(), 64u);
  Words words;
  for (std::size_t at = 8; at < command.size();) {
    const std::size_t end = std::min(command.find(' ', at), command.size());
    std::string word = command.substr(at, end - at);
    std::erase_if(word, [](char c) { return c == '\'' || c == '"'; });  // around a path of Windows
    words.push_back(std::move(word));
    at = end + 1;
  }
  const std::string again = (folder.Path() / "again").string();
  ASSERT_EQ(RunVelmora(With(words, {"--out", again})).exitCode, 0);
  for (const char* file : {"screening.json", "screening.csv", "screening.html"})
    EXPECT_EQ(ReadFile(out + "/" + file), ReadFile(again + "/" + file)) << file;
  const std::string page = ReadFile(out + "/screening.html");
  for (const char* part : {"SHA-256", "95 % from", "Missing", "design effect"})
    EXPECT_NE(page.find(part), std::string::npos) << part;
  const ProcessResult text = RunVelmora(With({"screen", data}, run));
  ExpectSaid({0, "", text.out}, {"95 % interval", "missing", "600", "60", "are worth"});
}

TEST(ScreenEvidence, PermutationsJudgeTheWholeSearch) {
  const TemporaryFolder folder;
  std::mt19937 random(2);
  std::normal_distribution<double> normal;
  std::string csv = "y,strong,gap";
  for (int p = 0; p < 25; ++p) csv += ",n" + std::to_string(p);
  csv += "\n";
  for (int i = 0; i < 500; ++i) {
    const bool bad = random() % 4 == 0;
    csv += std::string(bad ? "bad" : "good") + "," + std::to_string(normal(random) + (bad ? 1 : 0)) + "," +
           (random() % 3 < (bad ? 2u : 1u) ? "" : std::to_string(normal(random)));
    for (int p = 0; p < 25; ++p)
      csv += "," + (p % 2 == 0 ? std::to_string(normal(random)) : "L" + std::to_string(random() % 12));
    csv += "\n";
  }
  const std::string data = folder.Write("n.csv", csv);
  const Words run = With(kFlag, {"--permutations", "199", "--seed", "5"});
  const Json one = ResponseOf(data, With(run, {"--threads", "1"}));
  EXPECT_EQ(one, ResponseOf(data, With(run, {"--threads", "3"})));
  int below = 0;
  for (const Json& predictor : one["predictors"]) {
    const double p = predictor["searchP"], adjusted = predictor["adjustedSearchP"];
    EXPECT_GE(adjusted, p);
    const std::string name = predictor["name"];
    if (name == "strong" || name == "gap") {
      EXPECT_DOUBLE_EQ(adjusted, 1.0 / 200) << name;
    } else {
      below += adjusted < 0.05 ? 1 : 0;
    }
  }
  EXPECT_EQ(below, 0);
  const ProcessResult text = RunVelmora(With({"screen", data}, run));
  ExpectSaid({0, "", text.out}, {"adj. p"});
  ExpectSaid(RunVelmora(With({"screen", data}, With(kFlag, {"--predictors", "strong", "--rank-by", "p"}))),
             {"--rank-by p: these are the p-values of bins that were searched for"});
}

TEST(ScreenEvidence, WarnsOfLeakageAndIdentifiers) {
  const TemporaryFolder folder;
  std::mt19937 random(6);
  std::normal_distribution<double> normal;
  std::string csv = "y,closed,status,score,fine,serial,phone\n";
  for (int i = 0; i < 800; ++i) {
    const bool bad = random() % 4 == 0;
    csv += std::string(bad ? "bad" : "good") + "," +
           (bad && random() % 2 == 0 ? std::to_string(random() % 50) : "") + "," +
           (bad && random() % 3 == 0 ? "written off" : std::string(1, "abc"[random() % 3])) + "," +
           std::to_string(static_cast<double>(random() % 1000) / 1000 + (bad ? 0.9 : 0)) + "," +
           std::to_string(normal(random) + (bad ? 0.4 : 0)) + "," +
           std::to_string(random() % 20 + i * 37 % 800 * 20) + "," +
           std::to_string(5550000 + i * 7919 % 100003) + "\n";
  }
  const std::string data = folder.Write("leaks.csv", csv);
  const Json response =
      ResponseOf(data, With(kFlag, {"--predictors", "closed", "status", "score", "fine", "phone"}));
  const auto warningsOf = [&](const char* name) {
    std::string text;
    for (const Json& warning : Named(response["predictors"], name)["warnings"])
      text += warning["kind"].get<std::string>() + ": " + warning["text"].get<std::string>() + "; ";
    return text;
  };
  EXPECT_NE(warningsOf("closed").find("leakage: known only where y is bad"), std::string::npos);
  EXPECT_NE(warningsOf("status").find("is bad in all "), std::string::npos);
  EXPECT_NE(warningsOf("score").find("leakage: AUC 0.9"), std::string::npos) << warningsOf("score");
  EXPECT_EQ(warningsOf("fine"), "");
  EXPECT_NE(warningsOf("phone").find("identifier: "), std::string::npos);
  const std::string out = (folder.Path() / "out").string();
  const ProcessResult run = RunVelmora(With(With({"screen", data}, kFlag), {"--out", out}));
  for (const char* file : {"screening.html", "screening.csv"})
    EXPECT_NE(ReadFile(out + "/" + file).find("known only where y is bad"), std::string::npos) << file;
  ExpectSaid({0, "", RunVelmora(With({"screen", data}, kFlag)).out},
             {"Check closed: known only where y is bad"});
}

TEST(ScreenEvidence, NamesNumbersThatLookLikeCodes) {
  const TemporaryFolder folder;
  std::mt19937 random(8);
  std::string csv = "y,income,months\n";
  for (int i = 0; i < 900; ++i) {
    const bool bad = random() % 3 == 0;
    csv += std::string(bad ? "bad" : "good") + "," +
           std::to_string(random() % 12 == 0 ? -999
                                             : static_cast<int>(1000 + random() % 5000 + (bad ? 0 : 1500))) +
           "," + std::to_string(random() % 72) + "\n";
  }
  const std::string data = folder.Write("codes.csv", csv);
  const auto isNamed = [&](const Words& words) {
    const Json income = Named(ResponseOf(data, With(kFlag, words))["predictors"], "income");
    std::string kinds;
    for (const Json& warning : income["warnings"]) kinds += warning["kind"].get<std::string>() + " ";
    return kinds.find("code") != std::string::npos;
  };
  EXPECT_TRUE(isNamed({}));
  EXPECT_FALSE(isNamed({"--special", "income=-999"}));
  EXPECT_FALSE(isNamed({"--missing", "income=-999"}));
  const std::string hint = "apart from all other values; if it is a code, use --special income=-999";
  ExpectSaid({0, "", RunVelmora(With({"screen", data}, kFlag)).out}, {hint});
  const Words ranking = {"feature-selection", data, "--dependents", "y"};
  ExpectSaid({0, "", RunVelmora(ranking).out}, {"-999 in income", "use --missing income=-999."});
  EXPECT_EQ(RunVelmora(With(ranking, {"--missing", "income=-999"})).out.find("-999 in income"),
            std::string::npos);
  // None of the cases that are used has it.
  EXPECT_FALSE(isNamed({"--select", "income > 0"}));
  EXPECT_EQ(RunVelmora(With(ranking, {"--select", "income > 0"})).out.find("-999 in income"),
            std::string::npos);

  // The option can be copied into a shell.
  csv.replace(csv.find("income"), 6, "\"net income, $\"");
  const std::string spaced = folder.Write("spaced.csv", csv);
  const std::string word = ShellWord("net income, $=-999");
  EXPECT_NE(word.front(), 'n');
  ExpectSaid({0, "", RunVelmora(With({"screen", spaced}, kFlag)).out}, {"use --special " + word});
  ExpectSaid({0, "", RunVelmora({"feature-selection", spaced, "--dependents", "y"}).out},
             {"use --missing " + word + "."});
}

TEST(ScreenEvidence, JoinsAWarningThatManyPredictorsHave) {
  const TemporaryFolder folder;
  std::mt19937 random(5);
  std::normal_distribution<double> normal;
  std::string csv = "y,a,b,c,d,e\n";
  for (int i = 0; i < 1000; ++i) {
    const bool bad = i % 2 == 0;
    csv += bad ? "bad" : "good";
    for (int p = 0; p < 5; ++p) csv += "," + std::to_string(normal(random) + (bad ? 1.2 : 0));
    csv += "\n";
  }
  const Words words = With({"screen", folder.Write("many.csv", csv)}, kFlag);
  const std::string text = RunVelmora(words).out;
  ExpectSaid({0, "", text}, {"Check 5 predictors: information value above 0.5; are they known before y? "});
  EXPECT_EQ(text.find("Check a:"), std::string::npos);
  // Three predictors have a line each.
  const std::string few = RunVelmora(With(words, {"--predictors", "a,b,c"})).out;
  EXPECT_NE(few.find("Check a: information value "), std::string::npos) << few;
}

TEST(ScreenEvidence, SaysWhichPredictorsSayTheSame) {
  const TemporaryFolder folder;
  std::mt19937 random(12);
  std::normal_distribution<double> normal;
  std::string csv = "y,income,income_net,age,town,noise\n";
  for (int i = 0; i < 1500; ++i) {
    const bool bad = random() % 3 == 0;
    const double income = normal(random) - (bad ? 1 : 0), age = normal(random) - (bad ? 0.6 : 0);
    csv += std::string(bad ? "bad" : "good") + "," + std::to_string(income) + "," +
           (i % 9 == 0 ? "" : std::to_string(-3 * income + 0.1 * normal(random))) + "," +
           std::to_string(age) + "," + (age < -0.3 ? "old" : "new") + "," + std::to_string(normal(random)) +
           "\n";
  }
  const std::string data = folder.Write("same.csv", csv);
  const Json response = ResponseOf(data, With(kFlag, {"--adds"}));
  const Json& net = Named(response["predictors"], "income_net");
  EXPECT_EQ(net["saysTheSameAs"], "income");
  EXPECT_GT(net["association"].get<double>(), 0.6);
  EXPECT_LT(net["addsShare"].get<double>(), 0.3);
  EXPECT_EQ(Named(response["predictors"], "town")["saysTheSameAs"], "age");
  EXPECT_EQ(Named(response["predictors"], "income")["addsPlace"], 1);
  EXPECT_EQ(Named(response["predictors"], "age")["addsPlace"], 2);
  EXPECT_GT(Named(response["predictors"], "age")["addsShare"].get<double>(), 0.7);
  EXPECT_EQ(Named(response["predictors"], "age")["cluster"],
            Named(response["predictors"], "town")["cluster"]);
  EXPECT_TRUE(Named(response["predictors"], "noise")["cluster"].is_null());

  // Only the best of each cluster is listed first and saved.
  const std::string bins = (folder.Path() / "bins.json").string(),
                    rules = (folder.Path() / "rules.txt").string();
  const Words distinct = With(kFlag, {"--distinct", "--bins", bins, "--rules", rules});
  const Json listed = ResponseOf(data, distinct);
  EXPECT_EQ(listed["order"], (Json{"income", "age", "income_net", "town", "noise"}));
  EXPECT_EQ(Named(listed["predictors"], "income_net")["saysTheSameAs"], "income");
  const Json saved = Json::parse(ReadFile(bins))["responses"][0]["predictors"];
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_EQ(ReadFile(rules).find("income_net"), std::string::npos);
  const std::string out = (folder.Path() / "out").string();
  const ProcessResult run = RunVelmora(With(With({"screen", data}, kFlag), {"--out", out, "--distinct"}));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::string page = ReadFile(out + "/screening.html");
  EXPECT_NE(page.find("Which predictors say the same"), std::string::npos);
  EXPECT_NE(page.find("Says the same as"), std::string::npos);
  ExpectSaid({0, "", RunVelmora(With({"screen", data}, kFlag)).out},
             {"1 (V 0.", "same as: rank of a better predictor"});
  ExpectSaid({0, "", RunVelmora(With(With({"screen", data}, kFlag), {"--distinct"})).out},
             {"2 predictors say the same as a better one"});
  EXPECT_TRUE(Named(ResponseOf(data, With(kFlag, {"--compare", "0"}))["predictors"], "town")["saysTheSameAs"]
                  .is_null());
  for (const Words& wrong :
       {Words{"--classic", "--distinct"}, Words{"--compare", "0", "--adds"}, Words{"--same-from", "2"}})
    EXPECT_EQ(RunVelmora(With(With({"screen", data}, kFlag), wrong)).exitCode, 2) << wrong[0];
}

}  // namespace
}  // namespace velmora::testing
