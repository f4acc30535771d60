#include "workbench/cli/exit_codes.h"
#include "workbench/cli/open_command.h"

namespace velmora {

int RunOpenCommand(const std::vector<std::string>& /*arguments*/) {
  throw RunError(
      "This build for Windows has no page for the browser; 'velmora dialog' shows the analyses in windows.");
}

}  // namespace velmora
