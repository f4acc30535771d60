// Finds which of the best predictors say the same, and how much each adds to those before it.
//
//   --compare 100 --same-from 0.7 --distinct --adds
#pragma once

#include <cstdint>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/screen/search_log.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct RedundancyOptions {
  int compare = 50;  // of the best predictors of each response; 0: none
  double sameFrom = 0.6;
  bool distinct = false;  // only the best of each cluster is listed and saved
  bool adds = false;

  void AddTo(CommandParser& parser);
  // Throws UsageError for options that contradict each other.
  void Check(const CommandParser& parser, bool classic) const;
};

// The bin of each case of the table, from 0; -1 for a case in none.
std::vector<int> BinOfCases(const Column& column, const ScreenedPredictor& predictor);

// Compares the bins of the best predictors of each response, over the cases of the response. With
// `distinct` the module's order of the predictors changes like the report's. Throws Cancelled.
void AddRedundancy(const RedundancyOptions& options, int threads, const SearchLog& log, Session& session,
                   ScreenReport& report);

}  // namespace velmora
