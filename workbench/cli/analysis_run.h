// What the commands that run an analysis of the module have in common: cases, pressing OK, and the sentence of
// a failure.
#pragma once

#include <string>

#include "workbench/cli/options.h"
#include "workbench/cli/terminal_face.h"
#include "workbench/language/selection.h"
#include "workbench/session/session.h"

namespace velmora {

// The cases that the options select. Throws UsageError for a wrong expression, naming its option.
CaseBitmap SelectedCases(const Table& table, const CaseOptions& cases);
// Selection and weight (0: none) of the session; throws likewise.
void ApplyCases(Session& session, int weight, const CaseOptions& cases);

// name: of the analysis in a sentence, such as "feature selection".
// Throws RunError with what the module said last, or description, as the reason, and with what the selection
// left where that may be the cause; Cancelled when the user stopped it.
[[noreturn]] void FailRun(Session& session, TerminalFace& face, const std::string& name,
                          const CaseOptions& cases, const std::string& description = {});
// OK of the startup dialog, which runs the analysis. Fails as FailRun does.
void PressOk(const AutomationClient& startup, Session& session, TerminalFace& face, const std::string& name,
             const CaseOptions& cases);

}  // namespace velmora
