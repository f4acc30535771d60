#include "workbench/cli/system_commands.h"

namespace velmora {

std::vector<Command> SystemCommands() { return {}; }

std::optional<int> RunSystemSwitch(const std::vector<std::string>& /*arguments*/) { return std::nullopt; }

}  // namespace velmora
