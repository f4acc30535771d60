// A table of a report as plain data, made once for the terminal, JSON, CSV, the workbook and the
// page.
//
//   ReportTable table{"points", "Points", {}, {}};
//   table.columns = {{"Predictor", "predictor", ReportTable::kText}, {"Points", "points", "0.0"}};
//   table.rows.push_back({"age", 12.5});
//   std::string csv = CsvText(table);   // predictor,points\nage,12.5\n
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "workbench/documents/page.h"
#include "workbench/documents/workbook.h"
#include "workbench/report/json_text.h"

namespace velmora {

struct ReportTable {
  struct Column {
    std::string title;
    std::string name;       // in JSON; CSV has it in snake case
    std::string format;     // of ShownNumber; kProbability for p-values; kText for texts
    bool wideOnly = false;  // not on a terminal
  };
  static constexpr char kText[] = "text";
  static constexpr char kProbability[] = "probability";
  // A number that is kMissing or not finite is not known.
  using Cell = std::variant<std::string, double>;
  using Row = std::vector<Cell>;  // one cell per column

  std::string id;     // of the page's element
  std::string title;  // without a period
  std::vector<Column> columns;
  std::vector<Row> rows;
};

// The table under its title. width: columns of the terminal, 0 for no limit.
std::string TerminalText(const ReportTable& table, int width, bool utf8);
// Numbers in full.
std::string CsvText(const ReportTable& table);
// The name of a member as a column: informationValue -> information_value, SSE -> sse.
std::string SnakeCase(const std::string& name);
// A list of objects.
Json RowsJson(const ReportTable& table);
// Appends ",\n  name: " and that list to the text of an object, one row per line.
void AppendTableJson(std::string& text, const char* name, const ReportTable& table);
// Adds the table to a workbook. The first column of texts names the rows when no two are equal.
void AddSheet(const ReportTable& table, Workbook& workbook, int group = 0);
PageJson PageTablePart(const ReportTable& table);

}  // namespace velmora
