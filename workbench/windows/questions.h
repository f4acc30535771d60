// The workbench's questions as dialogs of the system. Each returns false for Cancel and then
// changes nothing. Throws std::runtime_error when the system cannot show a dialog.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/dialogs/dialog_window.h"

namespace velmora {

bool AskVariableListsNatively(HWND owner, const Table& table, std::string_view title,
                              std::vector<VariableListQuestion>& lists);
bool AskCodesNatively(HWND owner, const DialogWindow& window, CodesQuestion& question);
bool AskCaseSelectionNatively(HWND owner, CaseSelectionText& selection);
bool AskCaseWeightNatively(HWND owner, const Table& table, int& variableNumber);

}  // namespace velmora
