// The workbench's questions as native dialogs. Each returns false, and changes nothing, for Cancel. Throws
// std::runtime_error when the system shows no dialog.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/dialogs/dialog_face.h"

namespace velmora {

bool AskVariableListsNatively(HWND owner, const Table& table, std::string_view title,
                              std::vector<VariableListQuestion>& lists);
bool AskCodesNatively(HWND owner, const Table& table, CodesQuestion& question);
bool AskCaseSelectionNatively(HWND owner, CaseSelectionText& selection);
bool AskCaseWeightNatively(HWND owner, const Table& table, int& variableNumber);

// Codes of one variable as a person writes them: numbers, ranges of whole numbers and labels, those with blanks in
// quotation marks: 1 3-5 "north west". Throws DataError naming the part at fault.
std::vector<double> ParseCodes(const Column& column, std::string_view text);
std::string PrintCodes(const Column& column, const std::vector<double>& codes);

}  // namespace velmora
