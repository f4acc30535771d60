// The ranking of velmora feature-selection as a process: against the run of the dialogs, under
// other units of the weights, in every output.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

Json JsonOf(const std::string& data, const Words& rest) {
  return JsonFrom(With({"feature-selection", data}, rest));
}

// Two programs for one figure: the module's kernels and the workbench's, on
// data without missing values.
TEST(Ranking, AgreesWithTheRunOfTheDialogs) {
  struct Row {
    const char* file;
    Words options;
  };
  const Row rows[] = {
      {"german_credit.csv", {"--dependents", "risk", "purpose", "amount"}},
      {"german_credit.csv", {"--dependents", "risk", "--chi-square", "--cuts", "4"}},
      {"house_prices.csv", {"--dependents", "price"}},
      {"house_prices.csv", {"--dependents", "price", "--cut-dependents", "--dependent-cuts", "5"}},
      {"vehicle.csv", {"--dependents", "class"}},
      {"housing_satisfaction.csv", {"--dependents", "satisfaction", "--count", "residents"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.file) + ::testing::PrintToString(row.options));
    const Json classic = JsonOf(Sample(row.file), With(row.options, {"--classic"}));
    const Json ranked =
        JsonOf(Sample(row.file), With(row.options, {"--intervals", "equal-width", "--rank-by", "statistic"}));
    ASSERT_EQ(classic["dependents"].size(), ranked["dependents"].size());
    for (std::size_t d = 0; d < classic["dependents"].size(); ++d) {
      EXPECT_EQ(classic["dependents"][d]["best"], ranked["dependents"][d]["best"]);
      const Json& predictors = classic["dependents"][d]["predictors"];
      for (std::size_t p = 0; p < predictors.size(); ++p) {
        const Json &one = predictors[p], &other = ranked["dependents"][d]["predictors"][p];
        for (const char* member : {"name", "number", "kind", "cases", "missingCases", "df1", "df2"})
          EXPECT_EQ(one[member], other[member]) << one << other;
        EXPECT_NEAR(other["statistic"].get<double>() / one["statistic"].get<double>(), 1, 1e-9)
            << one << other;
        // The module forms Chi-square's p as 1 less the lower tail.
        EXPECT_NEAR(other["pValue"].get<double>(), one["pValue"].get<double>(), 1e-10) << one << other;
      }
    }
  }
}

// Every figure except the sum of the weights is the same for weights of any scale.
TEST(Ranking, NoFigureDependsOnTheUnitOfTheWeights) {
  const TemporaryFolder folder;
  const auto data = [&](const char* name, double unit) {
    std::string csv = "w,y,g,x,c\n";
    for (int i = 0; i < 200; ++i) {
      csv += std::to_string((1 + i * 7 % 13) * unit) + "," + std::to_string(i * 31 % 97 + i % 5 * 9) + "," +
             (i * 17 % 23 < 9 + i % 5 ? "a" : "b") + "," + std::to_string(i * 53 % 89 / 7.0) + "," +
             std::string(1, static_cast<char>('p' + i % 5)) + "\n";
    }
    return folder.Write(name, csv);
  };
  const Words options = {"--dependents", "y", "g", "--predictors", "x", "c", "--weight", "w"};
  const Json base = JsonOf(data("one.csv", 1), options);
  for (const double unit : {0.125, 1024.0, 1048576.0}) {
    const Json other = JsonOf(data("other.csv", unit), options);
    for (std::size_t d = 0; d < 2; ++d) {
      for (std::size_t p = 0; p < 2; ++p) {
        const Json& expected = base["dependents"][d]["predictors"][p];
        for (const auto& [member, value] : expected.items()) {
          const Json& found = other["dependents"][d]["predictors"][p][member];
          if (value.is_number_float()) {
            EXPECT_NEAR(found.get<double>(), value.get<double>(),
                        1e-9 * std::fabs(value.get<double>()) + 1e-12)
                << member;
          } else {
            EXPECT_EQ(found, value) << member;
          }
        }
        EXPECT_GT(expected["designEffect"].get<double>(), 0.5);
      }
    }
  }
}

// 40 levels of noise have the larger V and are not among the best; every output says so.
TEST(Ranking, ChanceIsMarkedInEveryOutput) {
  const TemporaryFolder folder;
  std::string csv = "y,noise,weak,z\n";
  std::mt19937 random(1);
  for (int i = 0; i < 400; ++i) {
    csv += std::string(random() % 10 < (i % 2 ? 3 : 5) ? "yes" : "no") + ",level" +
           std::to_string(random() % 80) + "," + (i % 2 ? "a" : "b") + "," + std::to_string(random() % 3) +
           "\n";
  }
  const std::string out = (folder.Path() / "out").string();
  const ProcessResult result =
      RunVelmora({"feature-selection", folder.Write("a.csv", csv), "--dependents", "y", "--predictors",
                  "noise", "weak", "z", "--out", out, "--save-bundles"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("n.s."), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("not distinguishable from chance"), std::string::npos) << result.out;
  const Json dependent = Json::parse(ReadFile(out + "/feature_selection.json"))["dependents"][0];
  EXPECT_EQ(dependent["best"], Json{"weak"});
  const Json &noise = Named(dependent["predictors"], "noise"), &weak = Named(dependent["predictors"], "weak");
  EXPECT_GT(noise["statistic"], weak["statistic"]);
  EXPECT_EQ(noise["betterThanChance"], false);
  EXPECT_EQ(weak["betterThanChance"], true);
  EXPECT_GT(noise["smallExpectedCells"].get<int>(), 0);
  EXPECT_NE(ReadFile(out + "/feature_selection.html").find("n.s."), std::string::npos);
  EXPECT_NE(ReadFile(out + "/feature_selection.csv").find("better_than_chance"), std::string::npos);
  const Json bundles = JsonFrom({"variables", out + "/a_bundles.csv"})["bundles"];
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_EQ(bundles[0]["variables"], Json{3});
}

// Both are below the smallest double; their order and -log10 p tell them apart.
TEST(Ranking, TinyProbabilitiesDoNotTie) {
  const TemporaryFolder folder;
  std::string csv = "y,a,b\n";
  for (int i = 0; i < 4000; ++i) {
    csv += std::string(i % 2 ? "yes" : "no") + "," + (i % 2 != (i % 97 == 0) ? "p" : "q") + "," +
           (i % 2 != (i % 23 == 0) ? "p" : "q") + "\n";
  }
  const Json json = JsonOf(folder.Write("a.csv", csv), {"--dependents", "y", "--show", "best-by-p"});
  const Json& dependent = json["dependents"][0];
  EXPECT_EQ(dependent["best"], (Json{"a", "b"}));
  const Json &a = Named(dependent["predictors"], "a"), &b = Named(dependent["predictors"], "b");
  EXPECT_EQ(a["pValue"], 0);
  EXPECT_EQ(b["pValue"], 0);
  EXPECT_GT(a["minusLog10P"].get<double>(), b["minusLog10P"].get<double>() + 10);
  EXPECT_GT(b["minusLog10P"], 308);
}

// A few cases per cell, a copy of the outcome, a level per case: named in every output
// with what to do about it.
TEST(Ranking, WarnsOfWhatMisleads) {
  const TemporaryFolder folder;
  std::string csv = "y,rare,copy,key,x,number\n";
  for (int i = 0; i < 60; ++i) {
    csv += std::string(i % 2 ? "yes" : "no") + "," +
           (i % 20 == 3   ? "r"
            : i % 20 == 5 ? "s"
                          : "t") +
           "," + (i % 2 ? "1" : "0") + ",k" + std::to_string(i / 3 * 2 + (i % 3 == 0)) + "," +
           std::to_string(i % 7) + "," + std::to_string(1000 + 3 * i) + "\n";
  }
  const std::string data = folder.Write("a.csv", csv);
  const std::string out = (folder.Path() / "out").string();
  const Words run = {
      "feature-selection", data, "--dependents", "y", "--predictors", "rare", "copy", "key", "x", "number"};
  const ProcessResult result = RunVelmora(With(run, {"--out", out}));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Json dependent = Json::parse(ReadFile(out + "/feature_selection.json"))["dependents"][0];
  const std::string page = ReadFile(out + "/feature_selection.html");
  for (const char* sentence : {"expected counts are below 5", "Nearly a level per case",
                               "none occurs twice, as of an identifier: number", "Close to determining y"}) {
    EXPECT_NE(result.out.find(sentence), std::string::npos) << result.out;
    EXPECT_NE(dependent["notices"].dump().find(sentence), std::string::npos) << dependent["notices"];
    EXPECT_NE(page.find(sentence), std::string::npos) << sentence;
  }
  EXPECT_EQ(Named(dependent["predictors"], "rare")["exact"], false);

  const Json exact = JsonFrom(With(run, {"--exact", "--replicates", "1999"}))["dependents"][0];
  EXPECT_EQ(Named(exact["predictors"], "rare")["exact"], true);
  EXPECT_EQ(Named(exact["predictors"], "copy")["exact"], false);  // 15 expected in each cell
  EXPECT_EQ(exact["notices"].dump().find("below 5"), std::string::npos) << exact["notices"];
  const Json again = JsonFrom(With(run, {"--exact", "--replicates", "1999"}))["dependents"][0];
  EXPECT_EQ(exact, again);
}

// Rows that represent several cases, and cases that lack a value.
TEST(Ranking, SaysHowManyCasesCount) {
  const ProcessResult counted = RunVelmora({"feature-selection", Sample("housing_satisfaction.csv"),
                                            "--dependents", "satisfaction", "--count", "residents"});
  EXPECT_NE(counted.out.find("  1681  "), std::string::npos) << counted.out;
  const ProcessResult complete =
      RunVelmora({"feature-selection", Sample("schools.csv"), "--dependents", "api2000", "--casewise"});
  const Json run = JsonOf(Sample("schools.csv"), {"--dependents", "api2000", "--casewise"})["run"];
  EXPECT_NE(complete.out.find(run["incompleteCases"].dump() + " with a missing value left out"),
            std::string::npos)
      << complete.out;
  EXPECT_EQ(run["incompleteCases"].get<int>() + run["validCases"].get<int>(), 200);
}

// R: svychisq(~school_wide_met + awards) and regTermTest of svyglm(api2000 ~ awards)
// for counties within types.
TEST(Ranking, TakesTheDesignOfASurvey) {
  const Words design = {"--weight",   "weight", "--strata",     "school_type",
                        "--clusters", "county", "--predictors", "awards"};
  const Json result =
      JsonOf(Sample("schools.csv"), With({"--dependents", "school_wide_met", "api2000"}, design));
  const auto figures = [&](const char* name) { return Named(result["dependents"], name)["predictors"][0]; };
  EXPECT_NEAR(figures("school_wide_met")["pValue"].get<double>() / 6.892070353994e-12, 1, 1e-8);
  EXPECT_NEAR(figures("school_wide_met")["testDf2"], 75, 1e-9);
  EXPECT_NEAR(figures("api2000")["pValue"].get<double>() / 0.006765440248812, 1, 1e-8);
  const ProcessResult refused = RunVelmora(
      {"feature-selection", Sample("schools.csv"), "--dependents", "api2000", "--strata", "class_size_k3"});
  EXPECT_NE(refused.exitCode, 0);
  ExpectSaid(refused, {"stratum class_size_k3 of case", "missing"});
}

// The command that a report names makes the report again, wherever the results went.
TEST(Ranking, ReportsNameTheCommandThatRepeatsThem) {
  const TemporaryFolder folder;
  ProcessOptions options;
  options.folder = folder.Path();
  std::string csv = "it's y,x\n";
  for (int i = 0; i < 60; ++i) csv += std::to_string(i * 7 % 31) + "," + std::to_string(i * 11 % 23) + "\n";
  folder.Write("a b.csv", csv);
  const Words run = {"feature-selection", "a b.csv", "--dependents", "it's y", "--select", "x > 3"};
  const std::string first = RunVelmora(With(run, {"--format", "json", "--quiet"}), options).out;
  const ProcessResult second = RunVelmora(With(run, {"--out", "here", "--format=json,html"}), options);
  ASSERT_EQ(second.exitCode, 0) << second.err;
  EXPECT_EQ(ReadFile((folder.Path() / "here/feature_selection.json").string()), first);
  const Json provenance = Json::parse(first)["run"]["provenance"];
  EXPECT_EQ(provenance["command"],
            "velmora feature-selection 'a b.csv' --dependents 'it'\\''s y' --select 'x > 3'");
  EXPECT_EQ(provenance["dataSha256"].get<std::string>().size(), 64u);
  EXPECT_NE(ReadFile((folder.Path() / "here/feature_selection.html").string())
                .find(provenance["dataSha256"].get<std::string>()),
            std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
