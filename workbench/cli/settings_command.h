// velmora settings: shows and changes the user's settings for all sessions.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kSettingsHelp[];

int RunSettingsCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
