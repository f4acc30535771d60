// velmora feature-selection: from the command line to the written results.
#include "workbench/cli/feature_selection/feature_selection_command.h"

#include <algorithm>
#include <filesystem>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_run.h"
#include "workbench/cli/memory_limit.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/options.h"
#include "workbench/cli/repeated_command.h"
#include "workbench/cli/states/database_run.h"
#include "workbench/data/column_store.h"
#include "workbench/data/save.h"
#include "workbench/data/table_sidecar.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/ranking/ranking_memory.h"
#include "workbench/session/settings_script.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr int kMostBest = 10000;  // the limit of the results dialog
constexpr int kMostCuts = 20;

// Refuses options that the chosen way of ranking would ignore.
void CheckClassic(const CommandParser& parser, FeatureSelectionSettings& settings, bool printScript) {
  if (settings.cases.rawWeights) {
    if (settings.cases.weight.empty()) throw UsageError("--raw-weights needs --weight NAME.");
    settings.classic = true;
  }
  const char* const reason = settings.cases.rawWeights ? "--raw-weights" : "--classic";
  if (settings.classic) {
    for (const char* option : {"--rank-by", "--adjust", "--adjust-across", "--alpha", "--intervals",
                               "--strata", "--clusters", "--exact", "--replicates", "--seed"}) {
      if (parser.Has(option)) {
        throw UsageError(std::string(option) + " has no effect on the run of the dialogs, which " + reason +
                         " asks for.");
      }
    }
  } else if (settings.cases.roundWeights) {
    throw UsageError("--round-weights needs --classic: sampling weights are not rounded.");
  } else if (printScript) {
    throw UsageError("--print-script needs --classic: scripts run the analysis of the dialogs.");
  }
}

// The file is beside the other outputs; its name differs from the data file's.
std::string BundlesFile(const std::string& dataPath) {
  const std::filesystem::path data = PathOf(dataPath);
  return data.stem().string() + "_bundles" + (data.extension() == ".parquet" ? ".parquet" : ".csv");
}

std::string BundlesPath(const std::string& folder, const std::string& dataPath) {
  return (PathOf(folder.empty() ? "." : folder) / PathOf(BundlesFile(dataPath))).string();
}

// The bundles that the results dialog makes of its own ranking: the best continuous and the best
// categorical predictors of each dependent.
void AddRankedBundles(const FeatureSelectionReport& report, Session& session) {
  for (const ReportedDependent& dependent : report.dependents) {
    for (const Measurement kind : {Measurement::kContinuous, Measurement::kCategorical}) {
      std::vector<int> numbers;
      for (const int index : dependent.best) {
        const ReportedPredictor& predictor = report.predictors[static_cast<std::size_t>(index)];
        if (predictor.kind == kind) numbers.push_back(predictor.number);
      }
      if (!numbers.empty())
        session.AddBundle(dependent.name + " - best " + KindName(kind) + " predictors", numbers);
    }
  }
}

// Saves the data with its bundles as a file of the run.
void SaveBundles(const FeatureSelectionReport& report, Session& session, const OutputOptions& options,
                 OutputFiles& files) {
  AddBundles(report, session);
  const std::string name = BundlesFile(session.Data().fileName);
  SaveTableIn(files, session.Data(), BundlesPath(options.folder, session.Data().fileName), options);
  // The sidecar of an earlier run would be read with this table.
  const std::string sidecar = SidecarPath(name);
  if (name.ends_with(".csv") && !std::filesystem::exists(files.StagingFolder() / PathOf(sidecar))) {
    files.Add(sidecar,
              "{\"format\": \"velmora-table\", \"version\": 1, \"bundles\": [], \"variables\": []}\n");
  }
}

void WriteResults(const FeatureSelectionOptions& options, const std::vector<Format>& formats,
                  const FeatureSelectionReport& report, Session& session, const RunFiles& inputs) {
  OutputWriters writers = WritersOf(report, session);
  if (options.output.saveBundles)
    writers.addFiles = [&](OutputFiles& files) { SaveBundles(report, session, options.output, files); };
  WriteOutputs(options.output, formats, writers, inputs);
}

std::string ScriptOf(const FeatureSelectionOptions& options, const std::vector<Format>& formats,
                     const Table& table, const VariableChoice& choice) {
  ScriptedRun run{.table = table,
                  .importOptions = ImportOptionsOf(options.data, table),
                  .selection = {options.settings.cases.select, options.settings.cases.exclude},
                  .weight = choice.weight,
                  .analysis = kFeatureSelectionName,
                  .useWeightsAsGiven = !options.settings.cases.roundWeights,
                  .notes = {},
                  .resultsSettings = DisplaySettings(options.settings),
                  .outputs = ScriptedOutputs(options.output, formats)};
  run.notes.startupSettings = StartupSettings(choice, options.settings);
  run.notes.leftOut = choice.leftOut;
  if (options.output.saveBundles) {
    const std::filesystem::path folder = PathOf(options.output.folder);
    run.outputs.emplace_back("results.SavePredictorsToVariableBundle()");
    run.outputs.push_back("data.Save(" +
                          PythonString((folder / PathOf(BundlesFile(table.fileName))).string()) + ")");
  }
  return WriteSettingsScript(run);
}

// As many threads as the memory allows.
int ThreadsWithin(const MemoryLimit& limit, const FeatureSelectionOptions& options, const Table& table,
                  const VariableChoice& choice) {
  if (options.settings.classic) return options.settings.threads;
  const ranking::RankingMemory need = ranking::MemoryOf(PlanOf(choice, options.settings), table.caseCount);
  return limit.Threads(options.settings.threads, need.shared, need.perThread,
                       "a ranking of " + GroupedDigits(table.caseCount) + " cases");
}

std::unique_ptr<FinishedRun> Run(const FeatureSelectionOptions& options, const SessionOptions& sessionOptions,
                                 Table table, const VariableChoice& choice) {
  auto run = std::make_unique<FinishedRun>(options.output.quiet, sessionOptions);
  ImportOptions importOptions = ImportOptionsOf(options.data, table);
  run->session.SetTable(std::move(table), std::move(importOptions));
  ApplyCases(run->session, choice.weight, options.settings.cases);
  if (!options.output.quiet) ReportLeftOut(choice.leftOut);
  run->featureSelection = RunFeatureSelection(run->session, run->frontend, choice, options.settings);
  return run;
}

}  // namespace

FeatureSelectionOptions ParseFeatureSelection(const std::vector<std::string>& arguments) {
  FeatureSelectionOptions options;
  CommandParser parser;
  options.data.AddTo(parser);
  options.settings.cases.AddTo(parser);
  parser.Flag("--round-weights", options.settings.cases.roundWeights);
  options.output.AddTo(parser);
  parser.Flag("--save-bundles", options.output.saveBundles);
  parser.Flag("--print-script", options.printScript);
  parser.Text("--memory", options.memory);
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
  int rankBy = 0, adjustment = 0, intervals = 0;
  parser.Flag("--classic", settings.classic);
  parser.Choice("--rank-by", rankBy, {"effect", "statistic", "p"});
  parser.Choice("--adjust", adjustment, {"bh", "by", "holm", "none"});
  parser.Flag("--adjust-across", settings.adjustAcross);
  parser.Number("--alpha", settings.alpha, 0, 1);
  parser.Choice("--intervals", intervals, {"quantiles", "equal-width", "tree"});
  parser.Flag("--raw-weights", settings.cases.rawWeights);
  parser.Text("--strata", options.variables.strata);
  parser.Text("--clusters", options.variables.clusters);
  parser.Flag("--exact", settings.exact);
  parser.WholeNumber("--replicates", settings.replicates, 99, 10000000);
  parser.WholeNumber("--seed", settings.seed, 0, 2147483647);
  parser.WholeNumber("--best", settings.best, 1, kMostBest);
  parser.WholeNumber("--best-by-p", settings.bestByP, 1, kMostBest);
  parser.Number("--p-criterion", settings.pCriterion, 0, 1);
  options.pushDown.AddTo(parser);
  parser.OutcomeOption("--dependents NAME");
  parser.Parse(arguments);

  settings.displayMode = static_cast<DisplayMode>(show);
  settings.rankBy = static_cast<ranking::RankKey>(rankBy);
  settings.adjustment = static_cast<stats::Adjustment>(adjustment);
  settings.intervals = static_cast<ranking::IntervalMethod>(intervals);
  settings.threads = options.data.threads;
  options.variables.weight = settings.cases.weight;
  options.data.RequireData(", as in velmora feature-selection data.csv --dependents NAME");
  if (options.printScript) options.data.RequireScriptable();
  if (options.variables.dependents.empty())
    throw UsageError("--dependents is missing: name the outcome, as in --dependents risk.");
  if (settings.cases.roundWeights && settings.cases.weight.empty())
    throw UsageError("--round-weights needs --weight NAME.");
  options.pushDown.Check(parser);
  CheckClassic(parser, settings, options.printScript);
  options.variables.anyWeights = settings.classic;
  const bool isSurvey = !options.variables.weight.empty() || !options.variables.strata.empty() ||
                        !options.variables.clusters.empty();
  if (settings.exact && isSurvey)
    throw UsageError("--exact tests counts of cases, not weights, strata or clusters.");
  CheckStrataOfCounts(options.variables.strata, options.variables.clusters, options.variables.count);
  if (!settings.exact && (parser.Has("--replicates") || parser.Has("--seed")))
    throw UsageError("--replicates and --seed need --exact.");
  return options;
}

OutputWriters WritersOf(const FeatureSelectionReport& report, Session& /*session*/) {
  OutputWriters writers;
  writers.stem = "feature_selection";
  writers.text = [&](const Terminal& terminal) {
    // Files and pipes may be wider than a terminal.
    constexpr int kFileWidth = 132;
    const int width = terminal.isTerminal ? terminal.width : std::max(terminal.width, kFileWidth);
    return PrintableText(FeatureSelectionText(report, width, terminal.utf8), true);
  };
  writers.json = [&] { return FeatureSelectionJson(report); };
  writers.csv = [&] { return FeatureSelectionCsv(report); };
  writers.csvFiles = [&]() -> std::vector<std::pair<std::string, std::string>> {
    return {{"feature_selection.csv", FeatureSelectionCsv(report)}};
  };
  writers.workbook = [&] { return FeatureSelectionWorkbook(report); };
  writers.page = [&] { return FeatureSelectionPage(report); };
  return writers;
}

void AddBundles(const FeatureSelectionReport& report, Session& session) {
  if (report.ranking) return AddRankedBundles(report, session);
  const StrictCriterion strict(*session.FeatureSelectionResults());
  session.ResultsDialog().Call("SavePredictorsToVariableBundle");
}

std::string FeatureSelectionScriptOn(Table table, const std::vector<std::string>& arguments,
                                     int inferredCount) {
  const FeatureSelectionOptions options = ParseFeatureSelection(arguments);
  table = PrepareTable(std::move(table), options.data, inferredCount);
  const VariableChoice choice = ChooseVariables(table, options.variables);
  return ScriptOf(options, options.output.Formats(), table, choice);
}

std::unique_ptr<FinishedRun> RunFeatureSelectionOn(Table table, const std::vector<std::string>& arguments,
                                                   int inferredCount) {
  const FeatureSelectionOptions options = ParseFeatureSelection(arguments);
  const SessionOptions sessionOptions =
      MakeSessionOptions(options.module, Readers::kPrograms, options.data.threads);
  table = PrepareTable(std::move(table), options.data, inferredCount);
  const VariableChoice choice = ChooseVariables(table, options.variables);
  return Run(options, sessionOptions, std::move(table), choice);
}

namespace {

// The values that name the variables of a run; none where it may use any variable of the table.
std::vector<std::string> NeededVariables(const FeatureSelectionOptions& options) {
  const CaseOptions& cases = options.settings.cases;
  if (options.variables.predictors.empty() || options.printScript || options.output.saveBundles ||
      !(cases.select.empty() && cases.exclude.empty()))
    return {};
  std::vector<std::string> values = options.variables.predictors;
  values.insert(values.end(), options.variables.dependents.begin(), options.variables.dependents.end());
  for (const std::string& name : {options.variables.weight, options.variables.count, options.variables.strata,
                                  options.variables.clusters})
    if (!name.empty()) values.push_back(name);
  return values;
}

}  // namespace

int RunFeatureSelectionCommand(const std::vector<std::string>& arguments) {
  FeatureSelectionOptions options = ParseFeatureSelection(arguments);
  const std::vector<Format> formats = options.output.Formats();
  RunFiles files;
  files.ReadsTable("DATA", options.data.path);
  AddOutputs(options.output, formats, "feature_selection", {"feature_selection.csv"}, files);
  if (options.output.saveBundles)
    files.WritesTable("--save-bundles", BundlesPath(options.output.folder, options.data.path));
  const SessionOptions sessionOptions =
      MakeSessionOptions(options.module, Readers::kPrograms, options.data.threads);

  const MemoryLimit limit(options.memory);
  LimitColumnMemory(limit.ColumnBytes());
  std::unique_ptr<FinishedRun> run;
  if (options.pushDown.pushDown) {
    run = RunPushedDown("feature-selection", arguments, options.data);
    if (!options.output.quiet) ReportLeftOut(run->featureSelection->leftOut);
  } else {
    Table table = LoadTable(options.data, NeededVariables(options));
    const VariableChoice choice = ChooseVariables(table, options.variables);
    if (options.printScript) {
      WriteToStandardOutput(ScriptOf(options, formats, table, choice));
      return kExitDone;
    }
    options.settings.threads = ThreadsWithin(limit, options, table, choice);
    run = Run(options, sessionOptions, std::move(table), choice);
  }
  const auto names = [](Format format) { return format != Format::kTerminal && format != Format::kCsv; };
  if (std::any_of(formats.begin(), formats.end(), names))
    run->featureSelection->provenance = ProvenanceOf("feature-selection", arguments, options.data.path);
  WriteResults(options, formats, *run->featureSelection, run->session, files);
  if (IsFirstLook(options.output) && options.settings.displayMode == DisplayMode::kBest) {
    Report("Next: --show p lists all predictors below a p-value, --out DIR writes a report and a workbook.");
  }
  return kExitDone;
}

}  // namespace velmora
