// velmora feature-selection: ranks the predictors of one or more dependent variables.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kFeatureSelectionHelp[];

// arguments: the words behind the command's name. Returns the exit code; throws what RunGuarded knows.
int RunFeatureSelectionCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
