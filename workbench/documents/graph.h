// A chart as plain data: what is drawn, not how. The contract's graph interface fills it, renderers
// draw it.
//
//   Graph graph;
//   graph.titleLines = {"Importance plot", "Dependent variable: risk"};
//   graph.series.push_back({.kind = SeriesKind::kLine, .x = {1, 2}, .y = {0.5, 0.7}});
#pragma once

#include <string>
#include <vector>

#include "workbench/data/table.h"

namespace velmora {

// The kind of a series, and the arrays that it uses.
enum class SeriesKind {
  kBars,     // x positions, y lengths, labels
  kLine,     // x, y; a missing x or y breaks the line
  kScatter,  // x, y, labels
  kBoxes,    // boxes, labels
  // Boxes: the mean with its limits, from x to y on the position axis; a box, an x and a y each.
  kDiamonds,
  kBars3D,  // x on the position axis, y on the depth axis, z heights
};

struct BoxSummary {
  double position = 0;
  double minimum = kMissing, lowerQuartile = kMissing, median = kMissing, upperQuartile = kMissing,
         maximum = kMissing;
  double mean = kMissing, lowerLimit = kMissing, upperLimit = kMissing;
  double count = kMissing;
};

struct GraphSeries {
  SeriesKind kind = SeriesKind::kLine;
  std::string name;  // shown in the legend; may be empty
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> z;
  std::vector<std::string> labels;  // one per point, or none
  std::vector<BoxSummary> boxes;
  bool onRightAxis = false;
};

struct AxisTick {
  double position = 0;
  std::string label;
};

struct GraphAxis {
  std::string title;
  // Automatic scaling where missing.
  double minimum = kMissing;
  double maximum = kMissing;
  double step = kMissing;
  std::vector<AxisTick> ticks;  // texts at positions, in place of numbers; none for a numeric axis
};

// The layout of the whole chart; its series may be of several kinds.
enum class GraphKind {
  kHorizontalBars,  // categories on the vertical axis, the highest position on top
  kVerticalBars,    // several bar series side by side
  kXy,              // lines and points over two numeric axes
  kBoxPlot,
  kPanels,  // one panel per bar series, under its name; positions, ticks and scale are shared
  kHistogram3D,
};

struct Graph {
  GraphKind kind = GraphKind::kXy;
  // The first line is the title, the second the second title, and so on.
  std::vector<std::string> titleLines;
  // Positions (x of the series) and values (y), whichever way the chart is turned; depth of 3-D
  // charts.
  GraphAxis positionAxis;
  GraphAxis valueAxis;
  GraphAxis rightAxis;
  GraphAxis depthAxis;
  std::vector<GraphSeries> series;
  std::string footnote;                // lines separated by \n
  std::string eventScript;             // tooltip script attached to the graph; empty for none
  std::string decimalSeparator = ".";  // of the script's numbers

  std::string Title() const { return titleLines.empty() ? std::string() : titleLines.front(); }
};

}  // namespace velmora
