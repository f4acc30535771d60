#include "workbench/server/run_steps.h"

#include <algorithm>

#include "workbench/cli/repeated_command.h"

namespace velmora {
namespace {

constexpr char kSpecial[] = "--special", kTogether[] = "--special-together", kShape[] = "--shape";

bool HasOption(const std::vector<std::string>& words, const std::string& option) {
  return std::any_of(words.begin(), words.end(),
                     [&](const std::string& word) { return word.starts_with(option + "="); });
}

// The predictor that a word of such an option is for; empty: for more than one.
std::string PredictorOf(const std::string& word) {
  for (const std::string option : {kSpecial, kShape}) {
    if (!word.starts_with(option + "=")) continue;
    const std::string value = word.substr(option.size() + 1);
    // Codes may hold "=", the words for shapes do not.
    const std::size_t equals = option == kShape ? value.rfind('=') : value.find('=');
    const std::string name = equals == std::string::npos ? "" : value.substr(0, equals);
    return name.find_first_of("*?") == std::string::npos ? name : "";
  }
  return "";
}

std::string WordOf(const Json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

// The command counts bins from 1.
std::string BinWord(const Json& bin) { return std::to_string(bin.get<int>() + 1); }

// One edit of a predictor as velmora bins takes it.
std::string EditCommand(const std::string& binsFile, const std::string& response,
                        const std::string& predictor, const Json& edit) {
  const std::string operation = edit.at("operation").get<std::string>();
  const bool groups = operation == "group";
  std::vector<std::string> words = {"edit", "--response=" + response};
  if (edit.value("missing", false)) words.emplace_back("--missing");
  if (edit.value("others", false)) words.emplace_back("--others");
  if (groups && edit.contains("bins") && !edit.at("bins").empty())
    words.push_back("--into=" + BinWord(edit.at("bins").front()));
  // A level may begin with a dash.
  words.insert(words.end(), {"--", binsFile, operation, predictor});
  if (!groups) {
    for (const Json& bin : edit.value("bins", Json::array())) words.push_back(BinWord(bin));
  }
  for (const char* member : {"cutPoint", "to"}) {
    if (edit.contains(member)) words.push_back(WordOf(edit.at(member)));
  }
  for (const Json& level : edit.value("levels", Json::array())) words.push_back(WordOf(level));
  if (edit.contains("label")) words.push_back(WordOf(edit.at("label")));
  return RepeatedCommand("bins", words);
}

}  // namespace

std::vector<std::string> WithOption(std::vector<std::string> words, const std::string& option,
                                    const std::vector<std::string>& values) {
  std::erase_if(words, [&](const std::string& word) { return word.starts_with(option + "="); });
  for (const std::string& value : values) words.push_back(option + "=" + value);
  return words;
}

void AddSaveAll(std::vector<std::string>& words, bool chanceToo) {
  words.emplace_back("--save-best=100000");
  // A run as in the dialogs marks no predictor as chance.
  if (chanceToo && std::find(words.begin(), words.end(), "--classic") == words.end())
    words.emplace_back("--save-chance");
}

std::vector<std::string> WithPredictors(std::vector<std::string> words,
                                        const std::vector<std::string>& names) {
  words = WithOption(std::move(words), "--predictors", names);
  std::erase_if(words, [&](const std::string& word) {
    const std::string name = PredictorOf(word);
    return !name.empty() && std::find(names.begin(), names.end(), name) == names.end();
  });
  if (!HasOption(words, kSpecial)) std::erase(words, kTogether);
  return words;
}

std::vector<std::string> CommandsOf(const RunSteps& steps) {
  if (steps.edits.empty()) return {RepeatedCommand(steps.analysis, steps.words)};
  std::vector<std::string> found = steps.words;
  AddSaveAll(found);
  found.push_back("--bins=" + steps.binsFile);
  std::vector<std::string> commands = {RepeatedCommand(steps.analysis, found)};
  for (const auto& [response, predictors] : steps.edits.items()) {
    for (const auto& [predictor, edits] : predictors.items()) {
      for (const Json& edit : edits)
        commands.push_back(EditCommand(steps.binsFile, response, predictor, edit));
    }
  }
  commands.push_back(
      RepeatedCommand(steps.analysis, WithOption(steps.words, "--cut-points", {steps.binsFile})));
  return commands;
}

}  // namespace velmora
