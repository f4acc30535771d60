// The report's writers on results that no data would give at once: numbers at their limits, names that quote.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "workbench/documents/texts.h"
#include "workbench/report/feature_selection_report.h"

namespace velmora {
namespace {

FeatureSelectionReport AwkwardReport() {
  FeatureSelectionReport report;
  report.dataFile = "a \"b\".csv";
  report.run.caseCount = 3;
  report.run.totalWeight = 0.1;
  report.predictors = {{2, "x,\"y\"", Measurement::kContinuous},
                       {3, "line\nbreak", Measurement::kContinuous},
                       {4, "bad \xff byte", Measurement::kCategorical},
                       {5, "\xe6\xb8\xa9\xe5\xba\xa6", Measurement::kCategorical}};
  report.dependents = {{1,
                        "y",
                        Measurement::kCategorical,
                        "Cramer's V",
                        {{1.0 / 3, 5e-324, 0},
                         {std::numeric_limits<double>::max(), 0.1 + 0.2, 0},
                         {std::nan(""), 0.5, 0},
                         {0, 1, 1}},
                        {1, 0},
                        {"A notice."}}};
  report.leftOut = {{6, "id", "identifier", "every value differs"}};
  return report;
}

TEST(FeatureSelectionJson, ReadsBackToTheSameBits) {
  const FeatureSelectionReport report = AwkwardReport();
  const nlohmann::json json = nlohmann::json::parse(FeatureSelectionJson(report));
  EXPECT_EQ(json["run"]["totalWeight"].get<double>(), 0.1);
  EXPECT_EQ(json["run"]["leftOut"][0]["name"], "id");
  const nlohmann::json& dependent = json["dependents"][0];
  const nlohmann::json& predictors = dependent["predictors"];
  ASSERT_EQ(predictors.size(), 4u);
  for (std::size_t j : {0u, 1u, 3u}) {
    const vlm::FeatureSelectionPair& pair = report.dependents[0].pairs[j];
    EXPECT_EQ(std::bit_cast<std::uint64_t>(predictors[j]["statistic"].get<double>()),
              std::bit_cast<std::uint64_t>(pair.statistic));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(predictors[j]["pValue"].get<double>()),
              std::bit_cast<std::uint64_t>(pair.pValue));
  }
  EXPECT_TRUE(predictors[2]["statistic"].is_null());
  EXPECT_EQ(predictors[2]["name"], "bad \xef\xbf\xbd byte");
  EXPECT_TRUE(predictors[3]["notComputable"].get<bool>());
  EXPECT_EQ(dependent["best"], (nlohmann::json{"line\nbreak", "x,\"y\""}));
  EXPECT_EQ(dependent["notices"], nlohmann::json{"A notice."});
}

TEST(FeatureSelectionCsv, PutsTheBestFirstAndQuotes) {
  const std::string csv = FeatureSelectionCsv(AwkwardReport());
  const std::size_t first = csv.find("\"line\nbreak\"");
  const std::size_t second = csv.find("\"x,\"\"y\"\"\"");
  ASSERT_NE(first, std::string::npos) << csv;
  ASSERT_NE(second, std::string::npos) << csv;
  EXPECT_LT(first, second);
  EXPECT_NE(csv.find(",5e-324,0\n"), std::string::npos) << csv;
  EXPECT_NE(csv.find("y,1,categorical,Cramer's V,,"), std::string::npos) << csv;  // no rank
}

TEST(FeatureSelectionText, CutsLongNamesToTheTerminal) {
  FeatureSelectionReport report = AwkwardReport();
  for (ReportedPredictor& predictor : report.predictors) predictor.name = "nn" + std::string(70, 'n');
  for (const int width : {60, 80, 160}) {
    std::istringstream lines(FeatureSelectionText(report, width, true));
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
      if (line.find("nnn") == std::string::npos) continue;
      ++rows;
      EXPECT_LE(WidthOf(line), width) << line;
    }
    EXPECT_GT(rows, 0);
  }
}

TEST(FeatureSelectionText, KeepsEveryPredictorOnOneLine) {
  for (const bool utf8 : {true, false}) {
    for (const int width : {40, 80, 200}) {
      const std::string text = FeatureSelectionText(AwkwardReport(), width, utf8);
      EXPECT_NE(text.find("line break"), std::string::npos) << text;
      EXPECT_EQ(text.find("█") != std::string::npos, utf8 && width >= 80) << text;
    }
  }
}

}  // namespace
}  // namespace velmora
