// Commands that exist on one system only, and switches with which the system itself starts the
// program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/cli/command_line.h"

namespace velmora {

// Commands of this system, listed after those of every system.
std::vector<Command> SystemCommands();

// The exit code when the first word is such a switch ("/automation"), else nothing.
std::optional<int> RunSystemSwitch(const std::vector<std::string>& arguments);

}  // namespace velmora
