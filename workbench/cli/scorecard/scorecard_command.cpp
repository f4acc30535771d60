#include "workbench/cli/scorecard/scorecard_command.h"

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/program_export.h"
#include "workbench/cli/repeated_command.h"
#include "workbench/cli/scorecard/scorecard_run.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/scorecard/binned_cases.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr char kStem[] = "scorecard";
constexpr const char* kCsvFiles[] = {"scorecard.csv", "scorecard_coefficients.csv", "scorecard_quality.csv",
                                     "scorecard_scores.csv"};

struct CommandOptions {
  DataOptions data;
  OutputOptions output;
  ScorecardRequest request;
  std::string bins, test, save;
  ProgramExport programs;

  bool SavesAny() const { return !save.empty() || programs.Any(); }
};

// inMemory: data and bins are given, so no file is named.
CommandOptions ParseOptions(const std::vector<std::string>& arguments, bool inMemory) {
  constexpr double kMostPoints = 1e6;
  constexpr int kMostFolds = 50, kLargestSeed = 2147483647;
  CommandOptions options;
  CommandParser parser;
  ScorecardRequest& request = options.request;
  ScorecardSettings& settings = request.settings;
  request.cases.AddTo(parser);
  request.cases.AddWeightsTo(parser);
  parser.Text("--response", request.response);
  parser.Text("--bad", request.bad);
  parser.Text("--good", request.good);
  parser.List("--predictors", request.predictors);
  parser.Share("--holdout", request.holdout);
  parser.Flag("--stepwise", settings.stepwise);
  parser.Flag("--any-sign", settings.anySign);
  parser.Flag("--shrink", settings.shrinks);
  parser.WholeNumber("--folds", settings.folds, 2, kMostFolds);
  parser.WholeNumber("--seed", settings.seed, 0, kLargestSeed);
  parser.Number("--pdo", settings.pdo, 0, kMostPoints);
  parser.Number("--odds", settings.odds, 0, kMostPoints);
  parser.Number("--base-points", settings.basePoints, -kMostPoints, kMostPoints);
  parser.Flag("--round-points", settings.roundPoints);
  if (!inMemory) {
    options.data.AddTo(parser);
    options.output.AddTo(parser);
    parser.Text("--bins", options.bins);
    parser.Text("--test", options.test);
    parser.Text("--save", options.save);
    options.programs.AddTo(parser);
  }
  parser.Parse(arguments);
  static_cast<void>(request.cases.MeaningOfWeights());
  if (settings.anySign && !settings.stepwise) throw UsageError("--any-sign needs --stepwise.");
  if (inMemory) return options;
  if (options.data.path.empty())
    throw UsageError(
        "DATA is missing: name the data file, as in velmora scorecard data.csv --bins bins.json.");
  if (options.bins.empty())
    throw UsageError("--bins is missing: name the bins that velmora screen --bins saved.");
  if (!options.test.empty() && request.holdout > 0)
    throw UsageError("--test and --holdout both name cases to measure the scorecard on; use one of them.");
  return options;
}

RunFiles FilesOf(const CommandOptions& options, const std::vector<Format>& formats) {
  RunFiles files;
  files.ReadsTable("DATA", options.data.path);
  files.Reads("--bins", options.bins);
  if (!options.test.empty()) files.ReadsTable("--test", options.test);
  AddOutputs(options.output, formats, kStem, {std::begin(kCsvFiles), std::end(kCsvFiles)}, files);
  if (!options.save.empty()) files.Writes("--save", options.save);
  options.programs.AddFilesTo(files);
  return files;
}

void SaveFiles(const CommandOptions& options, const SavedBins& saved, OutputFiles& files) {
  if (!options.save.empty()) files.AddAt(PathOf(options.save), BinsJson(saved));
  options.programs.AddPrograms(saved, files);
}

}  // namespace

OutputWriters WritersOf(const ScorecardReport& report) {
  OutputWriters writers;
  writers.stem = kStem;
  writers.text = [&](const Terminal& terminal) {
    return PrintableText(ScorecardText(report, terminal.width, terminal.utf8), true);
  };
  writers.json = [&] { return ScorecardJson(report); };
  writers.csv = [&] { return CsvText(TablesOf(report).points); };
  writers.csvFiles = [&]() -> std::vector<std::pair<std::string, std::string>> {
    const ScorecardTables tables = TablesOf(report);
    return {{kCsvFiles[0], CsvText(tables.points)},
            {kCsvFiles[1], CsvText(tables.coefficients)},
            {kCsvFiles[2], CsvText(tables.quality)},
            {kCsvFiles[3], CsvText(tables.scores)}};
  };
  writers.workbook = [&] { return ScorecardWorkbook(report); };
  writers.page = [&] { return ScorecardPage(report); };
  return writers;
}

ScorecardReport RunScorecardOn(Table table, const SavedBins& bins, const std::vector<std::string>& arguments,
                               const std::string& binsFile) {
  const CommandOptions options = ParseOptions(arguments, true);
  table = PrepareTable(std::move(table), {});
  return MakeScorecard(table, bins, binsFile, options.request, std::nullopt);
}

int RunScorecardCommand(const std::vector<std::string>& arguments) {
  const CommandOptions options = ParseOptions(arguments, false);
  const std::vector<Format> formats = options.output.Formats();
  const RunFiles files = FilesOf(options, formats);
  const SavedBins bins = ParseBinsJson(ReadWholeFile(options.bins), options.bins);
  BinaryResponseOf(bins, options.bins, options.request.response);  // before the data are read
  const auto load = [&](const DataOptions& data) {
    UserMissing userMissing;
    Table table = LoadTable(data, userMissing);
    RestoreCovered(bins, userMissing, table);
    return table;
  };
  const Table table = load(options.data);
  std::optional<Table> test;
  if (!options.test.empty()) {
    DataOptions data = options.data;
    data.path = options.test;
    test = load(data);
  }
  ScorecardReport report = MakeScorecard(table, bins, options.bins, options.request, test);
  report.provenance = ProvenanceOf("scorecard", arguments, options.data.path);
  for (const std::string& notice : report.notices) Warn(notice);
  if (!report.leftOut.empty() && !options.output.quiet)
    Report("Left out by the stepwise choice: " + JoinWords(report.leftOut, " and ") + ".");
  OutputWriters writers = WritersOf(report);
  if (options.SavesAny())
    writers.addFilesElsewhere = [&](OutputFiles& outputs) { SaveFiles(options, report.saved, outputs); };
  WriteOutputs(options.output, formats, writers, files);
  if (IsFirstLook(options.output) && !options.SavesAny())
    Report(
        "Next: --save FILE saves the scorecard for 'velmora apply', --sql, --python and --pmml write it as a "
        "program.");
  return kExitDone;
}

}  // namespace velmora
