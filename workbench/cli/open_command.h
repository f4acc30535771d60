// velmora open and velmora serve: hand over to the program velmora-server, which serves the
// workbench as a page.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kOpenHelp[];

int RunOpenCommand(const std::vector<std::string>& arguments);

// Only where velmora-server exists.
extern const char kServeHelp[];

int RunServeCommand(const std::vector<std::string>& arguments);

// The first word of velmora-server for velmora serve.
inline constexpr char kServeSwitch[] = "--to-others";

}  // namespace velmora
