// velmora screen as a process: figures against independent ones, codes, the user's bins, outputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

Words Command(const std::string& data, const Words& rest) { return With({"screen", data}, rest); }

Json JsonOf(const std::string& data, const Words& rest) { return JsonFrom(Command(data, rest)); }

const Json& Predictor(const Json& response, const std::string& name) {
  return Named(response["predictors"], name);
}

const Words kRisk = {"--binary-response", "risk", "--good", "good", "--bad", "bad"};

// Given bins, and the figures of a pandas and scipy script over the same files.
TEST(Screen, FiguresAreThoseOfAnIndependentScript) {
  struct Row {
    const char* name;
    const char* file;
    Words options;
    const char* cutPoints;
    const char* predictor;
    std::map<std::string, double> expected;
  };
  const Row rows[] = {
      {"cut points",
       "german_credit.csv",
       kRisk,
       R"({"age": [40, 25]})",
       "age",
       {{"informationValue", 0.07397357869904503},
        {"giniAfter", 0.4130608196053922},
        {"chiSquare", 16.521858082399593},
        {"pValue", 0.0002584187979545173},
        {"cramersV", 0.12853738009777388}}},
      {"groups",
       "german_credit.csv",
       kRisk,
       R"({"housing": [["own"], ["rent", "lodger"]]})",
       "housing",
       {{"informationValue", 0.08329343361549926}, {"giniAfter", 0.4123560665353233}}},
      {"levels that are the bins",
       "german_credit.csv",
       kRisk,
       nullptr,
       "checking_account",
       {{"informationValue", 0.6660115033513336},
        {"giniBefore", 0.36803720372316845},
        {"giniAfter", 0.36803720372316845},
        {"cramersV", 0.35173988047457116}}},
      {"selection",
       "german_credit.csv",
       With(kRisk, {"--select", "age > 30"}),
       R"({"age": [40, 50]})",
       "age",
       {{"informationValue", 0.0016914368517515878}, {"pValue", 0.9077271544706718}}},
      {"weights",
       "schools.csv",
       {"--binary-response", "awards", "--good", "yes", "--bad", "no", "--weight", "weight", "--raw-weights"},
       R"({"meals_pct": [20, 60]})",
       "meals_pct",
       {{"informationValue", 0.013984813449590617},
        {"giniAfter", 0.459900122894922},
        {"chiSquare", 20.048430206573183}}},
      {"continuous",
       "house_prices.csv",
       {"--continuous-response", "price"},
       R"({"lotsize": [4000, 6000]})",
       "lotsize",
       {{"rSquared", 0.29898549826749776},
        {"fStatistic", 115.7958395710917},
        {"rSquaredRanks", 0.3402362327894801}}},
      {"continuous, weights, missing values",
       "schools.csv",
       {"--continuous-response", "api2000", "--weight", "weight", "--raw-weights", "--missing-bin", "drop"},
       R"({"class_size_46": [28, 30]})",
       "class_size_46",
       {{"rSquared", 0.011594374368445015}, {"fStatistic", 29.63105919163724}}},
      {"classes",
       "vehicle.csv",
       {"--categorical-response", "class"},
       R"({"compactness": [90, 100]})",
       "compactness",
       {{"chiSquare", 124.23240508591273},
        {"pValue", 2.102019453240354e-24},
        {"cramersV", 0.27096753912817256}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    Words options = row.options;
    if (row.cutPoints != nullptr)
      options = With(options, {"--cut-points", folder.Write("cuts.json", row.cutPoints)});
    const Json result = JsonOf(Sample(row.file), options);
    ASSERT_TRUE(result.is_object());
    const Json& predictor = Predictor(result["responses"][0], row.predictor);
    for (const auto& [member, value] : row.expected) {
      EXPECT_NEAR(predictor[member].get<double>() / value, 1, 1e-9) << member;
    }
  }
}

// Relations between the figures of a predictor that hold for any data.
TEST(Screen, RowsAddUpForEveryPredictorAndKind) {
  const Words options = With(kRisk, {"--continuous-response", "amount", "--categorical-response", "purpose"});
  const Json optimal = JsonOf(Sample("german_credit.csv"), options);
  const Json trees = JsonOf(Sample("german_credit.csv"), With(options, {"--classic", "--no-prune"}));
  ASSERT_EQ(optimal["responses"].size(), 3u);
  ASSERT_EQ(trees["responses"].size(), 3u);
  EXPECT_EQ(trees["run"]["pruned"], false);
  Json responses = optimal["responses"];
  for (const Json& response : trees["responses"]) responses.push_back(response);
  for (const Json& response : responses) {
    const std::string kind = response["kind"];
    EXPECT_EQ(response["order"].size(), response["predictors"].size());
    EXPECT_EQ(response["order"].size() + response["failed"].size(), 18u) << kind;
    for (const Json& predictor : response["predictors"]) {
      SCOPED_TRACE(kind + ", " + predictor["name"].get<std::string>());
      const Json& rows = predictor["rows"];
      ASSERT_GE(rows.size(), predictor["noBetterThanChance"] == true ? 1u : 2u);
      ASSERT_EQ(rows.size(), predictor["labels"].size());
      if (predictor["kind"] == "continuous") {
        EXPECT_EQ(rows.size(), predictor["cutPoints"].size() + 1);
      } else {
        EXPECT_GE(predictor["levels"].size(), rows.size());
      }
      double cases = 0, value = 0, sse = 0;
      for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i]["label"], predictor["labels"][i]);
        cases += rows[i][kind == "continuous" ? "n" : "total"].get<double>();
        if (kind == "binary") value += rows[i]["informationValue"].get<double>();
        if (kind == "continuous") sse += rows[i]["SSE"].get<double>();
        if (kind != "categorical") continue;
        double counted = 0;
        for (const Json& count : rows[i]["counts"]) counted += count.get<double>();
        EXPECT_EQ(counted, rows[i]["total"]);
      }
      EXPECT_EQ(cases, predictor["validN"]);
      if (kind == "binary") {
        EXPECT_NEAR(value, predictor["informationValue"].get<double>(), 1e-12);
      }
      if (kind == "continuous") {
        EXPECT_NEAR(1 - sse / predictor["total"]["SSE"].get<double>(), predictor["rSquared"].get<double>(),
                    1e-9);
      }
    }
  }
}

TEST(Screen, OrderFollowsTheSortChoice) {
  struct Row {
    const char* name;
    const char* file;
    Words options;
    const char* member;
    int sign;  // 1: smallest first
  };
  const Row rows[] = {
      {"Gini", "german_credit.csv", With(kRisk, {"--classic"}), "giniAfter", 1},
      {"information value", "german_credit.csv", With(kRisk, {"--sort-binary", "iv"}), "informationValue",
       -1},
      {"p", "vehicle.csv", {"--categorical-response", "class", "--classic"}, "pValue", 1},
      {"Chi-square",
       "vehicle.csv",
       {"--categorical-response", "class", "--sort-categorical", "chi-square"},
       "chiSquare",
       -1},
      {"R-squared", "house_prices.csv", {"--continuous-response", "price", "--classic"}, "rSquared", -1},
      {"F",
       "house_prices.csv",
       {"--continuous-response", "price", "--classic", "--sort-continuous", "f"},
       "fStatistic",
       -1},
      {"V", "vehicle.csv", {"--categorical-response", "class", "--rank-by", "v"}, "cramersV", -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Json result = JsonOf(Sample(row.file), row.options);
    ASSERT_TRUE(result.is_object());
    const Json& predictors = result["responses"][0]["predictors"];
    ASSERT_GE(predictors.size(), 11u);
    for (std::size_t i = 1; i < predictors.size(); ++i) {
      EXPECT_LE(row.sign * predictors[i - 1][row.member].get<double>(),
                row.sign * predictors[i][row.member].get<double>());
      EXPECT_EQ(result["responses"][0]["order"][i], predictors[i]["name"]);
    }
  }
}

// A small table with all kinds of codes. Levels of g: three; h has one level where y is known.
std::string OddTable() {
  std::string csv = "flag,label,mixed,frac,x,g,one,empty,inf,y,zero,many\n";
  for (int i = 0; i < 90; ++i) {
    const int k = i % 3;
    csv += std::to_string(k == 0) + "," + (k == 0 ? "Bad risk" : "good") + "," +
           (k == 0   ? "1"
            : k == 1 ? "2"
                     : "x") +
           "," + (k == 0 ? "0.5" : "1.5") + "," + std::to_string((i * 37) % 90 + (k == 0 ? 40 : 0)) + ".5," +
           "abc"[i / 3 % 3] + ",same,," + (i == 4 ? "inf" : std::to_string(i % 17)) + "," +
           std::to_string(i * i % 23) + ".25,0,L" + std::to_string(i / 2) + "\n";
  }
  return csv;
}

TEST(Screen, CodesAreLabelsOrNumbers) {
  const struct {
    const char* name;
    Words options;
    double bad, good;
  } rows[] = {
      {"numbers", {"--binary-response", "flag", "--good", "0", "--bad", "1"}, 30, 60},
      {"swapped", {"--binary-response", "flag", "--good", "1", "--bad", "0"}, 60, 30},
      {"written otherwise", {"--binary-response", "flag", "--good", "0.0", "--bad", "1e0"}, 30, 60},
      {"no whole numbers", {"--binary-response", "frac", "--good", "1.5", "--bad", "0.5"}, 30, 60},
      {"labels with blanks", {"--binary-response", "label", "--good", "good", "--bad", "Bad risk"}, 30, 60},
      // Texts that look like the internal codes of the table.
      {"digits as texts", {"--binary-response", "mixed", "--good", "2", "--bad", "x"}, 30, 30},
      {"a third code left out", {"--binary-response", "mixed", "--good", "x", "--bad", "1"}, 30, 30},
  };
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", OddTable());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Json result = JsonOf(data, With(row.options, {"--predictors", "x", "g"}));
    ASSERT_TRUE(result.is_object());
    EXPECT_EQ(result["responses"][0]["predictors"][0]["total"]["bad"], row.bad);
    EXPECT_EQ(result["responses"][0]["predictors"][0]["total"]["good"], row.good);
  }
}

TEST(Screen, TakesTheRestAsPredictorsAndNamesWhatItLeavesOut) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", OddTable());
  const Words options = {"--binary-response", "label",     "--good",   "good", "--bad",    "Bad risk",
                         "--select",          "g = \"a\"", "--weight", "y",    "--format", "json"};
  const ProcessResult result = RunVelmora(Command(data, options));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Json json = Json::parse(result.out);
  const Json& response = json["responses"][0];
  std::set<std::string> screened;
  for (const char* list : {"predictors", "failed"}) {
    for (const Json& predictor : response[list]) screened.insert(predictor["name"]);
  }
  // Neither the response nor the weight is a predictor, and g has one level left.
  EXPECT_EQ(screened, (std::set<std::string>{"flag", "frac", "inf", "many", "mixed", "x"}));
  for (const char* name : {"g", "one", "empty", "zero"}) {
    EXPECT_NE(result.err.find("Not screened: " + std::string(name) + " ("), std::string::npos) << result.err;
  }
  EXPECT_EQ(json["run"]["leftOut"].size(), 4u);
  EXPECT_EQ(json["run"]["selectedCases"], 30);
}

TEST(Screen, BinsOfAPersonsOwnAreTakenAsTheyAre) {
  const TemporaryFolder folder;
  const std::string cuts = folder.Write("cuts.json", R"({"age": [40, 25, 200, 25], "risk": [["good"]],
      "housing": [["own"], ["rent", "lodger"], ["rents"]], "telephone": [["yes"]]})");
  const ProcessResult result = RunVelmora(
      Command(Sample("german_credit.csv"),
              With(kRisk, {"--predictors", "age,housing,job", "--cut-points", cuts, "--format", "json"})));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Json json = Json::parse(result.out);
  const Json& response = json["responses"][0];
  EXPECT_EQ(Predictor(response, "age")["labels"], (Json{"(-Inf, 25]", "(25, 40]", "(40, Inf)"}));
  EXPECT_EQ(Predictor(response, "age")["rows"][0]["total"], 190);
  EXPECT_EQ(Predictor(response, "housing")["labels"], (Json{"own", "rent", "for free"}));
  EXPECT_EQ(Predictor(response, "job")["rows"].size(), 1u);  // searched for
  const char* const told[] = {"Cut point 200 of \"age\"",    "Cut point 25 of \"age\"",
                              "Level lodger of \"housing\"", "did you mean rent?",
                              "Group 3 of \"housing\"",      "risk is not a predictor",
                              "telephone is not a predictor"};
  for (const char* part : told) {
    EXPECT_NE(result.err.find(part), std::string::npos) << part << " is not in: " << result.err;
    EXPECT_NE(json["run"]["notices"].dump().find(Json(part).dump().substr(1, std::strlen(part) - 1)),
              std::string::npos)
        << part << " is not in: " << json["run"]["notices"];
  }
}

TEST(Screen, PruningTakesSplitsBackAndKeepsTheFirst) {
  const Json pruned = JsonOf(Sample("schools.csv"), {"--continuous-response", "api2000", "--classic"});
  const Json full =
      JsonOf(Sample("schools.csv"), {"--continuous-response", "api2000", "--binning", "tree", "--no-prune"});
  ASSERT_TRUE(pruned.is_object() && full.is_object());
  const auto bins = [](const Json& json, const char* name) {
    return Predictor(json["responses"][0], name)["rows"].size();
  };
  EXPECT_EQ(bins(pruned, "class_size_46"), 2u);
  EXPECT_GT(bins(full, "class_size_46"), 4u);
  EXPECT_EQ(pruned["run"]["pruned"], true);
}

TEST(Screen, WritesEveryFormatIntoTheFolder) {
  const TemporaryFolder folder;
  const std::string out = (folder.Path() / "report").string();
  const ProcessResult result = RunVelmora(
      Command(Sample("vehicle.csv"), {"--categorical-response", "class", "--binary-response", "class",
                                      "--good", "bus", "--bad", "van", "--best", "2", "--out", out}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("class (binary; bad: van, good: bus)"), std::string::npos) << result.out;
  const Words names = {"report",
                       "report/screening.csv",
                       "report/screening.html",
                       "report/screening.json",
                       "report/screening.xlsx",
                       "report/screening_bins.csv"};
  EXPECT_EQ(folder.Names(), names);
  const Json json = Json::parse(ReadFile(folder.Path() / "report/screening.json"));
  const std::string html = ReadFile(folder.Path() / "report/screening.html");
  const std::string start = "<script type=\"application/json\" id=\"data\">";
  const std::size_t begin = html.find(start) + start.size();
  const Json sections = Json::parse(html.substr(begin, html.find("</script>", begin) - begin))["sections"];
  for (std::size_t response = 0; response < 2; ++response) {
    EXPECT_EQ(sections[response]["parts"][1]["panels"].size(), 2u) << "panels of the two best";
  }
  std::size_t bins = 0;
  for (const Json& response : json["responses"]) {
    for (const Json& predictor : response["predictors"]) bins += predictor["rows"].size();
  }
  const std::string csv = ReadFile(folder.Path() / "report/screening_bins.csv");
  EXPECT_EQ(static_cast<std::size_t>(std::count(csv.begin(), csv.end(), '\n')), bins + 1);
  const std::string importance = ReadFile(folder.Path() / "report/screening.csv");
  EXPECT_EQ(std::count(importance.begin(), importance.end(), '\n'), 1 + 2 * 18);
}

TEST(Screen, FailedPredictorsAreNamedWithTheReason) {
  const Words options = {"--classic",    "--categorical-response", "school_type",
                         "--predictors", "class_size_k3",          "enrolled"};
  const ProcessResult text = RunVelmora(Command(Sample("schools.csv"), options));
  EXPECT_EQ(text.exitCode, 0) << text.err;
  EXPECT_NE(text.out.find("Not binned: class_size_k3 (No split"), std::string::npos) << text.out;
  const Json json = JsonOf(Sample("schools.csv"), options);
  ASSERT_EQ(json["responses"][0]["failed"].size(), 1u);
  EXPECT_EQ(json["responses"][0]["failed"][0]["name"], "class_size_k3");
  EXPECT_EQ(json["responses"][0]["order"], Json{"enrolled"});
}

TEST(Screen, HelpAndOptionsAgree) { ExpectPageAndOptionsAgree("screen", 20); }

TEST(Screen, SaysWhatIsWrong) {
  const Words label = {"--binary-response", "label", "--good", "good", "--bad", "Bad risk"};
  struct Row {
    const char* name;
    Words options;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"no response", {}, 2, {"--binary-response", "--continuous-response"}},
      {"unknown response", {"--continuous-response", "yy"}, 2, {"--continuous-response", "yy"}},
      {"no codes", {"--binary-response", "flag"}, 2, {"--good", "--bad", "flag", "0 and 1"}},
      {"one code", {"--binary-response", "label", "--bad", "good"}, 2, {"--good", "Bad risk and good"}},
      {"unknown code",
       {"--binary-response", "label", "--good", "god", "--bad", "Bad risk"},
       2,
       {"--good", "god", "label", "Bad risk and good", "did you mean good"}},
      {"a table's own code", {"--binary-response", "label", "--good", "2", "--bad", "1"}, 2, {"--good: 2"}},
      {"code not selected", With(label, {"--select", "flag = 0"}), 1, {"label", "one value, good"}},
      {"identical codes",
       {"--binary-response", "frac", "--good", "0.5", "--bad", "0.50"},
       2,
       {"--good", "--bad", "0.5"}},
      {"codes for nothing", {"--good", "1", "--continuous-response", "y"}, 2, {"--good", "--binary"}},
      {"constant response", {"--continuous-response", "zero"}, 1, {"zero", "one value"}},
      {"empty response", {"--categorical-response", "empty"}, 1, {"empty", "no value"}},
      {"text response", {"--continuous-response", "label"}, 2, {"--continuous-response", "label", "texts"}},
      {"response as predictor", With(label, {"--predictors", "label", "x"}), 2, {"--predictors", "label"}},
      {"one level",
       With(label, {"--predictors", "one", "x"}),
       2,
       {"--predictors", "one", "one level in the cases used, same"}},
      {"nothing varies", With(label, {"--predictors", "on*", "empty"}), 1, {"No predictor"}},
      {"zero weights", With(label, {"--weight", "zero"}), 1, {"zero"}},
      {"selects nothing", With(label, {"--select", "x > 1000"}), 1, {"none of the 90 cases"}},
      {"wrong expression", With(label, {"--exclude", "x >"}), 2, {"--exclude"}},
      {"sort choice", With(label, {"--sort-binary", "woe"}), 2, {"--sort-binary", "gini or iv", "woe"}},
      {"best", With(label, {"--best", "-1"}), 2, {"--best"}},
      {"twice", With(label, {"--good", "good"}), 2, {"--good", "more than once"}},
      {"no file of cuts", With(label, {"--cut-points", "none.json"}), 1, {"none.json"}},
      {"a folder of cuts", With(label, {"--cut-points", "."}), 1, {". cannot be read"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    folder.Write("a.csv", OddTable());
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(Command("a.csv", row.options), options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"a.csv"});
  }
}

TEST(Screen, WrongCutPointsAreNamed) {
  const struct {
    const char* name;
    const char* content;
    std::vector<std::string> said;
  } rows[] = {
      {"no JSON", "{\"x\": [1,}", {"is not valid JSON", "column 10"}},
      {"no object", "[1]", {"object"}},
      {"unknown variable", "{\"xx\": [1]}", {"xx"}},
      {"twice", "{\"x\": [1], \"x\": [2]}", {"x twice"}},
      {"twice by number", "{\"x\": [1], \"v5\": [2]}", {"x twice"}},
      {"text as a cut point", "{\"x\": [\"1\"]}", {"x", "continuous", "--categorical"}},
      {"numbers for categories", "{\"g\": [1, 2]}", {"g", "categorical", "--continuous"}},
      {"empty list", "{\"x\": []}", {"x"}},
      {"empty group", "{\"g\": [[\"a\"], []]}", {"g"}},
      {"no level", "{\"g\": [[null]]}", {"g", "neither"}},
      {"beyond all numbers", "{\"x\": [1e999]}", {"1e999"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    const std::string data = folder.Write("a.csv", OddTable());
    const std::string cuts = folder.Write("cuts.json", row.content);
    const ProcessResult result = RunVelmora(
        Command(data, {"--binary-response", "flag", "--good", "0", "--bad", "1", "--cut-points", cuts}));
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("cuts.json"), std::string::npos) << result.err;
    ExpectSaid(result, row.said);
  }
}

// Results, saved bins and messages, in their order, whatever the threads do.
TEST(Screen, ThreadsChangeNothing) {
  const TemporaryFolder folder;
  std::string csv = "risk,size,kind";
  for (int j = 0; j < 9; ++j) csv += ",x" + std::to_string(j) + ",k" + std::to_string(j);
  csv += "\n";
  for (int i = 0; i < 400; ++i) {
    const int mixed = i * 7919 % 397;
    csv += (mixed * 3 % 10 < 4 ? "bad," : "good,") + std::to_string(mixed % 50) + "," +
           std::string(1, static_cast<char>('a' + mixed % 3));
    for (int j = 0; j < 9; ++j) {
      const int value = (mixed * (j + 2) + i * j) % (30 + 10 * j);
      csv += "," + (value % 11 == 3 ? std::string() : std::to_string(value)) + ",l" +
             std::to_string(value % (j + 1));
    }
    csv += "\n";
  }
  folder.Write("data.csv", csv);
  folder.Write("cuts.json", R"({"x1": [5, 5, 9999], "x2": [5, 5], "x3": [7, 7], "x4": [1, 1, 20]})");
  const Words three = {
      "--binary-response",      "risk", "--good", "good", "--bad", "bad", "--continuous-response", "size",
      "--categorical-response", "kind"};
  struct Row {
    const char* name;
    Words options;
  };
  const Row rows[] = {{"optimal bins", {}},
                      {"a weight, the user's cuts", {"--weight", "x0", "--cut-points", "cuts.json"}},
                      {"trees", {"--binning", "tree"}},
                      {"dialogs, an exclusion", {"--classic", "--exclude", "x5 > 20"}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto run = [&](const char* threads) {
      ProcessOptions inFolder;
      inFolder.folder = folder.Path();
      const ProcessResult done =
          RunVelmora(With(With(Command("data.csv", three), row.options),
                          {"--format", "json", "--bins", "bins.json", "--threads", threads}),
                     inFolder);
      EXPECT_EQ(done.exitCode, 0) << done.err;
      Json result = Json::parse(done.out);
      result["run"].erase("provenance");
      const std::string bins = ReadFile(folder.Path() / "bins.json");
      std::filesystem::remove(folder.Path() / "bins.json");
      return result.dump() + bins + done.err;
    };
    const std::string alone = run("1");
    for (const char* threads : {"2", "8"}) EXPECT_TRUE(run(threads) == alone) << threads << " threads";
  }
}

TEST(Screen, CtrlCEndsWithNothingWritten) { ExpectStopsOnCtrlC("screen", {"--continuous-response", "y"}); }

}  // namespace
}  // namespace velmora::testing
