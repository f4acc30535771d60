// Reads the data file of a command and takes its columns as the options say.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/data/table.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

// The table with missing-data codes, measurements and roles in place. Warnings go to standard error; a
// progress bar shows on a terminal. Throws UsageError for an option that does not fit the data, DataError for
// the file, Cancelled.
Table LoadTable(const DataOptions& options);

// How the options read the table: what LoadTable did with them.
DataRecipe RecipeOf(const DataOptions& options, const Table& table);

// The variables that the values of an option name: names, v3, patterns, several between commas (a name that
// holds a comma is found whole). Throws UsageError that starts with the option.
std::vector<int> NamedVariables(const Table& table, const std::string& option,
                                const std::vector<std::string>& values);
int NamedVariable(const Table& table, const std::string& option, const std::string& value);

// True when one of the values is a pattern, not a name: what it matches by chance was not named by the user.
bool NamedExactly(const Table& table, const std::vector<std::string>& values, int variableNumber);

}  // namespace velmora
