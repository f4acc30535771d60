// velmora run: Python runs the script, with the package that is installed with the command.
#include "workbench/cli/run_command.h"

#include <algorithm>
#include <set>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/options.h"
#include "workbench/cli/python_program.h"
#include "workbench/report/json_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

struct RunOptions {
  PythonProgram python;
  ModuleOptions module;
  bool quiet = false;
  std::vector<std::string> script;  // its file, then its own arguments
};

const std::set<std::string>& OptionsWithValues() {
  static const std::set<std::string> options = {"--module", "--log", "--decimal-separator", "--interpreter"};
  return options;
}

// Options come before the script; everything after it is the script's.
RunOptions ParseOptions(const std::vector<std::string>& arguments) {
  std::size_t own = 0;
  while (own < arguments.size() && arguments[own].starts_with("-") && arguments[own] != "-" &&
         arguments[own] != "--") {
    own += OptionsWithValues().contains(arguments[own]) ? 2 : 1;
  }
  own = std::min(own, arguments.size());
  const auto end = arguments.begin() + static_cast<std::ptrdiff_t>(own);
  RunOptions options;
  CommandParser parser;
  options.module.AddTo(parser);
  parser.Flag("--quiet", options.quiet);
  parser.Text("--interpreter", options.python.interpreter);
  parser.Parse({arguments.begin(), end});
  const bool optionsEnd = end != arguments.end() && *end == "--";
  options.script.assign(end + (optionsEnd ? 1 : 0), arguments.end());
  if (options.script.empty())
    throw UsageError("SCRIPT is missing: name a Python file, or - for standard input.");
  return options;
}

}  // namespace

int RunRunCommand(const std::vector<std::string>& arguments) {
  RunOptions options = ParseOptions(arguments);
  Json libraryOptions;
  libraryOptions["quiet"] = options.quiet;
  if (!options.module.decimalSeparator.empty())
    libraryOptions["decimal-separator"] = options.module.decimalSeparator;
  if (options.python.interpreter.empty()) options.python.interpreter = EnvironmentVariable("VELMORA_PYTHON");
  options.python.arguments = options.script;
  options.python.arguments.insert(options.python.arguments.begin(), JsonText(libraryOptions));
  // The package reads these, as it does in other programs.
  if (!options.module.path.empty())
    options.python.environment["VELMORA_MODULE"] = FindModule(options.module.path);
  if (!options.module.logFile.empty()) options.python.environment["VELMORA_LOG"] = options.module.logFile;
  return RunScriptRunner(options.python);
}

}  // namespace velmora
