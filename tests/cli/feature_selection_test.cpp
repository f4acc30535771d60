// velmora feature-selection as a process: figures against independent ones, options, outputs,
// cancellation.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

Words Command(const std::string& data, const Words& rest) { return With({"feature-selection", data}, rest); }

Json JsonOf(const std::string& data, const Words& rest) { return JsonFrom(Command(data, rest)); }

const Json& Predictor(const Json& result, const std::string& name) {
  return Named(result["dependents"][0]["predictors"], name);
}

// Figures of a plain script over the same files: Pearson's Chi-square, Cramer's V, the one-way F.
TEST(FeatureSelection, FiguresAreThoseOfAnIndependentScript) {
  struct Row {
    const char* name;
    const char* file;
    Words options;
    const char* predictor;
    double statistic;
  };
  const Row rows[] = {
      {"Cramer's V", "german_credit.csv", {"--dependents", "risk"}, "checking_account", 0.3517398804745711},
      {"V of five", "german_credit.csv", {"--dependents", "risk"}, "credit_history", 0.24837752910558458},
      {"V of ten", "german_credit.csv", {"--dependents", "v1"}, "purpose", 0.18263747386946128},
      {"Chi-square",
       "german_credit.csv",
       {"--dependents", "risk", "--chi-square"},
       "savings",
       36.0989281924187},
      {"F", "house_prices.csv", {"--dependents", "price", "--classic"}, "aircon", 140.7272760953794},
      {"F of another", "house_prices.csv", {"--dependents", "pri*"}, "prefer", 66.06374758329153},
      {"count",
       "housing_satisfaction.csv",
       {"--dependents", "satisfaction", "--count", "residents", "--chi-square"},
       "influence",
       106.17505854118271},
      {"count as weight",
       "housing_satisfaction.csv",
       {"--dependents", "satisfaction", "--weight", "residents", "--raw-weights"},
       "dwelling",
       0.1339088299437407},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Json result = JsonOf(Sample(row.file), row.options);
    ASSERT_TRUE(result.is_object());
    EXPECT_NEAR(Predictor(result, row.predictor)["statistic"].get<double>() / row.statistic, 1, 1e-12);
  }
}

TEST(FeatureSelection, TakesTheRestAsPredictorsAndRanksThem) {
  const Json result = JsonOf(Sample("german_credit.csv"), {"--dependents", "risk"});
  const Json& dependent = result["dependents"][0];
  EXPECT_EQ(dependent["predictors"].size(), 20u);
  EXPECT_EQ(dependent["best"].size(), 10u);
  EXPECT_EQ(dependent["best"][0], "checking_account");
  double last = 2;
  for (const Json& name : dependent["best"]) {
    const double effect = Predictor(result, name.get<std::string>())["effect"];
    EXPECT_LE(effect, last);
    last = effect;
  }
  EXPECT_EQ(result["run"]["validCases"], 1000);
}

// Every option, checked by the settings that the module reports or by the results.
TEST(FeatureSelection, OptionsReachTheRun) {
  struct Row {
    const char* name;
    Words options;
    const char* member;
    Json expected;
  };
  const Row rows[] = {
      {"cuts", {"--cuts", "3"}, "cuts", 3},
      {"one cut", {"--cuts", "1"}, "cuts", 1},
      {"dependent cuts", {"--cut-dependents", "--dependent-cuts", "4"}, "dependentCuts", 4},
      {"cut dependents", {"--cut-dependents"}, "cutDependents", true},
      {"casewise", {"--casewise"}, "casewiseDeletion", true},
      {"chi-square", {"--chi-square"}, "categoricalStatistic", "Chi-square"},
      {"weight", {"--weight", "weight"}, "weightVariable", "weight"},
      {"weighted total", {"--weight", "weight"}, "totalWeight", 6194.0},
      {"rounded", {"--weight", "weight", "--round-weights", "--classic"}, "totalWeight", 6150.0},
      {"raw weights", {"--weight", "weight", "--raw-weights"}, "classic", true},
      {"rank by", {"--rank-by", "p"}, "rankBy", "p"},
      {"adjust", {"--adjust", "holm"}, "adjust", "holm"},
      {"adjust across", {"--adjust-across"}, "adjustAcross", true},
      {"alpha", {"--alpha", "0.2"}, "alpha", 0.2},
      {"exact", {"--exact", "--cut-dependents"}, "exactReplicates", 9999},
      {"seed", {"--exact", "--cut-dependents", "--seed", "7"}, "seed", 7},
      {"strata", {"--strata", "school_type"}, "strataVariable", "school_type"},
      {"clusters", {"--clusters", "county"}, "clusterVariable", "county"},
      {"intervals", {"--intervals", "equal-width"}, "intervals", "equal-width"},
      {"tree", {"--intervals", "tree"}, "intervals", "tree"},
      {"select", {"--select", "enrolled > 500"}, "excludedCases", Json()},
      {"exclude", {"--exclude", "school_type = \"high\""}, "excludedCases", 50},
      {"display", {"--show", "p", "--p-criterion", "0.2"}, "pCriterion", 0.2},
      {"by p", {"--show", "best-by-p", "--best-by-p", "3"}, "show", "best-by-p"},
      {"file last", {"--best", "2"}, "best", 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Words options = {"--dependents", "api2000"};
    options.insert(options.end(), row.options.begin(), row.options.end());
    const Json result = JsonOf(Sample("schools.csv"), options);
    ASSERT_TRUE(result.is_object());
    const Json& value = result["run"][row.member];
    if (row.expected.is_null()) {
      EXPECT_GT(value.get<int>(), 0);
    } else if (row.expected.is_number_float()) {
      EXPECT_NEAR(value.get<double>() / row.expected.get<double>(), 1, 1e-3) << value;
    } else {
      EXPECT_EQ(value, row.expected);
    }
  }
}

TEST(FeatureSelection, NamesWhatItLeavesOut) {
  const TemporaryFolder folder;
  std::string csv = "id,same,empty,day,x,g,y\n";
  for (int i = 0; i < 60; ++i) {
    csv += std::to_string(1000 + i) + ",7,,2024-01-" + (i % 28 < 9 ? "0" : "") + std::to_string(i % 28 + 1) +
           "," + std::to_string((i * 37) % 60 / 3.0) + "," + (i % 3 ? "a" : "b") + "," +
           (i % 2 ? "yes" : "no") + "\n";
  }
  const std::string data = folder.Write("a.csv", csv);
  const ProcessResult result = RunVelmora(Command(data, {"--dependents", "y", "--format", "json"}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Json json = Json::parse(result.out);
  EXPECT_EQ(json["dependents"][0]["predictors"].size(), 2u);
  std::string leftOut;
  for (const Json& variable : json["run"]["leftOut"]) leftOut += variable["name"].get<std::string>() + " ";
  EXPECT_EQ(leftOut, "id same empty day ");
  for (const char* name : {"id", "same", "empty", "day"}) {
    EXPECT_NE(result.err.find("Not screened: " + std::string(name) + " ("), std::string::npos) << result.err;
  }
}

TEST(FeatureSelection, MeasurementCanBeOverridden) {
  const std::string data = Sample("german_credit.csv");
  const Json asIs = JsonOf(data, {"--dependents", "risk"});
  const Json turned =
      JsonOf(data, {"--dependents", "risk", "--categorical", "age", "--continuous", "instalment_rate"});
  EXPECT_EQ(Predictor(asIs, "age")["kind"], "continuous");
  EXPECT_EQ(Predictor(turned, "age")["kind"], "categorical");
  EXPECT_EQ(Predictor(asIs, "instalment_rate")["kind"], "categorical");
  EXPECT_EQ(Predictor(turned, "instalment_rate")["kind"], "continuous");
}

TEST(FeatureSelection, NamesComeAsListsPatternsAndNumbers) {
  const std::string data = Sample("german_credit.csv");
  const struct {
    const char* name;
    Words words;
  } rows[] = {
      {"words", {data, "--dependents", "risk", "--predictors", "age", "housing", "job"}},
      {"commas", {data, "--dependents", "risk", "--predictors", "age,housing, job"}},
      {"repeated", {data, "--dependents", "risk", "--predictors", "age", "--predictors", "housing,job"}},
      {"numbers", {data, "--dependents", "v1", "--predictors", "v14", "V16", "v18"}},
      {"patterns", {data, "--dependents", "risk", "--predictors", "age", "hous*", "jo?"}},
      {"file last", {"--predictors", "age,housing,job", "--dependents", "risk", data}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Words words = {"feature-selection"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    // The file ends a list only at the very end.
    words.insert(words.begin() + 1, {"--format", "json"});
    const ProcessResult result = RunVelmora(words);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Json predictors = Json::parse(result.out)["dependents"][0]["predictors"];
    ASSERT_EQ(predictors.size(), 3u);
    EXPECT_EQ(predictors[0]["name"], "age");
    EXPECT_EQ(predictors[1]["name"], "housing");
    EXPECT_EQ(predictors[2]["name"], "job");
  }
}

TEST(FeatureSelection, WritesEveryFormatIntoTheFolder) {
  const TemporaryFolder folder;
  const std::string out = (folder.Path() / "new" / "report").string();
  const ProcessResult result = RunVelmora(
      Command(Sample("german_credit.csv"), {"--dependents", "risk", "--out", out, "--save-bundles"}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("checking_account"), std::string::npos);
  const std::vector<std::string> names = folder.Names();
  for (const char* name : {"new/report/feature_selection.csv", "new/report/feature_selection.html",
                           "new/report/feature_selection.json", "new/report/feature_selection.xlsx",
                           "new/report/german_credit_bundles.csv"}) {
    EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
    EXPECT_NE(result.err.find(std::filesystem::path(name).filename().string()), std::string::npos)
        << result.err;
  }
  for (const std::string& name : names) EXPECT_EQ(name.find(".velmora"), std::string::npos) << name;
  const std::string html = ReadFile(out + "/feature_selection.html");
  EXPECT_NE(html.find("checking_account"), std::string::npos);
  EXPECT_EQ(ReadFile(out + "/feature_selection.xlsx").substr(0, 2), "PK");
  EXPECT_TRUE(Json::parse(ReadFile(out + "/feature_selection.json")).is_object());

  const ProcessResult variables =
      RunVelmora({"variables", out + "/german_credit_bundles.csv", "--format", "json"});
  ASSERT_EQ(variables.exitCode, 0) << variables.err;
  const Json bundles = Json::parse(variables.out)["bundles"];
  ASSERT_EQ(bundles.size(), 2u) << variables.out;
  std::size_t bundled = 0;
  for (const Json& bundle : bundles) bundled += bundle["variables"].size();
  EXPECT_EQ(bundled, 10u);
  // A bundle means its variables, but never for the dependent among them.
  const Json again = JsonFrom(Command(
      out + "/german_credit_bundles.csv",
      {"--dependents", "risk", "checking_account", "--predictors", bundles[0]["name"], bundles[1]["name"]}));
  EXPECT_EQ(again["dependents"][0]["predictors"].size(), 9u);
}

// No predictor reaches a criterion this small: programs get empty lists and a flag, and no bundle
// is saved. With casewise deletion and missing values, the cases of each pair are shown.
TEST(FeatureSelection, NoPredictorMeetsTheCriterion) {
  const TemporaryFolder folder;
  std::string csv = "y,a,b\n";
  for (int i = 0; i < 60; ++i) {
    csv += (i % 10 == 3 ? std::string() : std::to_string((i * 7) % 11) + ".5") + "," +
           (i % 6 == 0 ? std::string() : std::to_string((i * 5) % 13) + ".25") + "," +
           std::to_string(i % 2 ? 1 : 2) + "\n";
  }
  const std::string data = folder.Write("a.csv", csv);
  const std::string out = (folder.Path() / "out").string();
  const Words options = {"--dependents", "y", "--show",         "p",      "--p-criterion", "1e-12",
                         "--out",        out, "--save-bundles", "--quiet"};
  const ProcessResult result = RunVelmora(Command(data, options));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("no predictor of 2 has adjusted p <= 1e-12"), std::string::npos) << result.out;
  const Json dependent = Json::parse(ReadFile(out + "/feature_selection.json"))["dependents"][0];
  EXPECT_EQ(dependent["best"], Json::array());
  EXPECT_EQ(dependent["noneMeetsCriterion"], true);
  EXPECT_EQ(dependent["notices"], Json::array());
  EXPECT_EQ(dependent["cases"], 54);
  EXPECT_EQ(dependent["missingCases"], 6);
  const Json bundles = JsonFrom({"variables", out + "/a_bundles.csv"})["bundles"];
  EXPECT_EQ(bundles, Json::array());
  for (const Json& predictor : dependent["predictors"]) {
    int used = 0;
    for (int i = 0; i < 60; ++i) used += i % 10 != 3 && (predictor["name"] == "b" || i % 6 != 0);
    EXPECT_EQ(predictor["cases"], used) << predictor;
    EXPECT_EQ(predictor["missingCases"], 60 - used) << predictor;
    EXPECT_GT(predictor["df1"], 0) << predictor;
  }
}

// Two outcomes with names of 300 characters that differ in the last one; the first follows x, the
// second z.
TEST(FeatureSelection, OutcomesWithLongNamesKeepTheirOwnFigures) {
  const TemporaryFolder folder;
  const std::string stem(299, 'q');
  std::string csv = stem + "1," + stem + "2,x,z\n";
  for (int i = 0; i < 120; ++i) {
    const int x = i % 12, z = (i * 7) % 10;
    csv += std::to_string(5 * x + i % 3) + ".5," + std::to_string(5 * z + i % 4) + ".25," +
           std::to_string(x) + ".5," + std::to_string(z) + ".5\n";
  }
  const std::string out = (folder.Path() / "out").string();
  const ProcessResult result =
      RunVelmora(Command(folder.Write("long.csv", csv), {"--dependents", stem + "1", stem + "2", "--out", out,
                                                         "--rank-by", "p", "--quiet"}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string page = ReadFile(out + "/feature_selection.html");
  const std::string start = "<script type=\"application/json\" id=\"data\">";
  const std::size_t begin = page.find(start) + start.size();
  const Json sections = Json::parse(page.substr(begin, page.find("</script>", begin) - begin))["sections"];
  const Json json = Json::parse(ReadFile(out + "/feature_selection.json"));
  ASSERT_EQ(sections.size(), 2u);
  for (std::size_t d = 0; d < 2; ++d) {
    const Json& dependent = json["dependents"][d];
    EXPECT_EQ(sections[d]["title"], stem + std::to_string(d + 1));
    EXPECT_EQ(dependent["best"], (d == 0 ? Json{"x", "z"} : Json{"z", "x"}));
    const Json& columns = sections[d]["parts"][0]["columns"];
    EXPECT_EQ(columns[1]["texts"], dependent["best"]);
    for (const Json& predictor : dependent["predictors"]) {
      const std::size_t row = predictor["name"] == dependent["best"][0] ? 0 : 1;
      EXPECT_EQ(columns[3]["values"][row], predictor["effect"]);
    }
  }
}

TEST(FeatureSelection, HelpAndOptionsAgree) { ExpectPageAndOptionsAgree("feature-selection", 38); }

TEST(FeatureSelection, SaysWhatIsWrong) {
  struct Row {
    const char* name;
    Words options;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"no dependents", {}, 2, {"--dependents"}},
      {"unknown dependent", {"--dependents", "rsik"}, 2, {"--dependents", "rsik", "risk"}},
      {"unknown predictor", {"--dependents", "y", "--predictors", "aeg"}, 2, {"--predictors", "aeg", "age"}},
      {"unknown pattern", {"--dependents", "y", "--predictors", "zz*"}, 2, {"--predictors", "zz*"}},
      {"both", {"--dependents", "y", "--predictors", "y", "age"}, 2, {"y", "--predictors", "dependent"}},
      {"classic", {"--dependents", "y", "--classic", "--alpha", "0.1"}, 2, {"--alpha", "--classic"}},
      {"exact weights", {"--dependents", "y", "--exact", "--weight", "age"}, 2, {"--exact", "weights"}},
      {"seed alone", {"--dependents", "y", "--seed", "3"}, 2, {"--seed", "--exact"}},
      {"strata", {"--dependents", "y", "--strata", "knd"}, 2, {"--strata", "knd", "kind"}},
      {"rounding",
       {"--dependents", "y", "--weight", "age", "--round-weights"},
       2,
       {"--round-weights", "--classic"}},
      {"script", {"--dependents", "y", "--print-script"}, 2, {"--print-script", "--classic"}},
      {"raw", {"--dependents", "y", "--raw-weights"}, 2, {"--raw-weights", "--weight"}},
      {"cuts 0", {"--dependents", "y", "--cuts", "0"}, 2, {"--cuts", "1 to 20", "0"}},
      {"cuts 21", {"--dependents", "y", "--cuts", "21"}, 2, {"--cuts", "1 to 20", "21"}},
      {"dependent cuts 0",
       {"--dependents", "y", "--dependent-cuts", "0"},
       2,
       {"--dependent-cuts", "1 to 20"}},
      {"dependent cuts 21",
       {"--dependents", "y", "--dependent-cuts", "21"},
       2,
       {"--dependent-cuts", "1 to 20"}},
      {"begun option", {"--dependents", "y", "--cu", "3"}, 2, {"There is no option --cu"}},
      {"cuts no number", {"--dependents", "y", "--cuts", "ten"}, 2, {"--cuts", "ten"}},
      {"criterion 0", {"--dependents", "y", "--p-criterion", "0"}, 2, {"--p-criterion"}},
      {"criterion 1", {"--dependents", "y", "--p-criterion", "1"}, 2, {"--p-criterion"}},
      {"criterion nan", {"--dependents", "y", "--p-criterion", "nan"}, 2, {"--p-criterion"}},
      {"best 0", {"--dependents", "y", "--best", "0"}, 2, {"--best", "10000"}},
      {"show", {"--dependents", "y", "--show", "all"}, 2, {"--show", "best-by-p"}},
      {"unknown weight", {"--dependents", "y", "--weight", "wieght"}, 2, {"--weight", "wieght"}},
      {"text weight", {"--dependents", "y", "--weight", "kind"}, 2, {"--weight", "kind"}},
      {"zero weights", {"--dependents", "y", "--weight", "zero"}, 1, {"zero"}},
      {"empty weights", {"--dependents", "y", "--weight", "empty"}, 1, {"empty"}},
      {"rounding nothing", {"--dependents", "y", "--round-weights"}, 2, {"--round-weights", "--weight"}},
      {"wrong expression", {"--dependents", "y", "--select", "age >"}, 2, {"--select"}},
      {"unknown in expression",
       {"--dependents", "y", "--exclude", "aeg > 3"},
       2,
       {"--exclude", "aeg", "age"}},
      {"selects nothing", {"--dependents", "y", "--select", "age > 1000"}, 1, {"valid cases"}},
      {"two cases", {"--dependents", "y", "--select", "age < 23"}, 1, {"valid cases"}},
      {"several formats", {"--dependents", "y", "--format", "json,csv"}, 2, {"--format", "--out"}},
      {"out is a file", {"--dependents", "y", "--out", "a.csv"}, 1, {"a.csv"}},
      {"out cannot be", {"--dependents", "y", "--out", "a.csv/nowhere"}, 1, {"a.csv"}},
      {"no module", {"--dependents", "y", "--module", "none.so"}, 2, {"--module", "none.so"}},
      {"no such module", {"--dependents", "y", "--classic", "--module", "a.csv"}, 1, {"a.csv"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    std::string csv = "risk,age,kind,zero,empty,y\n";
    for (int i = 0; i < 40; ++i) {
      csv += std::string(i % 3 ? "good" : "bad") + "," + std::to_string(21 + i) + "," + (i % 2 ? "a" : "b") +
             ",0,," + std::to_string(i * i % 17 + 0.5) + "\n";
    }
    folder.Write("a.csv", csv);
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(Command("a.csv", row.options), options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"a.csv"});
  }
}

// To the user, grade = 2 means the text "2"; to the table, it means the second text.
TEST(FeatureSelection, TellsOfTextsComparedWithNumbers) {
  const TemporaryFolder folder;
  std::string csv = "grade,x,y\n";
  for (int i = 0; i < 40; ++i)
    csv +=
        std::string(1, "01A"[i % 3]) + "," + std::to_string(i % 4) + "," + std::to_string(i * i % 17) + "\n";
  const std::string data = folder.Write("a.csv", csv);
  for (const auto& [condition, told] : {std::pair("grade = 1", true), std::pair("grade = '1'", false)}) {
    const ProcessResult result =
        RunVelmora(Command(data, {"--dependents", "y", "--select", condition, "--quiet"}));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err.find("--select compares grade") != std::string::npos, told) << result.err;
  }
}

TEST(FeatureSelection, TellsCasesWithoutWeightFromTheSelection) {
  const TemporaryFolder folder;
  std::string csv = "w,x,y\n";
  for (int i = 0; i < 40; ++i) {
    csv += std::string(i < 3   ? ""
                       : i < 5 ? "0"
                               : "1.5") +
           "," + std::to_string(i % 4) + "," + std::to_string(i * i % 17) + "\n";
  }
  const Json run = JsonOf(folder.Write("a.csv", csv),
                          {"--dependents", "y", "--weight", "w", "--select", "v0 > 1 And v0 < 35"})["run"];
  EXPECT_EQ(run["excludedCases"], 7);
  EXPECT_EQ(run["zeroWeightCases"], 4);
}

// Odd values that are valid data: the run succeeds, with a warning where one is needed.
TEST(FeatureSelection, LivesWithOddColumns) {
  const TemporaryFolder folder;
  std::string csv = "inf,nan,huge,tiny,x,y\n";
  for (int i = 0; i < 40; ++i) {
    csv += std::string(i == 3 ? "inf" : "1.5") + "," + (i % 4 ? "nan" : std::to_string(i + 0.5)) + "," +
           (i % 2 ? "1e308" : "-1e308") + "," + (i % 5 ? "1e-308" : "5e-324") + "," +
           std::to_string(i * 7 % 40 + 0.25) + "," + std::to_string(i * i % 13 + 0.5) + "\n";
  }
  const std::string data = folder.Write("a.csv", csv);
  const ProcessResult result = RunVelmora(Command(
      data, {"--dependents", "y", "huge", "--predictors", "inf", "nan", "tiny", "x", "--format", "json"}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("inf"), std::string::npos) << result.err;
  EXPECT_EQ(Json::parse(result.out)["dependents"].size(), 2u);
}

TEST(FeatureSelection, AReaderThatGoesAwayIsNoFailure) {
  ProcessOptions options;
  options.readerGone = true;
  const ProcessResult result =
      RunVelmora(Command(Sample("german_credit.csv"), {"--dependents", "risk"}), options);
  EXPECT_EQ(result.exitCode, 141);
  EXPECT_EQ(result.err.find("cannot be written"), std::string::npos) << result.err;
}

TEST(FeatureSelection, AFullDiskLeavesNothing) {
  ProcessOptions options;
  options.outputTo = "/dev/full";
  const ProcessResult result =
      RunVelmora(Command(Sample("german_credit.csv"), {"--dependents", "risk"}), options);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("No space left"), std::string::npos) << result.err;
}

TEST(FeatureSelection, CtrlCEndsWithNothingWritten) {
  ExpectStopsOnCtrlC("feature-selection", {"--dependents", "y"});
}

}  // namespace
}  // namespace velmora::testing
