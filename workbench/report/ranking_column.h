// A column of a table that ranks predictors, made once for the terminal, the workbook and the page.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "workbench/documents/text_table.h"

namespace velmora {

// In a column of numbers: the cell is empty.
inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

struct RankingColumn {
  enum Kind { kText, kName, kNumber, kCount, kProbability };

  std::string title;       // in wide tables; empty: not in these
  std::string shortTitle;  // on a terminal; empty: not there
  std::string meaning;     // for a guide; empty where the title says it
  Kind kind = kNumber;
  // A narrow terminal leaves out the columns with the highest number first; those above
  // kWideOnly are never shown there.
  int importance = 0;
  std::vector<std::string> texts;  // one per row
  std::vector<double> values;      // one per row, kNoNumber for none; empty for texts
  // Text in the heading of a row's panel on a page, with % for the cell; empty: none.
  std::string summary = {};
};

inline constexpr int kWideOnly = 100;

// The table of a terminal with bars of these lengths, 0 to 1, one per row: as many columns as fit
// the width, those up to `always` in any case. leastImportant: gets the highest importance that is
// shown.
TextTable TerminalTable(const std::vector<RankingColumn>& columns, const std::vector<double>& barShares,
                        int width, bool utf8, int always, int& leastImportant);

}  // namespace velmora
