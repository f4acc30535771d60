#include "workbench/cli/settings_command.h"

#include <algorithm>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/options.h"
#include "workbench/session/user_settings.h"

namespace velmora {

const char kSettingsHelp[] =
    R"(velmora settings: show or change what dialogs and scripts start with.

Usage: velmora settings [NAME [VALUE]]

Without a name it shows all settings and where they are kept; with a name, one; with a value, it sets it.

  statistic     cramers-v (default) or chi-square: the statistic of categorical dependents with which the startup dialog
                of feature selection begins. The commands themselves always say what they use (--chi-square).

Examples:
  velmora settings
  velmora settings statistic chi-square
)";

namespace {

// A setting, its entry of the profile, and the words of the values 0, 1 ...
struct Setting {
  const char* name;
  int entry;
  std::vector<std::string> words;
};

const std::vector<Setting>& Settings() {
  static const std::vector<Setting> settings = {
      {"statistic", kProfileChiSquare, {"cramers-v", "chi-square"}}};
  return settings;
}

const std::string& WordOf(const Setting& setting, const std::map<int, int>& profile) {
  const auto found = profile.find(setting.entry);
  return setting.words[found != profile.end() && found->second != 0 ? 1 : 0];
}

const Setting& FindSetting(const std::string& name) {
  std::vector<std::string> names;
  for (const Setting& setting : Settings()) {
    if (name == setting.name) return setting;
    names.emplace_back(setting.name);
  }
  throw UsageError("There is no setting " + name + "; there is " + JoinWords(names, " and ") + ".");
}

}  // namespace

int RunSettingsCommand(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  CommandParser parser;
  parser.Positionals("NAME", words);
  parser.Parse(arguments);
  if (words.size() > 2) throw UsageError("Too many words; give one NAME and at most one VALUE.");
  const std::filesystem::path file = UserSettingsFile();
  std::map<int, int> profile = ReadProfile(file);
  if (words.empty()) {
    std::string text;
    for (const Setting& setting : Settings())
      text += std::string(setting.name) + " = " + WordOf(setting, profile) + "\n";
    WriteToStandardOutput(text);
    Report("Kept in " + file.string() + ".");
    return kExitDone;
  }
  const Setting& setting = FindSetting(words.front());
  if (words.size() == 1) {
    WriteToStandardOutput(WordOf(setting, profile) + "\n");
    return kExitDone;
  }
  const auto chosen = std::find(setting.words.begin(), setting.words.end(), words[1]);
  if (chosen == setting.words.end()) {
    throw UsageError(words.front() + " takes " + JoinWords(setting.words, " or ") + ", not " + words[1] +
                     ".");
  }
  profile[setting.entry] = static_cast<int>(chosen - setting.words.begin());
  WriteProfile(file, profile);
  return kExitDone;
}

}  // namespace velmora
