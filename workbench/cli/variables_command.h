// velmora variables: lists the variables of a data file and how each will be treated.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/measurement.h"
#include "workbench/data/table.h"

namespace velmora {

extern const char kVariablesHelp[];

// The JSON of the command. Throws Cancelled.
std::string VariablesJson(const Table& table);
// One of its variables, with at most mostLabels labels, in one line.
std::string VariableJson(const Table& table, const VariableProfile& profile, std::size_t mostLabels);

int RunVariablesCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
