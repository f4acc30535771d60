// velmora apply: gives cases the coded variables of recode files, rules scripts and saved bins.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kApplyHelp[];

// arguments: the words after the command's name. Returns the exit code.
int RunApplyCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
