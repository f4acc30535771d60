// velmora scorecard as a process: the same score in every form, outputs, and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

const char kCredit[] = "german_credit.csv";

// Bins of the sample, saved in the folder.
std::string BinsIn(const TemporaryFolder& folder) {
  const std::string bins = (folder.Path() / "bins.json").string();
  const ProcessResult screened =
      RunVelmora({"screen", Sample(kCredit), "--binary-response", "risk", "--good", "good", "--bad", "bad",
                  "--predictors", "checking_account", "duration_months", "age", "savings", "telephone",
                  "--bins", bins, "--quiet"});
  EXPECT_EQ(screened.exitCode, 0) << screened.err;
  return bins;
}

std::vector<std::vector<std::string>> Cells(const std::string& csv) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(csv);
  for (std::string line, cell; std::getline(lines, line);) {
    std::istringstream cells(line);
    rows.emplace_back();
    while (std::getline(cells, cell, ',')) rows.back().push_back(cell);
  }
  return rows;
}

TEST(Scorecard, SavedScorecardScoresAsItWasMeasured) {
  const TemporaryFolder folder;
  const std::string card = (folder.Path() / "card.json").string(), out = (folder.Path() / "out").string();
  const ProcessResult made = RunVelmora({"scorecard", Sample(kCredit), "--bins", BinsIn(folder), "--stepwise",
                                         "--save", card, "--sql", (folder.Path() / "card.sql").string(),
                                         "--pmml", (folder.Path() / "card.pmml").string(), "--out", out});
  ASSERT_EQ(made.exitCode, 0) << made.err;
  for (const char* part : {"Points of the bins", "checking_account", "AUC", "Steps of the choice"})
    EXPECT_NE((made.out + made.err).find(part), std::string::npos) << part;
  const Json json = Json::parse(ReadFile(folder.Path() / "out" / "scorecard.json"));
  const double auc = json["quality"][0]["auc"];
  EXPECT_GT(auc, 0.75);
  EXPECT_LT(auc, 0.79);

  const ProcessResult applied =
      RunVelmora({"apply", card, Sample(kCredit), "--keep", "risk", "--only-scores", "--quiet"});
  ASSERT_EQ(applied.exitCode, 0) << applied.err;
  const auto rows = Cells(applied.out);
  ASSERT_EQ(rows.size(), 1001u);
  EXPECT_EQ(rows[0], (std::vector<std::string>{"risk", "risk_Score", "risk_Probability"}));
  double pairs = 0, won = 0, probability = 0;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const double score = std::stod(rows[i][1]);
    probability += std::stod(rows[i][2]) / 1000;
    EXPECT_NEAR(std::stod(rows[i][2]), 1 / (1 + 50 * std::exp2((score - 600) / 20)), 1e-12);
    if (rows[i][0] != "bad") continue;
    for (std::size_t j = 1; j < rows.size(); ++j) {
      if (rows[j][0] == "bad") continue;
      const double other = std::stod(rows[j][1]);
      ++pairs;
      won += other > score ? 1 : other == score ? 0.5 : 0;
    }
  }
  EXPECT_NEAR(won / pairs, auc, 1e-12);
  EXPECT_NEAR(probability, 0.3, 1e-9);  // maximum likelihood keeps the rate of the sample

  // Points belong to their bins.
  const ProcessResult edited = RunVelmora({"bins", "edit", card, "merge", "checking_account", "1", "2"});
  EXPECT_EQ(edited.exitCode, 1);
  ExpectSaid(edited, {"scorecard for risk", "make it anew"});
  // The page and the workbook exist and hold the points.
  EXPECT_NE(ReadFile(folder.Path() / "out" / "scorecard.html").find("ROC curve"), std::string::npos);
  EXPECT_GT(ReadFile(folder.Path() / "out" / "scorecard.xlsx").size(), 5000u);
  EXPECT_NE(ReadFile(folder.Path() / "card.sql").find("\"risk_Probability\""), std::string::npos);
  EXPECT_NE(ReadFile(folder.Path() / "card.pmml").find("<Characteristic name=\"checking_account points\">"),
            std::string::npos);
}

TEST(Scorecard, HoldoutAndTestMeasureOtherCases) {
  const TemporaryFolder folder;
  const std::string bins = BinsIn(folder);
  const Json held = JsonFrom({"scorecard", Sample(kCredit), "--bins", bins, "--holdout", "0.25"});
  ASSERT_EQ(held["quality"].size(), 2u);
  EXPECT_EQ(held["quality"][0]["cases"], 750);
  EXPECT_EQ(held["quality"][1]["cases"], 250);
  EXPECT_NEAR(held["quality"][1]["badRate"], 0.3, 1e-12);
  const Json again = JsonFrom({"scorecard", Sample(kCredit), "--bins", bins, "--holdout", "0.25"});
  EXPECT_EQ(held["coefficients"], again["coefficients"]);
  EXPECT_NE(held["coefficients"], JsonFrom({"scorecard", Sample(kCredit), "--bins", bins, "--holdout", "0.25",
                                            "--seed", "2"})["coefficients"]);
  const Json tested = JsonFrom({"scorecard", Sample(kCredit), "--bins", bins, "--test", Sample(kCredit)});
  EXPECT_EQ(tested["quality"][0]["auc"], tested["quality"][1]["auc"]);
}

TEST(Scorecard, SaysWhatDoesNotFit) {
  const TemporaryFolder folder;
  const std::string bins = BinsIn(folder);
  const std::string mean = folder.Write(
      "mean.json",
      R"({"format":"velmora bins","version":2,"dataFile":"a","responses":[{"name":"price","kind":"continuous","codes":[],"predictors":[]}]})");
  const std::string separated = folder.Write("separated.csv", "risk,age\ngood,20\ngood,21\nbad,60\nbad,61\n");
  const std::string oneClass = folder.Write("one.csv", "risk,age\ngood,20\ngood,30\n");
  struct Row {
    Words words;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {{Sample(kCredit)}, 2, {"--bins is missing"}},
      {{"--bins", bins}, 2, {"DATA is missing"}},
      {{Sample(kCredit), "--bins", bins, "--bad", "good"}, 2, {"--bad is good", "made with bad"}},
      {{Sample(kCredit), "--bins", bins, "--response", "price"}, 2, {"has no bins for price"}},
      {{Sample(kCredit), "--bins", mean}, 2, {"no bins for a binary response"}},
      {{Sample(kCredit), "--bins", bins, "--predictors", "housing"}, 2, {"has no bins of housing"}},
      {{separated, "--bins", bins, "--predictors", "age"}, 1, {"age separates the bad cases"}},
      {{oneClass, "--bins", bins, "--predictors", "age"}, 1, {"no case with risk = bad", "one.csv"}},
      {{Sample(kCredit), "--bins", bins, "--holdout", "0.2", "--test", "x.csv"}, 2, {"--test and --holdout"}},
      {{Sample(kCredit), "--bins", bins, "--pdo", "0"}, 2, {"--pdo takes a number above 0"}},
      {{Sample(kCredit), "--bins", bins, "--save", bins}, 2, {"--save would overwrite --bins"}},
      {{Sample(kCredit), "--bins", Sample(kCredit)}, 1, {"german_credit.csv"}},
  };
  for (const Row& row : rows) {
    const ProcessResult result = RunVelmora(With({"scorecard"}, row.words));
    EXPECT_EQ(result.exitCode, row.exitCode) << row.said.front() << result.err;
    ExpectSaid(result, row.said);
  }
  ExpectPageIsTrue("scorecard", 30);
}

}  // namespace
}  // namespace velmora::testing
