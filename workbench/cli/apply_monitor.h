// velmora apply --monitor: new cases against those that saved bins were made from.
#pragma once

#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/options.h"
#include "workbench/report/stability_report.h"

namespace velmora {

struct MonitorOptions {
  bool monitor = false;
  std::string response;  // its name in the data, where it differs
  CaseOptions cases;
  std::vector<std::string> conditions;  // of --fail-on

  void AddTo(CommandParser& parser);
  // Throws UsageError for an option without --monitor and for a condition that cannot be read.
  void Check(const CommandParser& parser) const;
};

// binsFile: where the bins are from, for messages. Throws UsageError, RunError and DataError with
// one sentence, Cancelled.
StabilityReport Monitor(const SavedBins& bins, const std::string& binsFile, const Table& table,
                        const MonitorOptions& options);

// The same for a table in memory. arguments: response, select, exclude, weight, count,
// raw-weights and fail-on as options of the command line.
StabilityReport RunMonitorOn(Table table, const SavedBins& bins, const std::vector<std::string>& arguments);

// Whether a condition is met.
bool AnyConditionMet(const StabilityReport& report);

// The report must outlive the writers.
OutputWriters WritersOf(const StabilityReport& report);

}  // namespace velmora
