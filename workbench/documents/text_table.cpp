// Aligned columns of UTF-8 texts.
#include "workbench/documents/text_table.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "workbench/documents/terminal_text.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kGap = 2;
constexpr int kNarrowest = 10;
constexpr int kLeastBar = 8;
constexpr int kWidestBar = 40;

// A bar for a share from 0 to 1, at most this many cells wide, in steps of an eighth of a cell.
std::string Bar(double share, int cells, bool utf8) {
  static constexpr const char* kEighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const int eighths = static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * cells * 8));
  std::string bar;
  if (!utf8) return std::string(static_cast<std::size_t>((eighths + 4) / 8), '#');
  for (int cell = 0; cell < eighths / 8; ++cell) bar += "█";
  return bar + kEighths[eighths % 8];
}

}  // namespace

std::string Counted(std::size_t count, const char* one, const char* several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string PaddedTo(std::string_view text, int width, bool alignRight) {
  const std::string fill(static_cast<std::size_t>(std::max(0, width - WidthOf(text))), ' ');
  return alignRight ? fill + std::string(text) : std::string(text) + fill;
}

TextTable::TextTable(std::vector<TextColumn> columns) : columns_(std::move(columns)) {
  for (TextColumn& column : columns_) column.header = PrintableText(column.header);
}

void TextTable::AddRow(std::vector<std::string> cells, double barShare) {
  cells.resize(columns_.size());
  for (std::string& cell : cells) cell = PrintableText(cell);
  rows_.push_back(std::move(cells));
  barShares_.push_back(barShare);
}

std::vector<int> TextTable::Widths(int width) const {
  std::vector<int> widths;
  for (std::size_t c = 0; c < columns_.size(); ++c) {
    int widest = WidthOf(columns_[c].header);
    for (const std::vector<std::string>& row : rows_) widest = std::max(widest, WidthOf(row[c]));
    widths.push_back(widest);
  }
  if (width <= 0) return widths;
  const int room = width - kGap * static_cast<int>(columns_.size() - 1);
  while (std::accumulate(widths.begin(), widths.end(), 0) > room) {
    std::size_t widest = columns_.size();
    for (std::size_t c = 0; c < columns_.size(); ++c) {
      if (columns_[c].alignRight || widths[c] <= kNarrowest) continue;
      if (widest == columns_.size() || widths[c] > widths[widest]) widest = c;
    }
    if (widest == columns_.size()) break;
    --widths[widest];
  }
  return widths;
}

std::string TextTable::Text(int width, bool utf8) const { return Lines(Widths(width), 0, utf8); }

std::string TextTable::TextWithBars(int width, bool utf8) const {
  return Lines(Widths(width), BarCells(width), utf8);
}

int TextTable::BarCells(int width) const {
  const std::vector<int> widths = Widths(width);
  const int used =
      std::accumulate(widths.begin(), widths.end(), 0) + kGap * static_cast<int>(columns_.size());
  const int room = std::min(width - used, kWidestBar);
  return room < kLeastBar ? 0 : room;
}

std::string TextTable::Lines(const std::vector<int>& widths, int barCells, bool utf8) const {
  std::string text;
  const auto appendLine = [&](const auto& cellOf, const std::string& bar) {
    std::string line;
    for (std::size_t c = 0; c < columns_.size(); ++c) {
      if (c > 0) line.append(kGap, ' ');
      line += PaddedTo(CutToWidth(cellOf(c), widths[c], utf8 ? "…" : "~"), widths[c], columns_[c].alignRight);
    }
    line += std::string(kGap, ' ') + bar;
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  };
  appendLine([&](std::size_t c) { return std::string_view(columns_[c].header); }, "");
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    appendLine([&](std::size_t c) { return std::string_view(rows_[r][c]); },
               Bar(barShares_[r], barCells, utf8));
  }
  return text;
}

}  // namespace velmora
