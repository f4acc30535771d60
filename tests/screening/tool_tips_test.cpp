// The scripts of screening graphs, run: every place of a graph shows the bin it lies in.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/screening/screening_session.h"
#include "workbench/language/event_script.h"

namespace velmora::testing {
namespace {

// flag and y rise with x and with the level of group.
Table Cases() {
  std::vector<double> flag, x, y, group;
  for (int i = 0; i < 600; ++i) {
    x.push_back(std::round(40 * std::sin(i * 1.37) + 50) / 8);
    group.push_back(i % 3 + 1);
    flag.push_back(std::fmod(i * 0.61803, 1) < x.back() / 14 + group.back() / 12 ? 1 : 0);
    y.push_back(x.back() * 2 + 5 * group.back() + std::fmod(i * 0.7548, 1));
  }
  return MakeTable({MakeColumn("flag", flag), MakeColumn("x", x), MakeColumn("y", y),
                    MakeColumn("group", group, {{1, "say \"no\""}, {2, "Z\xC3\xBCrich, old"}, {3, "rest"}})});
}

std::string General(double value, const char* separator) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  std::string shown = text;
  if (const std::size_t point = shown.find('.'); point != std::string::npos)
    shown.replace(point, 1, separator);
  return shown;
}

// The script of the graph that the member makes, before any table.
std::string ScriptOf(ScreeningSession& run, const char* member) {
  const std::size_t before = run.session.Documents().Documents().size();
  run.session.ResultsDialog().Get(member);
  const auto& documents = run.session.Documents().Documents();
  const Graph* graph = documents.size() > before ? documents[before].AsGraph() : nullptr;
  EXPECT_NE(graph, nullptr) << member;
  return graph == nullptr ? std::string() : graph->eventScript;
}

TEST(ToolTips, NameTheBinOfEveryPlace) {
  for (const char* const separator : {".", ","}) {
    ScreeningSession run(Cases(), separator);
    ASSERT_TRUE(run.Run({.continuousResponse = "3", .binaryResponse = "1", .continuous = "2"}));
    for (const auto& [response, member] :
         {std::pair(vlm::kBinaryResponse, "BinaryResponseDefaultRateGraph"),
          std::pair(vlm::kBinaryResponse, "BinaryResponseDistributionGraph"),
          std::pair(vlm::kContinuousResponse, "ContinuousResponseOverlaidScatterWithMeans")}) {
      SCOPED_TRACE(std::string(member) + " " + separator);
      const EventScript script(ScriptOf(run, member), separator);
      std::vector<double> bounds = run.CutPoints(response, 0);
      ASSERT_GE(bounds.size(), 2u);
      const vlm::ScreeningPredictor predictor = run.Predictor(response, 0);
      bounds.insert(bounds.begin(), predictor.minimum);
      bounds.push_back(predictor.maximum);
      const auto at = [&](double x) { return script.ToolTip("Plot2DSimple", {{x, 1}}); };
      for (std::size_t bin = 0; bin + 1 < bounds.size(); ++bin) {
        const double low = bounds[bin], high = bounds[bin + 1];
        const std::string label = std::string(bin == 0 ? "[" : "(") + General(low, separator) +
                                  (*separator == ',' ? "; " : ", ") + General(high, separator) + "]";
        const vlm::ScreeningBin figures = run.Bin(response, 0, static_cast<int>(bin));
        const std::string second =
            response == vlm::kBinaryResponse
                ? " Default rate:" + General(100 * figures.bad / figures.total, separator) + "\r\n"
                : " Mean: " + General(figures.mean, separator) + "\r\n";
        const std::string expected = " Bin : " + label + " \r\n" + second;
        const std::string shown = at(low + (high - low) / 2);
        EXPECT_EQ(shown.substr(0, shown.find("\r\n", shown.find("\r\n") + 2) + 2), expected);
        EXPECT_EQ(at(high), shown);
        EXPECT_EQ(at(low + 1e-9), shown);
        EXPECT_NE(at(low), shown);
      }
      EXPECT_EQ(at(bounds.front()), "");
      EXPECT_EQ(at(bounds.front() - 1), "");
      EXPECT_EQ(at(bounds.back() + 1), "");
      EXPECT_EQ(script.ToolTip("PlotBoxWhisker", {{bounds[1], 1}}), "");
    }
  }
}

TEST(ToolTips, NameTheBoxOfEveryPlace) {
  for (const bool levels : {false, true}) {
    ScreeningSession run(Cases());
    ASSERT_TRUE(run.Run(levels ? Wanted{.continuousResponse = "3", .categorical = "4"}
                               : Wanted{.continuousResponse = "3", .continuous = "2"}));
    const EventScript script(ScriptOf(run, "ContinuousResponseBoxPlot"), ".");
    const std::vector<std::string> labels = run.Labels(vlm::kContinuousResponse, 0);
    ASSERT_GE(labels.size(), 3u);
    for (std::size_t bin = 0; bin < labels.size(); ++bin) {
      const double position = static_cast<double>(bin) + 1;
      const std::string shown = script.ToolTip("PlotBoxWhisker", {{position, 1}});
      const vlm::ScreeningBin figures = run.Bin(vlm::kContinuousResponse, 0, static_cast<int>(bin));
      EXPECT_NE(shown.find(" Mean:" + General(figures.mean, ".")), std::string::npos) << shown;
      EXPECT_TRUE(shown.ends_with("N:" + General(figures.total, "."))) << shown;
      if (levels) {
        EXPECT_TRUE(shown.starts_with(" " + labels[bin] + " ")) << shown;
      }
      EXPECT_EQ(script.ToolTip("Plot2DSimple", {{position + 0.09, 1}}), shown);
      EXPECT_EQ(script.ToolTip("Plot2DSimple", {{position + 0.5, 1}}), "");
    }
  }
}

}  // namespace
}  // namespace velmora::testing
