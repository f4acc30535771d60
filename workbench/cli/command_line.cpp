// The table of commands and the dispatch to them.
#include "workbench/cli/command_line.h"

#include <algorithm>

#include "workbench/cli/apply_command.h"
#include "workbench/cli/bins_command.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/help_page.h"
#include "workbench/cli/open_command.h"
#include "workbench/cli/options.h"
#include "workbench/cli/run_command.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/settings_command.h"
#include "workbench/cli/system_commands.h"
#include "workbench/cli/variables_command.h"
#include "workbench/documents/terminal_text.h"

#ifndef VELMORA_VERSION
#error "the build names the version"
#endif

namespace velmora {
namespace {

constexpr char kOverviewHead[] = R"(Velmora finds out which variables in a data set matter.

Usage: velmora COMMAND DATA [OPTIONS]

Commands:
)";

constexpr char kOverviewTail[] = R"(
Start with these:
  velmora variables data.csv
  velmora feature-selection data.csv --dependents NAME
  velmora screen data.csv --binary-response NAME --good CODE --bad CODE --bins bins.json
  velmora apply bins.json new_data.csv

DATA is @DATA_FILES@.
Results go to standard output, everything else to standard error.
Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled.

  velmora help COMMAND     help on one command
  velmora --version        print the version
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
  return HelpPage(text + kOverviewTail);
}

const Command& FindCommand(const std::string& name) {
  std::vector<std::string> names;
  for (const Command& command : Commands()) {
    if (name == command.name) return command;
    names.emplace_back(command.name);
  }
  const std::string nearest = NearestWord(name, names);
  throw UsageError("There is no command " + ShortenedText(name) +
                   (nearest.empty() ? "." : "; did you mean " + nearest + "?"));
}

bool AsksForHelp(const Command& command, const std::vector<std::string>& arguments) {
  for (const std::string& word : arguments) {
    if (word == "--help" || word == "-h") return true;
    if (word == "--" || (command.takesWordsOfOthers && !word.starts_with("--"))) return false;
  }
  return false;
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = {
        {"feature-selection", "rank variables by how strongly they are related to an outcome",
         kFeatureSelectionHelp, RunFeatureSelectionCommand},
        {"run", "run the analyses from a Python script", kRunHelp, RunRunCommand, true},
        {"screen", "bin variables and score how well the bins predict an outcome", kScreenHelp,
         RunScreenCommand},
        {"apply", "code new data with the bins of a screening run", kApplyHelp, RunApplyCommand},
        {"bins", "show saved bins, correct them by hand, write them as SQL or Python", kBinsHelp,
         RunBinsCommand},
        {"scorecard", "turn saved bins into points by logistic regression", kScorecardHelp,
         RunScorecardCommand},
        {"variables", "list the variables of a data file and how each will be treated", kVariablesHelp,
         RunVariablesCommand},
        {"open", "the workbench as a page: look, rank, bin and correct the bins in a browser", kOpenHelp,
         RunOpenCommand},
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
  return RunGuarded("velmora", [&]() -> int {
    if (arguments.empty()) {
      WriteToStandardError(Overview());
      return kExitBadUse;
    }
    if (first == "--version" || first == "version") {
      WriteToStandardOutput("velmora " VELMORA_VERSION "\n");
      return kExitDone;
    }
    if (first == "--help" || first == "-h" || first == "help") {
      const bool ofCommand = first == "help" && arguments.size() > 1;
      WriteToStandardOutput(ofCommand ? HelpPage(FindCommand(arguments[1]).help) : Overview());
      return kExitDone;
    }
    if (first.starts_with("-"))
      throw UsageError("The command comes first, as in 'velmora variables data.csv'; " +
                       ShortenedText(first) + " is not a command.");
    const Command& command = FindCommand(first);
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (AsksForHelp(command, rest)) {
      WriteToStandardOutput(HelpPage(command.help));
      return kExitDone;
    }
    return RunGuarded("velmora " + first, [&] { return command.run(rest); });
  });
}

}  // namespace velmora
