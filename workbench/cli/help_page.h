// Help pages as this build needs them: without the formats that it cannot write, and with the
// quoting of the system's shell.
//
//   HelpPage("--format F  @FORMATS@")   // "--format F  terminal, json, csv, xlsx or html"
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// page with its @PLACES@ filled in.
std::string HelpPage(std::string_view page);

}  // namespace velmora
