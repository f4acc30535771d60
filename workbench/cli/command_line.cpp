// The table of commands and the way to them.
#include "workbench/cli/command_line.h"

#include <algorithm>

#include "workbench/cli/apply_command.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/options.h"
#include "workbench/cli/run_command.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/settings_command.h"
#include "workbench/cli/system_commands.h"
#include "workbench/cli/variables_command.h"

#ifndef VELMORA_VERSION
#error "the build names the version"
#endif

namespace velmora {
namespace {

constexpr char kOverviewHead[] = R"(velmora finds the variables of a table that matter.

Usage: velmora COMMAND DATA [OPTIONS]

Commands:
)";

constexpr char kOverviewTail[] = R"(
Start with these:
  velmora variables data.csv
  velmora feature-selection data.csv --dependents NAME
  velmora screen data.csv --binary-response NAME --good CODE --bad CODE --bins bins.json
  velmora apply bins.json new_data.csv

DATA is a CSV, TSV, Parquet, JSON-lines, SPSS (.sav .por), SAS (.sas7bdat .xpt) or Stata (.dta) file.
Results go to standard output, everything else to standard error.
Exit codes: 0 done, 1 failed, 2 bad use, 130 cancelled.

  velmora help COMMAND     the page of one command
  velmora --version        the version
)";

std::string Overview() {
  std::string text = kOverviewHead;
  for (const Command& command : Commands()) {
    text += "  " + std::string(command.name);
    text.append(
        std::max<std::size_t>(20, std::string(command.name).size() + 1) - std::string(command.name).size(),
        ' ');
    text += std::string(command.summary) + "\n";
  }
  return text + kOverviewTail;
}

const Command& FindCommand(const std::string& name) {
  std::vector<std::string> names;
  for (const Command& command : Commands()) {
    if (name == command.name) return command;
    names.emplace_back(command.name);
  }
  const std::string nearest = NearestWord(name, names);
  throw UsageError("There is no command " + name +
                   (nearest.empty() ? "." : "; did you mean " + nearest + "?"));
}

bool AsksForHelp(const Command& command, const std::vector<std::string>& arguments) {
  const auto end = command.takesWordsOfOthers
                       ? std::find_if(arguments.begin(), arguments.end(),
                                      [](const std::string& word) { return !word.starts_with("--"); })
                       : arguments.end();
  return std::any_of(arguments.begin(), end == arguments.end() || *end != "-h" ? end : end + 1,
                     [](const std::string& word) { return word == "--help" || word == "-h"; });
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = {
        {"feature-selection", "rank the predictors of one or more dependent variables", kFeatureSelectionHelp,
         RunFeatureSelectionCommand},
        {"run", "do it by a script", kRunHelp, RunRunCommand, true},
        {"screen", "cut predictors into bins and score them against a response", kScreenHelp,
         RunScreenCommand},
        {"apply", "code new data by the bins that a screening run saved", kApplyHelp, RunApplyCommand},
        {"variables", "show what is in a data file, and how it is taken", kVariablesHelp,
         RunVariablesCommand},
        {"settings", "show or change what dialogs and scripts start with", kSettingsHelp, RunSettingsCommand},
    };
    for (const Command& command : SystemCommands()) all.push_back(command);
    return all;
  }();
  return commands;
}

int RunCommandLine(const std::vector<std::string>& arguments) {
  const std::string first = arguments.empty() ? std::string() : arguments.front();
  if (const std::optional<int> done = RunSystemSwitch(arguments)) return *done;
  std::string speaker = "velmora";
  return RunGuarded(speaker, [&]() -> int {
    if (arguments.empty()) {
      Tell(Overview());
      return kExitBadUse;
    }
    if (first == "--version" || first == "version") {
      WriteToStandardOutput("velmora " VELMORA_VERSION "\n");
      return kExitDone;
    }
    if (first == "--help" || first == "-h" || first == "help") {
      const bool ofCommand = first == "help" && arguments.size() > 1;
      WriteToStandardOutput(ofCommand ? std::string(FindCommand(arguments[1]).help) : Overview());
      return kExitDone;
    }
    if (first.starts_with("-")) throw UsageError("The command comes first; " + first + " is none.");
    const Command& command = FindCommand(first);
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (AsksForHelp(command, rest)) {
      WriteToStandardOutput(command.help);
      return kExitDone;
    }
    return RunGuarded("velmora " + first, [&] { return command.run(rest); });
  });
}

}  // namespace velmora
