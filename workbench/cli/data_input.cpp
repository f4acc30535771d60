// Makes the table that a command works on from the data file.
#include "workbench/cli/data_input.h"

#include <algorithm>
#include <set>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/data/database_address.h"
#include "workbench/data/date_parts.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"
#include "workbench/data/readers.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {
namespace {

// A wrong name in an option is wrong usage, and the sentence starts with the option.
template <typename Action>
auto ForOption(const std::string& option, Action action) {
  try {
    return action();
  } catch (const DataError& error) {
    throw UsageError(option + ": " + error.what());
  }
}

bool IsName(const Table& table, const std::string& text) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [&](const Column& column) { return column.name == text; });
}

const VariableBundle* BundleOf(const Table& table, const std::string& text) {
  const auto found = std::find_if(table.bundles.begin(), table.bundles.end(),
                                  [&](const VariableBundle& bundle) { return bundle.name == text; });
  return found == table.bundles.end() || IsName(table, text) ? nullptr : &*found;
}

// The values of a list of names, split at commas unless the whole value is a name.
std::vector<std::string> SplitNames(const Table& table, const std::vector<std::string>& values) {
  std::vector<std::string> names;
  for (const std::string& value : values) {
    if (IsName(table, value) || BundleOf(table, value) != nullptr) {
      names.push_back(value);
      continue;
    }
    for (std::string& part : SplitList({value})) names.push_back(std::move(part));
  }
  return names;
}

// The names, with a bundle's name replaced by those of its variables.
std::vector<std::string> WithoutBundles(const Table& table, const std::vector<std::string>& names) {
  std::vector<std::string> variables;
  for (const std::string& name : names) {
    const VariableBundle* const bundle = BundleOf(table, name);
    if (bundle == nullptr) {
      variables.push_back(name);
      continue;
    }
    for (const int number : bundle->variableNumbers) variables.push_back(table.Variable(number).name);
  }
  return variables;
}

char Delimiter(const std::string& text) {
  if (text.empty()) return 0;
  if (text == "tab" || text == "\\t" || text == "\t") return '\t';
  if (text.size() != 1)
    throw UsageError("--delimiter takes one character or the word tab, not " + ShortenedText(text) + ".");
  return text.front();
}

// The columns that the values name.
std::vector<bool> ColumnsFor(const std::vector<std::string>& values, const std::vector<std::string>& names) {
  Table table;
  table.columns.resize(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) table.columns[i].name = names[i];
  try {
    std::vector<bool> wanted(names.size(), false);
    for (const int number : NamedVariables(table, "", values))
      wanted[static_cast<std::size_t>(number - 1)] = true;
    return wanted;
  } catch (const std::runtime_error&) {
    // An unknown name is reported later, once dates have their parts.
    return std::vector<bool>(names.size(), true);
  }
}

Table ReadFile(const DataOptions& options, const std::vector<std::string>& names, UserMissing* userMissing) {
  ReadOptions reading = ReadingOptionsOf(options);
  reading.userMissing = userMissing;
  if (!names.empty())
    reading.choose = [&](const std::vector<std::string>& columns) { return ColumnsFor(names, columns); };
  ProgressBar bar;
  bar.Start("Reading " + (options.path.empty()             ? "the query"
                          : options.path == kStandardInput ? "standard input"
                                                           : WithoutPassword(options.path)));
  reading.progress = [&bar](double fraction) {
    bar.Update(fraction);
    return !WasInterrupted();
  };
  ReadReport report;
  Table table = ReadTable(options.path, reading, &report);
  bar.Finish();
  for (const std::string& warning : report.warnings) Warn(warning);
  return table;
}

}  // namespace

void OverrideMeasurements(Table& table, const DataOptions& options) {
  const std::vector<int> continuous = NamedVariables(table, "--continuous", options.continuous);
  const std::vector<int> categorical = NamedVariables(table, "--categorical", options.categorical);
  for (const int number : continuous) {
    if (std::find(categorical.begin(), categorical.end(), number) == categorical.end()) continue;
    throw UsageError("--continuous and --categorical both name " + table.Variable(number).name + ".");
  }
  const auto apply = [&](const std::string& option, const std::vector<int>& numbers,
                         Measurement measurement) {
    std::vector<std::string> names;
    names.reserve(numbers.size());
    for (const int number : numbers) names.push_back(table.Variable(number).name);
    ForOption(option, [&] { OverrideMeasurement(table, names, measurement); });
  };
  apply("--continuous", continuous, Measurement::kContinuous);
  apply("--categorical", categorical, Measurement::kCategorical);
}

ReadOptions ReadingOptionsOf(const DataOptions& options) {
  ReadOptions reading;
  reading.threads = options.threads;
  reading.delimiter = Delimiter(options.delimiter);
  reading.text = {static_cast<TextEncoding>(options.encoding), !options.noHeader,
                  static_cast<RaggedRecords>(options.ragged)};
  reading.missingTexts = SplitList(options.missingTexts);
  reading.part = options.part;
  reading.infer = false;  // missing-data codes and overrides come first
  return reading;
}

Table LoadTable(const DataOptions& options) { return LoadTable(options, std::vector<std::string>()); }

Table LoadTable(const DataOptions& options, UserMissing& userMissing, bool infers) {
  options.RequireData(" after the command");
  Table table = ReadFile(options, {}, &userMissing);
  const int inferredCount = infers ? 0 : table.VariableCount();
  return PrepareTable(std::move(table), options, inferredCount);
}

Table LoadTable(const DataOptions& options, const std::vector<std::string>& names) {
  options.RequireData(" after the command");
  std::vector<std::string> needed = names;
  if (!names.empty()) {
    for (const auto* values : {&options.continuous, &options.categorical, &options.dateParts})
      needed.insert(needed.end(), values->begin(), values->end());
    for (const auto* values : {&options.missingCodes, &options.since})
      for (const std::string& value : *values) needed.push_back(value.substr(0, value.rfind('=')));
  }
  return PrepareTable(ReadFile(options, needed, nullptr), options);
}

Table PrepareTable(Table table, const DataOptions& options, int inferredCount) {
  std::set<int> changed;
  for (const std::string& option : options.missingCodes) {
    ForOption("--missing", [&] {
      const MissingOption parsed = ParseMissingOption(table, option);
      changed.insert(parsed.variableNumbers.begin(), parsed.variableNumbers.end());
      ApplyMissingOption(table, option);
    });
  }
  for (const std::string& option : options.since) {
    ForOption("--since", [&] { ApplySinceOption(table, option); });
  }
  for (const int number : NamedVariables(table, "--date-parts", options.dateParts)) {
    ForOption("--date-parts", [&] { AddDateParts(table, number); });
  }
  OverrideMeasurements(table, options);
  for (const auto& [option, names] :
       {std::pair{"--continuous", &options.continuous}, std::pair{"--categorical", &options.categorical}}) {
    const std::vector<int> numbers = NamedVariables(table, option, *names);
    changed.insert(numbers.begin(), numbers.end());
  }
  for (int number = inferredCount + 1; number <= table.VariableCount(); ++number) changed.insert(number);
  StopIfInterrupted();
  const std::vector<int> numbers(changed.begin(), changed.end());
  InferMeasurements(
      table, numbers, [](double) { return !WasInterrupted(); }, options.threads);
  StopIfInterrupted();
  return table;
}

ImportOptions ImportOptionsOf(const DataOptions& options, const Table& table) {
  ImportOptions importOptions;
  importOptions.delimiter = options.delimiter;
  importOptions.missingTexts = SplitList(options.missingTexts);
  for (const std::string& option : options.missingCodes) {
    const MissingOption parsed = ParseMissingOption(table, option);
    for (const int number : parsed.variableNumbers)
      importOptions.missingCodes.emplace_back(table.Variable(number).name, parsed.codes);
  }
  const auto add = [&](const char* option, const std::vector<std::string>& names, Measurement measurement) {
    for (const int number : NamedVariables(table, option, names))
      importOptions.measurements.emplace_back(table.Variable(number).name, measurement);
  };
  add("--continuous", options.continuous, Measurement::kContinuous);
  add("--categorical", options.categorical, Measurement::kCategorical);
  return importOptions;
}

std::vector<int> NamedVariables(const Table& table, const std::string& option,
                                const std::vector<std::string>& values) {
  return ForOption(option,
                   [&] { return ResolveVariables(table, WithoutBundles(table, SplitNames(table, values))); });
}

int NamedVariable(const Table& table, const std::string& option, const std::string& value) {
  return ForOption(option, [&] { return ResolveVariable(table, value); });
}

bool NamedExactly(const Table& table, const std::vector<std::string>& values, int variableNumber) {
  for (const std::string& name : SplitNames(table, values)) {
    if (name.find_first_of("*?") != std::string::npos && !IsName(table, name)) continue;
    if (BundleOf(table, name) != nullptr) continue;
    if (ResolveVariable(table, name) == variableNumber) return true;
  }
  return false;
}

}  // namespace velmora
