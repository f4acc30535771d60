#include "workbench/documents/page_charts.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/parse_number.h"
#include "workbench/documents/graph_tips.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kChartHeight = 380;  // pixels; the script may take another one
// Of a scatter series; more would only make the page larger.
constexpr std::size_t kMostPointsDrawn = 2000;
constexpr std::size_t kMostBars = 6000;      // of a chart; more would be indistinguishable
constexpr std::size_t kMostRankedBars = 50;  // of a horizontal bar chart

bool IsShown(double value) { return std::isfinite(value) && !IsEmptyCell(value); }

// A label of the chart in full, unless it is as long as a document.
std::string ChartText(const ShortNames& shortNames, std::string_view text) {
  return Utf8Of(DisplayLabel(shortNames.FullNameOf(text)));
}

// Six digits are enough for a drawing.
PageJson Drawn(double value) {
  if (!IsShown(value)) return {};
  if (value == std::trunc(value) && std::fabs(value) < 1e9) return value;
  const std::string text = ShownNumber(value, "0.00000E+00");
  return vlm::ParseNumber<double>(text).value_or(value);
}

PageJson AxisOf(const GraphAxis& axis, const ShortNames& shortNames) {
  PageJson json = {{"title", Utf8Of(DisplayLabel(axis.title))}};
  if (!IsEmptyCell(axis.minimum)) json["minimum"] = axis.minimum;
  if (!IsEmptyCell(axis.maximum)) json["maximum"] = axis.maximum;
  if (!IsEmptyCell(axis.step)) json["step"] = axis.step;
  if (!axis.ticks.empty()) {
    PageJson ticks = PageJson::array();
    for (const AxisTick& tick : axis.ticks)
      ticks.push_back(PageJson::array({tick.position, ChartText(shortNames, tick.label)}));
    json["ticks"] = std::move(ticks);
  }
  return json;
}

std::string TickText(const GraphAxis& axis, double position, const ShortNames& shortNames) {
  for (const AxisTick& tick : axis.ticks) {
    if (tick.position == position) return ChartText(shortNames, tick.label);
  }
  return ShownNumber(position, "");
}

PageJson TextsOf(const std::vector<std::string>& texts, const ShortNames& shortNames) {
  PageJson json = PageJson::array();
  for (const std::string& text : texts) json.push_back(ChartText(shortNames, text));
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
    for (const std::string& text : tips.elements[index]) texts.push_back(Utf8Of(DisplayLabel(text)));
    series["tips"] = std::move(texts);
  }
}

class ChartMaker {
 public:
  ChartMaker(const Graph& graph, const ShortNames& shortNames, const GraphTips& tips)
      : graph_(graph), shortNames_(shortNames), tips_(tips) {}

  // False when there is nothing to draw.
  bool Fill(PageJson& part) const {
    PageJson& chart = part["chart"];
    chart["title"] = Utf8Of(DisplayLabel(graph_.Title()));
    chart["position"] = AxisOf(graph_.positionAxis, shortNames_);
    chart["value"] = AxisOf(graph_.valueAxis, shortNames_);
    switch (graph_.kind) {
      case GraphKind::kHorizontalBars:
        return FillBars(part);
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
  struct Bar {
    double position, length;
    std::string label;
  };

  // Bars from the top down: the highest position first.
  bool FillBars(PageJson& part) const {
    std::vector<Bar> bars;
    for (const GraphSeries& series : graph_.series) {
      if (series.kind != SeriesKind::kBars) continue;
      for (std::size_t i = 0; i < series.y.size(); ++i) {
        if (!IsShown(series.y[i])) continue;
        const double position = i < series.x.size() ? series.x[i] : -static_cast<double>(i);
        bars.push_back({position, series.y[i],
                        i < series.labels.size() ? ChartText(shortNames_, series.labels[i]) : std::string()});
      }
    }
    if (bars.empty()) return false;
    std::stable_sort(bars.begin(), bars.end(),
                     [](const Bar& a, const Bar& b) { return a.position > b.position; });
    const std::size_t shown = std::min(bars.size(), kMostRankedBars);
    PageJson array = PageJson::array();
    for (std::size_t i = 0; i < shown; ++i)
      array.push_back(
          {{"label", bars[i].label}, {"value", bars[i].length}, {"text", BarText(bars[i].length)}});
    part["chart"]["layout"] = "bars";
    part["chart"]["bars"] = std::move(array);
    part["height"] = 50 + static_cast<int>(shown) * 24;
    part["description"] = "Bar chart of " + std::to_string(shown) + (shown == 1 ? " value" : " values") +
                          ", the first is " + bars.front().label + " with " +
                          ShownNumber(bars.front().length, "") + ".";
    if (shown < bars.size()) {
      part["notes"].push_back("The " + std::to_string(shown) + " best of " +
                              GroupedDigits(static_cast<long long>(bars.size())) +
                              " are drawn; the table holds " +
                              GroupedDigits(static_cast<long long>(bars.size() - shown)) + " more.");
    }
    return true;
  }

  // Four significant digits, without an exponent where it is not needed.
  static std::string BarText(double length) {
    const double size = std::fabs(length);
    if (size >= 1e9 || (size > 0 && size < 1e-4)) return ShownNumber(length, "0.00E+00");
    const int whole = size >= 1 ? static_cast<int>(std::log10(size)) + 1 : 0;
    const int decimals = std::max(4 - whole, 0);
    return ShownNumber(length,
                       decimals == 0 ? "0" : "0." + std::string(static_cast<std::size_t>(decimals), '0'));
  }

  bool FillXy(PageJson& chart) const {
    chart["layout"] = "xy";
    chart["right"] = AxisOf(graph_.rightAxis, shortNames_);
    PageJson array = PageJson::array();
    for (std::size_t index = 0; index < graph_.series.size(); ++index) {
      const GraphSeries& series = graph_.series[index];
      if (series.kind == SeriesKind::kBars3D) continue;
      PageJson one = {{"kind", NameOf(series.kind)},
                      {"name", Utf8Of(DisplayLabel(series.name))},
                      {"right", series.onRightAxis}};
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
        stretches.push_back(
            PageJson::array({Drawn(stretch.from), Drawn(stretch.to), Utf8Of(DisplayLabel(stretch.text))}));
      }
      chart["tips"] = std::move(stretches);
    }
    const bool any = !array.empty();
    chart["series"] = std::move(array);
    return any;
  }

  // Bars at the same position are in one category, whichever series they belong to.
  bool FillColumns(PageJson& chart) const {
    chart["layout"] = graph_.kind == GraphKind::kPanels ? "panels" : "columns";
    std::map<double, std::string> places;
    for (const AxisTick& tick : graph_.positionAxis.ticks)
      places.emplace(tick.position, ChartText(shortNames_, tick.label));
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.y.size(); ++i) {
        const bool labelled = i < series.labels.size() && !series.labels[i].empty();
        places.emplace(PlaceOf(series, i), labelled ? ChartText(shortNames_, series.labels[i])
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
      PageJson one = {{"name", Utf8Of(DisplayLabel(series.name))}, {"points", std::move(points)}};
      AddTips(one, tips_, index);
      array.push_back(std::move(one));
    }
    const bool any = !array.empty();
    chart["categories"] = std::move(categories);
    chart["series"] = std::move(array);
    return any;
  }

  static double PlaceOf(const GraphSeries& series, std::size_t i) {
    return i < series.x.size() ? series.x[i] : static_cast<double>(i + 1);
  }

  bool FillCells(PageJson& chart) const {
    chart["layout"] = "cells";
    chart["depth"] = AxisOf(graph_.depthAxis, shortNames_);
    std::map<double, int> columns, rows;
    for (const AxisTick& tick : graph_.positionAxis.ticks) columns.emplace(tick.position, 0);
    for (const AxisTick& tick : graph_.depthAxis.ticks) rows.emplace(tick.position, 0);
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.z.size() && i < series.x.size() && i < series.y.size(); ++i) {
        columns.emplace(series.x[i], 0);
        rows.emplace(series.y[i], 0);
      }
    }
    chart["xTexts"] = TickTexts(columns, graph_.positionAxis);
    chart["yTexts"] = TickTexts(rows, graph_.depthAxis);
    PageJson cells = PageJson::array();
    for (const GraphSeries& series : graph_.series) {
      for (std::size_t i = 0; i < series.z.size() && i < series.x.size() && i < series.y.size(); ++i) {
        cells.push_back(PageJson::array({columns[series.x[i]], rows[series.y[i]], Drawn(series.z[i])}));
      }
    }
    const bool any = !cells.empty() && cells.size() <= kMostBars;
    chart["cells"] = std::move(cells);
    return any;
  }

  PageJson TickTexts(std::map<double, int>& places, const GraphAxis& axis) const {
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

PageJson ChartPart(const Graph& graph, const std::string& id, const std::string& tableId,
                   const ShortNames& shortNames, Page& page) {
  const std::string position = graph.positionAxis.title.empty() ? "position" : graph.positionAxis.title;
  const std::string value = graph.valueAxis.title.empty() ? "value" : graph.valueAxis.title;
  PageJson titles = PageJson::array();
  for (const std::string& line : graph.titleLines) titles.push_back(Utf8Of(DisplayLabel(line)));
  PageJson part = {
      {"type", "chart"},
      {"id", id},
      {"titles", std::move(titles)},
      {"description", Utf8Of("Chart of " + DisplayLabel(value) + " against " + DisplayLabel(position) + ".")},
      {"height", kChartHeight},
      {"notes", PageJson::array()},
      {"chart", PageJson::object()}};
  const GraphTips tips = TipsOf(graph);
  if (!ChartMaker(graph, shortNames, tips).Fill(part)) return {};
  if (!graph.footnote.empty()) part["notes"].push_back(Utf8Of(DisplayLabel(graph.footnote)));
  if (!tableId.empty()) part["table"] = tableId;
  page.charts = true;
  if (graph.kind == GraphKind::kHistogram3D) {
    part["solid"] = true;
    page.threeDimensions = true;
  }
  return part;
}

}  // namespace velmora
