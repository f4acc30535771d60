// The columns of a table that ranks the predictors of a dependent variable.
#pragma once

#include <vector>

#include "workbench/report/feature_selection_report.h"
#include "workbench/report/ranking_column.h"

namespace velmora {

// rows: predictor indices, in the order of the table.
std::vector<RankingColumn> RankingColumns(const FeatureSelectionReport& report,
                                          const ReportedDependent& dependent, const std::vector<int>& rows);

}  // namespace velmora
