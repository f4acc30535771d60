// Graphs of a categorical response: the weighted count of each class in each bin, as lines, as a histogram for each
// bin, and as bars in space.
#include "base/format_text.h"
#include "screening_out/graph_writing.h"
#include "screening_out/output_texts.h"

namespace vlmfsl {
namespace {

// More lines than this cannot be told apart: the bins are then the lines, and the classes stand along the axis.
constexpr std::size_t kMostLines = 12;

// Rows bins, columns classes; a bin without cases has zeros.
struct ClassCounts {
  std::vector<std::string> bins, classes;
  std::vector<double> counts;

  [[nodiscard]] double At(std::size_t bin, std::size_t classIndex) const {
    return counts[bin * classes.size() + classIndex];
  }
};

ClassCounts CountsOf(const CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  constexpr int kFirstClassColumn = 2;
  if (!record.summaryCrosstab) throw HostCallError("The record has no cross-tabulation.");
  vlm::ISpreadsheet& sheet = *record.summaryCrosstab;
  ClassCounts table;
  table.bins = BinLabels(analysis, record);
  for (std::size_t c = 0; c < analysis.responseCodes.size(); ++c) {
    table.classes.push_back(Stripped(analysis, WholeTextOf([&](vlm::ITextSink* sink) {
                                       sheet.GetColumnLongName(kFirstClassColumn + static_cast<int>(c), sink);
                                     })));
  }
  for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
    const int row = record.RowOfBin(sheet, static_cast<int>(bin));
    for (std::size_t c = 0; c < table.classes.size(); ++c) {
      const double count = row == 0 ? 0 : sheet.GetValue(row, kFirstClassColumn + static_cast<int>(c));
      table.counts.push_back(HasValue(count) ? count : 0);
    }
  }
  return table;
}

void AddTitle(GraphWriter& graph, int textId, const PredSummary& record) {
  graph.TitleLine(RequiredText(graph.Analysis(), textId));
  graph.TitleLinesOf(record);
}

// A series of one row or column of the table: count(i) at each place of the axis.
template <typename Count>
void AddSeries(GraphWriter& graph, int seriesKind, const std::string& name,
               const std::vector<std::string>& places, Count count) {
  const int series = graph.Series(seriesKind, name);
  for (std::size_t i = 0; i < places.size(); ++i) {
    graph.Document().AddPoint(series, static_cast<double>(i + 1), count(i), places[i].data(),
                              LengthOf(places[i]));
  }
}

}  // namespace

Ref<vlm::IGraph> CFeatureSelectionTemplate::CategoricalInteractionPlot(PredSummary& record) {
  return ShownGraph(*this, record, [&] {
    const ClassCounts table = CountsOf(*this, record);
    const bool linesAreClasses = table.classes.size() <= kMostLines;
    GraphWriter graph(*this, vlm::kLineGraph);
    AddTitle(graph, kTextInteractionPlot, record);
    graph.Axis(vlm::kCategoryAxis, linesAreClasses ? record.predictorName : record.responseName);
    graph.Categories(vlm::kCategoryAxis, linesAreClasses ? table.bins : table.classes);
    graph.Axis(vlm::kValueAxis, RequiredText(*this, kTextFrequency));
    for (std::size_t c = 0; linesAreClasses && c < table.classes.size(); ++c) {
      AddSeries(graph, vlm::kLineSeries, table.classes[c], table.bins,
                [&](std::size_t bin) { return table.At(bin, c); });
    }
    for (std::size_t bin = 0; !linesAreClasses && bin < table.bins.size(); ++bin) {
      AddSeries(graph, vlm::kLineSeries, table.bins[bin], table.classes,
                [&](std::size_t c) { return table.At(bin, c); });
    }
    return graph.Finish();
  });
}

Ref<vlm::IGraph> CFeatureSelectionTemplate::CategoricalHistograms(PredSummary& record) {
  return ShownGraph(*this, record, [&] {
    const ClassCounts table = CountsOf(*this, record);
    GraphWriter graph(*this, vlm::kHistogramGraph);
    AddTitle(graph, kTextCategorizedHistograms, record);
    graph.Axis(vlm::kCategoryAxis, record.responseName);
    graph.Categories(vlm::kCategoryAxis, table.classes);
    graph.Axis(vlm::kValueAxis, RequiredText(*this, kTextFrequency));
    for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
      AddSeries(graph, vlm::kBarSeries, table.bins[bin], table.classes,
                [&](std::size_t c) { return table.At(bin, c); });
    }
    return graph.Finish();
  });
}

Ref<vlm::IGraph> CFeatureSelectionTemplate::Categorical3DHistogram(PredSummary& record) {
  return ShownGraph(*this, record, [&] {
    const ClassCounts table = CountsOf(*this, record);
    GraphWriter graph(*this, vlm::kHistogram3DGraph);
    AddTitle(graph, kText3DHistogram, record);
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Categories(vlm::kCategoryAxis, table.bins);
    graph.Axis(vlm::kDepthAxis, record.responseName);
    graph.Categories(vlm::kDepthAxis, table.classes);
    graph.Axis(vlm::kValueAxis, RequiredText(*this, kTextFrequency));
    std::vector<double> position, depth;
    for (std::size_t bin = 0; bin < table.bins.size(); ++bin) {
      for (std::size_t c = 0; c < table.classes.size(); ++c) {
        position.push_back(static_cast<double>(bin + 1));
        depth.push_back(static_cast<double>(c + 1));
      }
    }
    const int series = graph.Series(vlm::kBar3DSeries, RequiredText(*this, kTextFrequency));
    graph.Document().AddPoints3D(series, static_cast<int>(position.size()), position.data(), depth.data(),
                                 table.counts.data());
    return graph.Finish();
  });
}

}  // namespace vlmfsl
