// velmora bins: the operations of edit_bins.h for a command line, with tables of the bins before
// and after.
#include "workbench/cli/bins_command.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/parse_number.h"
#include "workbench/bins/edit_bins.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/options.h"
#include "workbench/cli/output_files.h"
#include "workbench/cli/program_export.h"
#include "workbench/cli/run_files.h"
#include "workbench/data/errors.h"
#include "workbench/data/table.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

using Kind = BinEdit::Kind;

struct BinsOptions {
  std::vector<std::string> words;
  std::string response, out;
  ProgramExport programs;
  int into = 0;
  bool missing = false, others = false, quiet = false;
};

// --- Tables
std::string Shown(double value, const char* format) {
  return value == kMissing ? "-" : ShownNumber(value, format);
}

// A number of cases, which need not be whole when cases have weights.
std::string ShownCount(double count) { return ShownNumber(count, count == std::floor(count) ? "0" : "0.00"); }

double CasesIn(const SavedResponse& response, const SavedCounts& counts) {
  if (response.kind == "continuous") return counts.empty() ? 0 : counts.front();
  double cases = 0;
  for (const double count : counts) cases += count;
  return cases;
}

std::vector<TextColumn> TableColumns(const SavedResponse& response) {
  std::vector<TextColumn> columns = {{"bin", true}, {"label"}, {"cases", true}};
  if (response.kind == "continuous") {
    columns.push_back({"mean", true});
  } else {
    for (const std::string& code : response.codes) columns.push_back({code, true});
  }
  if (response.kind == "binary") {
    columns.push_back({"bad rate", true});
    columns.push_back({"WOE", true});
    columns.push_back({"information value", true});
  }
  return columns;
}

std::vector<std::string> TableRow(const SavedResponse& response, std::string number, const SavedBin& bin,
                                  double informationValue) {
  const bool known = !bin.counts.empty();
  const double cases = CasesIn(response, bin.counts);
  std::vector<std::string> row = {std::move(number), bin.label, known ? ShownCount(cases) : "-"};
  if (response.kind == "continuous") {
    row.push_back(Shown(bin.figures.front(), "0.0000"));
    return row;
  }
  for (std::size_t code = 0; code < response.codes.size(); ++code)
    row.push_back(known ? ShownCount(bin.counts[code]) : "-");
  if (response.kind == "binary") {
    row.push_back(known && cases > 0 ? ShownNumber(bin.counts[0] / cases, "0.0000") : "-");
    row.push_back(Shown(bin.figures.front(), "0.00"));
    row.push_back(Shown(informationValue, "0.0000"));
  }
  return row;
}

std::string TableText(const SavedResponse& response, const SavedPredictor& predictor) {
  TextTable table(TableColumns(response));
  const SavedCounts total = TotalCounts(predictor);
  double informationValue = 0;
  for (std::size_t i = 0; i < predictor.bins.size(); ++i) {
    const SavedBin& bin = predictor.bins[i];
    const double part = InformationValue(bin, total);
    if (part != kMissing) informationValue += part;
    table.AddRow(TableRow(response, std::to_string(i + 1), bin, part));
  }
  if (!total.empty()) {
    SavedBin all{"All", {kMissing}, total};
    if (response.kind == "continuous" && total[0] > 0) all.figures = {total[1] / total[0]};
    table.AddRow(TableRow(response, "", all, informationValue));
  }
  const Terminal terminal = StandardOutputTerminal();
  return table.Text(terminal.isTerminal ? terminal.width : 0, terminal.utf8);
}

const SavedResponse& ResponseOf(const SavedBins& bins, const SavedPredictor& predictor) {
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& one : response.predictors) {
      if (&one == &predictor) return response;
    }
  }
  throw RunError("There is no such response.");  // the predictor is one of the bins'
}

std::string PredictorText(const SavedBins& bins, const SavedPredictor& predictor, const char* when) {
  const SavedResponse& response = ResponseOf(bins, predictor);
  std::string text = predictor.name;
  if (bins.responses.size() > 1) text += " for " + response.name;
  return text + when + "\n" + TableText(response, predictor) + "\n";
}

int RunShow(const BinsOptions& options, const SavedBins& bins) {
  std::string text;
  for (std::size_t i = 2; i < options.words.size(); ++i)
    text += PredictorText(bins, FindPredictor(bins, options.response, options.words[i]), "");
  if (options.words.size() > 2) {
    WriteToStandardOutput(text);
    return kExitDone;
  }
  for (const SavedResponse& response : bins.responses) {
    if (!options.response.empty() && response.name != options.response) continue;
    for (const SavedPredictor& predictor : response.predictors) text += PredictorText(bins, predictor, "");
  }
  WriteToStandardOutput(text.empty() ? "The file has no bins.\n" : text);
  return kExitDone;
}

// --- Edits
double NumberFrom(const std::string& word, const char* what) {
  const auto number = vlm::ParseNumber<double>(word);
  if (!number) throw UsageError(std::string(what) + " is a number, not " + ShortenedText(word) + ".");
  return *number;
}

int BinFrom(const std::string& word) {
  const auto number = vlm::ParseNumber<int>(word);
  if (!number || *number < 1)
    throw UsageError("A bin is named by its number, from 1, not " + ShortenedText(word) + ".");
  return *number - 1;
}

struct Operation {
  const char* name;
  Kind kind;
  std::size_t fewest, most;  // words after it
  const char* usage;
};

constexpr std::size_t kAnyNumber = 100000;
constexpr Operation kOperations[] = {
    {"merge", Kind::kMerge, 3, kAnyNumber, "merge PREDICTOR BIN BIN..."},
    {"split", Kind::kSplit, 2, 2, "split PREDICTOR CUT"},
    {"move", Kind::kMove, 3, 3, "move PREDICTOR CUT TO"},
    {"group", Kind::kGroup, 1, kAnyNumber, "group PREDICTOR LEVEL..."},
    {"label", Kind::kLabel, 2, 3, "label PREDICTOR BIN [TEXT]"},
    {"reset", Kind::kReset, 0, 1, "reset [PREDICTOR]"},
};

const Operation& FindOperation(const std::string& name) {
  std::vector<std::string> names = {"undo"};
  for (const Operation& operation : kOperations) {
    if (name == operation.name) return operation;
    names.emplace_back(operation.name);
  }
  const std::string nearest = NearestWord(name, names);
  throw UsageError(
      "There is no operation " + ShortenedText(name) +
      (nearest.empty() ? "; use " + JoinWords(names, " or ") + "." : "; did you mean " + nearest + "?"));
}

// words: those after the name of the operation.
BinEdit EditFrom(const BinsOptions& options, const std::string& name, const std::vector<std::string>& words) {
  const Operation& operation = FindOperation(name);
  if (words.size() < operation.fewest || words.size() > operation.most)
    throw UsageError("Write " + std::string(operation.usage) + ".");
  if (operation.kind != Kind::kGroup && (options.missing || options.others || options.into > 0))
    throw UsageError("--missing, --others and --into belong to group.");
  BinEdit edit;
  edit.kind = operation.kind;
  edit.response = options.response;
  if (!words.empty()) edit.predictor = words.front();
  switch (operation.kind) {
    case Kind::kMerge:
      for (std::size_t i = 1; i < words.size(); ++i) edit.bins.push_back(BinFrom(words[i]));
      break;
    case Kind::kSplit:
      edit.cutPoint = NumberFrom(words[1], "CUT");
      break;
    case Kind::kMove:
      edit.cutPoint = NumberFrom(words[1], "CUT");
      edit.to = NumberFrom(words[2], "TO");
      break;
    case Kind::kGroup:
      for (std::size_t i = 1; i < words.size(); ++i) edit.values.push_back({std::nullopt, words[i]});
      edit.missing = options.missing;
      edit.others = options.others;
      if (options.into > 0) edit.bins = {options.into - 1};
      break;
    case Kind::kLabel:
      edit.bins = {BinFrom(words[1])};
      if (words.size() > 2) edit.label = words[2];
      break;
    case Kind::kReset:
      break;
  }
  return edit;
}

int RunEdit(const BinsOptions& options, const std::string& path, const SavedBins& before) {
  const std::string& name = options.words.size() > 2 ? options.words[2] : std::string();
  if (name.empty())
    throw UsageError(
        "The operation is missing: velmora bins edit FILE merge, split, move, group, label, reset or undo.");
  const std::vector<std::string> words(options.words.begin() + 3, options.words.end());
  SavedBins after = before;
  BinEdit edit;
  if (name == "undo") {
    if (!words.empty()) throw UsageError("undo takes no further words.");
    if (before.edits.empty()) throw RunError(path + " has no edit to undo.");
    edit = before.edits.back();
    UndoEdit(after);
  } else {
    edit = EditFrom(options, name, words);
    ApplyEdit(edit, after);
  }
  OutputFiles files;
  files.AddAt(PathOf(options.out.empty() ? path : options.out), BinsJson(after));
  files.Commit();
  if (options.quiet) return kExitDone;
  std::string text;
  if (edit.predictor.empty()) {
    text = name == "undo" ? "All edits are back.\n" : "All predictors are as they were found.\n";
  } else {
    text = PredictorText(before, FindPredictor(before, edit.response, edit.predictor), ", before") +
           PredictorText(after, FindPredictor(after, edit.response, edit.predictor), ", after");
  }
  WriteToStandardOutput(text);
  return kExitDone;
}

int RunExport(const BinsOptions& options, const SavedBins& bins) {
  if (options.words.size() > 2)
    throw UsageError("Unexpected argument " + ShortenedText(options.words[2]) + ".");
  if (!options.programs.Any()) throw UsageError("Name a file with --sql, --python or --pmml.");
  OutputFiles files;
  options.programs.AddPrograms(bins, files);
  for (const WrittenFile& file : files.Commit()) {
    if (!options.quiet) Report("Written: " + file.path.string());
  }
  return kExitDone;
}

}  // namespace

int RunBinsCommand(const std::vector<std::string>& arguments) {
  BinsOptions options;
  CommandParser parser;
  parser.Positionals("ACTION", options.words);
  parser.Text("--response", options.response);
  parser.Text("--out", options.out);
  options.programs.AddTo(parser);
  constexpr int kMostBins = 100000;
  parser.WholeNumber("--into", options.into, 1, kMostBins);
  parser.Flag("--missing", options.missing);
  parser.Flag("--others", options.others);
  parser.Flag("--quiet", options.quiet);
  parser.Parse(arguments);
  if (options.words.empty()) throw UsageError("The action is missing: show, edit or export.");
  const std::string& action = options.words.front();
  if (action != "show" && action != "edit" && action != "export")
    throw UsageError("There is no action " + ShortenedText(action) + "; use show, edit or export.");
  if (options.words.size() < 2)
    throw UsageError("FILE is missing: name the bins that velmora screen --bins saved.");
  const std::string path = options.words[1];
  RunFiles files;
  files.Reads("FILE", path);
  if (!options.out.empty()) files.Writes("--out", options.out);
  options.programs.AddFilesTo(files);
  const SavedBins bins = ParseBinsJson(ReadWholeFile(path), path);
  if (action == "show") return RunShow(options, bins);
  return action == "edit" ? RunEdit(options, path, bins) : RunExport(options, bins);
}

}  // namespace velmora
