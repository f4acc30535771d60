// velmora feature-selection: ranks the predictors of one or more dependent variables.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/session/session.h"

namespace velmora {

extern const char kFeatureSelectionHelp[];

// arguments: the words behind the command's name. Returns the exit code; throws what RunGuarded knows.
int RunFeatureSelectionCommand(const std::vector<std::string>& arguments);

// The report as each format; it and the session outlive what is returned.
OutputWriters WritersOf(const FeatureSelectionReport& report, Session& session);

}  // namespace velmora
