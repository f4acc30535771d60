// Aligned columns of UTF-8 texts, and CSV rows.
#include "workbench/app/text_table.h"

#include <algorithm>
#include <numeric>

#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr int kGap = 2;
constexpr int kNarrowest = 10;

// One line of a terminal: control characters of the data would move the cursor.
std::string Line(const std::string& text) {
  std::string line = Utf8Of(text);
  for (char& character : line) {
    if (static_cast<unsigned char>(character) < 0x20 || character == 0x7f) character = ' ';
  }
  return line;
}

}  // namespace

std::string PaddedTo(std::string_view text, int width, bool alignRight) {
  const std::string fill(static_cast<std::size_t>(std::max(0, width - WidthOf(text))), ' ');
  return alignRight ? fill + std::string(text) : std::string(text) + fill;
}

TextTable::TextTable(std::vector<TextColumn> columns) : columns_(std::move(columns)) {}

void TextTable::AddRow(std::vector<std::string> cells) {
  cells.resize(columns_.size());
  for (std::string& cell : cells) cell = Line(cell);
  rows_.push_back(std::move(cells));
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

std::string TextTable::Text(int width, bool utf8) const {
  const std::vector<int> widths = Widths(width);
  std::string text;
  const auto appendLine = [&](const auto& cellOf) {
    std::string line;
    for (std::size_t c = 0; c < columns_.size(); ++c) {
      if (c > 0) line.append(kGap, ' ');
      line += PaddedTo(CutToWidth(cellOf(c), widths[c], utf8 ? "…" : "~"), widths[c], columns_[c].alignRight);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  };
  appendLine([&](std::size_t c) { return std::string_view(columns_[c].header); });
  for (const std::vector<std::string>& row : rows_) {
    appendLine([&](std::size_t c) { return std::string_view(row[c]); });
  }
  return text;
}

void AppendCsvRow(std::string& text, const std::vector<std::string>& fields) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) text += ',';
    const std::string& field = fields[i];
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
      text += field;
      continue;
    }
    text += '"';
    for (const char character : field) {
      if (character == '"') text += '"';
      text += character;
    }
    text += '"';
  }
  text += '\n';
}

}  // namespace velmora
