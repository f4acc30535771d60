#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "workbench/server/open_browser.h"
#include "workbench/system/system.h"

extern char** environ;

namespace velmora {

bool OpenInBrowser(const std::string& address) {
  std::string program = EnvironmentVariable("BROWSER"), argument = address;
  if (program.empty()) program = "xdg-open";
  char* const words[] = {program.data(), argument.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  // The output of the browser must not appear on this terminal, whose Ctrl-C must not end the
  // browser.
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  pid_t process = 0;
  const int error = posix_spawnp(&process, words[0], &actions, &attributes, words, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) return false;
  std::thread([process] {
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  }).detach();
  return true;
}

}  // namespace velmora
