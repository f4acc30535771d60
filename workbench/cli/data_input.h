// Reads the data file of a command and treats its columns as the options say.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/data/readers.h"
#include "workbench/data/table.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

// How the file is read, without inferring measurements. Throws UsageError.
ReadOptions ReadingOptionsOf(const DataOptions& options);

// The table with its missing-data codes, measurements and roles. Warnings go to standard error,
// with a progress bar on a terminal. Throws UsageError for an option that does not fit the data,
// DataError for the file, Cancelled.
Table LoadTable(const DataOptions& options);
// The same, with the values that the file declares missing. infers: whether to infer measurements and
// roles, which some commands do not need.
Table LoadTable(const DataOptions& options, UserMissing& userMissing, bool infers = true);
// The same for a run that uses only the variables that these values of options name. Other
// variables come without values where that saves time.
Table LoadTable(const DataOptions& options, const std::vector<std::string>& names);
// The same for a table in memory. The measurements of its first inferredCount variables have
// already been inferred: of these, only the ones that the options change are inferred again.
Table PrepareTable(Table table, const DataOptions& options, int inferredCount = 0);

// The measurements that the options declare. Throws UsageError.
void OverrideMeasurements(Table& table, const DataOptions& options);

// The same as a record, for scripts that repeat the run.
ImportOptions ImportOptionsOf(const DataOptions& options, const Table& table);

// The variables that the values of an option name: names, v3, patterns, comma-separated lists of
// them (a name that contains a comma is found first). Throws UsageError that starts with the
// option.
std::vector<int> NamedVariables(const Table& table, const std::string& option,
                                const std::vector<std::string>& values);
int NamedVariable(const Table& table, const std::string& option, const std::string& value);

// True when one of the values is the variable's own name or number, not a pattern that matches it
// by chance.
bool NamedExactly(const Table& table, const std::vector<std::string>& values, int variableNumber);

}  // namespace velmora
