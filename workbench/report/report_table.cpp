#include "workbench/report/report_table.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <set>

#include "workbench/documents/csv_row.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kWidestText = 48;
constexpr std::size_t kManyRows = 30;  // of a table on the page

bool IsText(const ReportTable::Column& column) { return column.format == ReportTable::kText; }

bool IsKnown(double value) { return std::isfinite(value) && !IsMissing(value, kMissing); }

std::string Shown(const ReportTable::Column& column, const ReportTable::Cell& cell, const char* unknown) {
  if (const auto* text = std::get_if<std::string>(&cell)) return *text;
  const double value = std::get<double>(cell);
  if (!IsKnown(value)) return unknown;
  return column.format == ReportTable::kProbability ? ShownProbability(value)
                                                    : ShownNumber(value, column.format);
}

}  // namespace

std::string TerminalText(const ReportTable& table, int width, bool utf8) {
  std::vector<TextColumn> columns;
  for (const ReportTable::Column& column : table.columns) {
    if (!column.wideOnly) columns.push_back({column.title, !IsText(column)});
  }
  TextTable lines(std::move(columns));
  for (const ReportTable::Row& row : table.rows) {
    std::vector<std::string> cells;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (table.columns[i].wideOnly) continue;
      const std::string text = PrintableText(Shown(table.columns[i], row[i], "-"));
      cells.push_back(IsText(table.columns[i]) ? CutToWidth(text, kWidestText, utf8 ? "…" : "~") : text);
    }
    lines.AddRow(std::move(cells));
  }
  return table.title + "\n" + lines.Text(width, utf8);
}

std::string CsvText(const ReportTable& table) {
  std::vector<std::string> fields;
  for (const ReportTable::Column& column : table.columns) fields.push_back(SnakeCase(column.name));
  std::string text;
  AppendCsvRow(text, fields);
  for (const ReportTable::Row& row : table.rows) {
    fields.clear();
    for (const ReportTable::Cell& cell : row) {
      const auto* const number = std::get_if<double>(&cell);
      fields.push_back(number == nullptr  ? std::get<std::string>(cell)
                       : IsKnown(*number) ? ShortestNumber(*number)
                                          : std::string());
    }
    AppendCsvRow(text, fields);
  }
  return text;
}

std::string SnakeCase(const std::string& name) {
  std::string text;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    const bool startsWord =
        i > 0 && std::isupper(c) != 0 && std::isupper(static_cast<unsigned char>(name[i - 1])) == 0;
    if (startsWord) text += '_';
    text += static_cast<char>(std::tolower(c));
  }
  return text;
}

Json RowsJson(const ReportTable& table) {
  Json rows = Json::array();
  for (const ReportTable::Row& row : table.rows) {
    Json json = Json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
      const auto* const number = std::get_if<double>(&row[i]);
      json[table.columns[i].name] =
          number == nullptr ? Json(DisplayLabel(std::get<std::string>(row[i]))) : NumberOrNull(*number);
    }
    rows.push_back(std::move(json));
  }
  return rows;
}

void AppendTableJson(std::string& text, const char* name, const ReportTable& table) {
  text += std::string(",\n  \"") + name + "\": ";
  AppendLines(text, RowsJson(table), "  ", [&](const Json& row) { text += "    " + JsonText(row); });
}

void AddSheet(const ReportTable& table, Workbook& workbook, int group) {
  std::set<std::string> names;
  for (const ReportTable::Row& row : table.rows) {
    if (const auto* text = std::get_if<std::string>(&row.front())) names.insert(*text);
  }
  const bool named = IsText(table.columns.front()) && names.size() == table.rows.size();
  const int first = named ? 1 : 0;
  auto sheet = std::make_shared<Sheet>(static_cast<int>(table.rows.size()),
                                       static_cast<int>(table.columns.size()) - first);
  sheet->SetTitle(table.title);
  for (std::size_t i = static_cast<std::size_t>(first); i < table.columns.size(); ++i) {
    const ReportTable::Column& column = table.columns[i];
    const int number = static_cast<int>(i) + 1 - first;
    sheet->SetColumnName(number, column.title);
    if (column.format == ReportTable::kProbability) {
      sheet->SetRole(number, NumberRole::kProbability);
    } else if (!IsText(column)) {
      sheet->SetFormat(number, column.format);
    }
  }
  for (std::size_t r = 0; r < table.rows.size(); ++r) {
    const int row = static_cast<int>(r) + 1;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      const int column = static_cast<int>(i) + 1 - first;
      const ReportTable::Cell& cell = table.rows[r][i];
      if (const auto* text = std::get_if<std::string>(&cell)) {
        if (named && i == 0) {
          sheet->SetRowName(row, *text);
        } else {
          sheet->SetText(row, column, DisplayLabel(*text));
        }
      } else if (IsKnown(std::get<double>(cell))) {
        sheet->SetCell(row, column, std::get<double>(cell));
      }
    }
  }
  workbook.SetName(workbook.Add(std::move(sheet), group), table.title);
}

PageJson PageTablePart(const ReportTable& table) {
  PageJson columns = PageJson::array();
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const ReportTable::Column& column = table.columns[i];
    PageJson texts = PageJson::array(), values = PageJson::array();
    for (const ReportTable::Row& row : table.rows) {
      texts.push_back(Utf8Of(DisplayLabel(Shown(column, row[i], "–"))));
      const auto* const number = std::get_if<double>(&row[i]);
      values.push_back(number != nullptr && IsKnown(*number) ? PageJson(*number) : PageJson());
    }
    PageJson json = {{"title", column.title},
                     {"role", i == 0                                       ? "name"
                              : IsText(column)                             ? "text"
                              : column.format == ReportTable::kProbability ? "smallest"
                                                                           : "number"},
                     {"texts", std::move(texts)}};
    if (!IsText(column)) json["values"] = std::move(values);
    columns.push_back(std::move(json));
  }
  return {{"type", "table"},        {"id", table.id},
          {"title", table.title},   {"rowCount", table.rows.size()},
          {"rowsShown", kManyRows}, {"columns", std::move(columns)}};
}

}  // namespace velmora
