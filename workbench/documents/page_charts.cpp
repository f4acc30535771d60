#include "workbench/documents/page_charts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr std::size_t kMostPointsDrawn = 2000;  // of a scatter series; more say no more and weigh on the page

constexpr std::size_t kMostBars = 6000;  // of a chart; with more nothing can be told apart

bool IsShown(double value) { return std::isfinite(value) && !IsEmptyCell(value); }

// Six digits are more than an eye sees.
PageJson Drawn(double value) {
  if (!IsShown(value)) return {};
  if (value == std::trunc(value) && std::fabs(value) < 1e9) return value;
  const std::string text = ShownNumber(value, "0.00000E+00");
  double rounded = value;
  std::from_chars(text.data(), text.data() + text.size(), rounded);
  return rounded;
}

PageJson AxisOf(const GraphAxis& axis, const ShortNames& shortNames) {
  PageJson json = {{"title", Utf8Of(axis.title)}};
  if (!IsEmptyCell(axis.minimum)) json["minimum"] = axis.minimum;
  if (!IsEmptyCell(axis.maximum)) json["maximum"] = axis.maximum;
  if (!IsEmptyCell(axis.step)) json["step"] = axis.step;
  if (!axis.ticks.empty()) {
    PageJson ticks = PageJson::array();
    for (const AxisTick& tick : axis.ticks)
      ticks.push_back(PageJson::array({tick.position, FullText(shortNames, tick.label)}));
    json["ticks"] = std::move(ticks);
  }
  return json;
}

std::string TickText(const GraphAxis& axis, double position, const ShortNames& shortNames) {
  for (const AxisTick& tick : axis.ticks) {
    if (tick.position == position) return FullText(shortNames, tick.label);
  }
  return ShownNumber(position, "");
}

PageJson TextsOf(const std::vector<std::string>& texts, const ShortNames& shortNames) {
  PageJson json = PageJson::array();
  for (const std::string& text : texts) json.push_back(FullText(shortNames, text));
  return json;
}

PageJson PointsOf(const GraphSeries& series) {
  PageJson points = PageJson::array();
  const std::size_t count = std::max(series.y.size(), series.boxes.empty() ? 0 : series.x.size());
  // A scatter of many points is thinned evenly; lines are drawn whole.
  const std::size_t step = series.kind == SeriesKind::kScatter ? (count - 1) / kMostPointsDrawn + 1 : 1;
  for (std::size_t i = 0; i < count; i += step) {
    const double x = i < series.x.size() ? series.x[i] : static_cast<double>(i + 1);
    const double y = i < series.y.size() ? series.y[i] : kMissing;
    // A gap: a point without a place.
    points.push_back(IsShown(x) && IsShown(y) ? PageJson::array({Drawn(x), Drawn(y)})
                                              : PageJson::array({nullptr, nullptr}));
  }
  return points;
}

PageJson BoxesOf(const GraphSeries& series) {
  PageJson boxes = PageJson::array();
  for (const BoxSummary& box : series.boxes) {
    PageJson figures = PageJson::array();
    for (const double value : {box.position, box.minimum, box.lowerQuartile, box.median, box.upperQuartile,
                               box.maximum, box.mean, box.lowerLimit, box.upperLimit, box.count})
      figures.push_back(Drawn(value));
    boxes.push_back(std::move(figures));
  }
  return boxes;
}

void AddTips(PageJson& series, const GraphTips& tips, std::size_t index) {
  if (index < tips.elements.size() && !tips.elements[index].empty()) {
    PageJson texts = PageJson::array();
    for (const std::string& text : tips.elements[index]) texts.push_back(Utf8Of(text));
    series["tips"] = std::move(texts);
  }
}

class ChartMaker {
 public:
  ChartMaker(const Graph& graph, const ShortNames& shortNames, const GraphTips& tips)
      : graph_(graph), shortNames_(shortNames), tips_(tips) {}

  bool Fill(PageChart& chart) const {
    chart.data["position"] = AxisOf(graph_.positionAxis, shortNames_);
    chart.data["value"] = AxisOf(graph_.valueAxis, shortNames_);
    switch (graph_.kind) {
      case GraphKind::kHorizontalBars:
        return false;
      case GraphKind::kVerticalBars:
      case GraphKind::kPanels:
        return FillColumns(chart);
      case GraphKind::kHistogram3D:
        return FillCells(chart);
      case GraphKind::kXy:
      case GraphKind::kBoxPlot:
        break;
    }
    return FillXy(chart);
  }

 private:
  bool FillXy(PageChart& chart) const {
    chart.data["layout"] = "xy";
    chart.data["right"] = AxisOf(graph_.rightAxis, shortNames_);
    PageJson array = PageJson::array();
    for (std::size_t index = 0; index < graph_.series.size(); ++index) {
      const GraphSeries& series = graph_.series[index];
      if (series.kind == SeriesKind::kBars3D) continue;
      PageJson one = {
          {"kind", NameOf(series.kind)}, {"name", Utf8Of(series.name)}, {"right", series.onRightAxis}};
      const bool boxes = series.kind == SeriesKind::kBoxes || series.kind == SeriesKind::kDiamonds;
      if (boxes ? series.boxes.empty() : series.y.empty()) continue;
      if (boxes) one["boxes"] = BoxesOf(series);
      if (!boxes || series.kind == SeriesKind::kDiamonds) one["points"] = PointsOf(series);
      if (!series.labels.empty()) one["labels"] = TextsOf(series.labels, shortNames_);
      AddTips(one, tips_, index);
      array.push_back(std::move(one));
    }
    if (!tips_.stretches.empty()) {
      PageJson stretches = PageJson::array();
      for (const GraphTips::Stretch& stretch : tips_.stretches) {
        stretches.push_back(PageJson::array({Drawn(stretch.from), Drawn(stretch.to), Utf8Of(stretch.text)}));
      }
      chart.data["tips"] = std::move(stretches);
    }
    const bool any = !array.empty();
    chart.data["series"] = std::move(array);
    return any;
  }

  // Bars at the same position stand in one category, whichever series they are of.
  bool FillColumns(PageChart& chart) const {
    chart.data["layout"] = graph_.kind == GraphKind::kPanels ? "panels" : "columns";
    std::map<double, std::string> places;
    for (const AxisTick& tick : graph_.positionAxis.ticks)
      places.emplace(tick.position, FullText(shortNames_, tick.label));
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.y.size(); ++i) {
        const bool labelled = i < series.labels.size() && !series.labels[i].empty();
        places.emplace(PlaceOf(series, i), labelled ? FullText(shortNames_, series.labels[i])
                                                    : ShownNumber(PlaceOf(series, i), ""));
      }
    }
    if (places.size() * graph_.series.size() > kMostBars) return false;
    PageJson categories = PageJson::array();
    for (const auto& [place, text] : places) categories.push_back(text);
    PageJson array = PageJson::array();
    for (std::size_t index = 0; index < graph_.series.size(); ++index) {
      const GraphSeries& series = graph_.series[index];
      if (series.kind != SeriesKind::kBars) continue;
      std::map<double, double> lengths;
      for (std::size_t i = 0; i < series.y.size(); ++i) lengths.emplace(PlaceOf(series, i), series.y[i]);
      PageJson points = PageJson::array();
      for (const auto& [place, text] : places) {
        const auto found = lengths.find(place);
        points.push_back(found == lengths.end() ? PageJson() : Drawn(found->second));
      }
      PageJson one = {{"name", Utf8Of(series.name)}, {"points", std::move(points)}};
      AddTips(one, tips_, index);
      array.push_back(std::move(one));
    }
    const bool any = !array.empty();
    chart.data["categories"] = std::move(categories);
    chart.data["series"] = std::move(array);
    return any;
  }

  static double PlaceOf(const GraphSeries& series, std::size_t i) {
    return i < series.x.size() ? series.x[i] : static_cast<double>(i + 1);
  }

  bool FillCells(PageChart& chart) const {
    chart.data["layout"] = "cells";
    chart.data["depth"] = AxisOf(graph_.depthAxis, shortNames_);
    chart.threeDimensions = true;
    std::map<double, int> columns, rows;
    for (const AxisTick& tick : graph_.positionAxis.ticks) columns.emplace(tick.position, 0);
    for (const AxisTick& tick : graph_.depthAxis.ticks) rows.emplace(tick.position, 0);
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.z.size() && i < series.x.size() && i < series.y.size(); ++i) {
        columns.emplace(series.x[i], 0);
        rows.emplace(series.y[i], 0);
      }
    }
    chart.data["xTexts"] = Number(columns, graph_.positionAxis);
    chart.data["yTexts"] = Number(rows, graph_.depthAxis);
    PageJson cells = PageJson::array();
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.z.size() && i < series.x.size() && i < series.y.size(); ++i) {
        cells.push_back(PageJson::array({columns[series.x[i]], rows[series.y[i]], Drawn(series.z[i])}));
      }
    }
    const bool any = !cells.empty() && cells.size() <= kMostBars;
    chart.data["cells"] = std::move(cells);
    return any;
  }

  PageJson Number(std::map<double, int>& places, const GraphAxis& axis) const {
    PageJson texts = PageJson::array();
    int count = 0;
    for (auto& [place, number] : places) {
      number = count++;
      texts.push_back(TickText(axis, place, shortNames_));
    }
    return texts;
  }

  const Graph& graph_;
  const ShortNames& shortNames_;
  const GraphTips& tips_;
};

}  // namespace

PageChart ChartOf(const Graph& graph, const std::string& id, const ShortNames& shortNames,
                  const GraphTips& tips) {
  PageChart chart;
  chart.data = {{"id", id}, {"title", Utf8Of(graph.Title())}};
  if (!ChartMaker(graph, shortNames, tips).Fill(chart)) return {};
  const std::string position = graph.positionAxis.title.empty() ? "position" : graph.positionAxis.title;
  const std::string value = graph.valueAxis.title.empty() ? "value" : graph.valueAxis.title;
  chart.description = "Chart of " + value + " against " + position + ".";
  return chart;
}

std::string FigureMarkup(const Graph& graph, const PageChart& chart, const std::string& id,
                         const std::string& table, const std::string& note) {
  std::string label;
  for (const std::string& line : graph.titleLines) label += line + ". ";
  label += chart.description;
  if (!table.empty()) label += " The table below holds the same values.";
  std::string markup = chart.threeDimensions ? "<figure class=\"solid\">\n" : "<figure>\n";
  markup += "<figcaption>";
  for (std::size_t i = 0; i < graph.titleLines.size(); ++i) {
    const std::string tag = i == 0 ? "strong" : "span";
    markup.append("<").append(tag).append(">").append(Escaped(graph.titleLines[i])).append("</" + tag + ">");
  }
  markup += "</figcaption>\n<div class=\"chart\" id=\"" + id +
            "\" role=\"img\" style=\"height:" + std::to_string(chart.height) + "px\" aria-label=\"" +
            Escaped(label) + "\"";
  if (!table.empty()) markup += " aria-details=\"" + table + "\"";
  markup += "></div>\n";
  for (const std::string& line : {note, graph.footnote}) {
    if (!line.empty()) markup += "<p class=\"footnote\">" + Escaped(line) + "</p>\n";
  }
  return markup + "</figure>\n";
}

}  // namespace velmora
