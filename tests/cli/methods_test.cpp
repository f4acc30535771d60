// The worked examples of docs/methods.md, from data made for them.
#include <gtest/gtest.h>

#include "tests/cli/command_checks.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

// 30 of 50 cases of group a and 20 of 50 of group b have the outcome.
std::string ExampleTable() {
  std::string csv = "y,g,w\n";
  for (int i = 0; i < 100; ++i)
    csv += std::string(i % 50 < (i < 50 ? 30 : 20) ? "yes" : "no") + (i < 50 ? ",a,1\n" : ",b,3\n");
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

  const std::string text = ReadFile(SourceDir() + "/docs/methods.md");
  for (const char* figure :
       {"X² = 4, p = 0.0455, V = 0.2", "= 0.174", "= 1.25", "q = 0.04, 0.0533, 0.0533, 0.2"})
    EXPECT_NE(text.find(figure), std::string::npos) << figure;
}

}  // namespace
}  // namespace velmora::testing
