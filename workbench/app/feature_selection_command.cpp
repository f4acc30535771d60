// velmora feature-selection: from the command line to the written results.
#include "workbench/app/feature_selection_command.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "workbench/app/console.h"
#include "workbench/app/data_input.h"
#include "workbench/app/exit_codes.h"
#include "workbench/app/feature_selection_run.h"
#include "workbench/app/module_path.h"
#include "workbench/app/options.h"
#include "workbench/app/output_files.h"
#include "workbench/data/save.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

constexpr int kMostBest = 10000;  // what the results dialog takes
constexpr int kMostCuts = 20;

struct CommandOptions {
  DataOptions data;
  CaseOptions cases;
  OutputOptions output;
  ModuleOptions module;
  VariableRequest variables;
  FeatureSelectionSettings settings;
};

CommandOptions ParseOptions(const std::vector<std::string>& arguments) {
  CommandOptions options;
  CommandParser parser;
  options.data.AddTo(parser);
  options.cases.AddTo(parser);
  options.output.AddTo(parser);
  options.module.AddTo(parser);
  parser.List("--dependents", options.variables.dependents);
  parser.List("--predictors", options.variables.predictors);
  parser.Text("--count", options.variables.count);
  FeatureSelectionSettings& settings = options.settings;
  parser.Flag("--casewise", settings.casewise);
  parser.Flag("--cut-dependents", settings.cutDependents);
  parser.WholeNumber("--cuts", settings.cuts, 1, kMostCuts);
  parser.WholeNumber("--dependent-cuts", settings.dependentCuts, 1, kMostCuts);
  parser.Flag("--chi-square", settings.chiSquare);
  int show = 0;
  parser.Choice("--show", show, {"best", "p", "best-by-p"});
  parser.WholeNumber("--best", settings.best, 1, kMostBest);
  parser.WholeNumber("--best-by-p", settings.bestByP, 1, kMostBest);
  parser.Number("--p-criterion", settings.pCriterion, 0, 1);
  parser.Parse(arguments);

  settings.displayMode = static_cast<DisplayMode>(show);
  settings.select = options.cases.select;
  settings.exclude = options.cases.exclude;
  settings.roundWeights = options.cases.roundWeights;
  options.variables.weight = options.cases.weight;
  if (options.data.path.empty()) {
    throw UsageError(
        "DATA is missing: name the data file, as in velmora feature-selection data.csv --dependents NAME.");
  }
  if (options.variables.dependents.empty()) throw UsageError("--dependents is missing: name the outcome.");
  if (settings.roundWeights && options.cases.weight.empty())
    throw UsageError("--round-weights needs --weight NAME.");
  return options;
}

void TellLeftOut(const VariableChoice& choice) {
  for (const LeftOutVariable& variable : choice.leftOut) {
    Tell("Not screened: " + variable.name + " (" +
         (variable.reason.empty() ? variable.role : variable.reason) + ")");
  }
}

void ApplyCases(Session& session, const VariableChoice& choice, const CaseOptions& cases) {
  try {
    session.SelectCases(cases.select, cases.exclude);
  } catch (const DataError& error) {
    throw UsageError((cases.exclude.empty()  ? "--select: "
                      : cases.select.empty() ? "--exclude: "
                                             : "--select, --exclude: ") +
                     std::string(error.what()));
  }
  if (choice.weight != 0) session.WeightBy(choice.weight);
}

std::string Bytes(Format format, const FeatureSelectionReport& report, Session& session) {
  switch (format) {
    case Format::kTerminal: {
      const Terminal terminal = StandardOutputTerminal();
      return FeatureSelectionText(report, terminal.width, terminal.utf8);
    }
    case Format::kJson:
      return FeatureSelectionJson(report);
    case Format::kCsv:
      return FeatureSelectionCsv(report);
    case Format::kHtml:
      return WriteHtml(session.Documents());
    case Format::kXlsx:
      break;
  }
  std::string bytes, error;
  if (!WriteXlsx(session.Documents(), bytes, error)) throw RunError(error);
  return bytes;
}

const char* Extension(Format format) {
  switch (format) {
    case Format::kJson:
      return ".json";
    case Format::kCsv:
      return ".csv";
    case Format::kXlsx:
      return ".xlsx";
    case Format::kHtml:
      return ".html";
    case Format::kTerminal:
      break;
  }
  return ".txt";
}

// Saves the data with its bundles as a file of the run; the name says what it is and is never the data file's own.
void SaveBundles(Session& session, OutputFiles& files) {
  session.ResultsDialog().Call("SavePredictorsToVariableBundle");
  const std::filesystem::path data(session.Data().fileName);
  const std::string extension = data.extension() == ".parquet" ? ".parquet" : ".csv";
  const std::string name = data.stem().string() + "_bundles" + extension;
  try {
    SaveTable(session.Data(), (files.StagingFolder() / name).string());
  } catch (const DataError& error) {
    // The sentence names the file where it would have stood.
    std::string sentence = error.what();
    const std::string staging = files.StagingFolder().string();
    if (const std::size_t at = sentence.find(staging); at != std::string::npos) {
      sentence.replace(at, staging.size(), files.StagingFolder().parent_path().string());
    }
    throw RunError(sentence);
  }
}

// Files first, so that a reader of standard output that goes away cannot keep them from appearing.
void WriteOutputs(const CommandOptions& options, const std::vector<Format>& formats,
                  const FeatureSelectionReport& report, Session& session) {
  const bool toFolder = !options.output.folder.empty();
  const auto isDocument = [](Format format) { return format == Format::kHtml || format == Format::kXlsx; };
  if (std::any_of(formats.begin(), formats.end(), isDocument)) MakeFeatureSelectionDocuments(session, report);
  std::string standardOutput;
  std::optional<OutputFiles> files;
  if (toFolder || options.output.saveBundles) files.emplace(toFolder ? options.output.folder : ".");
  for (const Format format : formats) {
    if (toFolder && format != Format::kTerminal) {
      files->Add(std::string("feature_selection") + Extension(format), Bytes(format, report, session));
    } else {
      standardOutput = Bytes(format, report, session);
    }
  }
  if (options.output.saveBundles) SaveBundles(session, *files);
  if (files) {
    for (const std::filesystem::path& path : files->Commit()) {
      if (!options.output.quiet) Tell("Written: " + path.string());
    }
  }
  WriteToStandardOutput(standardOutput);
}

void TellNext(const CommandOptions& options) {
  if (options.output.quiet || !options.output.folder.empty()) return;
  const std::vector<std::string> formats = SplitList(options.output.formatNames);
  if (!formats.empty() && formats.front() != "terminal") return;
  Tell("Next: add --out DIR for a report and a workbook, --format json for a program, or try --show p.");
}

}  // namespace

int RunFeatureSelectionCommand(const std::vector<std::string>& arguments) {
  const CommandOptions options = ParseOptions(arguments);
  const std::vector<Format> formats = options.output.Formats();
  SessionOptions sessionOptions;
  sessionOptions.modulePath = FindModule(options.module.path);

  Table table = LoadTable(options.data);
  const VariableChoice choice = ChooseVariables(table, options.variables);
  if (!options.output.quiet) TellLeftOut(choice);

  TerminalFace face(options.output.quiet);
  Session session(face, sessionOptions);
  session.SetTable(std::move(table));
  ApplyCases(session, choice, options.cases);
  const FeatureSelectionReport report = RunFeatureSelection(session, face, choice, options.settings);
  WriteOutputs(options, formats, report, session);
  TellNext(options);
  return kExitDone;
}

}  // namespace velmora
