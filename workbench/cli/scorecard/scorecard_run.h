// From bins and a table to a scorecard: the choice of response and predictors, the cases, the
// samples.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/report/scorecard_report.h"

namespace velmora {

struct ScorecardRequest {
  std::string response, bad, good;  // empty: as the bins have them
  std::vector<std::string> predictors;
  double holdout = 0;  // share of the cases that are held out; 0: none
  CaseOptions cases;
  ScorecardSettings settings;
};

// binsFile: where the bins are from, for messages. test: further cases to measure the scorecard on.
// Throws UsageError, RunError and DataError with one sentence, Cancelled.
ScorecardReport MakeScorecard(const Table& table, const SavedBins& bins, const std::string& binsFile,
                              const ScorecardRequest& request, const std::optional<Table>& test);

// The binary response of bins that an option names; empty: the only one. Throws UsageError.
const SavedResponse& BinaryResponseOf(const SavedBins& bins, const std::string& binsFile,
                                      const std::string& name);

}  // namespace velmora
