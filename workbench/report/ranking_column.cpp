#include "workbench/report/ranking_column.h"

#include "workbench/documents/terminal_text.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kWidestName = 48;

TextTable TableOf(const std::vector<RankingColumn>& columns, const std::vector<double>& barShares,
                  int leastImportant, bool utf8) {
  std::vector<const RankingColumn*> shown;
  std::vector<TextColumn> headers;
  for (const RankingColumn& column : columns) {
    if (column.importance > leastImportant || column.shortTitle.empty()) continue;
    shown.push_back(&column);
    headers.push_back({column.shortTitle, column.kind != RankingColumn::kName &&
                                              (column.kind != RankingColumn::kText || column.title.empty())});
  }
  TextTable table(headers);
  for (std::size_t row = 0; row < barShares.size(); ++row) {
    std::vector<std::string> cells;
    for (const RankingColumn* column : shown) {
      cells.push_back(column->kind == RankingColumn::kName
                          ? CutToWidth(PrintableText(column->texts[row]), kWidestName, utf8 ? "…" : "~")
                          : column->texts[row]);
    }
    table.AddRow(std::move(cells), barShares[row]);
  }
  return table;
}

}  // namespace

TextTable TerminalTable(const std::vector<RankingColumn>& columns, const std::vector<double>& barShares,
                        int width, bool utf8, int always, int& leastImportant) {
  leastImportant = kWideOnly - 1;
  while (leastImportant > always && !TableOf(columns, barShares, leastImportant, utf8).Fits(width))
    --leastImportant;
  return TableOf(columns, barShares, leastImportant, utf8);
}

}  // namespace velmora
