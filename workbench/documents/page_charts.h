// Graphs as data for the page's script (page/charts.js), which draws them.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/graph_tips.h"
#include "workbench/documents/page_parts.h"
#include "workbench/documents/presentation.h"

namespace velmora {

// What the figure around a chart needs; no data: the page does not draw such a graph.
struct PageChart {
  PageJson data;
  std::string description;  // one sentence for who cannot see the chart
  int height = 380;         // pixels; the script may take another one
  bool threeDimensions = false;
};

// Every graph but horizontal bars, which need the table beside them. id: of the element that the chart goes into.
PageChart ChartOf(const Graph& graph, const std::string& id, const ShortNames& shortNames,
                  const GraphTips& tips);

// A figure with the graph's titles and its footnote around the place of the chart. table: id of the element
// that holds the same values as a table; may be empty. note: a line above the footnote; may be empty.
std::string FigureMarkup(const Graph& graph, const PageChart& chart, const std::string& id,
                         const std::string& table, const std::string& note = {});

}  // namespace velmora
