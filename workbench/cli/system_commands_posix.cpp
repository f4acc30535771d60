#include "workbench/cli/open_command.h"
#include "workbench/cli/system_commands.h"

namespace velmora {

std::vector<Command> SystemCommands() {
  return {{"serve", "the workbench as a page for other machines, with a password and TLS", kServeHelp,
           RunServeCommand}};
}

std::optional<int> RunSystemSwitch(const std::vector<std::string>& /*arguments*/) { return std::nullopt; }

}  // namespace velmora
