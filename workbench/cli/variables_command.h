// velmora variables: lists the variables of a data file and how each will be treated.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kVariablesHelp[];

int RunVariablesCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
