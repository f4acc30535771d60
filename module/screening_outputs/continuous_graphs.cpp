// Graphs of a continuous response: a box of its order statistics for each bin, and the cases
// themselves with the mean of each bin and its 95 % limits as a diamond over the bin's interval.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/format_text.h"
#include "base/split_mix.h"
#include "module/screening_outputs/event_scripts.h"
#include "module/screening_outputs/graph_writing.h"
#include "module/screening_outputs/output_texts.h"
#include "module/screening_outputs/screening_graphs.h"

namespace vlmfsl {
namespace {

constexpr int kMostPoints = 2000;        // more would be indistinguishable
constexpr double kLevelHalfWidth = 0.4;  // of a level's diamond; its place is the number of its bin
constexpr double kJitter = 0.2;          // on either side of that place

// Uniform over 0 <= share < 1, the same for the same number.
double RandomShare(std::uint64_t number) { return vlm::ShareFromBits(vlm::RandomBits(number)); }

// Row numbers of the work sheet, ascending: all, or a random one from each of kMostPoints parts of
// equal length. The rows are sorted by the predictor, so the sample covers its whole range; the
// first and the last row are always in it.
std::vector<int> SampleRows(int rowCount) {
  const int count = std::min(rowCount, kMostPoints);
  std::vector<int> rows(static_cast<std::size_t>(count));
  const auto begin = [&](int part) { return static_cast<std::int64_t>(rowCount) * part / count; };
  for (int part = 0; part < count; ++part) {
    const std::int64_t length = begin(part + 1) - begin(part);
    const auto step = static_cast<std::int64_t>(vlm::RandomBits(static_cast<std::uint64_t>(part)) %
                                                static_cast<std::uint64_t>(length));
    rows[static_cast<std::size_t>(part)] = static_cast<int>(begin(part) + step) + 1;
  }
  if (count > 1) {
    rows.front() = 1;
    rows.back() = rowCount;
  }
  return rows;
}

// The positions of the cases: predictor (or bin number, jittered so that the cases of a level can
// be told apart) and response.
GraphPoints SampleCases(const PredSummary& record) {
  if (!record.workSheet) throw HostCallError("The record has no work sheet.");
  vlm::IWorkSheet& sheet = *record.workSheet;
  GraphPoints cases;
  for (const int row : SampleRows(sheet.GetRowCount())) {
    double x = sheet.GetValue(row, 1);
    if (record.predictorKind == kContinuousPredictor) {
      if (!HasValue(x)) continue;
    } else {
      const double node = sheet.GetValue(row, 3);
      const auto bin = std::find(record.bins.nodes.begin(), record.bins.nodes.end(), node);
      if (bin == record.bins.nodes.end()) continue;
      x = static_cast<double>(bin - record.bins.nodes.begin()) + 1 +
          kJitter * (2 * RandomShare(static_cast<std::uint64_t>(row)) - 1);
    }
    cases.x.push_back(x);
    cases.y.push_back(sheet.GetValue(row, 2));
  }
  return cases;
}

vlm::GraphBox BoxOf(vlm::ISpreadsheet& statistics, int row, std::size_t bin, const PredSummary& record) {
  const auto figure = [&](int column) { return statistics.GetValue(row, column); };
  const double position = static_cast<double>(bin) + 1;
  vlm::GraphBox box = {position,
                       position - kLevelHalfWidth,
                       position + kLevelHalfWidth,
                       figure(kBinMinimum),
                       figure(kBinLowerQuartile),
                       figure(kBinMedian),
                       figure(kBinUpperQuartile),
                       figure(kBinMaximum),
                       figure(kBinMean),
                       figure(kBinLowerLimit),
                       figure(kBinUpperLimit),
                       figure(kBinN)};
  if (record.predictorKind == kContinuousPredictor && !record.bins.IsExtra(bin)) {
    box.intervalFrom = bin == 0 ? record.values.Lowest() : record.bins.cutPoints[bin - 1];
    box.intervalTo =
        bin < record.bins.cutPoints.size() ? record.bins.cutPoints[bin] : record.values.Highest();
  }
  return box;
}

// A box, or a diamond over the bin's interval, for each bin with cases.
void AddBoxes(GraphWriter& graph, int seriesKind, std::string_view name, vlm::ISpreadsheet& statistics,
              const PredSummary& record, const std::vector<std::string>& labels) {
  const int series = graph.Series(seriesKind, name);
  for (std::size_t bin = 0; bin < labels.size(); ++bin) {
    const int row = record.bins.RowOf(statistics, static_cast<int>(bin));
    if (row == 0) continue;
    // Special and missing cases have no place on an axis of values.
    const bool onValueAxis =
        seriesKind == vlm::kDiamondSeries && record.predictorKind == kContinuousPredictor;
    if (onValueAxis && record.bins.IsExtra(bin)) continue;
    vlm::GraphBox box = BoxOf(statistics, row, bin, record);
    if (seriesKind == vlm::kDiamondSeries) box.position = (box.intervalFrom + box.intervalTo) / 2;
    graph.Document().AddBox(series, &box, labels[bin].data(), vlm::LengthOf(labels[bin]));
  }
}

}  // namespace

vlm::Ref<vlm::IGraph> ContinuousBoxPlot(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const std::vector<std::string> labels = BinLabels(analysis, record);
    GraphWriter graph(analysis, record, vlm::kBoxGraph);
    graph.TitleLine(RequiredText(analysis, kTextCategorizedBoxPlot));
    graph.TitleLine(
        vlm::FormatText(RequiredText(analysis, kTextBoxPlotOf), {record.responseName, record.predictorName}));
    graph.TitleLineOfSelection();
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Axis(vlm::kValueAxis, record.responseName);
    graph.Categories(vlm::kCategoryAxis, labels);
    AddBoxes(graph, vlm::kBoxSeries, record.responseName, BinStatistics(analysis, record), record, labels);
    return graph.Finish(BoxPlotEventCode(analysis, record));
  });
}

vlm::Ref<vlm::IGraph> ContinuousOverlaidScatter(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const bool continuous = record.predictorKind == kContinuousPredictor;
    const std::vector<std::string> labels = BinLabels(analysis, record);
    GraphWriter graph(analysis, record, vlm::kScatterGraph);
    graph.TitleLine(RequiredText(analysis, kTextMeanDiamonds));
    graph.AddRecordTitles();
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Axis(vlm::kValueAxis, record.responseName);
    if (!continuous) graph.Categories(vlm::kCategoryAxis, labels);
    const GraphPoints cases = SampleCases(record);
    graph.Series(vlm::kScatterSeries, RequiredText(analysis, kTextCases), cases);
    if (const int all = record.workSheet->GetRowCount(); all > kMostPoints) {
      graph.Footnote(vlm::FormatText(RequiredText(analysis, kTextSampleShown),
                                     {static_cast<long long>(cases.x.size()), static_cast<long long>(all)}));
    }
    AddBoxes(graph, vlm::kDiamondSeries, RequiredText(analysis, kTextMeanWithLimits),
             BinStatistics(analysis, record), record, labels);
    // Levels have the same places as the boxes of a box plot, so the script of the box plot fits
    // them.
    std::string& script = record.resultTexts[kEventScriptText];
    script = FrameEventScript(ScriptTarget::kPlot, continuous ? BinConditionsForDiamond(analysis, record)
                                                              : BinConditionsForBox(analysis, record));
    return graph.Finish(script);
  });
}

}  // namespace vlmfsl
