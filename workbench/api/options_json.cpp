#include "workbench/api/options_json.h"

#include <algorithm>

#include "workbench/cli/exit_codes.h"
#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {
namespace {

// Options of the commands, and what takes their place in a call.
struct CommandOnly {
  const char* option;
  const char* instead;
};
constexpr CommandOnly kCommandOnly[] = {
    {"--out", "velmora_result_write writes the files of a result"},
    {"--format", "velmora_result_text names the format"},
    {"--csv-for", "velmora_result_text gives CSV for programs"},
    {"--quiet", "notices are returned, not printed"},
    {"--memory", "it belongs to the command line"},
    {"--print-script", "it belongs to the command line"},
    {"--module", "velmora_open takes it"},
    {"--log", "it belongs to the command line"},
    {"--delimiter", "velmora_read_file takes it"},
    {"--sheet", "velmora_read_file takes it"},
    {"--range", "velmora_read_file takes it"},
    {"--table", "velmora_read_file takes it"},
    {"--sql-from", "velmora_read_file takes it"},
    {"--encoding", "velmora_read_file takes it"},
    {"--no-header", "velmora_read_file takes it"},
    {"--ragged", "velmora_read_file takes it"},
    {"--date-parts", "velmora_read_file takes it"},
    {"--since", "velmora_read_file takes it"},
    {"--missing-text", "the functions that take data take it"},
    {"--save-bundles", "it belongs to the command line"},
    {"--save-best", "velmora_result_bins takes the number"},
    {"--bins", "velmora_result_bins gives the bins"},
    {"--sql", "velmora_bins_text writes SQL"},
    {"--python", "velmora_bins_text writes Python"},
    {"--coded", "velmora_bins_apply codes the table"},
    {"--recode", "it belongs to the command line"},
    {"--rules", "it belongs to the command line"},
    {"--push-down", "velmora_run_in_database does it"},
};

std::string ValueText(const std::string& option, const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  throw UsageError("--" + option + " takes texts and numbers, not " + ShortenedText(value.dump()) + ".");
}

std::string JoinedValues(const std::string& option, const Json& value) {
  if (!value.is_array()) return ValueText(option, value);
  std::string text;
  for (const Json& item : value) text += (text.empty() ? "" : ",") + ValueText(option, item);
  return text;
}

}  // namespace

std::vector<std::string> CommandWords(const std::string& json) {
  if (json.empty()) return {};
  Json options;
  try {
    options = ParseJson(json, "The JSON of the options");
  } catch (const DataError& error) {
    throw UsageError(error.what());
  }
  if (!options.is_object())
    throw UsageError("The options are a JSON object such as {\"best\": 5}, not " +
                     ShortenedText(options.dump()) + ".");
  std::vector<std::string> words;
  for (const auto& [option, value] : options.items()) {
    const std::string name = "--" + option;
    const auto add = [&](const std::string& text) { words.push_back(name + "=" + text); };
    if (value.is_null() || (value.is_boolean() && !value.get<bool>())) continue;
    if (value.is_boolean()) {
      words.push_back(name);
    } else if (value.is_array()) {
      for (const Json& item : value) add(ValueText(option, item));
    } else if (value.is_object()) {
      for (const auto& [key, values] : value.items()) add(key + "=" + JoinedValues(option, values));
    } else {
      add(ValueText(option, value));
    }
  }
  return words;
}

void RefuseCommandOnly(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    for (const CommandOnly& row : kCommandOnly) {
      if (name == row.option) throw UsageError(name + " is no option of a call: " + row.instead + ".");
    }
  }
}

}  // namespace velmora
