// The report's writers on results that no data would give at once: numbers at their limits, names
// that quote.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "workbench/documents/embedded_files.h"
#include "workbench/documents/page.h"
#include "workbench/documents/texts.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/report/screen_page.h"

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
                        PairStatistic::kCramersV,
                        "Cramer's V",
                        {2, 1},
                        {{1.0 / 3, 5e-324, 0, 2, 1, 2, 4, 0},
                         {std::numeric_limits<double>::max(), 0.1 + 0.2, 0, 2, 1, 2, 4, 0},
                         {std::nan(""), 0.5, 0, 2, 1, 2, 4, 0},
                         {0, 1, 1, 0, 3, 0, 0, 0}},
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
  EXPECT_EQ(predictors[0]["cases"], 2);
  EXPECT_EQ(predictors[0]["missingCases"], 1);
  EXPECT_EQ(predictors[0]["df1"], 4);
  EXPECT_TRUE(predictors[3]["df1"].is_null());
  EXPECT_EQ(dependent["missingCases"], 1);
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
  EXPECT_NE(csv.find(",5e-324,0,2,1,4,,"), std::string::npos) << csv;
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
      EXPECT_NE(text.find("line␊break"), std::string::npos) << text;
      EXPECT_EQ(text.find("█") != std::string::npos, utf8 && width >= 80) << text;
    }
  }
}

// A level of the data may be a whole document; displays show its beginning.
TEST(ScreenReports, ShortenLabelsThatAreDocuments) {
  const std::string document = std::string(2000000, 'd') + "<b>";
  ScreenReport report;
  ScreenedResponse& response = report.responses.emplace_back();
  response.kind = vlm::kBinaryResponse;
  response.name = "y";
  response.codes = {"bad", "good"};
  ScreenedPredictor& predictor = response.predictors.emplace_back();
  predictor.name = "text";
  predictor.figures.categorical = 1;
  predictor.bins = {{document, {}, {1, 2}}, {"b", {}, {3, 4}}};
  predictor.total = {"All", {}, {4, 6}};
  predictor.levels = {{1, document, 0}, {2, "b", 1}};
  const nlohmann::json json = nlohmann::json::parse(ScreenJson(report))["responses"][0]["predictors"][0];
  EXPECT_EQ(json["labels"][0], std::string(kLongestLabel, 'd') + "…");
  EXPECT_EQ(json["rows"][0]["label"], json["labels"][0]);
  EXPECT_EQ(json["levels"][0]["label"], document) << "levels are data";

  auto rules = std::make_shared<TextDocument>();
  rules->text = "text = " + document + "\n";
  Workbook workbook;
  ScreenDocuments documents;
  documents.panels = {{{}}};
  documents.rules = workbook.Add(rules);
  EXPECT_LT(ScreenPage(report, documents, workbook).size() - ChartLibrary().size(), 200000u);
}

}  // namespace
}  // namespace velmora
