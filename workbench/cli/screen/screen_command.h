// velmora screen: bins every predictor and scores the bins against a response.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/finished_run.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

extern const char kScreenHelp[];

// arguments: the words after the command's name. Returns the exit code; throws what RunGuarded knows.
int RunScreenCommand(const std::vector<std::string>& arguments);

// The analysis of a table in memory, as RunAnalysis describes.
std::unique_ptr<FinishedRun> RunScreenOn(Table table, const std::vector<std::string>& arguments);

// The report in each format. The report and the session outlive the writers.
OutputWriters WritersOf(const ScreenReport& report, Session& session);

}  // namespace velmora
