// Shared by the commands that run an analysis of the module: the selection of cases, pressing OK,
// and the sentence of a failure.
#pragma once

#include <string>

#include "workbench/cli/options.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/language/selection.h"
#include "workbench/session/session.h"

namespace velmora {

// The cases that the options select. Throws UsageError that names the option of a wrong expression.
CaseBitmap SelectedCases(const Table& table, const CaseOptions& cases);
// Sets selection and weight (0: none) of the session; throws likewise.
void ApplyCases(Session& session, int weight, const CaseOptions& cases);

// name: the analysis as a sentence has it, such as "feature selection". Throws RunError with the
// last message of the module, or description, as the reason, and with the number of selected cases
// when a selection may be the cause; Cancelled when the user stopped it.
[[noreturn]] void FailRun(Session& session, TerminalFrontend& frontend, const std::string& name,
                          const CaseOptions& cases, const std::string& description = {});
// Presses OK of the startup dialog, which runs the analysis. Fails as FailRun does.
void PressOk(const AutomationClient& startup, Session& session, TerminalFrontend& frontend,
             const std::string& name, const CaseOptions& cases);

}  // namespace velmora
