// A table of texts for a terminal, and rows of CSV.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct TextColumn {
  std::string header;
  bool alignRight = false;
};

class TextTable {
 public:
  explicit TextTable(std::vector<TextColumn> columns);
  void AddRow(std::vector<std::string> cells);  // one cell a column

  // Columns two blanks apart, as wide as their widest cell. width: columns of the terminal, 0 for no limit;
  // where they do not fit, the widest columns of left-aligned texts are narrowed and their cells cut.
  std::string Text(int width, bool utf8) const;

 private:
  std::vector<int> Widths(int width) const;

  std::vector<TextColumn> columns_;
  std::vector<std::vector<std::string>> rows_;
};

std::string PaddedTo(std::string_view text, int width, bool alignRight);

// Fields quoted as in RFC 4180 when they have to be; the line ends with \n alone, for the tools of a
// pipeline.
void AppendCsvRow(std::string& text, const std::vector<std::string>& fields);

}  // namespace velmora
