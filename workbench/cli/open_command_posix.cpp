#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/open_command.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr char kServerFile[] = "velmora-server";

int BecomeServer(const std::vector<std::string>& arguments) {
  const std::filesystem::path program = ExecutableFolder() / kServerFile;
  std::vector<std::string> words = {program.string()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  // The program replaces this process, so it receives Ctrl-C and sets the exit code.
  execv(pointers.front(), pointers.data());
  if (errno == ENOENT)
    throw RunError("The program " + std::string(kServerFile) +
                   ", which serves the page, is missing beside velmora.");
  throw RunError("The program " + program.string() +
                 " cannot be started: " + std::error_code(errno, std::generic_category()).message() + ".");
}

}  // namespace

int RunOpenCommand(const std::vector<std::string>& arguments) { return BecomeServer(arguments); }

int RunServeCommand(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), kServeSwitch);
  return BecomeServer(words);
}

}  // namespace velmora
