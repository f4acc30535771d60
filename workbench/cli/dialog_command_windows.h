// velmora dialog: analyses in the system's own windows.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kDialogHelp[];
// Without arguments: the start window, from which everything else is reached.
int RunDialogCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
