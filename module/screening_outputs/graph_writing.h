// What the screening graphs share: a graph document in texts of this side, the lines that head every graph, and
// the path on which a failure of the host ends.
//
//   return ShownGraph(analysis, record, [&] {
//     GraphWriter graph(analysis, vlm::kLineGraph);
//     ...                       // title lines, axes, series
//     return graph.Finish();
//   });
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/text.h"
#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Points of one series, a row each; a row of missing values is empty.
struct GraphPoints {
  std::vector<double> x, y;

  GraphPoints() = default;
  explicit GraphPoints(std::size_t rowCount)
      : x(rowCount, vlm::kMissingValue), y(rowCount, vlm::kMissingValue) {}
  void Set(std::size_t rowNumber, double xValue, double yValue) {
    x[rowNumber - 1] = xValue;
    y[rowNumber - 1] = yValue;
  }
};

// Every call that the host refuses throws HostCallError; the document then goes unseen.
class GraphWriter {
 public:
  GraphWriter(CFeatureSelectionTemplate& analysis, int graphKind);

  void TitleLine(std::string_view text);  // an empty one is left out
  // The response, the predictor with its kind, and the case selection.
  void TitleLinesOf(const PredSummary& record);
  void TitleLineOfSelection();
  void Footnote(std::string_view text);
  void Axis(int axis, std::string_view title);
  // Places 1 to texts.size() of an axis that shows these texts.
  void Categories(int axis, std::span<const std::string> texts);

  // Return the series' index.
  int Series(int seriesKind, std::string_view name);
  int Series(int seriesKind, std::string_view name, const GraphPoints& points);

  vlm::IGraph& Document() { return *graph_; }
  CFeatureSelectionTemplate& Analysis() { return analysis_; }

  // Attaches the script, when there is one, and shows the document.
  [[nodiscard]] vlm::Ref<vlm::IGraph> Finish(std::string_view eventScript = {});

 private:
  CFeatureSelectionTemplate& analysis_;
  vlm::Ref<vlm::IGraph> graph_;
};

// Labels of the record's bins, in order.
[[nodiscard]] std::vector<std::string> BinLabels(const CFeatureSelectionTemplate& analysis,
                                                 const PredSummary& record);

// What make returns, after which nothing that is made of single cases stays in memory. A failure of the host is
// told to the user and gives null.
template <typename Make>
[[nodiscard]] vlm::Ref<vlm::IGraph> ShownGraph(CFeatureSelectionTemplate& analysis, PredSummary& record,
                                          Make&& make) {
  struct EvictAtEnd {
    PredSummary& record;
    ~EvictAtEnd() { record.EvictSheets(); }
  };
  try {
    const EvictAtEnd rest{record};
    return make();
  } catch (const HostCallError&) {
    analysis.ShowMessage(kTextFatalError);
    return {};
  }
}

}  // namespace vlmfsl
