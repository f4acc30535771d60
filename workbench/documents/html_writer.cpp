// A workbook as a page: a section per group, with its graphs, tables and texts as parts.
#include <algorithm>
#include <cmath>

#include "workbench/documents/page.h"
#include "workbench/documents/page_charts.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

constexpr int kRowsShown = 200;  // of a table before "Show more"

PageJson ColumnOf(const TableView& view, int column) {
  const Sheet& sheet = view.Source();
  PageJson texts = PageJson::array(), values = PageJson::array();
  for (int row = 1; row <= sheet.RowCount(); ++row) {
    const double value = sheet.Cell(row, column);
    texts.push_back(view.Cell(row, column));
    values.push_back(sheet.ShownText(row, column) || IsEmptyCell(value) || !std::isfinite(value)
                         ? PageJson()
                         : PageJson(value));
  }
  PageJson json = {{"title", view.Header(column)},
                   {"role", !view.IsNumeric(column)                          ? "text"
                            : sheet.Role(column) == NumberRole::kProbability ? "smallest"
                                                                             : "number"},
                   {"texts", std::move(texts)}};
  if (view.IsNumeric(column)) json["values"] = std::move(values);
  return json;
}

// The formulas of columns; they name columns by number, so every column is listed.
PageJson FormulasOf(const TableView& view) {
  const Sheet& sheet = view.Source();
  PageJson formulas = PageJson::array();
  bool any = false;
  for (int column = 1; column <= sheet.ColumnCount(); ++column) {
    PageJson one = {{"name", "v" + std::to_string(column)}, {"title", view.Header(column)}};
    if (sheet.IsFormula(column)) one["formula"] = Utf8Of(sheet.ColumnLongName(column));
    any = any || sheet.IsFormula(column);
    formulas.push_back(std::move(one));
  }
  return any ? formulas : PageJson();
}

PageJson TablePart(int id, const Sheet& sheet, const ShortNames& shortNames) {
  const TableView view(sheet, shortNames);
  PageJson columns = PageJson::array();
  if (view.HasRowNames()) {
    PageJson names = PageJson::array();
    for (int row = 1; row <= sheet.RowCount(); ++row) names.push_back(view.RowName(row));
    columns.push_back({{"title", "Name"}, {"role", "name"}, {"texts", std::move(names)}});
  }
  for (int column = 1; column <= sheet.ColumnCount(); ++column) columns.push_back(ColumnOf(view, column));
  PageJson part = {
      {"type", "table"},
      {"id", "table" + std::to_string(id)},
      {"title", sheet.LongTitle().empty() ? "Table " + std::to_string(id) : Utf8Of(sheet.LongTitle())},
      {"rowCount", sheet.RowCount()},
      {"rowsShown", kRowsShown},
      {"columns", std::move(columns)}};
  if (PageJson formulas = FormulasOf(view); !formulas.is_null()) part["formulas"] = std::move(formulas);
  return part;
}

PageJson SectionOf(const Workbook& workbook, const DocumentGroup& group, Page& page) {
  std::vector<const Document*> documents;
  for (const Document& document : workbook.Documents()) {
    if (document.group == group.id) documents.push_back(&document);
  }
  // Importance bars open a section; the other documents follow as they were made.
  std::stable_partition(documents.begin(), documents.end(), [](const Document* document) {
    return document->AsGraph() && document->AsGraph()->kind == GraphKind::kHorizontalBars;
  });
  const auto table = std::find_if(documents.begin(), documents.end(),
                                  [](const Document* document) { return document->AsSheet(); });
  const std::string tableId = table == documents.end() ? "" : "table" + std::to_string((*table)->id);
  PageJson parts = PageJson::array();
  for (const Document* document : documents) {
    if (const Sheet* sheet = document->AsSheet())
      parts.push_back(TablePart(document->id, *sheet, workbook.shortNames));
    if (const Graph* graph = document->AsGraph()) {
      PageJson part =
          ChartPart(*graph, "chart" + std::to_string(document->id), tableId, workbook.shortNames, page);
      if (!part.is_null()) parts.push_back(std::move(part));
    }
    if (const TextDocument* text = document->AsText()) {
      const std::string_view body = text->text;
      parts.push_back(PageTextPart(text->title, body.substr(0, body.find_last_not_of("\n\r ") + 1)));
    }
  }
  PageJson section = {{"id", "group" + std::to_string(group.id)}, {"parts", std::move(parts)}};
  if (group.id != 0) {
    section["title"] = Utf8Of(group.name);
    section["listed"] = true;
    section["kind"] = Utf8Of(group.description);
    section["facts"] = PageFacts(group.facts);
    PageJson notices = PageJson::array();
    for (const Notice& notice : workbook.notices) {
      if (notice.group == group.id) notices.push_back(Utf8Of(notice.text));
    }
    section["notices"] = std::move(notices);
  } else if (workbook.Groups().size() > 1) {
    section["title"] = "Whole run";
  }
  return section;
}

}  // namespace

std::string WriteHtml(const Workbook& workbook) {
  Page page;
  page.title = workbook.title.empty() ? "Results" : workbook.title;
  page.factsTitle = "The run";
  page.facts = PageFacts(workbook.facts);
  for (const Notice& notice : workbook.notices) {
    if (notice.group == 0) page.notices.push_back(notice.text);
  }
  for (const DocumentGroup& group : workbook.Groups()) {
    if (group.id != 0) page.sections.push_back(SectionOf(workbook, group, page));
  }
  PageJson run = SectionOf(workbook, workbook.Groups().front(), page);
  if (!run["parts"].empty()) page.sections.push_back(std::move(run));
  return PageText(page);
}

}  // namespace velmora
