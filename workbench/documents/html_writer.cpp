// A workbook as one self-contained page: headings, facts, notices and the first rows of every table as
// markup, everything else as data for the page's script (page/report.js).
#include <algorithm>
#include <cmath>

#include "workbench/documents/embedded_files.h"
#include "workbench/documents/page_charts.h"
#include "workbench/documents/page_parts.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

using Json = PageJson;

constexpr int kRowsShown = 200;        // of a table before "Show more"
constexpr std::size_t kMostBars = 50;  // of a bar chart
constexpr std::size_t kManyNotices = 8;

// One bar of a horizontal bar chart.
struct Bar {
  double position;
  double length;
  std::string label;
};

class HtmlWriter {
 public:
  explicit HtmlWriter(const Workbook& workbook) : workbook_(workbook) {
    data_["rowsShown"] = kRowsShown;
    data_["tables"] = Json::array();
    data_["charts"] = Json::array();
  }

  std::string Write() {
    AddHeader();
    for (const DocumentGroup& group : workbook_.Groups()) {
      if (group.id != 0) AddGroup(group);
    }
    AddGroup(workbook_.Groups().front());
    PageParts parts;
    parts.title = workbook_.title;
    parts.body = std::move(body_);
    parts.charts = !data_["charts"].empty();
    parts.threeDimensions = threeDimensions_;
    parts.data = EmbeddedJson(data_);
    parts.script = WorkbookScript();
    return AssemblePage(parts);
  }

 private:
  void AddHeader() {
    body_ +=
        "<a class=\"skip\" href=\"#results\">Skip to the results</a>\n<div class=\"page\">\n<header>\n<h1>";
    body_ += workbook_.title.empty() ? "Results" : Escaped(workbook_.title);
    body_ += "</h1>\n";
    AddFacts(workbook_.facts);
    body_ += "</header>\n";
    AddNotices(0);
    if (workbook_.Groups().size() > 2) {
      body_ += "<nav aria-label=\"Contents\"><strong>Contents</strong><ul>\n";
      for (const DocumentGroup& group : workbook_.Groups()) {
        if (group.id == 0) continue;
        body_ +=
            "<li><a href=\"#group" + std::to_string(group.id) + "\">" + Escaped(group.name) + "</a></li>\n";
      }
      body_ += "</ul></nav>\n";
    }
    body_ += "<main id=\"results\">\n";
  }

  void AddFacts(const std::vector<Fact>& facts) {
    if (facts.empty()) return;
    body_ += "<dl class=\"facts\">\n";
    for (const Fact& fact : facts) {
      body_ += "<div><dt>" + Escaped(fact.key) + "</dt><dd>" + Escaped(fact.value) + "</dd></div>\n";
    }
    body_ += "</dl>\n";
  }

  void AddNotices(int group) {
    std::vector<const Notice*> notices;
    for (const Notice& notice : workbook_.notices) {
      if (notice.group == group) notices.push_back(&notice);
    }
    if (notices.empty()) return;
    const std::string count = GroupedDigits(static_cast<long long>(notices.size()));
    const bool folded = notices.size() > kManyNotices;
    body_ += group == 0 ? "<section class=\"notices\" aria-label=\"Notices\">\n<h2>Notices</h2>\n"
                        : "<div class=\"notices\" role=\"note\" aria-label=\"Notices\">\n";
    if (folded) body_ += "<details><summary>" + count + " notices</summary>\n";
    body_ += "<ul>\n";
    for (const Notice* notice : notices) body_ += "<li>" + Escaped(notice->text) + "</li>\n";
    body_ += folded ? "</ul></details>\n" : "</ul>\n";
    body_ += group == 0 ? "</section>\n" : "</div>\n";
  }

  // Importance bars open a group, the other documents follow as they were made.
  void AddGroup(const DocumentGroup& group) {
    std::vector<const Document*> documents;
    for (const Document& document : workbook_.Documents()) {
      if (document.group == group.id) documents.push_back(&document);
    }
    const bool isRun = group.id == 0;
    if (isRun && documents.empty()) {
      body_ += "</main>\n</div>\n";
      return;
    }
    std::stable_partition(documents.begin(), documents.end(), [](const Document* document) {
      return document->AsGraph() && document->AsGraph()->kind == GraphKind::kHorizontalBars;
    });
    body_ += "<section id=\"group" + std::to_string(group.id) + "\">\n";
    if (!isRun) {
      body_ += "<h2>" + Escaped(group.name) + "</h2>\n";
      if (!group.description.empty()) body_ += "<p class=\"kind\">" + Escaped(group.description) + "</p>\n";
      AddFacts(group.facts);
      AddNotices(group.id);
    } else if (workbook_.Groups().size() > 1) {
      body_ += "<h2>Whole run</h2>\n";
    }
    for (const Document* document : documents) {
      if (const Sheet* sheet = document->AsSheet()) AddTable(document->id, *sheet);
      if (const Graph* graph = document->AsGraph()) AddGraph(*document, *graph, documents);
      if (const TextDocument* text = document->AsText()) {
        body_ += "<h3>" + Escaped(text->title) + "</h3>\n<pre>" + Escaped(Trimmed(text->text)) + "</pre>\n";
      }
    }
    body_ += "</section>\n";
    if (isRun) body_ += "</main>\n</div>\n";
  }

  static std::string_view Trimmed(std::string_view text) {
    return text.substr(0, text.find_last_not_of("\n\r ") + 1);
  }

  void AddTable(int id, const Sheet& sheet) {
    const TableView view(sheet, workbook_.shortNames);
    const std::string name = "table" + std::to_string(id);
    const std::string title = sheet.Title().empty() ? "Table " + std::to_string(id) : sheet.Title();
    body_ += "<div id=\"" + name + "\">\n<h3 id=\"" + name + "-title\">" + Escaped(title) + "</h3>\n";
    body_ += "<div class=\"tools\"><p class=\"count\">" + GroupedDigits(sheet.RowCount()) +
             (sheet.RowCount() == 1 ? " row" : " rows");
    if (sheet.RowCount() > kRowsShown) body_ += ", the first " + std::to_string(kRowsShown) + " shown";
    body_ += "</p></div>\n<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-labelledby=\"" + name +
             "-title\">\n<table" + (sheet.ColumnCount() > 5 ? " class=\"dense\"" : "") +
             " aria-labelledby=\"" + name + "-title\">\n<thead><tr>";

    Json numeric = Json::array();
    if (view.HasRowNames()) {
      body_ += "<th scope=\"col\">Name</th>";
      numeric.push_back(0);
    }
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      body_ += view.IsNumeric(column) ? "<th scope=\"col\" class=\"number\">" : "<th scope=\"col\">";
      body_ += Escaped(view.Header(column));
      body_ += "</th>";
      numeric.push_back(view.IsNumeric(column) ? 1 : 0);
    }
    body_ += "</tr></thead>\n<tbody>\n";
    Json rows = Json::array();
    for (int row = 1; row <= sheet.RowCount(); ++row) rows.push_back(AddRow(view, row));
    body_ += "</tbody>\n</table>\n</div>\n";
    AddFormulas(view);
    body_ += "</div>\n";
    data_["tables"].push_back({{"id", name},
                               {"title", title},
                               {"nameColumn", view.HasRowNames() ? 0 : -1},
                               {"numeric", std::move(numeric)},
                               {"rows", std::move(rows)}});
  }

  // What the formula columns compute; they name columns by number, so every column is listed.
  void AddFormulas(const TableView& view) {
    const Sheet& sheet = view.Source();
    std::string items;
    bool any = false;
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      any = any || sheet.IsFormula(column);
      items += "<li><b>v" + std::to_string(column) + "</b> " + Escaped(view.Header(column));
      if (sheet.IsFormula(column)) items += " <code>" + Escaped(sheet.ColumnLongName(column)) + "</code>";
      items += "</li>\n";
    }
    if (any) {
      body_ += "<details class=\"formulas\"><summary>How the columns are computed</summary><ul>\n" + items +
               "</ul></details>\n";
    }
  }

  // The row's data; its markup too when it is one of the first.
  Json AddRow(const TableView& view, int row) {
    const Sheet& sheet = view.Source();
    const bool shown = row <= kRowsShown;
    Json cells = Json::array();
    if (shown) body_ += "<tr>";
    if (view.HasRowNames()) {
      cells.push_back(view.RowName(row));
      if (shown) body_ += "<th scope=\"row\">" + Escaped(view.RowName(row)) + "</th>";
    }
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      const std::string text = view.Cell(row, column);
      const double value = sheet.Cell(row, column);
      if (sheet.ShownText(row, column) || IsEmptyCell(value) || !std::isfinite(value)) {
        cells.push_back(text);
      } else {
        cells.push_back(Json::array({value, text}));
      }
      if (!shown) continue;
      body_ += view.IsNumeric(column) ? "<td class=\"number\">" : "<td>";
      body_ += Escaped(text) + "</td>";
    }
    if (shown) body_ += "</tr>\n";
    return cells;
  }

  void AddGraph(const Document& document, const Graph& graph, const std::vector<const Document*>& group) {
    const std::string name = "chart" + std::to_string(document.id);
    PageChart chart;
    std::string note;
    if (graph.kind == GraphKind::kHorizontalBars) {
      const std::vector<Bar> bars = BarsOf(graph);
      if (bars.empty()) return;
      const std::size_t shown = std::min(bars.size(), kMostBars);
      chart.data = {{"id", name}, {"title", Utf8Of(graph.Title())}};
      FillBars(chart.data, graph, bars, shown, group);
      chart.height = 50 + static_cast<int>(shown) * 24;
      chart.description = "Bar chart of " + std::to_string(shown) + (shown == 1 ? " value" : " values") +
                          ", the first is " + bars.front().label + " with " +
                          ShownNumber(bars.front().length, "") + ".";
      if (shown < bars.size()) {
        note = "The " + std::to_string(shown) + " best of " +
               GroupedDigits(static_cast<long long>(bars.size())) + " are drawn; the table holds " +
               GroupedDigits(static_cast<long long>(bars.size() - shown)) + " more.";
      }
    } else {
      chart = ChartOf(graph, name, workbook_.shortNames, TipsOf(graph));
      if (chart.data.is_null()) return;
    }
    const auto table =
        std::find_if(group.begin(), group.end(), [](const Document* other) { return other->AsSheet(); });
    body_ +=
        FigureMarkup(graph, chart, name,
                     table == group.end() ? std::string() : "table" + std::to_string((*table)->id), note);
    threeDimensions_ = threeDimensions_ || chart.threeDimensions;
    data_["charts"].push_back(std::move(chart.data));
  }

  // The bars from the top down: the highest position first.
  std::vector<Bar> BarsOf(const Graph& graph) const {
    std::vector<Bar> bars;
    for (const GraphSeries& series : graph.series) {
      if (series.kind != SeriesKind::kBars) continue;
      for (std::size_t i = 0; i < series.y.size(); ++i) {
        if (!std::isfinite(series.y[i]) || IsEmptyCell(series.y[i])) continue;
        const double position = i < series.x.size() ? series.x[i] : -static_cast<double>(i);
        bars.push_back(
            {position, series.y[i],
             i < series.labels.size() ? FullText(workbook_.shortNames, series.labels[i]) : std::string()});
      }
    }
    std::stable_sort(bars.begin(), bars.end(),
                     [](const Bar& a, const Bar& b) { return a.position > b.position; });
    return bars;
  }

  // A bar's tooltip shows the row of the group's table that has its name.
  void FillBars(Json& chart, const Graph& graph, const std::vector<Bar>& bars, std::size_t shown,
                const std::vector<const Document*>& group) const {
    chart["layout"] = "bars";
    chart["axis"] = Utf8Of(graph.valueAxis.title);
    std::unordered_map<std::string, Json> details;
    for (const Document* document : group) {
      if (!document->AsSheet()) continue;
      const TableView view(*document->AsSheet(), workbook_.shortNames);
      for (int row = 1; row <= view.Source().RowCount() && view.HasRowNames(); ++row) {
        Json lines = Json::array();
        for (int column = 1; column <= view.Source().ColumnCount(); ++column) {
          lines.push_back(Json::array({view.Header(column), view.Cell(row, column)}));
        }
        details.emplace(view.RowName(row), std::move(lines));
      }
    }
    Json array = Json::array();
    for (std::size_t i = 0; i < shown; ++i) {
      const std::string text = BarText(bars[i].length);
      const auto found = details.find(bars[i].label);
      array.push_back(
          {{"label", bars[i].label},
           {"value", bars[i].length},
           {"text", text},
           {"details",
            found != details.end() ? found->second : Json::array({Json::array({chart["axis"], text})})}});
    }
    chart["bars"] = std::move(array);
  }

  // Four significant digits, without an exponent where a reader can do without.
  static std::string BarText(double length) {
    const double size = std::fabs(length);
    if (size >= 1e9 || (size > 0 && size < 1e-4)) return ShownNumber(length, "0.00E+00");
    const int whole = size >= 1 ? static_cast<int>(std::log10(size)) + 1 : 0;
    const int decimals = std::max(4 - whole, 0);
    return ShownNumber(length,
                       decimals == 0 ? "0" : "0." + std::string(static_cast<std::size_t>(decimals), '0'));
  }

  const Workbook& workbook_;
  std::string body_;
  Json data_;
  bool threeDimensions_ = false;
};

}  // namespace

std::string WriteHtml(const Workbook& workbook) { return HtmlWriter(workbook).Write(); }

}  // namespace velmora
