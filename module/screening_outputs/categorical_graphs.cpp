// Graphs of a categorical response: the weighted count of each class in each bin, as lines, as a
// histogram for each bin, and as bars in three dimensions.
#include <algorithm>
#include <numeric>

#include "base/format_text.h"
#include "module/screening_outputs/graph_writing.h"
#include "module/screening_outputs/output_texts.h"
#include "module/screening_outputs/screening_graphs.h"

namespace vlmfsl {
namespace {

constexpr std::size_t kMostLines = 12;  // more would be indistinguishable

// Bins by classes; a bin without cases has zeros.
struct ClassCounts {
  std::vector<std::string> bins, classes;
  std::vector<double> counts;

  [[nodiscard]] double At(std::size_t bin, std::size_t classIndex) const {
    return counts[bin * classes.size() + classIndex];
  }
  [[nodiscard]] double Total(std::size_t classIndex) const {
    double total = 0;
    for (std::size_t bin = 0; bin < bins.size(); ++bin) total += At(bin, classIndex);
    return total;
  }
};

// The classes drawn as lines, in the order of the codes: all of them, or the most frequent ones.
std::vector<std::size_t> ClassesWithLine(const ClassCounts& table) {
  std::vector<std::size_t> classes(table.classes.size());
  std::iota(classes.begin(), classes.end(), std::size_t{0});
  if (classes.size() <= kMostLines) return classes;
  std::vector<double> totals;
  totals.reserve(classes.size());
  for (const std::size_t c : classes) totals.push_back(table.Total(c));
  std::stable_sort(classes.begin(), classes.end(),
                   [&](std::size_t a, std::size_t b) { return totals[a] > totals[b]; });
  classes.resize(kMostLines);
  std::sort(classes.begin(), classes.end());
  return classes;
}

ClassCounts CountsOf(const CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  constexpr int kFirstClassColumn = 2;
  if (!record.crosstab.summary || !record.crosstab.further[0]) {
    throw HostCallError("The record has no cross-tabulation.");
  }
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  // The row percentages have one column per class after the levels, and nothing else.
  const int classCount = record.crosstab.further[0]->GetColumnCount() - 1;
  ClassCounts table;
  table.bins = BinLabels(analysis, record);
  for (int c = 0; c < classCount; ++c) {
    const auto fill = [&](vlm::ITextSink* sink) { sheet.GetColumnLongName(kFirstClassColumn + c, sink); };
    table.classes.push_back(Stripped(analysis, vlm::WholeTextOf(fill)));
  }
  for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
    const int row = record.bins.RowOf(sheet, static_cast<int>(bin));
    for (int c = 0; c < classCount; ++c) {
      const double count = row == 0 ? 0 : sheet.GetValue(row, kFirstClassColumn + c);
      table.counts.push_back(HasValue(count) ? count : 0);
    }
  }
  return table;
}

void AddTitle(GraphWriter& graph, int textId) {
  graph.TitleLine(RequiredText(graph.Analysis(), textId));
  graph.AddRecordTitles();
}

// A series from one row or column of the table: count(i) at each place of the axis.
template <typename Count>
void AddSeries(GraphWriter& graph, int seriesKind, const std::string& name,
               const std::vector<std::string>& places, Count count) {
  const int series = graph.Series(seriesKind, name);
  for (std::size_t i = 0; i < places.size(); ++i) {
    graph.Document().AddPoint(series, static_cast<double>(i + 1), count(i), places[i].data(),
                              vlm::LengthOf(places[i]));
  }
}

}  // namespace

vlm::Ref<vlm::IGraph> CategoricalInteractionPlot(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const ClassCounts table = CountsOf(analysis, record);
    const std::vector<std::size_t> withLine = ClassesWithLine(table);
    GraphWriter graph(analysis, record, vlm::kLineGraph);
    AddTitle(graph, kTextInteractionPlot);
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Categories(vlm::kCategoryAxis, table.bins);
    graph.Axis(vlm::kValueAxis, RequiredText(analysis, kTextFrequency));
    for (const std::size_t c : withLine) {
      AddSeries(graph, vlm::kLineSeries, table.classes[c], table.bins,
                [&](std::size_t bin) { return table.At(bin, c); });
    }
    if (withLine.size() < table.classes.size()) {
      graph.Footnote(vlm::FormatText(
          RequiredText(analysis, kTextMostFrequentClasses),
          {static_cast<long long>(withLine.size()), static_cast<long long>(table.classes.size())}));
    }
    return graph.Finish();
  });
}

vlm::Ref<vlm::IGraph> CategoricalHistograms(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const ClassCounts table = CountsOf(analysis, record);
    GraphWriter graph(analysis, record, vlm::kHistogramGraph);
    AddTitle(graph, kTextCategorizedHistograms);
    graph.Axis(vlm::kCategoryAxis, record.responseName);
    graph.Categories(vlm::kCategoryAxis, table.classes);
    graph.Axis(vlm::kValueAxis, RequiredText(analysis, kTextFrequency));
    for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
      AddSeries(graph, vlm::kBarSeries, table.bins[bin], table.classes,
                [&](std::size_t c) { return table.At(bin, c); });
    }
    return graph.Finish();
  });
}

vlm::Ref<vlm::IGraph> Categorical3DHistogram(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const ClassCounts table = CountsOf(analysis, record);
    GraphWriter graph(analysis, record, vlm::kHistogram3DGraph);
    AddTitle(graph, kText3DHistogram);
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Categories(vlm::kCategoryAxis, table.bins);
    graph.Axis(vlm::kDepthAxis, record.responseName);
    graph.Categories(vlm::kDepthAxis, table.classes);
    graph.Axis(vlm::kValueAxis, RequiredText(analysis, kTextFrequency));
    std::vector<double> position, depth;
    for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
      for (std::size_t c = 0; c < table.classes.size(); ++c) {
        position.push_back(static_cast<double>(bin + 1));
        depth.push_back(static_cast<double>(c + 1));
      }
    }
    const int series = graph.Series(vlm::kBar3DSeries, RequiredText(analysis, kTextFrequency));
    graph.Document().AddPoints3D(series, static_cast<int>(position.size()), position.data(), depth.data(),
                                 table.counts.data());
    return graph.Finish();
  });
}

}  // namespace vlmfsl
