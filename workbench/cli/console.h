// The process's three standard streams, its signals and its terminal: everything here that is the system's.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// Call once, first: keeps file descriptors 0 to 2 occupied, so that no data file becomes standard output,
// makes a closed pipe an error of the write, and makes the first Ctrl-C (or SIGTERM, or Ctrl-Break on Windows) a request that
// WasInterrupted reports; the second ends the process at once.
void PrepareConsole();
bool WasInterrupted();
// The request was passed on to somebody else: a script, which may go on. The next Ctrl-C is the first again.
void ForgetInterruption();
// function is called by the signal handlers at each request; null: nobody.
void CallOnInterruption(void (*function)());
// Throws Cancelled when WasInterrupted.
void StopIfInterrupted();

// One line to standard error. A progress bar that stands there is wiped first (and draws itself again).
void Tell(std::string_view line);
// The same as it stands: no line end, nothing wiped.
void WriteToStandardError(std::string_view text);

// Writes the whole text to standard output. Throws BrokenPipe when its reader is gone, RunError with one
// sentence when it cannot be written.
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
