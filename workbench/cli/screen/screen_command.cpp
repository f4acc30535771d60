// velmora screen: from the command line to the written results.
#include "workbench/cli/screen/screen_command.h"

#include <algorithm>
#include <memory>
#include <set>
#include <tuple>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/memory_limit.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/repeated_command.h"
#include "workbench/cli/screen/screen_binning.h"
#include "workbench/cli/screen/screen_evidence.h"
#include "workbench/cli/screen/screen_redundancy.h"
#include "workbench/cli/screen/screen_run.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/screen/screen_special.h"
#include "workbench/cli/screen/search_log.h"
#include "workbench/cli/states/database_run.h"
#include "workbench/data/column_store.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/report/screen_page.h"
#include "workbench/session/settings_script.h"

namespace velmora {
namespace {

constexpr int kMostBest = 10000;
constexpr const char* kTableFiles[] = {"screening.csv", "screening_bins.csv"};
constexpr const char* kStabilityFiles[] = {"screening_stability.csv", "screening_stability_bins.csv"};

void CheckOptions(const ScreenOptions& options) {
  const ScreenRequest& request = options.request;
  options.data.RequireData(", as in velmora screen data.csv --binary-response NAME --good CODE --bad CODE");
  if (options.printScript) options.data.RequireScriptable();
  if (request.binary.empty() && request.continuous.empty() && request.categorical.empty()) {
    throw UsageError(
        "A response is missing: give --binary-response, --continuous-response or --categorical-response.");
  }
  if (request.binary.empty() && !(request.good.empty() && request.bad.empty())) {
    throw UsageError(std::string(request.good.empty() ? "--bad" : "--good") +
                     " needs --binary-response NAME.");
  }
}

std::string ScriptOf(const ScreenOptions& options, const std::vector<Format>& formats, const Table& table,
                     const ScreenChoice& choice) {
  if (!options.binning.classic) {
    throw UsageError(
        "--print-script prints a run of the dialogs, which find bins by trees and leave out missing values: "
        "add --classic.");
  }
  const ScreenSettings& settings = options.settings;
  ScriptedRun run{.table = table,
                  .importOptions = ImportOptionsOf(options.data, table),
                  .selection = {settings.cases.select, settings.cases.exclude},
                  .weight = choice.weight,
                  .analysis = kScreeningName,
                  .pruneTrees = !settings.noPruning,
                  .notes = {},
                  .resultsSettings = {},
                  .outputs = ScriptedOutputs(options.output, formats)};
  run.notes.startupSettings = StartupSettings(table, choice, settings);
  run.notes.leftOut = choice.leftOut;
  run.notes.cutPointsFile = settings.cutPointsFile;
  run.notes.shownPredictors = settings.best;
  const std::vector<std::string> saves = ScriptedSaves(options.save);
  run.outputs.insert(run.outputs.begin(), saves.begin(), saves.end());
  return WriteSettingsScript(run);
}

bool HasSearched(const ScreenedResponse& response) {
  return response.kind != vlm::kContinuousResponse &&
         std::any_of(response.predictors.begin(), response.predictors.end(),
                     [](const ScreenedPredictor& one) { return one.searched; });
}

// As many threads as the memory allows.
int ThreadsWithin(const MemoryLimit& limit, const ScreenOptions& options, const Table& table,
                  const ScreenChoice& choice) {
  // Bytes per case that all threads share: the cases of a response, their folds, and, for the
  // comparison at the end, a bin of each predictor with its bits.
  std::uint64_t shared = 48;
  if (options.binning.search == 0 && !options.binning.classic)
    shared += 2 * static_cast<std::uint64_t>(options.redundancy.compare);
  if (options.evidence.permutations > 0)
    shared +=
        sizeof(std::uint16_t) * (choice.continuousPredictors.size() + choice.categoricalPredictors.size());
  // Sorting a predictor, its orders, pre-bins, work sheet and statistics.
  constexpr std::uint64_t kPredictor = 160;
  const auto cases = static_cast<std::uint64_t>(table.caseCount);
  return limit.Threads(options.data.threads, cases * shared, cases * kPredictor,
                       "a screening of " + GroupedDigits(table.caseCount) + " cases");
}

std::unique_ptr<FinishedRun> Run(const ScreenOptions& options, const SessionOptions& sessionOptions,
                                 Table table, const ScreenChoice& choice, int weight,
                                 const std::map<int, std::vector<double>>& fileCodes) {
  if (!options.output.quiet) ReportLeftOut(choice.leftOut);
  std::vector<std::string> notices;
  std::map<int, UserBins> userBins;
  if (!options.settings.cutPointsFile.empty())
    userBins = ReadCutPoints(options.settings.cutPointsFile, table, choice, notices);

  ScreenSettings settings = options.settings;
  std::shared_ptr<SearchLog> log;
  settings.binning = options.binning.MakePlan(table, choice);
  const ranking::DesignVariables design = options.design.VariablesOf(table, weight);
  CheckDesign(table, SelectedCases(table, settings.cases), design, notices);
  if (settings.binning) {
    auto plan = std::make_shared<BinningPlan>(*settings.binning);
    options.special.AddTo(table, choice, userBins, fileCodes, *plan, notices);
    plan->strata = design.strata;
    plan->clusters = design.clusters;
    std::tie(log, plan->observer) = SearchLog::Open(options.evidence.permutations > 0);
    settings.binning = std::move(plan);
  }
  for (const std::string& notice : notices) Report(notice);
  auto run = std::make_unique<FinishedRun>(options.output.quiet, sessionOptions);
  ImportOptions importOptions = ImportOptionsOf(options.data, table);
  run->session.SetTable(std::move(table), std::move(importOptions));
  ApplyCases(run->session, weight, options.settings.cases);
  std::set<int> binnedByUser;
  for (const auto& [number, bins] : userBins) binnedByUser.insert(number);
  ScreenReport report = RunScreening(run->session, run->frontend, choice, settings, std::move(userBins));
  if (log) {
    log->AddTo(report);
    for (const std::vector<std::string>& unmet :
         {UnmetBinCounts(report, *settings.binning), UnmetShapes(report, *log)}) {
      for (const std::string& notice : unmet) Report(notice);
      AppendOnce(report.notices, unmet);
    }
    const bool byP = settings.rankBy == RankBy::kP;
    if (byP && std::any_of(report.responses.begin(), report.responses.end(), HasSearched)) {
      notices.emplace_back(
          "--rank-by p: these are the p-values of bins that were searched for on the same cases, "
          "smaller than chance makes them; --permutations N gives those of the whole search.");
      Report(notices.back());
    }
    AddDesign(design, choice, *log, run->session, options.data.threads, report);
    AddPermutations(options.evidence, options.data.threads, *log, report);
    AddWarnings(run->session.Data(), SelectedCases(run->session.Data(), settings.cases), *settings.binning,
                report);
    AddRedundancy(options.redundancy, options.data.threads, *log, run->session, report);
    log->Clear();
  }
  for (const ScreenedResponse& response : report.responses) {
    for (const ScreenedPredictor& predictor : response.predictors) {
      if (predictor.bins.size() > 1 || !binnedByUser.contains(predictor.figures.predictorNumber)) continue;
      notices.push_back(settings.cutPointsFile + ": " + predictor.name +
                        " ends in one bin, which says nothing about " + response.name + ".");
      Report(notices.back());
    }
  }
  report.notices.insert(report.notices.begin(), notices.begin(), notices.end());
  report.stability = StabilityBy(options.by, report, run->session);
  if (report.stability) {
    for (const std::string& notice : report.stability->notices) Report(notice);
  }
  run->screening = std::move(report);
  return run;
}

}  // namespace

ScreenOptions ParseScreen(const std::vector<std::string>& arguments) {
  ScreenOptions options;
  CommandParser parser;
  ScreenSettings& settings = options.settings;
  options.data.AddTo(parser);
  settings.cases.AddTo(parser);
  options.output.AddTo(parser);
  settings.cases.AddWeightsTo(parser);
  parser.Flag("--print-script", options.printScript);
  parser.Text("--memory", options.memory);
  options.module.AddTo(parser);
  options.save.AddTo(parser);
  parser.Text("--binary-response", options.request.binary);
  parser.Text("--good", options.request.good);
  parser.Text("--bad", options.request.bad);
  parser.Text("--continuous-response", options.request.continuous);
  parser.Text("--categorical-response", options.request.categorical);
  parser.List("--predictors", options.request.predictors);
  parser.Text("--cut-points", settings.cutPointsFile);
  parser.Flag("--no-prune", settings.noPruning);
  parser.Choice("--sort-binary", settings.sortBinary, {"gini", "iv"});
  parser.Choice("--sort-continuous", settings.sortContinuous, {"r2", "f"});
  parser.Choice("--sort-categorical", settings.sortCategorical, {"p", "chi-square"});
  parser.WholeNumber("--best", settings.best, 0, kMostBest);
  parser.List("--ordinal", options.request.ordinal);
  parser.List("--nominal", options.request.nominal);
  options.binning.AddTo(parser);
  options.special.AddTo(parser);
  options.evidence.AddTo(parser);
  options.design.AddTo(parser);
  options.redundancy.AddTo(parser);
  options.by.AddTo(parser);
  options.pushDown.AddTo(parser);
  parser.OutcomeOption("--binary-response NAME");
  parser.Parse(arguments);
  CheckOptions(options);
  options.pushDown.Check(parser);
  options.binning.Check(parser, options.request);
  options.evidence.Check(parser);
  options.design.Check(parser, settings.cases);
  options.redundancy.Check(parser, options.binning.classic || options.binning.search == 1);
  options.binning.weights = settings.cases.MeaningOfWeights();
  settings.rankBy = options.binning.Ranking(parser);
  settings.saveChance = options.binning.saveChance;
  options.request.ordersNumbers = !options.binning.classic && options.binning.search == 0;
  options.request.categories = options.data.categorical;
  options.request.by = options.by.variable;
  options.request.strata = options.design.strata;
  options.request.clusters = options.design.clusters;
  return options;
}

OutputWriters WritersOf(const ScreenReport& report, Session& session) {
  OutputWriters writers;
  writers.stem = "screening";
  writers.text = [&](const Terminal& terminal) {
    std::string text = ScreenText(report, terminal.width, terminal.utf8);
    if (report.stability) text += "\n" + StabilityText(*report.stability, terminal.width, terminal.utf8);
    return PrintableText(text, true);
  };
  writers.json = [&] { return ScreenJson(report); };
  writers.csv = [&] { return ScreenImportanceCsv(report); };
  writers.csvFiles = [&]() -> std::vector<std::pair<std::string, std::string>> {
    std::vector<std::pair<std::string, std::string>> files = {{kTableFiles[0], ScreenImportanceCsv(report)},
                                                              {kTableFiles[1], ScreenBinsCsv(report)}};
    if (!report.stability) return files;
    const StabilityTables tables = TablesOf(*report.stability);
    files.emplace_back(kStabilityFiles[0], CsvText(tables.groups));
    files.emplace_back(kStabilityFiles[1], CsvText(tables.bins));
    return files;
  };
  writers.workbook = [&report, &session] {
    Workbook workbook = ScreenWorkbook(report);
    if (report.stability) AddStabilitySheets(*report.stability, workbook);
    session.WithFreshDocuments([&] {
      const Document* const rules = session.Documents().Find(MakeRules(session, report));
      if (rules != nullptr && rules->AsText() != nullptr)
        workbook.SetName(workbook.Add(std::make_shared<TextDocument>(*rules->AsText())), "Rules");
    });
    return workbook;
  };
  writers.page = [&report, &session] {
    std::string page;
    session.WithFreshDocuments([&] {
      const ScreenDocuments documents = MakeScreenDocuments(session, report);
      page = ScreenPage(report, documents, session.Documents());
    });
    return page;
  };
  return writers;
}

std::string ScreenScriptOn(Table table, const std::vector<std::string>& arguments, int inferredCount) {
  const ScreenOptions options = ParseScreen(arguments);
  table = PrepareTable(std::move(table), options.data, inferredCount);
  const CaseOptions& cases = options.settings.cases;
  const int weight = ChooseCaseWeight(table, cases, options.binning.classic || cases.rawWeights);
  const ScreenChoice choice = ChooseForScreening(table, options.request, SelectedCases(table, cases), weight);
  return ScriptOf(options, options.output.Formats(), table, choice);
}

std::unique_ptr<FinishedRun> RunScreenOn(Table table, const std::vector<std::string>& arguments,
                                         int inferredCount, const UserMissing* userMissing,
                                         bool takesChance) {
  ScreenOptions options = ParseScreen(arguments);
  options.settings.saveChance = options.settings.saveChance || takesChance;
  if (options.special.TakesUserMissing() && userMissing == nullptr)
    throw UsageError("--special user-missing is for a data file, not for a table in memory.");
  const SessionOptions sessionOptions =
      MakeSessionOptions(options.module, Readers::kPrograms, options.data.threads);
  table = PrepareTable(std::move(table), options.data, inferredCount);
  const int weight = ChooseCaseWeight(table, options.settings.cases,
                                      options.binning.classic || options.settings.cases.rawWeights);
  const ScreenChoice choice =
      ChooseForScreening(table, options.request, SelectedCases(table, options.settings.cases), weight);
  std::map<int, std::vector<double>> fileCodes;
  if (options.special.TakesUserMissing()) fileCodes = options.special.Restore(*userMissing, choice, table);
  return Run(options, sessionOptions, std::move(table), choice, weight, fileCodes);
}

namespace {

// A page and a workbook show cases, which a database keeps.
std::vector<Format> FormatsOf(const ScreenOptions& options) {
  std::vector<Format> formats = options.output.Formats();
  if (options.pushDown.pushDown && options.output.formatNames.empty())
    std::erase_if(formats, [](Format format) { return format == Format::kHtml || format == Format::kXlsx; });
  return formats;
}

std::unique_ptr<FinishedRun> RunScreenInDatabase(const ScreenOptions& options,
                                                 const std::vector<std::string>& arguments) {
  std::unique_ptr<FinishedRun> run = RunPushedDown("screen", arguments, options.data);
  if (!options.output.quiet) ReportLeftOut(run->screening->leftOut);
  for (const std::string& notice : run->screening->notices) Report(notice);
  return run;
}

// Null when the run is only printed as a script. Sets the threads of the options.
std::unique_ptr<FinishedRun> RunScreenOnData(const MemoryLimit& limit, const std::vector<Format>& formats,
                                             ScreenOptions& options, SessionOptions& sessionOptions) {
  const CaseOptions& cases = options.settings.cases;
  UserMissing userMissing;
  Table table =
      options.special.TakesUserMissing() ? LoadTable(options.data, userMissing) : LoadTable(options.data);
  const int weight = ChooseCaseWeight(table, cases, options.binning.classic || cases.rawWeights);
  const CaseBitmap selected = SelectedCases(table, cases);
  const ScreenChoice choice = ChooseForScreening(table, options.request, selected, weight);
  if (options.printScript) {
    WriteToStandardOutput(ScriptOf(options, formats, table, choice));
    return nullptr;
  }
  options.data.threads = sessionOptions.threads = ThreadsWithin(limit, options, table, choice);
  const std::map<int, std::vector<double>> fileCodes = options.special.Restore(userMissing, choice, table);
  return Run(options, sessionOptions, std::move(table), choice, weight, fileCodes);
}

}  // namespace

int RunScreenCommand(const std::vector<std::string>& arguments) {
  ScreenOptions options = ParseScreen(arguments);
  const std::vector<Format> formats = FormatsOf(options);
  RunFiles files;
  files.ReadsTable("DATA", options.data.path);
  if (!options.settings.cutPointsFile.empty()) files.Reads("--cut-points", options.settings.cutPointsFile);
  if (!options.binning.shapesFile.empty()) files.Reads("--shapes", options.binning.shapesFile);
  std::vector<std::string> csvFiles(std::begin(kTableFiles), std::end(kTableFiles));
  if (!options.by.variable.empty())
    csvFiles.insert(csvFiles.end(), std::begin(kStabilityFiles), std::end(kStabilityFiles));
  AddOutputs(options.output, formats, "screening", csvFiles, files);
  options.save.AddFilesTo(files);
  // A run labels its bins once: with a decimal point if any of its files is for a program.
  const auto isForPeople = [](Format format) {
    return format == Format::kTerminal || format == Format::kHtml || format == Format::kXlsx;
  };
  const bool onlyPeople = std::all_of(formats.begin(), formats.end(), isForPeople) && !options.save.Any();
  SessionOptions sessionOptions = MakeSessionOptions(
      options.module, onlyPeople ? Readers::kPeople : Readers::kPrograms, options.data.threads);

  const MemoryLimit limit(options.memory);
  LimitColumnMemory(limit.ColumnBytes());
  const std::unique_ptr<FinishedRun> run = options.pushDown.pushDown
                                               ? RunScreenInDatabase(options, arguments)
                                               : RunScreenOnData(limit, formats, options, sessionOptions);
  if (run == nullptr) return kExitDone;
  const auto names = [](Format format) { return format != Format::kTerminal && format != Format::kCsv; };
  if (std::any_of(formats.begin(), formats.end(), names))
    run->screening->provenance = ProvenanceOf("screen", arguments, options.data.path);
  OutputWriters writers = run->Writers();
  if (options.save.Any()) {
    writers.addFilesElsewhere = [&](OutputFiles& outputs) {
      if (run->hasNoCases) {
        SaveBinsOfParts(options.save, *run->screening, *run->bins, run->session, outputs);
      } else {
        SaveScreening(options.save, options.output, *run->screening, run->session, run->frontend, outputs);
      }
    };
  }
  WriteOutputs(options.output, formats, writers, files);
  if (IsFirstLook(options.output) && !options.save.Any() && options.settings.cutPointsFile.empty()) {
    Report(
        "Next: --out DIR writes a report and a workbook, --bins FILE saves the bins for 'velmora apply', "
        "--cut-points FILE sets your own bins.");
  }
  return kExitDone;
}

}  // namespace velmora
