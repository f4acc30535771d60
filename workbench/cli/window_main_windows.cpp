// velmoraw: the same program without a console, for the desktop, for files dropped on its icon and
// for automation.
#include <filesystem>

#include "workbench/cli/command_line.h"
#include "workbench/cli/console.h"
#include "workbench/cli/console_windows.h"
#include "workbench/system/system.h"

int main(int argumentCount, char** arguments) {
  velmora::PrepareConsole();
  std::vector<std::string> words = velmora::CommandLineArguments(argumentCount, arguments);
  // A file is opened in the start window; anything else is a command line.
  std::error_code error;
  if (words.empty() || std::filesystem::is_regular_file(velmora::PathOf(words.front()), error))
    words.insert(words.begin(), "dialog");
  if (words.front() == "dialog") velmora::ShowErrorsInBoxes();
  return velmora::RunCommandLine(words);
}
