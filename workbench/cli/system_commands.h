// What the workbench does on one system only: commands, and switches that the system itself starts it with.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/cli/command_line.h"

namespace velmora {

// Commands behind those of every system.
std::vector<Command> SystemCommands();

// The exit code when the first word is a switch of the system's ("/automation"), nothing when it is none.
std::optional<int> RunSystemSwitch(const std::vector<std::string>& arguments);

}  // namespace velmora
