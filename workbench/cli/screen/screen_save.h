// Files for other data that a screening run writes: coded variables, recode files, rules, bins in
// several languages.
#pragma once

#include <string>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/options.h"
#include "workbench/cli/output_files.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct SaveOptions {
  int best = 10;  // predictors of each response
  std::string coded, recodeFolder, rules, sql, python, bins;
  int sqlDialect = 0;  // an SqlDialect

  void AddTo(CommandParser& parser);
  // Adds the files that the options name to those of the run. Throws UsageError
  // for a file that is in use.
  void AddFilesTo(RunFiles& files) const;
  bool Any() const;
};

// The bins of the best predictors of each response.
SavedBins SavedBinsOf(const ScreenReport& report, const Table& table, int best);
// The same, and marks the labels that the user gave.
SavedBins SavedBinsOf(const ScreenReport& report, Session& session, int best);

// The lines of a script that save bins as the options name them; the script's variable analysis
// holds the object. Throws UsageError for files that a script does not save.
std::vector<std::string> ScriptedSaves(const SaveOptions& options);

// Makes only the files that hold bins: JSON, SQL, Python. Throws as SaveScreening does.
void SaveBinsOf(const SaveOptions& options, const ScreenReport& report, Session& session, OutputFiles& files);

// The same of a screening of data in parts, whose bins have their counts.
void SaveBinsOfParts(const SaveOptions& options, const ScreenReport& report, const SavedBins& bins,
                     const Session& session, OutputFiles& files);

// Makes the files that the options name. Coded variables and the figures of their bins are added to
// the session's table. Throws RunError and DataError with one sentence, Cancelled.
void SaveScreening(const SaveOptions& options, const OutputOptions& output, const ScreenReport& report,
                   Session& session, TerminalFrontend& frontend, OutputFiles& files);

}  // namespace velmora
