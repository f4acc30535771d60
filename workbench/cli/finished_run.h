// A finished analysis with everything that its outputs are made from. A command writes some of them
// and ends; a program keeps it and may ask for more.
//
//   const std::vector<std::string> words = {"data", "--response=risk", "--best=5"};
//   std::unique_ptr<FinishedRun> run = RunAnalysis("screen", std::move(table), words);
//   std::string json = run->Writers().json();
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/data/user_missing.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/report/scorecard_report.h"
#include "workbench/report/screen_report.h"
#include "workbench/report/stability_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct FinishedRun {
  FinishedRun(bool quiet, const SessionOptions& options) : frontend(quiet), session(frontend, options) {}

  // They refer to this object.
  OutputWriters Writers();
  // Keeps the parts of the data that outputs may still need and drops all other cells, so that
  // memory lent to the run may be changed or freed. Throws Cancelled.
  void ReleaseData();

  TerminalFrontend frontend;
  Session session;
  // The report of the analysis that has run, the others are empty.
  std::optional<FeatureSelectionReport> featureSelection;
  std::optional<ScreenReport> screening;
  // Of a screening that has released its data: all bins with their counts.
  std::optional<SavedBins> bins;
  bool hasNoCases = false;  // a screening of data in parts, whose session never had them
  std::optional<ScorecardReport> scorecard;
  std::optional<StabilityReport> monitor;
};

// Runs the command called name, "feature-selection" or "screen", on a table in memory. arguments:
// as on the command line, where DATA is only a name; those that say how a file is read or what is
// written have no effect. inferredCount: as of PrepareTable. userMissing: of the file that the table
// was read from; null: none. Throws the exceptions that RunGuarded handles.
std::unique_ptr<FinishedRun> RunAnalysis(const std::string& name, Table table,
                                         const std::vector<std::string>& arguments, int inferredCount = 0,
                                         const UserMissing* userMissing = nullptr);

// The run as a script for velmora run, which --print-script prints. arguments: those that say how
// the file is read are in the script, too. Throws as RunAnalysis does.
std::string AnalysisScript(const std::string& name, Table table, std::vector<std::string> arguments,
                           int inferredCount = 0);

}  // namespace velmora
