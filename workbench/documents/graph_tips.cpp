#include "workbench/documents/graph_tips.h"

#include <array>
#include <cmath>
#include <utility>

#include "workbench/data/errors.h"
#include "workbench/documents/sheet.h"
#include "workbench/language/event_script.h"

namespace velmora {
namespace {

// The TypeName of the plot that is pointed at.
constexpr char kSimplePlot[] = "Plot2DSimple";
constexpr char kBoxPlot[] = "PlotBoxWhisker";

bool IsPlaced(double value) { return std::isfinite(value) && !IsEmptyCell(value); }

// The horizontal pieces of a line with gaps; nothing for a line without gaps.
std::vector<std::array<double, 3>> PiecesOf(const GraphSeries& series) {
  std::vector<std::array<double, 3>> pieces;
  bool anyGap = false;
  const std::size_t count = std::min(series.x.size(), series.y.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (!IsPlaced(series.x[i]) || !IsPlaced(series.y[i])) {
      anyGap = true;
    } else if (i > 0 && IsPlaced(series.x[i - 1]) && series.y[i - 1] == series.y[i]) {
      pieces.push_back({series.x[i - 1], series.x[i], series.y[i]});
    }
  }
  if (!anyGap) pieces.clear();
  return pieces;
}

}  // namespace

GraphTips TipsOf(const Graph& graph) {
  GraphTips tips;
  if (graph.eventScript.empty()) return tips;
  try {
    const EventScript script(graph.eventScript, graph.decimalSeparator);
    for (const GraphSeries& series : graph.series) {
      std::vector<std::string>& texts = tips.elements.emplace_back();
      bool any = false;
      for (const BoxSummary& box : series.boxes) {
        const std::array<double, 2> place = {box.position, box.median};
        texts.push_back(script.ToolTip(series.kind == SeriesKind::kBoxes ? kBoxPlot : kSimplePlot, place));
        any = any || !texts.back().empty();
      }
      if (!any) texts.clear();
      if (series.kind != SeriesKind::kLine) continue;
      for (const auto& [left, right, height] : PiecesOf(series)) {
        const std::array<double, 2> place = {left + (right - left) / 2, height};
        std::string text = script.ToolTip(kSimplePlot, place);
        if (!text.empty()) tips.stretches.push_back({left, right, std::move(text)});
      }
    }
  } catch (const DataError&) {
    return {};  // the chart is drawn without the texts
  }
  return tips;
}

}  // namespace velmora
