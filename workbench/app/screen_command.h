// velmora screen: bins every predictor and scores the bins against a response.
#pragma once

#include <string>
#include <vector>

namespace velmora {

extern const char kScreenHelp[];

// arguments: the words behind the command's name. Returns the exit code; throws what RunGuarded knows.
int RunScreenCommand(const std::vector<std::string>& arguments);

}  // namespace velmora
