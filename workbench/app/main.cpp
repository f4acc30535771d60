// velmora: the workbench's command.
#include <string>
#include <vector>

#include "workbench/app/command_line.h"
#include "workbench/app/console.h"

int main(int argumentCount, char** arguments) {
  velmora::PrepareConsole();
  return velmora::RunCommandLine(
      std::vector<std::string>(arguments + (argumentCount > 0), arguments + argumentCount));
}
