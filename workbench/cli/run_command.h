// velmora run: drives analyses by a script.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kRunHelp[];
int RunRunCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
