// velmora screen --by as a process, against counts of the table.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

// x decides the risk in 2023, not in 2024; z keeps its shares in both; w is noise.
std::string Table() {
  std::string csv = "risk,x,z,year\n";
  for (int i = 0; i < 2000; ++i) {
    const bool later = i >= 1000;
    const int x = later ? (i % 4 == 0 ? 1 : 0) : i % 2, z = (i / 2) % 2;
    const bool isBad = later ? (i / 4) % 5 == 0 : (i / 4) % 10 < (x == 1 ? 5 : 1) + z;
    csv += std::string(isBad ? "bad," : "good,") + (x == 1 ? "yes" : "no") + (z == 1 ? ",b," : ",a,") +
           (later ? "2024" : "2023") + "\n";
  }
  return csv;
}

TEST(ScreenBy, GroupsOfCasesAreCompared) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", Table());
  const Words run = {"screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad"};
  const Json json = JsonFrom(With(run, {"--by", "year"}));
  ASSERT_TRUE(json.contains("stability"));
  const Json& stability = json["stability"];
  EXPECT_EQ(stability["run"]["groups"], (Json{"2023", "2024"}));
  EXPECT_EQ(json["responses"][0]["order"].size(), 2u);  // year is no predictor
  const Json* later = nullptr;
  double share = 0;
  for (const Json& row : stability["groups"]) {
    if (row["predictor"] == "x" && row["group"] == "2024") later = &row;
  }
  for (const Json& row : stability["bins"]) {
    if (row["predictor"] == "x" && row["group"] == "2024" && row["bin"] == "yes") share = row["share"];
  }
  ASSERT_NE(later, nullptr);
  EXPECT_EQ(share, 0.25);
  EXPECT_NEAR((*later)["psi"], 0.25 * std::log(2) + 0.25 * std::log(1.5), 1e-12);
  EXPECT_LT((*later)["strength"], 0.05);
  EXPECT_GT((*later)["woePsi"], 0.1);

  const std::string out = (folder.Path() / "out").string();
  const ProcessResult written = RunVelmora(With(run, {"--by", "year", "--out", out}));
  ASSERT_EQ(written.exitCode, 0) << written.err;
  EXPECT_NE(written.out.find("Stability over year"), std::string::npos);
  EXPECT_NE(ReadFile(folder.Path() / "out" / "screening_stability.csv").find("x,risk,2024,1000,"),
            std::string::npos);
  EXPECT_NE(ReadFile(folder.Path() / "out" / "screening.html").find("Stability over year"),
            std::string::npos);

  const ProcessResult many = RunVelmora({"screen", Sample("german_credit.csv"), "--binary-response", "risk",
                                         "--good", "good", "--bad", "bad", "--by", "amount"});
  EXPECT_EQ(many.exitCode, 2);
  ExpectSaid(many, {"--by: amount has more than 50 values"});
  const ProcessResult one = RunVelmora(With(run, {"--by", "year", "--select", "year = 2023"}));
  EXPECT_EQ(one.exitCode, 2);
  ExpectSaid(one, {"--by: year has one value"});
}

}  // namespace
}  // namespace velmora::testing
