// velmora scorecard: points for the bins of several predictors, by logistic regression.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/finished_run.h"
#include "workbench/report/scorecard_report.h"

namespace velmora {

extern const char kScorecardHelp[];

// arguments: the words after the command's name. Returns the exit code.
int RunScorecardCommand(const std::vector<std::string>& arguments);

// A scorecard of a table in memory by bins in memory. arguments: as on the command line, without
// DATA and the options that name files. binsFile: where the report says that the bins are from.
// Throws the exceptions that RunGuarded handles.
ScorecardReport RunScorecardOn(Table table, const SavedBins& bins, const std::vector<std::string>& arguments,
                               const std::string& binsFile = "the bins");

// The report must outlive the writers.
OutputWriters WritersOf(const ScorecardReport& report);

}  // namespace velmora
