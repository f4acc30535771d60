// Shared by the screening graphs: a wrapper around a graph document that takes C++ texts and throws
// when the host refuses a call, the title lines of every graph, and the handling of such a failure.
//
//   return ShownGraph(analysis, record, [&] {
//     GraphWriter graph(analysis, record, vlm::kLineGraph);
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

// Points of one series, one row each; a row of missing values is empty.
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

// Every call that the host refuses throws HostCallError; the document is then never shown.
class GraphWriter {
 public:
  GraphWriter(CFeatureSelectionTemplate& analysis, const PredSummary& record, int graphKind);

  void TitleLine(std::string_view text);  // an empty one is left out
  // The response, the predictor with its kind, and the case selection.
  void AddRecordTitles();
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
  const PredSummary& record_;
  vlm::Ref<vlm::IGraph> graph_;
};

// Labels of the record's bins, in order.
[[nodiscard]] std::vector<std::string> BinLabels(const CFeatureSelectionTemplate& analysis,
                                                 const PredSummary& record);

// Returns the graph that make() returns, and drops the record's sheets of single cases afterwards.
// A failure of the host is reported to the user and gives null.
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
