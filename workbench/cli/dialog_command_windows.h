// velmora dialog: an analysis in the system's own windows.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kDialogHelp[];
int RunDialogCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
