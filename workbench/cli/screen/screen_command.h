// velmora screen: bins every predictor and scores the bins against a response.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/options.h"
#include "workbench/cli/push_down_options.h"
#include "workbench/cli/screen/screen_binning.h"
#include "workbench/cli/screen/screen_by.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/cli/screen/screen_design.h"
#include "workbench/cli/screen/screen_evidence.h"
#include "workbench/cli/screen/screen_redundancy.h"
#include "workbench/cli/screen/screen_run.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/screen/screen_special.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

extern const char kScreenHelp[];

struct ScreenOptions {
  DataOptions data;
  OutputOptions output;
  ModuleOptions module;
  ScreenRequest request;
  ScreenSettings settings;
  SaveOptions save;
  BinningOptions binning;
  SpecialOptions special;
  EvidenceOptions evidence;
  DesignOptions design;
  RedundancyOptions redundancy;
  ByOptions by;
  PushDownOptions pushDown;
  bool printScript = false;
  std::string memory;  // --memory, as of MemoryLimit
};
// Throws UsageError for options that are wrong or contradict each other.
ScreenOptions ParseScreen(const std::vector<std::string>& arguments);

// arguments: the words after the command's name. Returns the exit code;
// throws what RunGuarded knows.
int RunScreenCommand(const std::vector<std::string>& arguments);

// The analysis of a table in memory, as RunAnalysis describes. takesChance: for a program that
// keeps the bins of all predictors; those no better than chance may then be among the best, too.
std::unique_ptr<FinishedRun> RunScreenOn(Table table, const std::vector<std::string>& arguments,
                                         int inferredCount, const UserMissing* userMissing,
                                         bool takesChance = false);

// The run as a script, as AnalysisScript describes.
std::string ScreenScriptOn(Table table, const std::vector<std::string>& arguments, int inferredCount);

// The report in each format. The report and the session outlive the writers.
OutputWriters WritersOf(const ScreenReport& report, Session& session);

}  // namespace velmora
