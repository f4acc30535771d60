#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

#include "workbench/cli/console_system.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/system/scratch.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterruption(int signalNumber) {
  if (interrupted) {
    RemoveOwnScratch();
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
    return;
  }
  interrupted = 1;
}

int DescriptorOf(StandardStream stream) {
  return stream == StandardStream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

bool LocaleIsUtf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string text = EnvironmentVariable(name);
    if (text.empty()) continue;
    return text.find("UTF-8") != std::string::npos || text.find("utf8") != std::string::npos ||
           text.find("UTF8") != std::string::npos || text.find("utf-8") != std::string::npos;
  }
  return true;  // no locale is set: bare containers, whose terminals are UTF-8
}

}  // namespace

int WriteAll(StandardStream stream, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(DescriptorOf(stream), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

Terminal DescribeTerminal(StandardStream stream) {
  const int descriptor = DescriptorOf(stream);
  Terminal terminal;
  terminal.isTerminal = isatty(descriptor) == 1;
  terminal.utf8 = LocaleIsUtf8();
  terminal.colour = terminal.isTerminal;
  winsize size{};
  if (terminal.isTerminal && ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40) {
    terminal.width = size.ws_col;
  } else if (!terminal.isTerminal) {
    terminal.width = 100;
  }
  return terminal;
}

void PrepareConsole() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    // Opened for reading only, so that writing to a closed standard output still fails.
    if (open("/dev/null", O_RDONLY) != descriptor) std::_Exit(kExitFailed);
  }
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // a file size limit is an error of the write, like a full disk
  struct sigaction action {};
  action.sa_handler = OnInterruption;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction former {};
    // A shell starts background jobs with interrupts ignored, and nohup ignores SIGHUP: leave them
    // ignored.
    if (sigaction(signalNumber, nullptr, &former) == 0 && former.sa_handler == SIG_IGN) continue;
    sigaction(signalNumber, &action, nullptr);
  }
}

bool WasSignalled() { return interrupted != 0; }

}  // namespace velmora
