// Standard streams, signals and the terminal, on POSIX systems.
#include "workbench/app/console.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "workbench/app/exit_codes.h"
#include "workbench/app/progress_bar.h"
#include "workbench/data/errors.h"

namespace velmora {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterruption(int signalNumber) {
  if (interrupted) {
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
    return;
  }
  interrupted = 1;
}

// Writes all bytes; returns 0 or the system's error number.
int WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

bool LocaleIsUtf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == 0) continue;
    const std::string text(value);
    return text.find("UTF-8") != std::string::npos || text.find("utf8") != std::string::npos ||
           text.find("UTF8") != std::string::npos || text.find("utf-8") != std::string::npos;
  }
  return true;  // a locale that says nothing: bare containers, whose terminals are UTF-8
}

Terminal DescribeTerminal(int descriptor) {
  Terminal terminal;
  terminal.isTerminal = isatty(descriptor) == 1;
  terminal.utf8 = LocaleIsUtf8();
  const char* term = std::getenv("TERM");
  const char* noColour = std::getenv("NO_COLOR");
  terminal.colour = terminal.isTerminal && (noColour == nullptr || *noColour == 0) &&
                    (term == nullptr || std::strcmp(term, "dumb") != 0);
  winsize size{};
  if (terminal.isTerminal && ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40) {
    terminal.width = size.ws_col;
  } else if (!terminal.isTerminal) {
    terminal.width = 100;
  }
  return terminal;
}

}  // namespace

void PrepareConsole() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    // Opened for reading only, so that writing to a closed standard output fails as it should.
    if (open("/dev/null", O_RDONLY) != descriptor) std::_Exit(kExitFailed);
  }
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // a file size limit is an error of the write, like a full disk
  struct sigaction action {};
  action.sa_handler = OnInterruption;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (const int signalNumber : {SIGINT, SIGTERM}) {
    struct sigaction former {};
    // A shell starts background jobs with interrupts ignored; that stands.
    if (sigaction(signalNumber, nullptr, &former) == 0 && former.sa_handler == SIG_IGN) continue;
    sigaction(signalNumber, &action, nullptr);
  }
}

bool WasInterrupted() { return interrupted != 0; }

void StopIfInterrupted() {
  if (WasInterrupted()) throw Cancelled();
}

void Tell(std::string_view line) {
  ProgressBar::WipeShown();
  std::string text(line);
  text += '\n';
  WriteAll(STDERR_FILENO, text);  // nobody is left to tell when this fails
}

void WriteToStandardOutput(std::string_view text) {
  ProgressBar::WipeShown();
  const int error = WriteAll(STDOUT_FILENO, text);
  if (error == EPIPE) throw BrokenPipe();
  if (error != 0)
    throw RunError(std::string("Standard output cannot be written: ") + std::strerror(error) + ".");
}

Terminal StandardOutputTerminal() { return DescribeTerminal(STDOUT_FILENO); }
Terminal StandardErrorTerminal() { return DescribeTerminal(STDERR_FILENO); }

std::string ExecutableFolder() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : path.parent_path().string();
}

}  // namespace velmora
