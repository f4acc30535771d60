#include "tests/documents/graph_sample.h"

#include <cmath>

namespace velmora::sample {
namespace {

std::string Interval(int bin, int bins) {
  const std::string low = bin == 0 ? "(-Inf" : "(" + std::to_string(bin * 1250);
  return bin == bins - 1 ? low + ", Inf)" : low + ", " + std::to_string((bin + 1) * 1250) + "]";
}

void AddTicks(GraphAxis& axis, int bins) {
  for (int bin = 0; bin < bins; ++bin) axis.ticks.push_back({bin + 1.0, Interval(bin, bins)});
}

Graph Named(GraphKind kind, const std::string& title, const std::string& position, const std::string& value) {
  Graph graph;
  graph.kind = kind;
  graph.titleLines = {title, "Dependent variable: " + kGraphHostile};
  graph.positionAxis.title = position;
  graph.valueAxis.title = value;
  return graph;
}

GraphSeries Segments(int bins) {
  GraphSeries series{SeriesKind::kLine, "Default rate", {}, {}, {}, {}, {}, false};
  for (int bin = 0; bin < bins; ++bin) {
    const double rate = 30 + 22 * std::cos(bin * 0.9);
    for (const double x : {bin * 1250.0, (bin + 1) * 1250.0}) {
      series.x.push_back(x);
      series.y.push_back(rate);
    }
    series.x.push_back(kMissing);
    series.y.push_back(kMissing);
  }
  return series;
}

std::string Script(const std::string& plot, const std::string& blocks) {
  return "\r\nPrivate Sub Document_OnToolTipDisplay(ByVal scale As Boolean, ByRef Coords() As Double, ByRef "
         "selectedObject As Object, ByVal numPlotPoints As Long, ByRef PlotPoints() As Long, ByRef Text As "
         "String)\r\nDim x As Double\r\nIf(TypeName(selectedObject)=\"" +
         plot + "\") Then\r\nIf(Ubound(Coords)<1) Then\r\nExit Sub\r\nEnd If\r\nx=Coords(1)\r\n" + blocks +
         "End If\r\nEnd Sub\r\n";
}

std::string Doubled(std::string text) {
  for (std::size_t at = text.find('"'); at != std::string::npos; at = text.find('"', at + 2))
    text.insert(at, "\"");
  return text;
}

}  // namespace

Workbook EveryGraph(int bins) {
  Workbook workbook;
  workbook.title = "Every kind of graph";
  const auto add = [&](Graph graph) { workbook.Add(std::make_shared<Graph>(std::move(graph))); };

  Graph rates = Named(GraphKind::kXy, "Default Rate", "amount", "default rate in %");
  rates.series = {Segments(bins)};
  std::string blocks;
  for (int bin = 0; bin < bins; ++bin) {
    blocks += "If(x>" + std::to_string(bin * 1250) + " And x<=" + std::to_string((bin + 1) * 1250) +
              ") Then\r\nText=\"" + Interval(bin, bins) + " \" & vbCrLf & \"" + Doubled(kGraphHostile) +
              "\"\r\nEnd If\r\n";
  }
  rates.eventScript = Script("Plot2DSimple", blocks);
  rates.footnote = "Gini before/after cat :0.3941 /0.3887";
  add(rates);

  Graph density = Named(GraphKind::kXy, "Distribution graph", "amount", "");
  GraphSeries curve{SeriesKind::kLine, " smoothed pdf", {}, {}, {}, {}, {}, false};
  for (int i = 0; i < 256; ++i) {
    const double x = bins * 1250.0 * i / 255;
    curve.x.push_back(x);
    curve.y.push_back(60 * std::exp(-std::pow((x - bins * 400) / (bins * 260), 2)));
  }
  density.series = {curve, Segments(bins)};
  density.eventScript = rates.eventScript;
  add(density);

  Graph boxes = Named(GraphKind::kBoxPlot, "Categorized Box plot", "amount", "price");
  AddTicks(boxes.positionAxis, bins);
  GraphSeries box{SeriesKind::kBoxes, "", {}, {}, {}, {}, {}, false};
  GraphSeries diamonds{SeriesKind::kDiamonds, "Means", {}, {}, {}, {}, {}, false};
  GraphSeries points{SeriesKind::kScatter, "Cases", {}, {}, {}, {}, {}, false};
  for (int bin = 0; bin < bins; ++bin) {
    const double middle = 40 + 3.0 * bin + 6 * std::sin(bin);
    box.boxes.push_back({bin + 1.0, middle - 22, middle - 8, middle, middle + 9, middle + 30, middle + 1.5,
                         middle - 1, middle + 4, 100});
    diamonds.boxes.push_back(box.boxes.back());
    diamonds.x.push_back(bin + 0.6);
    diamonds.y.push_back(bin + 1.4);
    for (int i = 0; i < 40; ++i) {
      points.x.push_back(bin + 1.0);
      points.y.push_back(middle + 14 * std::sin(i * 1.7 + bin));
    }
    blocks = bin == 0 ? "" : blocks;
    blocks += "If(Abs(x-" + std::to_string(bin + 1) + "))<0.1 Then\r\nText=\" " + Interval(bin, bins) +
              " \" & vbCrLf & \" Mean:" + std::to_string(middle) +
              "\" & vbCrLf & \"N:\" & CStr(100)\r\nEnd If\r\n";
  }
  boxes.series = {box};
  boxes.eventScript = Script("PlotBoxWhisker", blocks);
  add(boxes);

  Graph overlaid = Named(GraphKind::kXy, "Overlaid scatterplot with mean diamond plots", "amount", "price");
  AddTicks(overlaid.positionAxis, bins);
  overlaid.series = {points, diamonds};
  add(overlaid);

  Graph interaction = Named(GraphKind::kXy, "Interaction plot of frequencies", "amount", "frequency");
  Graph panels = Named(GraphKind::kPanels, "Categorized histograms", "amount", "frequency");
  Graph cells = Named(GraphKind::kHistogram3D, "3D Histograms", "amount", "frequency");
  cells.depthAxis.title = "class";
  for (Graph* graph : {&interaction, &panels, &cells}) AddTicks(graph->positionAxis, bins);
  GraphSeries bars3d{SeriesKind::kBars3D, "", {}, {}, {}, {}, {}, false};
  for (int code = 0; code < 5; ++code) {
    const std::string name = code == 2 ? kGraphHostile : "class " + std::to_string(code);
    GraphSeries line{SeriesKind::kLine, name, {}, {}, {}, {}, {}, false};
    for (int bin = 0; bin < bins; ++bin) {
      line.x.push_back(bin + 1);
      line.y.push_back(std::round(50 + 40 * std::sin(bin * 0.7 + code)));
      bars3d.x.push_back(bin + 1);
      bars3d.y.push_back(code);
      bars3d.z.push_back(line.y.back());
    }
    interaction.series.push_back(line);
    line.kind = SeriesKind::kBars;
    panels.series.push_back(line);
    cells.depthAxis.ticks.push_back({static_cast<double>(code), name});
  }
  cells.series = {bars3d};
  add(interaction);
  add(panels);
  add(cells);
  return workbook;
}

}  // namespace velmora::sample
