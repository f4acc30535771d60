// velmora open: hands over to the program velmora-server, which serves the workbench as a page.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kOpenHelp[];

int RunOpenCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
