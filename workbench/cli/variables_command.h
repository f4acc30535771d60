// velmora variables: lists the variables of a data file and how each will be treated.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/table.h"

namespace velmora {

extern const char kVariablesHelp[];

// The JSON of the command. Throws Cancelled.
std::string VariablesJson(const Table& table);

int RunVariablesCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
