// The worked examples of docs/methods.md, from data made for them.
#include <gtest/gtest.h>

#include "tests/cli/command_checks.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

// 30 of 50 cases of group a and 20 of 50 of group b have the outcome.
std::string ExampleTable() {
  std::string csv = "y,g,w,h\n";
  for (int i = 0; i < 100; ++i)
    csv +=
        std::string(i % 50 < (i < 50 ? 30 : 20) ? "yes" : "no") + (i < 50 ? ",a,1,left\n" : ",b,3,right\n");
  return csv;
}

TEST(Methods, ExamplesOfTheDocument) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", ExampleTable());
  const Words run = {"feature-selection", data, "--dependents", "y", "--predictors", "g"};
  const Json table = JsonFrom(With(run, {"--chi-square"}))["dependents"][0]["predictors"][0];
  EXPECT_NEAR(table["statistic"], 4, 1e-12);
  EXPECT_NEAR(table["pValue"], 0.0455, 5e-5);
  EXPECT_NEAR(table["effect"], 0.174, 5e-4);
  EXPECT_NEAR(JsonFrom(run)["dependents"][0]["predictors"][0]["statistic"], 0.2, 1e-12);
  const Json weighted = JsonFrom(With(run, {"--weight", "w"}));
  EXPECT_NEAR(weighted["run"]["weightDesignEffect"], 1.25, 1e-12);
  // Shares 0.15, 0.10, 0.30 and 0.45 of yes and no in a and b.
  EXPECT_NEAR(weighted["dependents"][0]["predictors"][0]["statistic"], 0.1740776559556978, 1e-12);

  const Words screen = {"screen", data, "--binary-response", "y", "--good", "yes", "--bad", "no"};
  const Json cases = JsonFrom(With(screen, {"--weight", "w", "--predictors", "g"}))["responses"][0]["cases"];
  EXPECT_NEAR(cases["effective"], 80, 1e-9);
  // Two bins are asked for, since chance explains those of these few cases.
  const Json response = JsonFrom(
      With(screen, {"--predictors", "g", "h", "--cut-points",
                    folder.Write("groups.json", R"({"g": [["a"], ["b"]], "h": [["left"], ["right"]]})"),
                    "--adds", "--permutations", "19", "--seed", "2"}))["responses"][0];
  const Json& copy = Named(response["predictors"], "h");
  EXPECT_EQ(copy["saysTheSameAs"], "g");
  EXPECT_NEAR(copy["association"], 1, 1e-12);
  EXPECT_NEAR(copy["addsShare"], 0, 1e-12);
  EXPECT_GE(copy["searchP"], 0.05 - 1e-12);

  std::string clusters = "y,g,c\n";
  for (int i = 0; i < 200; ++i)
    clusters +=
        std::string(i / 10 % 2 == 0 ? "yes," : "no,") + "ab"[i % 2] + "," + std::to_string(i / 10) + "\n";
  const Json sample = JsonFrom({"screen", folder.Write("c.csv", clusters), "--binary-response", "y", "--good",
                                "yes", "--bad", "no", "--clusters", "c"})["responses"][0]["cases"];
  EXPECT_NEAR(200 / sample["effective"].get<double>(), 199.0 / 19, 1e-9);

  const std::string text = ReadFile(SourceDir() + "/docs/methods.md");
  for (const char* figure :
       {"X² = 4, p = 0.0455, V = 0.2", "= 0.174", "= 1.25", "q = 0.04, 0.0533, 0.0533, 0.2",
        "n = 200²/500 = 80", "p = 1/20 = 0.05", "adds 0 %", "199/19 = 10.47"})
    EXPECT_NE(text.find(figure), std::string::npos) << figure;
}

}  // namespace
}  // namespace velmora::testing
