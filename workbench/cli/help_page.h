// Help pages as this build needs them: the kinds of data that it reads, the options that commands
// share, and the quoting of the system's shell.
//
//   HelpPage("Data can be\n@DATA_FILES@")
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// page with its @PLACES@ filled in.
std::string HelpPage(std::string_view page);

}  // namespace velmora
