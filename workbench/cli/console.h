// The standard streams of the process, its signals and its terminal.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// Call once, first: keeps file descriptors 0 to 2 occupied, so that no data file becomes standard
// output, makes a closed pipe an error of the write, and makes the first Ctrl-C (or SIGTERM or
// SIGHUP, or Ctrl-Break on Windows) a request that WasInterrupted reports. The second removes the
// run's scratch files and ends the process at once.
void PrepareConsole();
bool WasInterrupted();  // or the thread's monitor says so (run_monitor.h)
// Throws Cancelled when WasInterrupted.
void StopIfInterrupted();

// One line to standard error, with marks for control characters and cut in the middle when it is
// very long. A progress bar on that line is wiped first (and draws itself again). A thread's
// monitor takes the line instead.
void Report(std::string_view line);
// The same after "Warning: ".
void Warn(const std::string& text);
// The text unchanged: our own escape sequences and pages.
void WriteToStandardError(std::string_view text);

// Writes the whole text to standard output; a terminal gets marks for control characters. Throws
// BrokenPipe when its reader is gone, RunError with one sentence when it cannot be written.
void WriteToStandardOutput(std::string_view text);

struct Terminal {
  bool isTerminal = false;
  int width = 80;
  bool utf8 = true;
  bool colour = false;  // a terminal, and neither NO_COLOR nor TERM=dumb
};
Terminal StandardOutputTerminal();
Terminal StandardErrorTerminal();

}  // namespace velmora
