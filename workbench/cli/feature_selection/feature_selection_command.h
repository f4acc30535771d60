// velmora feature-selection: ranks the predictors of one or more dependent variables.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/feature_selection/feature_selection_run.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/options.h"
#include "workbench/cli/push_down_options.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/session/session.h"

namespace velmora {

extern const char kFeatureSelectionHelp[];

struct FeatureSelectionOptions {
  DataOptions data;
  OutputOptions output;
  ModuleOptions module;
  VariableRequest variables;
  FeatureSelectionSettings settings;
  PushDownOptions pushDown;
  bool printScript = false;
  std::string memory;  // --memory, as of MemoryLimit
};
// Throws UsageError for options that are wrong or contradict each other.
FeatureSelectionOptions ParseFeatureSelection(const std::vector<std::string>& arguments);

// arguments: the words after the command's name. Returns the exit code; throws the exceptions that
// RunGuarded handles.
int RunFeatureSelectionCommand(const std::vector<std::string>& arguments);

// The analysis of a table in memory, as RunAnalysis describes.
std::unique_ptr<FinishedRun> RunFeatureSelectionOn(Table table, const std::vector<std::string>& arguments,
                                                   int inferredCount);

// The run as a script, as AnalysisScript describes.
std::string FeatureSelectionScriptOn(Table table, const std::vector<std::string>& arguments,
                                     int inferredCount);

// Adds the best predictors of each dependent to the session's data as bundles, as --save-bundles
// saves them.
void AddBundles(const FeatureSelectionReport& report, Session& session);

// The report in each format. report and session must outlive the writers.
OutputWriters WritersOf(const FeatureSelectionReport& report, Session& session);

}  // namespace velmora
