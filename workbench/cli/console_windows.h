// The console of the process, on Windows.
#pragma once

namespace velmora {

// Errors are shown in message boxes where there is no standard error, as in a program of the
// desktop.
void ShowErrorsInBoxes();
// Whether the console was opened for this process alone, as by a double-click on the program.
bool OwnsConsole();

}  // namespace velmora
