// A workbook as plain text: facts, notices, and the documents group by group.
#include "workbench/documents/presentation.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

std::string Underlined(const std::string& heading) {
  return heading + "\n" + std::string(static_cast<std::size_t>(WidthOf(heading)), '=') + "\n";
}

std::string FactLines(const std::vector<Fact>& facts) {
  std::string text;
  for (const Fact& fact : facts) text += Utf8Of(fact.key) + ": " + Utf8Of(fact.value) + "\n";
  return text;
}

std::string NoticeLines(const Workbook& workbook, int group) {
  std::string text;
  for (const Notice& notice : workbook.notices) {
    if (notice.group == group) text += "Notice: " + Utf8Of(notice.text) + "\n";
  }
  return text;
}

std::string TableText(const Sheet& sheet, const ShortNames& shortNames) {
  const TableView view(sheet, shortNames);
  std::vector<TextColumn> columns;
  if (view.HasRowNames()) columns.push_back({""});
  for (int column = 1; column <= sheet.ColumnCount(); ++column)
    columns.push_back({view.Header(column), view.IsNumeric(column)});
  TextTable table(std::move(columns));
  for (int row = 1; row <= sheet.RowCount(); ++row) {
    std::vector<std::string> cells;
    if (view.HasRowNames()) cells.push_back(view.RowName(row));
    for (int column = 1; column <= sheet.ColumnCount(); ++column) cells.push_back(view.Cell(row, column));
    table.AddRow(std::move(cells));
  }
  return Utf8Of(sheet.LongTitle()) + "\n" + table.Text(0, true);
}

std::string GraphText(const Graph& graph) {
  std::string text = "Graph:";
  for (const std::string& line : graph.titleLines) text += " " + Utf8Of(line) + ".";
  return text + "\n";
}

}  // namespace

std::string WriteText(const Workbook& workbook) {
  std::string text = Underlined(workbook.title.empty() ? "Results" : Utf8Of(workbook.title));
  text += FactLines(workbook.facts) + NoticeLines(workbook, 0);
  for (const DocumentGroup& group : workbook.Groups()) {
    if (group.id != 0) {
      text += "\n" + Underlined(Utf8Of(group.name));
      if (!group.description.empty()) text += Utf8Of(group.description) + "\n";
      text += FactLines(group.facts) + NoticeLines(workbook, group.id);
    }
    for (const Document& document : workbook.Documents()) {
      if (document.group != group.id) continue;
      text += "\n";
      if (const Sheet* sheet = document.AsSheet()) text += TableText(*sheet, workbook.shortNames);
      if (const Graph* graph = document.AsGraph()) text += GraphText(*graph);
      if (const TextDocument* report = document.AsText())
        text += Utf8Of(report->title) + "\n" + Utf8Of(report->text) + "\n";
    }
  }
  return text;
}

}  // namespace velmora
