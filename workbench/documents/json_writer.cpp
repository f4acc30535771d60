// A workbook as JSON, for programs that read everything a run made:
//
//   {"title": text,
//    "facts": [{"key", "value"}],
//    "notices": [{"text", "group"}],
//    "groups": [{"id", "name", "description", "facts"}],      group 0, the whole run, included
//    "documents": [                                           in order of creation
//      {"id", "group", "kind": "sheet", "title",
//       "rowNames": [texts],                                  absent without row names
//       "columns": [{"name", "longName", "formula", "format",
//                    "role": "plain" | "count" | "probability",
//                    "labels": [{"value", "text"}],           texts of values; absent without any
//                    "texts": [texts or null],                shown in place of values; the same
//                    "values": [numbers or null]}]},
//      {"id", "group", "kind": "graph", "title", "titleLines": [texts], "layout": text,
//       "positionAxis", "valueAxis", "rightAxis", "depthAxis":
//          {"title", "minimum", "maximum", "step": number or null,
//           "ticks": [{"position", "label"}]},
//       "series": [{"kind": text, "name", "onRightAxis",      empty arrays are absent
//                   "x", "y", "z": [numbers or null], "labels": [texts],
//                   "boxes": [{"position", "minimum", "lowerQuartile", "median", "upperQuartile",
//                              "maximum", "mean", "lowerLimit", "upperLimit", "count"}]}],
//       "footnote", "eventScript"},
//      {"id", "group", "kind": "text", "title", "text"}]}
//
// Names are given in full. An empty cell, a NaN and an infinity are null, because JSON has no
// number for them.
#include <cmath>
#include <nlohmann/json.hpp>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

using Json = nlohmann::ordered_json;

Json NumberOf(double value) { return IsEmptyCell(value) || !std::isfinite(value) ? Json() : Json(value); }

template <typename Numbers>
Json NumbersOf(const Numbers& values) {
  Json array = Json::array();
  for (const double value : values) array.push_back(NumberOf(value));
  return array;
}

Json FactsOf(const std::vector<Fact>& facts) {
  Json array = Json::array();
  for (const Fact& fact : facts) array.push_back({{"key", fact.key}, {"value", fact.value}});
  return array;
}

const char* RoleName(NumberRole role) {
  static constexpr const char* kNames[] = {"plain", "count", "probability"};
  return kNames[static_cast<int>(role)];
}

Json ColumnOf(const Sheet& sheet, int column, const ShortNames& shortNames) {
  Json json = {{"name", FullText(shortNames, sheet.ColumnName(column))},
               {"longName", sheet.IsFormula(column) ? std::string() : sheet.ColumnLongName(column)},
               {"formula", sheet.IsFormula(column) ? sheet.ColumnLongName(column) : std::string()},
               {"format", sheet.Format(column)},
               {"role", RoleName(sheet.Role(column))}};
  if (!sheet.Labels(column).empty()) {
    Json labels = Json::array();
    for (const ValueLabel& label : sheet.Labels(column)) {
      labels.push_back({{"value", NumberOf(label.value)}, {"text", label.text}});
    }
    json["labels"] = std::move(labels);
  }
  bool hasTexts = false;
  for (int row = 1; row <= sheet.RowCount() && !hasTexts; ++row) hasTexts = !sheet.Text(row, column).empty();
  if (hasTexts) {
    Json texts = Json::array();
    for (int row = 1; row <= sheet.RowCount(); ++row) {
      const std::string& text = sheet.Text(row, column);
      texts.push_back(text.empty() ? Json() : Json(text));
    }
    json["texts"] = std::move(texts);
  }
  json["values"] = NumbersOf(sheet.Values(column));
  return json;
}

void AddSheet(Json& json, const Sheet& sheet, const ShortNames& shortNames) {
  json["kind"] = "sheet";
  json["title"] = sheet.LongTitle();
  if (const TableView view(sheet, shortNames); view.HasRowNames()) {
    Json names = Json::array();
    for (int row = 1; row <= sheet.RowCount(); ++row) names.push_back(view.RowName(row));
    json["rowNames"] = std::move(names);
  }
  Json columns = Json::array();
  for (int column = 1; column <= sheet.ColumnCount(); ++column) {
    columns.push_back(ColumnOf(sheet, column, shortNames));
  }
  json["columns"] = std::move(columns);
}

const char* NameOf(GraphKind kind) {
  switch (kind) {
    case GraphKind::kHorizontalBars:
      return "horizontal bars";
    case GraphKind::kVerticalBars:
      return "vertical bars";
    case GraphKind::kXy:
      return "xy";
    case GraphKind::kBoxPlot:
      return "box plot";
    case GraphKind::kPanels:
      return "panels";
    case GraphKind::kHistogram3D:
      return "3d histogram";
  }
  return "";
}

Json AxisOf(const GraphAxis& axis) {
  Json json = {{"title", axis.title},
               {"minimum", NumberOf(axis.minimum)},
               {"maximum", NumberOf(axis.maximum)},
               {"step", NumberOf(axis.step)}};
  Json ticks = Json::array();
  for (const AxisTick& tick : axis.ticks)
    ticks.push_back({{"position", tick.position}, {"label", tick.label}});
  json["ticks"] = std::move(ticks);
  return json;
}

Json SeriesOf(const GraphSeries& series, const ShortNames& shortNames) {
  Json json = {{"kind", NameOf(series.kind)}, {"name", series.name}, {"onRightAxis", series.onRightAxis}};
  if (!series.x.empty()) json["x"] = NumbersOf(series.x);
  if (!series.y.empty()) json["y"] = NumbersOf(series.y);
  if (!series.z.empty()) json["z"] = NumbersOf(series.z);
  if (!series.labels.empty()) {
    Json labels = Json::array();
    for (const std::string& label : series.labels) labels.push_back(FullText(shortNames, label));
    json["labels"] = std::move(labels);
  }
  if (series.boxes.empty()) return json;
  Json boxes = Json::array();
  for (const BoxSummary& box : series.boxes) {
    boxes.push_back({{"position", NumberOf(box.position)},
                     {"minimum", NumberOf(box.minimum)},
                     {"lowerQuartile", NumberOf(box.lowerQuartile)},
                     {"median", NumberOf(box.median)},
                     {"upperQuartile", NumberOf(box.upperQuartile)},
                     {"maximum", NumberOf(box.maximum)},
                     {"mean", NumberOf(box.mean)},
                     {"lowerLimit", NumberOf(box.lowerLimit)},
                     {"upperLimit", NumberOf(box.upperLimit)},
                     {"count", NumberOf(box.count)}});
  }
  json["boxes"] = std::move(boxes);
  return json;
}

void AddGraph(Json& json, const Graph& graph, const ShortNames& shortNames) {
  json["kind"] = "graph";
  json["title"] = graph.Title();
  json["titleLines"] = graph.titleLines;
  json["layout"] = NameOf(graph.kind);
  json["positionAxis"] = AxisOf(graph.positionAxis);
  json["valueAxis"] = AxisOf(graph.valueAxis);
  json["rightAxis"] = AxisOf(graph.rightAxis);
  json["depthAxis"] = AxisOf(graph.depthAxis);
  Json series = Json::array();
  for (const GraphSeries& one : graph.series) series.push_back(SeriesOf(one, shortNames));
  json["series"] = std::move(series);
  json["footnote"] = graph.footnote;
  json["eventScript"] = graph.eventScript;
}

}  // namespace

std::string WriteJson(const Workbook& workbook, int indent) {
  Json json = {{"title", workbook.title}, {"facts", FactsOf(workbook.facts)}};
  Json notices = Json::array();
  for (const Notice& notice : workbook.notices)
    notices.push_back({{"text", notice.text}, {"group", notice.group}});
  json["notices"] = std::move(notices);
  Json groups = Json::array();
  for (const DocumentGroup& group : workbook.Groups()) {
    groups.push_back({{"id", group.id},
                      {"name", group.name},
                      {"description", group.description},
                      {"facts", FactsOf(group.facts)}});
  }
  json["groups"] = std::move(groups);
  Json documents = Json::array();
  for (const Document& document : workbook.Documents()) {
    Json one = {{"id", document.id}, {"group", document.group}};
    if (const Sheet* sheet = document.AsSheet()) {
      AddSheet(one, *sheet, workbook.shortNames);
    } else if (const Graph* graph = document.AsGraph()) {
      AddGraph(one, *graph, workbook.shortNames);
    } else {
      one["kind"] = "text";
      one["title"] = document.AsText()->title;
      one["text"] = document.AsText()->text;
    }
    documents.push_back(std::move(one));
  }
  json["documents"] = std::move(documents);
  return json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace velmora
