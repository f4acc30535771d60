// An analysis inside a database, which counts the cases: only counts, sums, moments and quantiles
// leave it. Both passes of part_run.h, whose parts are the database's answers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/finished_run.h"
#include "workbench/cli/options.h"
#include "workbench/push_down/sql_table.h"

namespace velmora {

// analysis, words: as of RunAnalysis, with --push-down. dataName: what the report calls the table.
// Throws the exceptions that RunGuarded handles.
std::unique_ptr<FinishedRun> RunInDatabase(const std::string& analysis, const std::vector<std::string>& words,
                                           const push_down::SqlTable& table, const std::string& dataName);

// The same on the table that the options name, which a connection of its own reads.
std::unique_ptr<FinishedRun> RunPushedDown(const std::string& analysis, const std::vector<std::string>& words,
                                           const DataOptions& data);

}  // namespace velmora
