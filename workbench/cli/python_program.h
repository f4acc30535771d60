// Python in the place of the command, so that signals, the terminal and the exit code are its own.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace velmora {

struct PythonProgram {
  std::string interpreter;                         // a path, or a name to look for in PATH; empty: python3
  std::vector<std::string> arguments;              // options as JSON, the script, its own arguments
  std::map<std::string, std::string> environment;  // set beside what the command has
};

// Runs _script.py of the Python package, which lies beside the command, with these arguments. Does
// not return; throws RunError when there is no package or no Python.
int RunScriptRunner(const PythonProgram& python);

}  // namespace velmora
