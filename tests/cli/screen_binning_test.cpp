// velmora screen's optimal bins, from the command line to the figures: honest about noise, in the
// shape asked for, and with --classic the run that the dialogs make.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <set>

#include "tests/cli/command_checks.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

const Words kRisk = {"--binary-response", "risk", "--good", "good", "--bad", "bad"};

Json ResponseOf(const std::string& data, const Words& options) {
  const Json json = JsonFrom(With({"screen", data}, options));
  return json.is_object() ? json["responses"][0] : Json::object();
}

// A response, columns of noise of several kinds, and one predictor that matters.
std::string NoiseTable(int cases, int columns) {
  std::mt19937 random(5);
  std::normal_distribution<double> normal;
  std::lognormal_distribution<double> weight;
  std::string csv = "y,amount,w,strong";
  for (int c = 0; c < columns; ++c) csv += ",n" + std::to_string(c);
  csv += "\n";
  for (int i = 0; i < cases; ++i) {
    const bool bad = random() % 4 == 0;
    csv += std::string(bad ? "bad" : "good") + "," + std::to_string(normal(random)) + "," +
           std::to_string(weight(random)) + "," + std::to_string(normal(random) + (bad ? 1 : 0));
    for (int c = 0; c < columns; ++c) {
      const bool levels = c % 2 == 1;
      csv += ",";
      // A third is missing, of good and bad cases alike.
      if (c % 5 == 4 && random() % 3 == 0) continue;
      csv += levels ? "L" + std::to_string(random() % 40) : std::to_string(normal(random));
    }
    csv += "\n";
  }
  return csv;
}

TEST(ScreenBinning, NoiseIsNoBetterThanChance) {
  const TemporaryFolder folder;
  constexpr int kColumns = 300;
  const std::string data = folder.Write("noise.csv", NoiseTable(700, kColumns));
  const Words flag = {"--binary-response", "y", "--good", "good", "--bad", "bad"};
  struct Row {
    const char* name;
    Words options;
    const char* member;
  };
  const Row rows[] = {
      {"flag", flag, "outOfFoldInformationValue"},
      {"flag, missing values a bin", With(flag, {"--missing-bin", "own"}), "outOfFoldInformationValue"},
      {"flag, weighted", With(flag, {"--weight", "w"}), "outOfFoldInformationValue"},
      {"measured", {"--continuous-response", "amount"}, "outOfFoldExplained"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Json response = ResponseOf(data, With(row.options, {"--predictors", "n*", "strong"}));
    ASSERT_EQ(response["predictors"].size(), kColumns + 1u);
    int above = 0;
    for (const Json& predictor : response["predictors"]) {
      if (predictor["name"] == "strong") continue;
      above += predictor["noBetterThanChance"] == false ? 1 : 0;
      EXPECT_LT(predictor[row.member].get<double>(), 0.3) << predictor["name"];
    }
    EXPECT_LE(above, kColumns / 100);
    if (std::string(row.name).starts_with("flag")) {
      EXPECT_EQ(response["order"][0], "strong");
      EXPECT_GT(response["predictors"][0]["outOfFoldInformationValue"].get<double>(), 0.3);
    }
  }
}

// The best of many columns of noise over few cases is not a strong predictor: no second bin is
// found in it, neither in all cases nor in those of nine folds.
TEST(ScreenBinning, TheBestOfManyNoiseColumnsIsNotStrong) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("noise.csv", NoiseTable(200, 600));
  for (const Words& weight : {Words{}, Words{"--weight", "w"}}) {
    const Words run = {"--binary-response", "y", "--good", "good", "--bad", "bad", "--predictors", "n*"};
    int above = 0;
    for (const Json& predictor : ResponseOf(data, With(run, weight))["predictors"]) {
      above += predictor["noBetterThanChance"] == false ? 1 : 0;
      EXPECT_LT(predictor["outOfFoldInformationValue"].get<double>(), 0.3) << predictor["name"];
    }
    EXPECT_LE(above, 1);
  }
}

// Predictors no better than chance are neither shown as best nor saved, unless asked for.
TEST(ScreenBinning, ChanceIsNotSaved) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("noise.csv", NoiseTable(400, 10));
  const Words words = {"screen", data, "--binary-response", "y",       "--good", "good", "--bad", "bad",
                       "--bins", "",   "--format",          "terminal"};
  const auto saved = [&](const Words& more) {
    Words all = With(words, more);
    all[9] = (folder.Path() / "bins.json").string();
    const ProcessResult result = RunVelmora(all);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("No better than chance: "), std::string::npos) << result.out;
    return Json::parse(ReadFile(folder.Path() / "bins.json"))["responses"][0]["predictors"].size();
  };
  EXPECT_LE(saved({}), 2u);
  EXPECT_EQ(saved({"--save-chance"}), 10u);
  Words onlyNoise = With(words, {"--predictors", "n0"});
  onlyNoise[9] = (folder.Path() / "none.json").string();
  const ProcessResult none = RunVelmora(onlyNoise);
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_NE(none.err.find("--save-chance"), std::string::npos) << none.err;
}

TEST(ScreenBinning, ConstraintsHold) {
  enum Check { kMonotone, kDescending, kPeak, kCount, kShare, kEvents, kCases, kAdjacent, kMost };
  const TemporaryFolder folder;
  const std::string shapes = folder.Write("shapes.json", R"({"*": "descending", "amount": "valley"})");
  struct Row {
    const char* name;
    Words options;
    Check check;
  };
  const ProcessResult unmet =
      RunVelmora(With({"screen", Sample("german_credit.csv"), "--bin-count", "4", "--quiet", "--predictors",
                       "telephone", "amount", "--format", "json"},
                      kRisk));
  EXPECT_EQ(
      Json::parse(unmet.out)["run"]["notices"],
      Json{
          "--bin-count 4: 1 predictor has another number of bins for risk, because their values or the other "
          "rules allow no more: telephone (2)."});
  // Each is reported on the terminal, too.
  const struct {
    Words options;
    const char* sentence;
  } said[] = {{{"--bin-count", "8", "--min-bin-events", "60"}, "--bin-count 8: 2 predictors have another"},
              {{"--min-bin-events", "151"},
               "--min-bin-events 151 allows no second bin of 2 of 2 predictors for risk; 150 or less does."},
              {{"--min-bin-cases", "501"},
               "--min-bin-cases 501 allows no second bin of 2 of 2 predictors for risk; 500 or less does."}};
  for (const auto& row : said) {
    const ProcessResult result = RunVelmora(With(
        {"screen", Sample("german_credit.csv"), "--predictors", "age", "amount"}, With(kRisk, row.options)));
    EXPECT_NE(result.err.find(row.sentence), std::string::npos) << result.err;
  }
  const Row rows[] = {
      {"monotone", {"--shape", "monotone", "--bin-count", "4"}, kMonotone},
      {"descending", {"--shape", "descending", "--min-bins", "2"}, kDescending},
      {"peak of one predictor", {"--shape", "free", "--shape", "amount=peak", "--bin-count", "5"}, kPeak},
      {"shapes of a file",
       {"--shapes", shapes, "--shape", "amount=descending", "--min-bins", "2"},
       kDescending},
      {"number of bins", {"--bin-count", "5"}, kCount},
      {"cases", {"--min-bins", "3", "--min-bin-cases", "170"}, kCases},
      {"neighbours differ", {"--max-adjacent-p", "0.001"}, kAdjacent},
      {"share", {"--min-bins", "3", "--min-bin-share", "0.2"}, kShare},
      {"events", {"--min-bins", "3", "--min-bin-events", "40"}, kEvents},
      {"most", {"--min-bins", "2", "--max-bins", "2", "--criterion", "iv"}, kMost},
  };
  for (const Row& row : rows) {
    const Json response =
        ResponseOf(Sample("german_credit.csv"),
                   With(kRisk, With(row.options, {"--predictors", "amount", "duration_months", "age"})));
    ASSERT_EQ(response["predictors"].size(), 3u) << row.name;
    for (const Json& predictor : response["predictors"]) {
      SCOPED_TRACE(std::string(row.name) + ", " + predictor["name"].get<std::string>());
      std::vector<double> rates;
      for (const Json& bin : predictor["rows"]) {
        rates.push_back(bin["badRateRow"]);
        if (row.check == kShare) {
          EXPECT_GE(bin["total"].get<double>(), 200);
        }
        if (row.check == kCases) {
          EXPECT_GE(bin["total"].get<double>(), 170);
        }
        if (row.check == kEvents) {
          EXPECT_GE(std::min(bin["bad"].get<double>(), bin["good"].get<double>()), 40);
        }
      }
      int rises = 0, falls = 0;
      for (std::size_t i = 1; i < rates.size(); ++i) ++(rates[i] > rates[i - 1] ? rises : falls);
      if (row.check == kMonotone) {
        EXPECT_TRUE(rises == 0 || falls == 0);
      }
      if (row.check == kDescending) {
        EXPECT_EQ(rises, 0);
      }
      if (row.check == kMonotone || row.check == kMost) {
        EXPECT_GE(rates.size(), 2u);
      }
      if (row.check == kMost) {
        EXPECT_EQ(rates.size(), 2u);
      }
      if (row.check == kCount) {
        EXPECT_EQ(rates.size(), 5u);
      }
      for (std::size_t i = 1; row.check == kAdjacent && i < rates.size(); ++i) {
        const auto count = [&](std::size_t bin, const char* of) {
          return predictor["rows"][bin][of].get<double>();
        };
        const double n = count(i - 1, "total"), m = count(i, "total");
        const double bads = count(i - 1, "bad") + count(i, "bad"), all = n + m;
        const double distance = rates[i] - rates[i - 1];
        EXPECT_GE(distance * distance * all * n * m / (bads * (all - bads)),
                  10.82);  // Chi-square at p = 0.001
      }
      if (row.check == kPeak && predictor["name"] == "amount") {
        EXPECT_TRUE(std::is_sorted(rates.begin(), std::max_element(rates.begin(), rates.end())));
        EXPECT_TRUE(
            std::is_sorted(std::max_element(rates.begin(), rates.end()), rates.end(), std::greater<>()));
      }
    }
  }
}

TEST(ScreenBinning, WholeNumbersKeepTheirOrder) {
  const auto kindOf = [](const Words& more) {
    const Json response =
        ResponseOf(Sample("german_credit.csv"),
                   With(kRisk, With({"--bin-count", "2", "--predictors", "instalment_rate"}, more)));
    return response["predictors"][0]["kind"].get<std::string>();
  };
  EXPECT_EQ(kindOf({}), "continuous");
  EXPECT_EQ(kindOf({"--nominal", "instalment_rate"}), "categorical");
  EXPECT_EQ(kindOf({"--categorical", "instalment_rate"}), "categorical");
  EXPECT_EQ(kindOf({"--categorical", "instalment_rate", "--ordinal", "instalment_rate"}), "continuous");
}

// Cases without the predictor in a bin of their own, in one of the others, or in none.
TEST(ScreenBinning, MissingValuesGoWhereTheyAreSent) {
  std::string csv = "y,x\n";
  for (int i = 0; i < 600; ++i) {
    const bool isMissing = i % 6 == 0;
    const int x = i % 100;
    // Missing cases are bad in two of three cases, like those of the highest values.
    const bool bad = isMissing ? i % 18 != 0 : x >= 50 ? i % 3 != 0 : i % 10 == 1;
    csv += std::string(bad ? "1" : "0") + "," + (isMissing ? "" : std::to_string(x) + ".5") + "\n";
  }
  const TemporaryFolder folder;
  const std::string data = folder.Write("missing.csv", csv);
  const Words options = {"--binary-response", "y", "--good", "0", "--bad", "1", "--bin-count", "2"};
  struct Row {
    const char* place;
    std::vector<double> totals;
    Json bin;
  };
  const Row rows[] = {{"drop", {250, 250}, nullptr},
                      {"own", {250, 250, 100}, 2},
                      {"lowest", {350, 250}, 0},
                      {"highest", {250, 350}, 1},
                      {"most-alike", {250, 350}, 1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.place);
    const Json predictor = ResponseOf(data, With(options, {"--missing-bin", row.place}))["predictors"][0];
    std::vector<double> totals;
    double information = 0;
    for (const Json& bin : predictor["rows"]) {
      totals.push_back(bin["total"]);
      information += bin["informationValue"].get<double>();
    }
    EXPECT_EQ(totals, row.totals);
    EXPECT_EQ(predictor["missingBin"], row.bin);
    EXPECT_EQ(predictor["validN"], 500);
    EXPECT_NEAR(information, predictor["informationValue"].get<double>(), 1e-12);
    EXPECT_EQ(predictor["labels"].back() == "Missing", std::string(row.place) == "own");
    if (row.bin.is_null() || std::string(row.place) == "own") continue;
    // Bins that are given say where missing values are, and all figures of the bins follow.
    const std::string saved = (folder.Path() / "bins.json").string();
    const Words save = {"screen",        data,     "--quiet", "--bins", saved, "--save-chance",
                        "--missing-bin", row.place};
    ASSERT_EQ(RunVelmora(With(save, options)).exitCode, 0);
    Json first;
    for (const char* other : {"own", "lowest", "highest", "most-alike"}) {
      const Json given = ResponseOf(data, {"--binary-response", "y", "--good", "0", "--bad", "1",
                                           "--cut-points", saved, "--missing-bin", other})["predictors"][0];
      EXPECT_EQ(given["missingBin"], row.bin) << other;
      if (first.is_null()) first = given;
      for (const char* figure : {"outOfFoldInformationValue", "outOfFoldGini", "outOfFoldExplained"})
        EXPECT_EQ(given[figure], first[figure]) << other << " " << figure;
    }
  }
}

// A predictor that is mostly missing is judged on all cases, so it does not win
// by leaving out the others.
TEST(ScreenBinning, MissingnessDoesNotDecideTheRank) {
  std::mt19937 random(3);
  std::normal_distribution<double> normal;
  std::string csv = "y,part,strong\n";
  for (int i = 0; i < 2000; ++i) {
    const bool bad = i % 4 == 0;
    const bool known = bad ? random() % 10 == 0 : random() % 10 < 8;
    csv += std::string(bad ? "bad" : "good") + "," + (known ? std::to_string(normal(random)) : "") + "," +
           std::to_string(normal(random) + (bad ? 1.2 : 0)) + "\n";
  }
  const TemporaryFolder folder;
  const std::string data = folder.Write("part.csv", csv);
  const Words flag = {"--binary-response", "y", "--good", "good", "--bad", "bad", "--missing-bin", "drop"};
  EXPECT_EQ(ResponseOf(data, With(flag, {}))["order"][0], "strong");
  EXPECT_EQ(ResponseOf(data, With(flag, {"--min-bins", "3"}))["order"][0], "strong");
}

TEST(ScreenBinning, PureBinsHaveAWeightOfEvidence) {
  std::string csv = "y,g\n";
  for (int i = 0; i < 300; ++i)
    csv += std::string(i % 3 == 0 && i >= 100 ? "bad" : "good") + "," + (i < 100 ? "A" : "B") + "\n";
  const TemporaryFolder folder;
  const std::string data = folder.Write("pure.csv", csv);
  const Words flag = {"--binary-response", "y", "--good", "good", "--bad", "bad"};
  const Json corrected = ResponseOf(data, flag)["predictors"][0];
  const Json raw = ResponseOf(data, With(flag, {"--pure-bin-correction", "off"}))["predictors"][0];
  double value = 0;
  int pure = 0;
  for (std::size_t i = 0; i < 2; ++i) {
    const Json& bin = corrected["rows"][i];
    const double half = bin["bad"] == 0 ? 0.5 : 0;
    const double bads = 66, goods = 234;  // bad: i = 102, 105 ... 297
    const double bad = bin["bad"].get<double>(), good = bin["good"].get<double>();
    const double woe = 100 * std::log(((good + half) / goods) / ((bad + half) / bads));
    EXPECT_NEAR(bin["woe"].get<double>(), woe, 1e-9);
    value += (good / goods - bad / bads) * woe / 100;
    if (half > 0) {
      ++pure;
      EXPECT_TRUE(raw["rows"][i]["woe"].is_null());
    } else {
      EXPECT_NEAR(raw["rows"][i]["woe"].get<double>(), woe, 1e-9);
    }
  }
  EXPECT_EQ(pure, 1);
  EXPECT_NEAR(corrected["informationValue"].get<double>(), value, 1e-9);
}

// The script that --print-script prints runs through the dialogs' automation.
TEST(ScreenBinning, ClassicIsTheRunOfTheDialogs) {
  struct Row {
    const char* file;
    Words options;
  };
  const Row rows[] = {
      {"german_credit.csv", With(kRisk, {"--continuous-response", "amount"})},
      {"schools.csv",
       {"--categorical-response", "school_type", "--weight", "weight", "--exclude", "v3 > 90"}},
  };
  for (const Row& row : rows) {
    const TemporaryFolder folder;
    const Words words = With({"screen", Sample(row.file), "--classic", "--format", "json"}, row.options);
    const ProcessResult direct = RunVelmora(words);
    ASSERT_EQ(direct.exitCode, 0) << direct.err;
    const ProcessResult script = RunVelmora(With(words, {"--print-script"}));
    ASSERT_EQ(script.exitCode, 0) << script.err;
    const ProcessResult repeated = RunVelmora({"run", folder.Write("again.py", script.out)});
    ASSERT_EQ(repeated.exitCode, 0) << repeated.err;
    const Json one = Json::parse(direct.out), other = Json::parse(repeated.out);
    EXPECT_EQ(one["responses"], other["responses"]) << row.file;
    EXPECT_EQ(one["run"]["classic"], true);
  }
}

// Not only "no better than chance": the shape is what leaves one bin.
TEST(ScreenBinning, ShapesThatPredictorsDoNotHaveAreNamedWithTheBestOther) {
  const Words words = With(
      {"screen", Sample("german_credit.csv"), "--format", "json", "--predictors", "duration_months", "job"},
      kRisk);
  for (const auto& [shape, said] :
       {std::pair("descending",
                  "--shape descending: no bins of this shape describe risk better than one bin does; bins of "
                  "another shape do: duration_months (ascending)."),
        std::pair("ascending", "")}) {
    const ProcessResult result = RunVelmora(With(words, {"--shape", shape}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string notices = Json::parse(result.out)["run"]["notices"].dump();
    EXPECT_EQ(notices.find("--shape") != std::string::npos, *said != 0) << notices;
    EXPECT_NE(notices.find(said), std::string::npos) << notices;
  }
}

TEST(ScreenBinning, WrongOptionsAreNamed) {
  const struct {
    Words options;
    const char* sentence;
  } rows[] = {
      {With(kRisk, {"--classic", "--max-bins", "4"}), "takes no --max-bins"},
      {With(kRisk, {"--binning", "tree", "--shape", "peak"}), "leave out --binning tree"},
      {With(kRisk, {"--bin-count", "8", "--min-bin-share", "0.2"}), "8 bins cannot each hold"},
      {With(kRisk, {"--min-bins", "9"}), "is more than --max-bins 8"},
      {With(kRisk, {"--bin-count", "3", "--max-bins", "4"}), "leave out --max-bins"},
      {With(kRisk, {"--bin-count", "30", "--pre-bins", "20", "--min-bin-share", "0"}), "raise --pre-bins"},
      {With(kRisk, {"--shape", "round"}), "--shape takes free, monotone"},
      {With(kRisk, {"--shape", "nobody=peak"}), "nobody"},
      {With(kRisk, {"--shape", "age=peak", "--predictors", "amount"}), "age is not a predictor"},
      {With(kRisk, {"--criterion", "variance"}), "needs a --continuous-response"},
      {With(kRisk, {"--min-bin-share", "5"}), "a share from 0 to 1"},
      {With(kRisk, {"--min-bin-share", "0.6"}), "no predictor a second bin; 0.5 or less does"},
      {With(kRisk, {"--ordinal", "housing"}), "housing holds texts"},
      {With(kRisk, {"--print-script"}), "add --classic"},
      {{"--categorical-response", "risk", "--shape", "monotone"}, "needs a --binary-response or"},
  };
  for (const auto& row : rows) {
    const ProcessResult result = RunVelmora(With({"screen", Sample("german_credit.csv")}, row.options));
    EXPECT_EQ(result.exitCode, 2) << row.sentence << "\n" << result.err;
    EXPECT_NE(result.err.find(row.sentence), std::string::npos) << result.err;
  }
}

}  // namespace
}  // namespace velmora::testing
