// Values that a file of a statistics program declares missing, as special codes of screen and in
// later steps.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/cli/command_checks.h"
#include "tests/support/survey_file.h"

namespace velmora::testing {
namespace {

TEST(UserMissing, AreSpecialCodesFromScreeningToScores) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("may.sav", SurveyFile(0, 2000));
  const std::string june = folder.Write("june.sav", SurveyFile(2000, 3000));
  const std::string bins = (folder.Path() / "bins.json").string();
  const Words run = {"screen", data, "--binary-response", "risk",  "--good", "0",
                     "--bad",  "1",  "--predictors",      "income"};
  const Json plain = JsonFrom(run)["responses"][0]["predictors"][0];
  EXPECT_EQ(plain["missing"], 600);
  const Json json = JsonFrom(With(run, {"--special", "user-missing"}))["responses"][0]["predictors"][0];
  EXPECT_EQ(json["missing"], 200);
  ASSERT_EQ(json["levels"].size(), 3u) << json["levels"];
  const auto rowOf = [&](std::size_t level) -> const Json& {
    return json["rows"][json["levels"][level]["bin"].get<std::size_t>()];
  };
  EXPECT_EQ(json["levels"][0]["value"], -7);
  EXPECT_EQ(rowOf(0)["total"], 0);
  EXPECT_EQ(rowOf(0)["woe"], 0);
  EXPECT_EQ(json["levels"][1]["value"], 98);
  EXPECT_EQ(json["levels"][1]["label"], "refused");
  EXPECT_NE(json["levels"][1]["bin"], json["levels"][2]["bin"]);
  EXPECT_EQ(rowOf(1)["total"], 200);
  EXPECT_LT(rowOf(1)["woe"], -100);
  for (const Json& cut : json["cutPoints"]) EXPECT_LT(cut.get<double>(), 60);
  const Json together = JsonFrom(With(run, {"--special", "user-missing", "--special-together"}));
  EXPECT_EQ(together["responses"][0]["predictors"][0]["levels"][0]["bin"],
            together["responses"][0]["predictors"][0]["levels"][1]["bin"]);

  // Saved bins find the codes in new files by themselves, and leave the variable unchanged.
  const ProcessResult saved = RunVelmora(With(run, {"--special", "user-missing", "--bins", bins, "--quiet"}));
  ASSERT_EQ(saved.exitCode, 0) << saved.err;
  const ProcessResult applied = RunVelmora({"apply", bins, june});
  ASSERT_EQ(applied.exitCode, 0) << applied.err;
  EXPECT_NE(applied.out.find(",,refused,"), std::string::npos) << applied.out.substr(0, 600);
  EXPECT_EQ(applied.out.find(",98,"), std::string::npos);
  // A file that declares nothing: -7 is declared missing in the one that the bins are from.
  const std::string plainFile = folder.Write("july.csv", "income\n-7\n98\n");
  const ProcessResult other = RunVelmora({"apply", bins, plainFile, "--quiet"});
  ASSERT_EQ(other.exitCode, 0) << other.err;
  EXPECT_NE(other.out.find("\n-7,-7,0\n98,refused,"), std::string::npos) << other.out;
  ExpectSaid(applied, {"Missing: income in 100 cases"});
  const std::string out = (folder.Path() / "monitor.json").string();
  const ProcessResult monitor = RunVelmora({"apply", bins, june, "--monitor", "--out", out});
  ASSERT_EQ(monitor.exitCode, 0) << monitor.err;
  const Json groups = Json::parse(ReadFile(folder.Path() / "monitor.json"))["groups"];
  EXPECT_LT(groups[1]["psi"].get<double>(), 0.01);
  const Json card = JsonFrom({"scorecard", data, "--bins", bins});
  double cases = 0;
  for (const Json& row : card["points"]) cases += row["bin"] == "refused" ? row["cases"].get<double>() : 0;
  EXPECT_EQ(cases, 200);

  // Of a text variable, too.
  const Words jobs = With(run, {"--predictors", "job", "--special", "user-missing"});
  const Json found = JsonFrom(jobs);
  const Json& job = Named(found["responses"][0]["predictors"], "job");
  EXPECT_EQ(job["missing"], 0) << job;
  double secret = 0;
  for (const Json& row : job["rows"]) secret += row["label"] == "secret" ? row["total"].get<double>() : 0;
  EXPECT_EQ(secret, 200) << job["rows"];
  ASSERT_EQ(RunVelmora(With(jobs, {"--bins", bins, "--quiet"})).exitCode, 0);
  const ProcessResult coded = RunVelmora({"apply", bins, june, "--keep", "job", "--quiet"});
  ASSERT_EQ(coded.exitCode, 0) << coded.err;
  EXPECT_TRUE(
      coded.out.starts_with("job,risk_income_Coded,risk_income_WOE,risk_job_Coded,risk_job_WOE\n,refused,"));
  EXPECT_NE(coded.out.find(",secret,"), std::string::npos) << coded.out.substr(0, 200);

  const ProcessResult none = RunVelmora({"screen", Sample("german_credit.csv"), "--binary-response", "risk",
                                         "--good", "good", "--bad", "bad", "--special", "user-missing"});
  EXPECT_EQ(none.exitCode, 0);
  ExpectSaid(none, {"--special user-missing: ", "has no predictor with values that it declares missing"});
}

}  // namespace
}  // namespace velmora::testing
