// The program velmora.
#include "workbench/cli/command_line.h"
#include "workbench/cli/console.h"
#include "workbench/system/system.h"

int main(int argumentCount, char** arguments) {
  velmora::PrepareConsole();
  return velmora::RunCommandLine(velmora::CommandLineArguments(argumentCount, arguments));
}
