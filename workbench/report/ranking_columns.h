// The columns of a table that ranks the predictors of a dependent variable, made once for the
// terminal, the workbook and the page.
#pragma once

#include <string>
#include <vector>

#include "workbench/report/feature_selection_report.h"

namespace velmora {

struct RankingColumn {
  enum Kind { kText, kName, kNumber, kCount, kProbability };

  std::string title;       // of wide tables
  std::string shortTitle;  // of a terminal
  std::string meaning;     // for a guide; empty where the title says it
  Kind kind = kNumber;
  // A narrow terminal leaves the columns of the highest number out first; above kWideOnly never
  // shown there.
  int importance = 0;
  std::vector<std::string> texts;  // one per row
  std::vector<double> values;      // one per row, NaN for none; empty for texts
};

inline constexpr int kWideOnly = 100;

// rows: predictor indices, in the order of the table.
std::vector<RankingColumn> RankingColumns(const FeatureSelectionReport& report,
                                          const ReportedDependent& dependent, const std::vector<int>& rows);

}  // namespace velmora
