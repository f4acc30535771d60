// Graphs of a screening against figures computed here from the cases, one by one.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "tests/screening/screening_session.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr double kEmpty = vlm::kMissingValue;

// Values that look random and are the same everywhere.
class Noise {
 public:
  double operator()() {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<double>(state_ >> 11) * 0x1p-53;
  }

 private:
  std::uint64_t state_ = 20;
};

// flag 0 (bad) or 1 (good), x continuous, group of four codes, y continuous, kind of three codes,
// whole weights 0 to 3.
Table Cases(int count) {
  Noise noise;
  std::vector<double> flag, x, group, y, kind, weight;
  for (int i = 0; i < count; ++i) {
    x.push_back(std::round(noise() * 400) / 4);
    group.push_back(std::floor(noise() * 4) + 1);
    flag.push_back(noise() < 0.2 + x.back() / 200 + group.back() / 20 ? 1 : 0);
    y.push_back(x.back() / 5 + 3 * group.back() + 10 * noise());
    kind.push_back(std::floor(3 * noise() * noise() + x.back() / 100));
    weight.push_back(std::floor(noise() * 4));
  }
  return MakeTable(
      {MakeColumn("flag", flag), MakeColumn("x", x),
       MakeColumn("group", group, {{1, "north"}, {2, "south"}, {3, "east \"old\""}, {4, "west"}}),
       MakeColumn("y", y), MakeColumn("kind", kind, {{0, "red"}, {1, "green"}, {2, "blue"}}),
       MakeColumn("weight", weight)});
}

// Presses the button of a member; the graph that came first, or null when none did.
const Graph* Make(ScreeningSession& run, const char* member) {
  const std::size_t before = run.session.Documents().Documents().size();
  run.session.ResultsDialog().Get(member);
  const auto& documents = run.session.Documents().Documents();
  return documents.size() > before ? documents[before].AsGraph() : nullptr;
}

struct Tally {
  double bad = 0, good = 0;
  double Rate() const { return 100 * bad / (bad + good); }
};

// The tree is cut on these cases, but they are not counted: the bin between 30 and 60 has no cases.
const char* const kMiddle = "x > 30 and x <= 60";
bool IsMiddle(double x) { return x > 30 && x <= 60; }

// The tallies of the intervals, which are closed above.
std::vector<Tally> TallyBins(const Table& table, const std::vector<double>& cuts, bool weighted = false,
                             bool withoutMiddle = false) {
  std::vector<Tally> bins(cuts.size() + 1);
  for (std::size_t i = 0; i < table.columns[0].values.size(); ++i) {
    const double x = table.columns[1].values[i];
    if (withoutMiddle && IsMiddle(x)) continue;
    const auto bin = static_cast<std::size_t>(std::lower_bound(cuts.begin(), cuts.end(), x) - cuts.begin());
    (table.columns[0].values[i] == 0 ? bins[bin].bad : bins[bin].good) +=
        weighted ? table.columns[5].values[i] : 1;
  }
  return bins;
}

TEST(ScreeningGraphs, DefaultRatesAreSegmentsRowByRow) {
  struct Row {
    const char* name;
    std::vector<double> cuts;
    bool weighted = false, withoutMiddle = false;
  };
  const Row rows[] = {{"one cut point", {40}},
                      {"three cut points", {10.25, 50, 80}},
                      {"weights", {30, 60}, true},
                      {"a bin without cases", {30, 60}, false, true}};
  const Table table = Cases(500);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScreeningSession run(table);
    if (row.weighted) run.session.WeightBy(6);
    if (row.withoutMiddle) run.session.SelectCases("", kMiddle);
    run.session.AnalysisSettings().userBins[2].cutPoints = row.cuts;
    ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
    const vlm::ScreeningPredictor predictor = run.Predictor(vlm::kBinaryResponse, 0);
    const Graph* graph = Make(run, "BinaryResponseDefaultRateGraph");
    ASSERT_NE(graph, nullptr);
    const GraphSeries& line = graph->series.at(0);
    const std::size_t n = row.cuts.size();
    ASSERT_EQ(line.x.size(), 4 * n + 4);
    const std::vector<Tally> bins = TallyBins(table, row.cuts, row.weighted, row.withoutMiddle);
    std::set<std::size_t> filled;
    for (std::size_t bin = 0; bin <= n; ++bin) {
      const double ends[] = {bin == 0 ? predictor.minimum : row.cuts[bin - 1],
                             bin == n ? predictor.maximum : row.cuts[bin]};
      for (std::size_t end = 0; end < 2; ++end) {
        const std::size_t place = 3 * bin + end;  // rows 3k + 1 and 3k + 2
        filled.insert(place);
        EXPECT_EQ(line.x[place], ends[end]);
        if (bins[bin].bad + bins[bin].good > 0) {
          EXPECT_DOUBLE_EQ(line.y[place], bins[bin].Rate());
        } else {
          EXPECT_EQ(line.y[place], kEmpty);
        }
      }
    }
    for (std::size_t place = 0; place < 4 * n + 4; ++place) {
      if (filled.count(place) != 0) continue;
      EXPECT_EQ(line.x[place], kEmpty);
      EXPECT_EQ(line.y[place], kEmpty);
    }
    char footnote[100];
    std::snprintf(footnote, sizeof footnote, "Gini before/after cat :%.4f /%.4f", predictor.giniBefore,
                  predictor.giniAfter);
    EXPECT_EQ(graph->footnote, footnote);
    EXPECT_THAT(graph->eventScript, HasSubstr("\r\nIf(TypeName(selectedObject)=\"Plot2DSimple\") Then\r\n"));
    EXPECT_THAT(graph->eventScript, HasSubstr("Default rate:"));
  }
}

TEST(ScreeningGraphs, TitlesTellResponsePredictorAndSelection) {
  ScreeningSession run(Cases(300));
  run.session.SelectCases("x > 5", "");
  ASSERT_TRUE(run.Run({.continuousResponse = "4",
                       .categoricalResponse = "5",
                       .binaryResponse = "1",
                       .categorical = "3",
                       .continuous = "2"}));
  struct Row {
    const char* member;
    const char* first;
    const char* second;
    const char* continuous;
    const char* categorical;
  };
  const char* const kLine = "Continuous predictor: x";
  const char* const kLevels = "Categorical predictor: group";
  const Row rows[] = {
      {"BinaryResponseDefaultRateGraph", "Default Rate", "Dependent variable: flag", kLine, kLevels},
      {"BinaryResponseDistributionGraph", "Distribution graph", "Dependent variable: flag", kLine, kLevels},
      {"ContinuousResponseBoxPlot", "Categorized Box plot", "", "Box Plot of y grouped by x",
       "Box Plot of y grouped by group"},
      {"ContinuousResponseOverlaidScatterWithMeans", "Overlaid scatterplot with mean diamond plots",
       "Dependent variable: y", kLine, kLevels},
      {"CategoricalResponseInteractionPlot", "Interaction plot of frequencies", "Dependent variable: kind",
       kLine, kLevels},
      {"CategoricalResponseCategorizedHistogram", "Categorized histograms", "Dependent variable: kind", kLine,
       kLevels},
      {"CategoricalResponse3dHistogram", "3D Histogram", "Dependent variable: kind", kLine, kLevels},
  };
  AutomationClient dialog = run.session.ResultsDialog();
  for (const Row& row : rows) {
    for (const bool categorical : {false, true}) {
      SCOPED_TRACE(std::string(row.member) + (categorical ? " of levels" : " of intervals"));
      for (const char* kind : {"Binary", "Continuous", "Categorical"}) {
        dialog.Put("Select" + std::string(kind) + "ResponsePredictorString", categorical ? "group" : "x");
      }
      const Graph* graph = Make(run, row.member);
      ASSERT_NE(graph, nullptr);
      std::vector<std::string> want = {row.first};
      if (*row.second != '\0') want.emplace_back(row.second);
      want.emplace_back(categorical ? row.categorical : row.continuous);
      want.emplace_back("Include cases: x > 5");
      EXPECT_EQ(graph->titleLines, want);
      EXPECT_FALSE(graph->positionAxis.title.empty());
      EXPECT_FALSE(graph->valueAxis.title.empty());
    }
  }
  // The script of a box plot of levels doubles the quotation marks of their labels.
  dialog.Put("SelectContinuousResponsePredictorString", "group");
  EXPECT_THAT(Make(run, "ContinuousResponseBoxPlot")->eventScript, HasSubstr("east \"\"old\"\""));
}

TEST(ScreeningGraphs, DistributionDrawsDensityRatesAndCumulativeShare) {
  const Table table = Cases(400);
  ScreeningSession run(table);
  run.session.AnalysisSettings().userBins[2].cutPoints = {20.5, 70};
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  const Graph* graph = Make(run, "BinaryResponseDistributionGraph");
  ASSERT_NE(graph, nullptr);
  // As with the button, the distribution itself comes along.
  const Document& values = run.session.Documents().Documents().back();
  ASSERT_NE(values.AsSheet(), nullptr);
  EXPECT_EQ(values.AsSheet()->Title().rfind("Distribution : ", 0), 0u) << values.AsSheet()->Title();
  ASSERT_EQ(graph->series.size(), 3u);
  const GraphSeries& density = graph->series[0];
  EXPECT_EQ(density.name, "x smoothed pdf");
  ASSERT_EQ(density.x.size(), 256u);

  std::vector<double> x(table.columns[1].values.begin(), table.columns[1].values.end());
  std::sort(x.begin(), x.end());
  const auto n = static_cast<double>(x.size());
  double mean = 0, squares = 0;
  for (const double value : x) mean += value / n;
  for (const double value : x) squares += (value - mean) * (value - mean);
  const double quartileRange = (x[299] + x[300]) / 2 - (x[99] + x[100]) / 2;
  const double h = 0.9 * std::min(std::sqrt(squares / (n - 1)), quartileRange / 1.34) * std::pow(n, -0.2);
  const auto kernels = [&](double at) {
    double sum = 0;
    for (const double value : x) sum += std::exp(-0.5 * (at - value) * (at - value) / (h * h));
    return sum;
  };
  const std::vector<Tally> bins = TallyBins(table, {20.5, 70});
  const double highest = std::max({bins[0].Rate(), bins[1].Rate(), bins[2].Rate()});
  double peak = 0;
  for (const double at : density.x) peak = std::max(peak, kernels(at));
  for (const std::size_t i : {0u, 17u, 128u, 255u}) {
    EXPECT_NEAR(density.x[i], x.front() + (x.back() - x.front()) * static_cast<double>(i) / 255, 1e-9);
    EXPECT_NEAR(density.y[i], kernels(density.x[i]) * highest / peak, 1e-6);
    const auto below = std::upper_bound(x.begin(), x.end(), graph->series[2].x[i]) - x.begin();
    EXPECT_DOUBLE_EQ(graph->series[2].y[i], 100 * static_cast<double>(below) / n);
  }
  EXPECT_EQ(graph->series[2].name, "Empirical CDF");
  EXPECT_TRUE(graph->series[2].onRightAxis);
  EXPECT_EQ(graph->series[2].y.back(), 100);

  const std::string footnote = graph->footnote;
  const std::vector<double> segmentsX = graph->series[1].x, segmentsY = graph->series[1].y;
  const Graph* rates = Make(run, "BinaryResponseDefaultRateGraph");
  EXPECT_EQ(segmentsX, rates->series[0].x);
  EXPECT_EQ(segmentsY, rates->series[0].y);
  char want[120];
  std::snprintf(want, sizeof want, "cutpoints=[ 20.5  70 ]freqs=[ %.4f  %.4f  %.4f ]", bins[0].Rate() / 100,
                bins[1].Rate() / 100, bins[2].Rate() / 100);
  EXPECT_EQ(footnote, want);
}

TEST(ScreeningGraphs, HalfOfTheValuesAlikeLeaveNoBandwidth) {
  std::vector<double> flag, x;
  for (int i = 0; i < 200; ++i) {
    x.push_back(i < 170 ? 7 : i);
    flag.push_back(i < 150 ? i % 2 : 1);
  }
  ScreeningSession run(MakeTable({MakeColumn("flag", flag), MakeColumn("x", x)}));
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2"}));
  const Graph* graph = Make(run, "BinaryResponseDistributionGraph");
  ASSERT_NE(graph, nullptr);
  EXPECT_EQ(graph->series[0].y, std::vector<double>(256, 0));
}

TEST(ScreeningGraphs, LevelsOfACategoricalPredictorAreBars) {
  const Table table = Cases(600);
  ScreeningSession run(table);
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .categorical = "3"}));
  const Graph* rates = Make(run, "BinaryResponseDefaultRateGraph");
  ASSERT_NE(rates, nullptr);
  std::map<std::string, Tally> wanted;  // by the label of the bin
  const std::vector<std::string> labels = run.Labels(vlm::kBinaryResponse, 0);
  const std::map<double, int> bins = run.Levels(vlm::kBinaryResponse, 0);
  for (std::size_t i = 0; i < 600; ++i) {
    Tally& tally = wanted[labels[static_cast<std::size_t>(bins.at(table.columns[2].values[i]))]];
    (table.columns[0].values[i] == 0 ? tally.bad : tally.good) += 1;
  }
  const GraphSeries bars = rates->series.at(0);
  EXPECT_EQ(rates->kind, GraphKind::kVerticalBars);
  ASSERT_EQ(bars.labels.size(), wanted.size());
  const Graph* shares = Make(run, "BinaryResponseDistributionGraph");
  for (std::size_t i = 0; i < bars.labels.size(); ++i) {
    const Tally& tally = wanted.at(bars.labels[i]);
    EXPECT_DOUBLE_EQ(bars.y[i], tally.Rate());
    EXPECT_DOUBLE_EQ(shares->series[0].y[i], (tally.bad + tally.good) / 6);
    EXPECT_DOUBLE_EQ(shares->series[1].y[i], tally.Rate());
    EXPECT_EQ(shares->positionAxis.ticks[i].label, bars.labels[i]);
  }
  EXPECT_THAT(shares->footnote, ::testing::StartsWith("freqs=["));
}

// Values of cases, each as often as its weight says, so that nothing here knows of weights.
std::vector<double> Repeated(const Table& table, double from, double to) {
  std::vector<double> values;
  for (std::size_t i = 0; i < table.columns[1].values.size(); ++i) {
    const double x = table.columns[1].values[i];
    if (x > from && x <= to && !IsMiddle(x))
      values.insert(values.end(), static_cast<std::size_t>(table.columns[5].values[i]),
                    table.columns[3].values[i]);
  }
  std::sort(values.begin(), values.end());
  return values;
}

double Quartile(const std::vector<double>& sorted, std::size_t quarters) {
  const std::size_t place = sorted.size() * quarters / 4;
  return sorted.size() * quarters % 4 == 0 ? (sorted[place - 1] + sorted[place]) / 2 : sorted[place];
}

TEST(ScreeningGraphs, BoxesAndDiamondsHoldTheOrderStatisticsOfTheirBins) {
  const Table table = Cases(700);
  ScreeningSession run(table);
  run.session.WeightBy(6);
  run.session.SelectCases("", kMiddle);
  run.session.AnalysisSettings().userBins[2].cutPoints = {30, 60, 75};
  ASSERT_TRUE(run.Run({.continuousResponse = "4", .continuous = "2"}));
  const Graph* boxPlot = Make(run, "ContinuousResponseBoxPlot");
  ASSERT_NE(boxPlot, nullptr);
  const GraphSeries boxes = boxPlot->series.at(0);
  EXPECT_THAT(boxPlot->eventScript, HasSubstr("PlotBoxWhisker"));
  EXPECT_THAT(boxPlot->positionAxis.ticks, ::testing::SizeIs(4));
  run.session.WeightBy(0);
  run.session.SelectCases("", "");  // a graph shows the cases that were screened
  const Graph* overlay = Make(run, "ContinuousResponseOverlaidScatterWithMeans");
  ASSERT_NE(overlay, nullptr);
  const GraphSeries& diamonds = overlay->series.at(1);
  EXPECT_EQ(diamonds.kind, SeriesKind::kDiamonds);
  EXPECT_THAT(overlay->eventScript, HasSubstr("Lower 95 CI:"));

  const vlm::ScreeningPredictor predictor = run.Predictor(vlm::kContinuousResponse, 0);
  const double ends[] = {-1, 30, 60, 75, 100};
  std::size_t place = 0;
  ASSERT_EQ(boxes.boxes.size(), 3u);
  ASSERT_EQ(diamonds.boxes.size(), 3u);
  for (int bin = 0; bin < 4; ++bin) {
    const std::vector<double> values = Repeated(table, ends[bin], ends[bin + 1]);
    if (values.empty()) continue;
    double mean = 0;
    for (const double value : values) mean += value / static_cast<double>(values.size());
    const BoxSummary& box = boxes.boxes[place];
    EXPECT_EQ(box.position, bin + 1);
    EXPECT_EQ(boxes.labels[place], run.Labels(vlm::kContinuousResponse, 0)[static_cast<std::size_t>(bin)]);
    EXPECT_EQ(box.count, static_cast<double>(values.size()));
    EXPECT_EQ(box.minimum, values.front());
    EXPECT_EQ(box.maximum, values.back());
    EXPECT_DOUBLE_EQ(box.lowerQuartile, Quartile(values, 1));
    EXPECT_DOUBLE_EQ(box.median, Quartile(values, 2));
    EXPECT_DOUBLE_EQ(box.upperQuartile, Quartile(values, 3));
    EXPECT_NEAR(box.mean, mean, 1e-12 * std::abs(mean));
    EXPECT_EQ(diamonds.boxes[place].mean, box.mean);
    EXPECT_EQ(diamonds.boxes[place].lowerLimit, box.lowerLimit);
    EXPECT_LT(box.lowerLimit, box.mean);
    EXPECT_GT(box.upperLimit, box.mean);
    EXPECT_EQ(diamonds.x[place], bin == 0 ? predictor.minimum : ends[bin]);
    EXPECT_EQ(diamonds.y[place], bin == 3 ? predictor.maximum : ends[bin + 1]);
    ++place;
  }
}

TEST(ScreeningGraphs, AScatterOfAMillionCasesIsASampleOfThem) {
  constexpr int kCount = 1'000'000;
  std::vector<double> x, y;
  Noise noise;
  for (int i = 0; i < kCount; ++i) {
    x.push_back(i * 7919LL % kCount);
    y.push_back(x.back() / 1000 + noise());
  }
  const Table table = MakeTable({MakeColumn("y", y), MakeColumn("x", x)});
  std::vector<double> sampleX[2], sampleY[2];
  for (int round = 0; round < 2; ++round) {
    ScreeningSession run(table);
    ASSERT_TRUE(run.Run({.continuousResponse = "1", .continuous = "2"}));
    const Graph* graph = Make(run, "ContinuousResponseOverlaidScatterWithMeans");
    ASSERT_NE(graph, nullptr);
    sampleX[round] = graph->series.at(0).x;
    sampleY[round] = graph->series.at(0).y;
    EXPECT_EQ(
        graph->footnote,
        "2000 of 1000000 cases are shown, drawn at random along the predictor; means and limits are of all "
        "cases.");
  }
  EXPECT_EQ(sampleX[0], sampleX[1]);
  EXPECT_EQ(sampleY[0], sampleY[1]);
  ASSERT_EQ(sampleX[0].size(), 2000u);
  std::vector<double> yOf(kCount);
  for (int i = 0; i < kCount; ++i)
    yOf[static_cast<std::size_t>(x[static_cast<std::size_t>(i)])] = y[static_cast<std::size_t>(i)];
  for (std::size_t i = 0; i < 2000; ++i) {
    EXPECT_EQ(sampleY[0][i], yOf[static_cast<std::size_t>(sampleX[0][i])]);
    EXPECT_EQ(std::floor(sampleX[0][i] / 500), static_cast<double>(i));  // one out of each part
  }
  EXPECT_EQ(sampleX[0].front(), 0);
  EXPECT_EQ(sampleX[0].back(), kCount - 1);
}

TEST(ScreeningGraphs, ClassCountsAreLinesPanelsAndBarsInSpace) {
  for (const int classCount : {3, 13}) {
    SCOPED_TRACE(std::to_string(classCount) + " classes");
    Table table = Cases(900);
    Noise noise;
    for (double& kind : table.columns[4].values.Own()) kind = std::floor(noise() * classCount);
    ScreeningSession run(table);
    run.session.WeightBy(6);
    run.session.SelectCases("", kMiddle);
    const std::vector<double> cuts = {30, 60, 66};
    run.session.AnalysisSettings().userBins[2].cutPoints = cuts;
    ASSERT_TRUE(run.Run({.categoricalResponse = "5", .continuous = "2"}));
    std::vector<std::vector<double>> counts(4, std::vector<double>(static_cast<std::size_t>(classCount)));
    for (std::size_t i = 0; i < 900; ++i) {
      if (IsMiddle(table.columns[1].values[i])) continue;
      const auto bin = static_cast<std::size_t>(
          std::lower_bound(cuts.begin(), cuts.end(), table.columns[1].values[i]) - cuts.begin());
      counts[bin][static_cast<std::size_t>(table.columns[4].values[i])] += table.columns[5].values[i];
    }

    const Graph* panels = Make(run, "CategoricalResponseCategorizedHistogram");
    ASSERT_NE(panels, nullptr);
    EXPECT_EQ(panels->kind, GraphKind::kPanels);
    ASSERT_EQ(panels->series.size(), 4u);
    for (std::size_t bin = 0; bin < 4; ++bin) {
      EXPECT_EQ(panels->series[bin].y, counts[bin]);
      EXPECT_EQ(panels->series[bin].name, run.Labels(vlm::kCategoricalResponse, 0)[bin]);
    }
    EXPECT_EQ(panels->series[0].labels.front(), "red");

    // Lines of the classes, of the most frequent twelve where there are more.
    const std::vector<std::string> classes = panels->series[0].labels;
    const Graph* lines = Make(run, "CategoricalResponseInteractionPlot");
    EXPECT_EQ(lines->footnote, classCount == 13 ? "The 12 most frequent of 13 classes are drawn." : "");
    std::set<std::string> drawn;
    for (const GraphSeries& line : lines->series) drawn.insert(line.name);
    ASSERT_EQ(drawn.size(), std::min<std::size_t>(classes.size(), 12));
    double rarestDrawn = 1e9, mostLeftOut = 0;
    std::size_t place = 0;
    for (std::size_t c = 0; c < classes.size(); ++c) {
      const double total = counts[0][c] + counts[1][c] + counts[2][c] + counts[3][c];
      if (drawn.count(classes[c]) == 0) {
        mostLeftOut = std::max(mostLeftOut, total);
        continue;
      }
      rarestDrawn = std::min(rarestDrawn, total);
      const GraphSeries& line = lines->series[place++];
      EXPECT_EQ(line.name, classes[c]);
      for (std::size_t bin = 0; bin < 4; ++bin) EXPECT_EQ(line.y[bin], counts[bin][c]);
    }
    EXPECT_GE(rarestDrawn, mostLeftOut);
    EXPECT_EQ(lines->positionAxis.ticks.size(), 4u);

    const Graph* space = Make(run, "CategoricalResponse3dHistogram");
    const GraphSeries& bars = space->series.at(0);
    ASSERT_EQ(bars.z.size(), static_cast<std::size_t>(4 * classCount));
    for (std::size_t i = 0; i < bars.z.size(); ++i) {
      EXPECT_EQ(bars.z[i],
                counts[static_cast<std::size_t>(bars.x[i]) - 1][static_cast<std::size_t>(bars.y[i]) - 1]);
    }
    EXPECT_EQ(space->depthAxis.ticks.size(), static_cast<std::size_t>(classCount));
  }
}

}  // namespace
}  // namespace velmora::testing
