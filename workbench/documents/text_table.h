// A table of texts for a terminal or a text file.
//
//   TextTable table({{"predictor"}, {"F-value", true}});
//   table.AddRow({"income", "12.3"}, 0.8);
//   std::string text = table.TextWithBars(80, true);
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
  // One cell per column. barShare: length of the row's bar, 0 to 1.
  void AddRow(std::vector<std::string> cells, double barShare = 0);

  // Columns two blanks apart, as wide as their widest cell. width: columns of the terminal, 0 for
  // no limit; where they do not fit, the widest columns of left-aligned texts are narrowed and
  // their cells cut.
  std::string Text(int width, bool utf8) const;
  // As Text, followed by bars in the remaining width, in steps of an eighth of a column. There are
  // no bars when the room is too narrow to tell them apart. ASCII without utf8.
  std::string TextWithBars(int width, bool utf8) const;
  // Whether no column has to be narrowed.
  bool Fits(int width) const { return width <= 0 || Widths(0) == Widths(width); }
  bool HasRoomForBars(int width) const { return BarCells(width) > 0; }

 private:
  std::vector<int> Widths(int width) const;
  int BarCells(int width) const;
  std::string Lines(const std::vector<int>& widths, int barCells, bool utf8) const;

  std::vector<TextColumn> columns_;
  std::vector<std::vector<std::string>> rows_;
  std::vector<double> barShares_;  // one per row
};

// "1 case", "3 cases".
std::string Counted(std::size_t count, const char* one, const char* several);

std::string PaddedTo(std::string_view text, int width, bool alignRight);

}  // namespace velmora
