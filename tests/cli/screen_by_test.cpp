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
  const ProcessResult response = RunVelmora(With(run, {"--by", "risk"}));
  EXPECT_EQ(response.exitCode, 2);
  ExpectSaid(response, {"--by: risk is the response"});
  const ProcessResult one = RunVelmora(With(run, {"--by", "year", "--select", "year = 2023"}));
  EXPECT_EQ(one.exitCode, 2);
  ExpectSaid(one, {"--by: year has one value"});
}

// Two periods of cases with weights in three units and with counts; the second period has no bad
// case of level c and no case of level d, so that half cases matter.
std::string WeightedPeriod(bool later, bool asCases) {
  std::string csv = asCases ? "risk,x\n" : "risk,x,w,small,large,n\n";
  for (int i = 0; i < 600; ++i) {
    const int level = (i * 7 + i / 5) % (later ? 3 : 4);
    const bool isBad = (i * 13 + i / 7) % 10 < (later ? 2 - level : level + 1);
    const int weight = 1 + i * i % 4;
    const std::string row = std::string(isBad ? "bad," : "good,") + "abcd"[level];
    if (asCases) {
      for (int copy = 0; copy < weight; ++copy) csv += row + "\n";
      continue;
    }
    const std::string w = std::to_string(weight);
    csv += row + "," + w + ".0," + w + "e-6," + w + "e6," + w + "\n";
  }
  return csv;
}

// Every figure of rows of the same keys, in all of their columns.
void ExpectSameFigures(const Json& rows, const Json& expected, const std::string& what) {
  ASSERT_EQ(rows.size(), expected.size()) << what;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (const auto& [name, value] : expected[i].items()) {
      if (!value.is_number()) {
        EXPECT_EQ(rows[i][name], value) << what << " " << name;
      } else {
        EXPECT_NEAR(rows[i][name].get<double>(), value.get<double>(),
                    1e-9 * (1 + std::fabs(value.get<double>())))
            << what << " " << name << " of " << rows[i].dump();
      }
    }
  }
}

TEST(ScreenBy, FiguresDoNotDependOnTheUnitOfTheWeights) {
  const TemporaryFolder folder;
  const Words binary = {"--binary-response", "risk", "--good", "good", "--bad", "bad", "--predictors", "x"};
  const std::string first = folder.Write("first.csv", WeightedPeriod(false, false));
  const std::string second = folder.Write("second.csv", WeightedPeriod(true, false));
  const std::string firstCases = folder.Write("first_cases.csv", WeightedPeriod(false, true));
  const std::string secondCases = folder.Write("second_cases.csv", WeightedPeriod(true, true));
  std::string both = WeightedPeriod(false, false);
  const std::string later = WeightedPeriod(true, false);
  for (std::size_t at = both.find('\n'); at != std::string::npos; at = both.find('\n', at + 6))
    both.insert(at, at < 40 ? ",year" : ",2023");
  std::size_t at = later.find('\n') + 1;
  for (std::size_t end; (end = later.find('\n', at)) != std::string::npos; at = end + 1)
    both += later.substr(at, end - at) + ",2024\n";
  const std::string years = folder.Write("years.csv", both);

  const auto screen = [&](const std::string& data, const Words& more) {
    const std::string bins = (folder.Path() / "bins.json").string();
    const ProcessResult run =
        RunVelmora(With(With(With({"screen", data}, binary), {"--bins", bins, "--quiet"}), more));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return bins;
  };
  const auto monitor = [&](const std::string& data, const std::string& newer, const Words& more) {
    const std::string out = (folder.Path() / "monitor.json").string();
    const ProcessResult run =
        RunVelmora(With({"apply", screen(data, more), newer, "--monitor", "--out", out, "--quiet"}, more));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return Json::parse(ReadFile(folder.Path() / "monitor.json"));
  };
  const auto by = [&](const Words& more) {
    return JsonFrom(With(With({"screen", years, "--by", "year"}, binary), more))["stability"];
  };
  const Json monitored = monitor(first, second, {"--weight", "w"}), grouped = by({"--weight", "w"});
  for (const char* unit : {"small", "large"}) {
    for (const char* table : {"groups", "bins"}) {
      ExpectSameFigures(monitor(first, second, {"--weight", unit})[table], monitored[table], unit);
      ExpectSameFigures(by({"--weight", unit})[table], grouped[table], unit);
    }
  }
  EXPECT_GT(monitored["groups"][1]["psi"].get<double>(), 0.1);
  EXPECT_NEAR(monitored["groups"][1]["cases"].get<double>(), 600, 1e-9);
  // Counts are the cases written out one by one; raw weights are what the file has.
  const Json counted = monitor(first, second, {"--count", "n"});
  const Json expanded = monitor(firstCases, secondCases, {});
  for (const char* table : {"groups", "bins"}) ExpectSameFigures(counted[table], expanded[table], "counts");
  const Json raw = monitor(first, second, {"--weight", "w", "--raw-weights"});
  EXPECT_EQ(raw["groups"][1]["cases"], counted["groups"][1]["cases"]);
  // The scorecard takes counts as cases, too.
  const auto coefficients = [&](const std::string& data, const Words& more) {
    return JsonFrom(With({"scorecard", data, "--bins", screen(data, more)}, more))["coefficients"];
  };
  ExpectSameFigures(coefficients(first, {"--count", "n"}), coefficients(firstCases, {}), "scorecard");

  for (const auto& [words, said] :
       std::vector<std::pair<Words, std::string>>{{{"--count", "n", "--weight", "w"}, "--count and --weight"},
                                                  {{"--raw-weights"}, "--raw-weights needs --weight"},
                                                  {{"--count", "x"}, "--count: x holds texts"}}) {
    const ProcessResult run =
        RunVelmora(With({"apply", (folder.Path() / "bins.json").string(), second, "--monitor"}, words));
    EXPECT_EQ(run.exitCode, 2);
    ExpectSaid(run, {said});
  }
}

}  // namespace
}  // namespace velmora::testing
