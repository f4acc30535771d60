// velmora variables: what was read of a data file, and how each column is taken.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kVariablesHelp[];

int RunVariablesCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
