// velmora screen: bins every predictor and scores the bins against a response.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/report/screen_report.h"

namespace velmora {

extern const char kScreenHelp[];

// arguments: the words behind the command's name. Returns the exit code; throws what RunGuarded knows.
int RunScreenCommand(const std::vector<std::string>& arguments);

// The report as each format; it and the session outlive what is returned.
// withPage: documents are made for the HTML page too.
OutputWriters WritersOf(const ScreenReport& report, Session& session, bool withPage);

}  // namespace velmora
