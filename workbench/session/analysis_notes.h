// Notes of a session about its data and analyses, besides their settings: for reports, and for
// scripts that repeat a run.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "workbench/automation/automation_client.h"
#include "workbench/data/table.h"

namespace velmora {

struct BinningPlan;
struct UserBins;

struct LeftOutVariable {
  int number = 0;
  std::string name;
  std::string role;    // "identifier", "constant"...
  std::string reason;  // a clause for people
};

// How the session's table was read and how its variables were changed afterwards.
struct ImportOptions {
  std::string delimiter;  // of a text file; empty: detected
  std::vector<std::string> missingTexts;
  std::vector<std::pair<std::string, std::string>> missingCodes;  // a number, or a value label
  std::vector<std::pair<std::string, Measurement>> measurements;
  std::vector<std::string> added;  // variables that were added later
};

// A member of a dialog's automation object and the value that it is put.
struct MemberValue {
  std::string member;
  Variant value;
};

struct AnalysisNotes {
  std::vector<LeftOutVariable> leftOut;  // with reasons, for the report
  std::string cutPointsFile;             // the user's bins
  std::shared_ptr<const std::map<int, UserBins>>
      userBins;                                // read from it; null: those of the session, if any
  std::shared_ptr<const BinningPlan> binning;  // null: trees, and exactly what the dialogs say
  // How many predictors of each response of a screening have their bins shown; below 0: as many as
  // fit.
  int shownPredictors = -1;
  std::vector<std::string> cutPointNotices;
  std::vector<std::string> notices;  // and messages of the run
  // The settings that the run was started with, in the interface's order.
  std::vector<MemberValue> startupSettings;
};

// Makes the results that scripts ask an analysis for, as texts and files. During a call that
// analysis is the session's latest, the one that Session::ResultsDialog and the others refer to.
class AnalysisReporter {
 public:
  virtual ~AnalysisReporter() = default;
  // format: terminal, json, csv or html.
  virtual std::string ResultsText(const std::string& format) = 0;
  // Writes the files of a run into a folder, all or none. formats:
  // comma-separated names, empty for all.
  virtual void WriteResults(const std::string& folder, const std::string& formats) = 0;
  // Saves the bins of the best predictors of a screening, as many as its results dialog says, for
  // other data; format: json, sql or python.
  virtual void SaveBins(const std::string& path, const std::string& format) = 0;
  // Takes the bins of a file for the predictors chosen in the startup dialog.
  virtual void ReadCutPoints(const std::string& path) = 0;
};

}  // namespace velmora
