// The columns of the ranking of a screening.
#pragma once

#include <vector>

#include "workbench/report/ranking_column.h"
#include "workbench/report/screen_report.h"

namespace velmora {

// After rank, name and statistics: the basis of each line of the ranking, and its warnings. count:
// how many of the response's predictors, from the first on.
std::vector<RankingColumn> BasisColumns(const ScreenReport& report, const ScreenedResponse& response,
                                        std::size_t count);

// The columns of a terminal, rank, name and statistics among them.
std::vector<RankingColumn> TerminalColumns(const ScreenReport& report, const ScreenedResponse& response,
                                           std::size_t count);

// The warnings about a predictor in one line; empty without any.
std::string WarningText(const ScreenedPredictor& predictor);

}  // namespace velmora
