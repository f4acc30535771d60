#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "tests/cli/process.h"

namespace velmora::testing {
namespace {

[[noreturn]] void RunChild(const std::vector<std::string>& arguments, const ProcessOptions& options, int out,
                           int err) {
  if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(127);
  if (!options.outputTo.empty()) out = open(options.outputTo.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const char* const input = options.inputFrom.empty() ? "/dev/null" : options.inputFrom.c_str();
  dup2(open(input, O_RDONLY), 0);
  dup2(out, 1);
  dup2(err, 2);
  std::vector<char*> words;
  const std::string command = CommandPath();
  words.push_back(const_cast<char*>(command.c_str()));
  for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execv(command.c_str(), words.data());
  _exit(127);
}

// True once the process has a handler for SIGINT; before that the signal would end it.
bool CatchesInterrupts(pid_t process) {
  std::istringstream status(ReadFile("/proc/" + std::to_string(process) + "/status"));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigCgt:"))
      return (std::stoull(line.substr(7), nullptr, 16) >> (SIGINT - 1) & 1) != 0;
  }
  return false;
}

void Interrupt(pid_t process, int milliseconds) {
  for (int waited = 0; waited < 30000 && !CatchesInterrupts(process); ++waited) usleep(1000);
  usleep(static_cast<useconds_t>(milliseconds) * 1000);
  kill(process, SIGINT);
}

// Reads both pipes until both are closed.
void Collect(int out, int err, ProcessResult& result) {
  pollfd pipes[2] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
  std::string* texts[2] = {&result.out, &result.err};
  int openPipes = out < 0 ? 1 : 2;
  while (openPipes > 0) {
    poll(pipes, 2, -1);
    for (int i = 0; i < 2; ++i) {
      if (pipes[i].fd < 0 || pipes[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t count = read(pipes[i].fd, buffer, sizeof buffer);
      if (count > 0) {
        texts[i]->append(buffer, static_cast<std::size_t>(count));
      } else {
        pipes[i].fd = -1;
        --openPipes;
      }
    }
  }
}

}  // namespace

ProcessResult RunVelmora(const std::vector<std::string>& arguments, const ProcessOptions& options) {
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return {};
  if (options.readerGone) close(out[0]);
  const pid_t child = fork();
  if (child == 0) RunChild(arguments, options, out[1], err[1]);
  close(out[1]);
  close(err[1]);
  ProcessResult result;
  if (options.interruptAfterMilliseconds >= 0) Interrupt(child, options.interruptAfterMilliseconds);
  Collect(options.readerGone ? -1 : out[0], err[0], result);
  if (!options.readerGone) close(out[0]);
  close(err[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  constexpr long long kKilobyte = 1024;
  result.peakBytes = usage.ru_maxrss * kKilobyte;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace velmora::testing
