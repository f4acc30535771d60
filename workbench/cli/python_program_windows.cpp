#include "workbench/cli/exit_codes.h"
#include "workbench/cli/python_program.h"

namespace velmora {

int RunScriptRunner(const PythonProgram& python) {
  throw RunError("The script " + python.arguments.at(1) +
                 " cannot be run: this build for Windows runs no Python scripts; there, scripts use the "
                 "automation server.");
}

}  // namespace velmora
