// velmora bins: shows, edits and exports saved bins.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kBinsHelp[];

// arguments: the words after the command's name. Returns the exit code; throws what RunGuarded
// knows.
int RunBinsCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
