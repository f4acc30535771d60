// Standard streams and the terminal: the part that all systems share.
#include "workbench/cli/console.h"

#include <cerrno>
#include <cstring>

#include "workbench/cli/console_system.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/run_monitor.h"
#include "workbench/data/errors.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

Terminal TerminalOf(StandardStream stream) {
  Terminal terminal = DescribeTerminal(stream);
  terminal.colour =
      terminal.colour && EnvironmentVariable("NO_COLOR").empty() && EnvironmentVariable("TERM") != "dumb";
  return terminal;
}

thread_local RunMonitor* currentMonitor = nullptr;

}  // namespace

MonitoredThread::MonitoredThread(RunMonitor& monitor) { currentMonitor = &monitor; }
MonitoredThread::~MonitoredThread() { currentMonitor = nullptr; }
RunMonitor* CurrentMonitor() { return currentMonitor; }

bool WasInterrupted() { return currentMonitor != nullptr ? currentMonitor->IsStopped() : WasSignalled(); }

void StopIfInterrupted() {
  if (WasInterrupted()) throw Cancelled();
}

void Report(std::string_view line) {
  if (currentMonitor != nullptr) return currentMonitor->Line(line);
  ProgressBar::WipeShown();
  constexpr std::size_t kLongestLine = 4000;
  WriteToStandardError(PrintableText(ShortenedText(line, kLongestLine)) + '\n');
}

void Warn(const std::string& text) { Report("Warning: " + text); }

void WriteToStandardError(std::string_view text) {
  // There is nowhere to report a failure.
  static_cast<void>(WriteAll(StandardStream::kError, text));
}

void WriteToStandardOutput(std::string_view text) {
  ProgressBar::WipeShown();
  std::string printable;
  if (StandardOutputTerminal().isTerminal) {
    printable = PrintableText(text, true);
    text = printable;
  }
  const int error = WriteAll(StandardStream::kOutput, text);
  if (error == EPIPE) throw BrokenPipe();
  if (error != 0)
    throw RunError(std::string("Standard output cannot be written: ") + std::strerror(error) + ".");
}

Terminal StandardOutputTerminal() { return TerminalOf(StandardStream::kOutput); }
Terminal StandardErrorTerminal() { return TerminalOf(StandardStream::kError); }

}  // namespace velmora
