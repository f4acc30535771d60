// Saved bins and scorecards as programs that code new data: options of several commands.
//
//   ProgramExport programs;
//   programs.AddTo(parser);
//   ... parser.Parse(arguments), programs.AddFilesTo(runFiles) ...
//   programs.AddPrograms(bins, outputFiles);
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/options.h"
#include "workbench/cli/output_files.h"
#include "workbench/cli/run_files.h"

namespace velmora {

struct ProgramExport {
  std::string sql, python, pmml;  // files; empty: not written
  int sqlDialect = 0;             // an SqlDialect

  // --sql, --sql-dialect, --python and --pmml.
  void AddTo(CommandParser& parser);
  void AddFilesTo(RunFiles& files) const;
  bool Any() const { return !sql.empty() || !python.empty() || !pmml.empty(); }
  // Warns of what SQL cannot express. Throws RunError for PMML without a scorecard.
  void AddPrograms(const SavedBins& bins, OutputFiles& files) const;
};

}  // namespace velmora
