// velmora screen --strata --clusters as a process: against R's survey package, and on clusters that
// look like a finding if their cases are taken as independent.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

Json ResponseOf(const Words& words) { return JsonFrom(words)["responses"][0]; }

// svychisq(~bin + awards, statistic = "F") and regTermTest(svyglm(api2000 ~ bin), ~bin) of survey
// 4.1 with weights, strata = ~school_type and ids = ~county (nest = TRUE) as the row says, the bins
// cut(meals_pct, c(-Inf, 30, 60, Inf)). deff(svymean(..., deff = "replace")) of the response.
TEST(ScreenDesign, AgreesWithRsSurveyPackage) {
  const TemporaryFolder folder;
  const std::string cuts = folder.Write("cuts.json", R"({"meals_pct": [30, 60]})");
  const Words schools = {
      "screen", Sample("schools.csv"), "--predictors", "meals_pct", "--cut-points", cuts, "--weight",
      "weight"};
  const Words awards = With(schools, {"--binary-response", "awards", "--good", "yes", "--bad", "no"});
  const Words scores = With(schools, {"--continuous-response", "api2000"});
  const Words strata = {"--strata", "school_type"}, clusters = {"--clusters", "county"};
  struct Row {
    const char* name;
    Words words;
    double statistic, df1, df2, p, designEffect;  // designEffect of the response, 0: not compared
  };
  const Row rows[] = {
      {"classes, strata", With(awards, strata), 0.788047842972592, 1.991489815684411, 392.323493689828979,
       0.454966421392268, 0},
      {"classes, clusters", With(With(awards, strata), clusters), 0.709790562165147, 1.718187590240571,
       128.864069268042812, 0.473405199255714, 0},
      {"means, strata", With(scores, strata), 132.389272637395, 2, 195, 4.78493648839758e-37, 1.197291787},
      {"means, clusters", With(With(scores, strata), clusters), 163.174613571603, 2, 73, 1.15320211986814e-27,
       1.64774666611},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Json response = ResponseOf(row.words);
    const Json& predictor = response["predictors"][0];
    ASSERT_TRUE(predictor["testStatistic"].is_number()) << predictor.dump();
    EXPECT_NEAR(predictor["testStatistic"].get<double>(), row.statistic, 1e-8 * row.statistic);
    EXPECT_NEAR(predictor["testDf1"].get<double>(), row.df1, 1e-8 * row.df1);
    EXPECT_NEAR(predictor["testDf2"].get<double>(), row.df2, 1e-8 * row.df2);
    EXPECT_NEAR(predictor["testP"].get<double>() / row.p, 1, 1e-6);
    EXPECT_NEAR(predictor["minusLog10TestP"].get<double>(), -std::log10(row.p), 1e-6);
    if (row.designEffect == 0) continue;
    const double cases = response["cases"]["used"], effective = response["cases"]["effective"];
    EXPECT_NEAR(cases / effective, row.designEffect, 1e-7 * row.designEffect);
  }
}

// Customers with twenty months each: the risk and x are the customer's, and have nothing to do with
// each other. z decides part of the risk of each month.
std::string Customers() {
  std::mt19937 random(11);
  std::string csv = "risk,x,z,customer,region\n";
  for (int customer = 0; customer < 120; ++customer) {
    const bool isRisky = random() % 100 < 40;
    const unsigned x = random() % 1000;
    for (int month = 0; month < 20; ++month) {
      const unsigned z = random() % 10;
      const bool isBad = random() % 100 < (isRisky ? 55U : 5U) + (z > 4 ? 40U : 0U);
      csv += std::string(isBad ? "bad," : "good,") + std::to_string(x) + "," + std::to_string(z) + "," +
             std::to_string(customer) + "," + "nsew"[customer % 4] + "\n";
    }
  }
  return csv;
}

TEST(ScreenDesign, CasesOfAClusterAreNoEvidenceOfTheirOwn) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("customers.csv", Customers());
  const Words run = {"screen", data,  "--binary-response", "risk", "--good", "good",
                     "--bad",  "bad", "--predictors",      "x",    "z"};
  const Json single = ResponseOf(run);
  EXPECT_EQ(Named(single["predictors"], "x")["noBetterThanChance"], false);
  EXPECT_TRUE(Named(single["predictors"], "x")["testP"].is_null());
  const Words design = {"--strata", "region", "--clusters", "customer"};
  const Json clustered = ResponseOf(With(run, design));
  EXPECT_EQ(Named(clustered["predictors"], "x")["noBetterThanChance"], true);
  const Json& z = Named(clustered["predictors"], "z");
  EXPECT_EQ(z["noBetterThanChance"], false);
  EXPECT_LT(z["testP"].get<double>(), 1e-4);
  EXPECT_LT(clustered["cases"]["effective"].get<double>(), 800);
  EXPECT_EQ(clustered["cases"]["used"], 2400);
  EXPECT_EQ(clustered["order"].size(), 2u);

  // The design is stated in every output.
  const std::string out = (folder.Path() / "out").string();
  const ProcessResult written = RunVelmora(With(With(run, design), {"--out", out}));
  ASSERT_EQ(written.exitCode, 0) << written.err;
  for (const char* part : {"strata region; clusters customer", "are worth", "design effect"})
    EXPECT_NE(written.out.find(part), std::string::npos) << written.out;
  EXPECT_NE(ReadFile(out + "/screening.csv").find("design_effect,test_statistic"), std::string::npos);
  const std::string page = ReadFile(out + "/screening.html");
  for (const char* part : {"Design effect", "customer", "are worth"})
    EXPECT_NE(page.find(part), std::string::npos) << part;
}

// Two predictors with more bins than a byte can number, and with levels that are bins of their own.
TEST(ScreenDesign, TestsEveryBinThatThereIs) {
  const TemporaryFolder folder;
  std::mt19937 random(8);
  std::string csv = "y,x,w,c,d\n";
  for (int i = 0; i < 3000; ++i) {
    const auto x = static_cast<int>(random() % 300);
    const auto c = static_cast<int>(random() % 5);
    const std::string code = c == 0 ? "none" : std::string(1, static_cast<char>('a' + c));
    csv += std::to_string(x * x % 97 + static_cast<int>(random() % 40) + c * 20) + "," + std::to_string(x) +
           ",1," + code + "," + (c == 0 ? "" : code) + "\n";
  }
  const std::string data = folder.Write("a.csv", csv);
  std::string cuts;
  for (int x = 0; x < 299; ++x) cuts += (x == 0 ? "" : ", ") + std::to_string(x) + ".5";
  const Words run = {"screen", data, "--continuous-response", "y", "--weight", "w", "--predictors"};
  const Json response =
      ResponseOf(With(run, {"x", "--cut-points", folder.Write("x.json", "{\"x\": [" + cuts + "]}")}));
  const Json& x = response["predictors"].at(0);
  ASSERT_EQ(x["rows"].size(), 300u);
  EXPECT_NEAR(x["testDf1"].get<double>(), 299, 1);

  const Json special = ResponseOf(With(run, {"c", "--special", "c=none"}))["predictors"].at(0);
  const Json missing = ResponseOf(With(run, {"d"}))["predictors"].at(0);
  ASSERT_EQ(special["rows"].size(), missing["rows"].size());
  EXPECT_DOUBLE_EQ(special["testP"].get<double>(), missing["testP"].get<double>());
}

TEST(ScreenDesign, RefusesWhatASampleCannotHave) {
  const TemporaryFolder folder;
  const std::string data =
      folder.Write("a.csv", "y,x,w,s,c\na,1,1,1,1\nb,2,1,1,1\na,3,1,2,2\nb,4,1,,2\na,5,1,2,3\nb,6,1,1,3\n");
  const Words run = {"screen", data, "--binary-response", "y", "--good", "a", "--bad", "b"};
  struct Row {
    Words words;
    int exitCode;
    std::string said;
  };
  const Row rows[] = {
      {{"--clusters", "c", "--permutations", "99"}, 2, "--permutations deals the response out"},
      {{"--clusters", "c", "--weight", "w", "--raw-weights"}, 2, "--clusters is about a sample"},
      {{"--strata", "s", "--classic"}, 2, "--classic runs exactly as the dialogs do and takes no --strata"},
      {{"--clusters", "c", "--binning", "tree"}, 2, "--clusters is about optimal bins"},
      {{"--clusters", "none"}, 2, "none"},
      {{"--clusters", "y"}, 2, "--clusters: y is the response"},
      {{"--strata", "c", "--count", "w"}, 2, "--strata with --count needs --clusters"},
      {{"--strata", "s"}, 1, "The stratum s of case 4 is missing."},
      {{"--strata", "c", "--clusters", "c"}, 1, "as many strata as clusters"},
  };
  for (const Row& row : rows) {
    const ProcessResult result = RunVelmora(With(run, row.words));
    EXPECT_EQ(result.exitCode, row.exitCode) << row.said << result.err;
    ExpectSaid(result, {row.said});
  }
}

}  // namespace
}  // namespace velmora::testing
