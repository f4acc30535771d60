// velmora apply: from saved bins and a data file to the table with its coded variables.
#include "workbench/cli/apply_command.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>
#include <set>
#include <span>
#include <utility>

#include "workbench/bins/bins_view.h"
#include "workbench/bins/coding_program.h"
#include "workbench/cli/apply_files.h"
#include "workbench/cli/apply_monitor.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/memory_limit.h"
#include "workbench/cli/options.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/repeated_command.h"
#include "workbench/cli/run_files.h"
#include "workbench/data/column_store.h"
#include "workbench/data/database_connection.h"
#include "workbench/data/file_kinds.h"
#include "workbench/data/save.h"
#include "workbench/data/sql_text.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/scorecard/binned_cases.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

struct CommandOptions {
  std::vector<SavedFile> files;
  DataOptions data;
  std::vector<std::string> keep;
  std::string out;
  std::string unseen;  // missing, error or a label; empty: as the bins say
  bool strict = false;
  bool onlyScores = false;
  std::string view;    // --create-view
  std::string memory;  // --memory, as of MemoryLimit
  MonitorOptions monitor;
  int csvFor = 0;
  bool quiet = false;

  bool UnseenIsError() const { return unseen == "error" || (unseen.empty() && strict); }
};

// The format of a report, by the ending of its name.
Format ReportFormat(const std::string& name) {
  const std::pair<const char*, Format> endings[] = {{".html", Format::kHtml},
                                                    {".json", Format::kJson},
                                                    {".csv", Format::kCsv},
                                                    {".xlsx", Format::kXlsx},
                                                    {".txt", Format::kTerminal}};
  for (const auto& [ending, format] : endings) {
    if (name.ends_with(ending)) return format;
  }
  throw UsageError("--out " + ShortenedText(name) +
                   ": a report of --monitor ends with .html, .json, .csv, .xlsx or .txt.");
}

void CheckMonitor(const CommandOptions& options, const CommandParser& parser) {
  options.monitor.Check(parser);
  if (!options.monitor.monitor) return;
  for (const char* option : {"--keep", "--unseen", "--strict", "--only-scores", "--csv-for"}) {
    if (parser.Has(option))
      throw UsageError(std::string(option) + " is for coded data, which --monitor does not write.");
  }
  if (options.files.size() > 1) throw UsageError("--monitor takes one file of bins.");
  if (!options.out.empty()) ReportFormat(options.out);
}

void CheckView(const CommandOptions& options, const CommandParser& parser) {
  if (options.view.empty()) return;
  for (const char* option :
       {"--out", "--keep", "--unseen", "--strict", "--only-scores", "--csv-for", "--memory", "--monitor",
        "--missing", "--missing-text", "--date-parts", "--since"}) {
    if (parser.Has(option))
      throw UsageError(std::string(option) +
                       " has no effect on --create-view, which leaves the cases alone.");
  }
  if (options.files.size() > 1) throw UsageError("--create-view takes one file of bins.");
}

CommandOptions ParseOptions(const std::vector<std::string>& arguments) {
  CommandOptions options;
  CommandParser parser;
  std::vector<std::string> given;
  parser.Positionals("FILE", given);
  options.data.AddReadingTo(parser);
  parser.List("--keep", options.keep);
  parser.Text("--out", options.out);
  parser.Text("--unseen", options.unseen);
  parser.Flag("--strict", options.strict);
  parser.Flag("--only-scores", options.onlyScores);
  parser.Text("--create-view", options.view);
  parser.Text("--memory", options.memory);
  options.monitor.AddTo(parser);
  AddCsvFor(parser, options.csvFor);
  parser.Flag("--quiet", options.quiet);
  parser.Parse(arguments);
  const bool hasQuery = !options.data.part.query.empty();
  if (hasQuery && given.size() == 1) given.emplace_back();  // the query is the data
  if (given.size() < 2) {
    throw UsageError(given.empty() ? "FILE and DATA are missing: name what was saved, then the data file."
                                   : "DATA is missing: name the data file after " + given.front() + ".");
  }
  options.data.path = given.back();
  given.pop_back();
  options.files = ExpandSavedFiles(given);
  CheckMonitor(options, parser);
  CheckView(options, parser);
  RunFiles files;
  for (const SavedFile& file : options.files) files.Reads("FILE", file.path);
  files.ReadsTable("DATA", options.data.path);
  if (!options.out.empty() && options.monitor.monitor) files.Writes("--out", options.out);
  if (!options.out.empty() && !options.monitor.monitor) files.WritesTable("--out", options.out);
  return options;
}

// Data from another source may lack hundreds of levels.
void ReportWarnings(const std::vector<std::string>& warnings) {
  constexpr std::size_t kMostShown = 20;
  for (std::size_t i = 0; i < std::min(warnings.size(), kMostShown); ++i) Warn(warnings[i]);
  if (warnings.size() > kMostShown) {
    Warn(Counted(warnings.size() - kMostShown, "more such label.", "more such labels."));
  }
}

struct AppliedFile {
  std::string path;
  CodingProgram program;
  std::set<std::string> scores;             // variables of its scorecards
  std::map<int, UserMissingCells> special;  // of the data, for which there are bins
};

std::set<std::string> ScoreVariablesOf(const CodingFile& file) {
  std::set<std::string> names;
  const auto* const bins = std::get_if<SavedBins>(&file.content);
  if (bins == nullptr) return names;
  for (const SavedResponse& response : bins->responses) {
    if (response.scorecard)
      names.insert({response.scorecard->scoreVariable, response.scorecard->probabilityVariable});
  }
  return names;
}

// Everything is compiled before anything runs, so a faulty file costs no time. kept: the variables
// that the result has besides the coded ones.
std::vector<AppliedFile> Compile(const CommandOptions& options, const UserMissing& userMissing,
                                 const std::vector<int>& kept, Table& table) {
  std::vector<AppliedFile> files;
  std::vector<std::string> notices;
  std::map<std::string, std::string> madeBy;
  for (const int number : kept) madeBy[table.Variable(number).name] = table.fileName;
  const UnseenLevels unseen = ParseUnseenLevels(options.unseen);
  for (const auto& [path, variable] : options.files) {
    const CodingFile file = ParseCodingFile(ReadWholeFile(path), path, variable);
    if (unseen.rule != UnseenLevels::Rule::kAsSaved && !std::holds_alternative<SavedBins>(file.content))
      throw UsageError("--unseen " + options.unseen + " works with bins of --bins; " + path +
                       " holds rules, which give unseen levels no bin.");
    std::map<int, UserMissingCells> special;
    if (const auto* const bins = std::get_if<SavedBins>(&file.content))
      special = CoveredUserMissing(*bins, userMissing, table);
    const RestoredCells restored(special, table);
    files.push_back({path, CodingProgram(file, table, notices, unseen), ScoreVariablesOf(file), special});
    if (options.onlyScores && files.back().scores.empty())
      throw UsageError("--only-scores: " + path + " has no scorecard; velmora scorecard --save makes one.");
    for (const std::string& name : files.back().program.TargetNames()) {
      const auto [other, isNew] = madeBy.try_emplace(name, path);
      if (!isNew) {
        throw RunError(path + " makes the variable " + name + ", which " + other->second + " has too" +
                       (other->second == table.fileName ? "; name the variables to keep with --keep." : "."));
      }
    }
  }
  ReportWarnings(notices);
  return files;
}

std::int64_t CountMissing(std::span<const double> codes) {
  return std::count(codes.begin(), codes.end(), kMissing);
}

// "Coded: 12 variables; without a value: age_Coded (3 cases), home_Coded (1 case)."
// missing: cases without a value, of each coded variable.
void ReportCoded(std::span<const Column> coded, std::span<const std::int64_t> missing) {
  constexpr std::size_t kMostNamed = 10;
  std::string lacking;
  std::size_t count = 0;
  for (std::size_t i = 0; i < coded.size(); ++i) {
    if (missing[i] == 0 || ++count > kMostNamed) continue;
    lacking += (lacking.empty() ? "" : ", ") + coded[i].name + " (" +
               Counted(static_cast<std::size_t>(missing[i]), "case", "cases") + ")";
  }
  if (count > kMostNamed) lacking += " and " + Counted(count - kMostNamed, "other", "others");
  Report("Coded: " + Counted(coded.size(), "variable", "variables") +
         (lacking.empty() ? "." : "; without a value: " + lacking + "."));
}

// "houseboat (100), tent (2) and 3 others"
std::string LevelsText(const CodingProgram::Uncovered& one) {
  constexpr std::size_t kMostShown = 10;
  std::string text;
  const std::size_t shown = std::min(one.levels.size(), kMostShown);
  for (std::size_t i = 0; i < shown; ++i)
    text += (i == 0 ? "" : ", ") + one.levels[i].first + " (" + std::to_string(one.levels[i].second) + ")";
  if (one.hasMoreLevels)
    return text + " and more than " + std::to_string(one.levels.size() - shown) + " others";
  if (one.levels.size() > shown) text += " and " + Counted(one.levels.size() - shown, "other", "others");
  return text;
}

std::string BadTextsText(const CodingProgram::Uncovered& one, const std::string& dataFile) {
  const std::string place = "case " + std::to_string(one.firstBadCase) + " of " + dataFile + ", \"" +
                            ShortenedText(one.firstBadText) + "\"";
  return one.badTexts == 1 ? one.variable + " is not a number in " + place
                           : one.variable + " is not a number in " + std::to_string(one.badTexts) +
                                 " cases, the first is " + place;
}

// What a file does not cover, with its cases. Throws RunError for what the options make an error.
void ReportUncovered(const CodingProgram::Uncovered& one, const CommandOptions& options,
                     const std::string& dataFile) {
  const auto cases = [](std::int64_t count) {
    return Counted(static_cast<std::size_t>(count), "case", "cases");
  };
  if (one.badTexts > 0) {
    if (options.strict) throw RunError(BadTextsText(one, dataFile) + ".");
    Warn(BadTextsText(one, dataFile) + "; it counts as missing.");
  }
  if (one.unseen > 0) {
    const std::string text = cases(one.unseen) + " of " + one.variable +
                             (one.levels.size() == 1 ? " with a level" : " with levels") +
                             " that the bins do not have: " + LevelsText(one);
    if (options.UnseenIsError()) throw RunError(text + ".");
    Warn(text + ".");
  }
  if (one.missing > one.badTexts && !options.quiet)
    Report("Missing: " + one.variable + " in " + cases(one.missing - one.badTexts));
}

// Each variable once, with the first of the files that do not cover it.
void ReportUncovered(const AppliedFile& file, const CommandOptions& options, const std::string& dataFile,
                     std::set<std::string>& reported) {
  for (const CodingProgram::Uncovered& one : file.program.UncoveredCases()) {
    if (reported.insert(one.variable).second) ReportUncovered(one, options, dataFile);
  }
}

void AddCodedVariables(std::vector<AppliedFile>& files, const CommandOptions& options, Table& table) {
  std::vector<Column> coded;
  std::set<std::string> reported;
  WorkerPool pool(options.data.threads);
  for (AppliedFile& file : files) {
    const RestoredCells restored(file.special, table);
    ProgressBar bar;
    bar.Start("Applying " + file.path);
    std::vector<Column> columns = file.program.Run(
        [&bar](double fraction) {
          bar.Update(fraction);
          return !WasInterrupted();
        },
        &pool);
    bar.Finish();
    ReportUncovered(file, options, table.fileName, reported);
    if (options.onlyScores)
      std::erase_if(columns, [&](const Column& column) { return !file.scores.contains(column.name); });
    std::move(columns.begin(), columns.end(), std::back_inserter(coded));
  }
  std::vector<std::int64_t> missing;
  for (const Column& column : coded) {
    missing.push_back(CountMissing(column.values));
    column.values.Release();
  }
  if (!options.quiet) ReportCoded(coded, missing);
  std::move(coded.begin(), coded.end(), std::back_inserter(table.columns));
}

// Codes the cases while they are written: the coded variables, which follow those of the table, are
// never in memory as a whole.
class CodedRows : public RowMaker {
 public:
  CodedRows(std::vector<AppliedFile>& files, std::size_t firstCoded, int threads)
      : files_(files), firstCoded_(firstCoded), pool_(threads) {
    for (std::size_t i = 0; i < files.size(); ++i) {
      const std::size_t count = files[i].program.TargetNames().size();
      for (std::size_t target = 0; target < count; ++target) places_.emplace_back(i, target);
    }
    missing_.resize(places_.size());
  }

  void Make(std::int64_t first, std::size_t count) override {
    for (AppliedFile& file : files_) file.program.CodeRows(first, count, &pool_);
    for (std::size_t i = 0; i < places_.size(); ++i) missing_[i] += CountMissing(Rows(firstCoded_ + i));
  }

  std::span<const double> Rows(std::size_t column) const override {
    if (column < firstCoded_) return {};
    const auto& [file, target] = places_[column - firstCoded_];
    return files_[file].program.CodedRows(target);
  }

  std::span<const std::int64_t> Missing() const { return missing_; }

 private:
  std::vector<AppliedFile>& files_;
  std::size_t firstCoded_;
  WorkerPool pool_;
  std::vector<std::pair<std::size_t, std::size_t>> places_;  // file and target of each coded variable
  std::vector<std::int64_t> missing_;                        // cases of each
};

// Whether the cases can be coded while they are written: nothing that is found out on the way may
// keep the file from being written, and all variables are written as they are.
bool CanCodeWhileWriting(const CommandOptions& options, const std::vector<AppliedFile>& files) {
  return LowerExtension(options.out) == "parquet" && !options.strict && !options.UnseenIsError() &&
         !options.onlyScores && options.keep.empty() &&
         std::all_of(files.begin(), files.end(),
                     [](const AppliedFile& file) { return file.special.empty(); });
}

void CodeWhileWriting(std::vector<AppliedFile>& files, const CommandOptions& options, Table& table) {
  const std::size_t firstCoded = table.columns.size();
  for (const AppliedFile& file : files) {
    for (Column& column : file.program.EmptyColumns()) table.columns.push_back(std::move(column));
  }
  CodedRows rows(files, firstCoded, options.data.threads);
  ProgressBar bar;
  bar.Start("Writing " + options.out);
  const auto update = [&bar](double fraction) {
    bar.Update(fraction);
    return !WasInterrupted();
  };
  SaveTable(table, options.out, {.progress = update, .maker = &rows});
  bar.Finish();
  std::set<std::string> reported;
  for (const AppliedFile& file : files) ReportUncovered(file, options, table.fileName, reported);
  if (!options.quiet) ReportCoded(std::span(table.columns).subspan(firstCoded), rows.Missing());
}

// Keeps the variables with these numbers, in their order, and the coded ones.
void KeepOnly(const std::vector<int>& numbers, std::size_t firstCoded, Table& table) {
  std::vector<Column> kept;
  kept.reserve(numbers.size() + table.columns.size() - firstCoded);
  for (const int number : numbers) kept.push_back(std::move(table.Variable(number)));
  std::move(table.columns.begin() + static_cast<std::ptrdiff_t>(firstCoded), table.columns.end(),
            std::back_inserter(kept));
  table.columns = std::move(kept);
  table.bundles.clear();  // they count variables that may be gone
}

int MonitorCases(const CommandOptions& options, const std::vector<std::string>& arguments) {
  const std::string& path = options.files.front().path;
  const CodingFile file = ParseCodingFile(ReadWholeFile(path), path);
  const auto* const bins = std::get_if<SavedBins>(&file.content);
  if (bins == nullptr)
    throw UsageError("--monitor needs bins of --bins or a scorecard; " + path + " holds rules.");
  UserMissing userMissing;
  Table table = LoadTable(options.data, userMissing);
  RestoreCovered(*bins, userMissing, table);
  StabilityReport report = Monitor(*bins, path, table, options.monitor);
  report.provenance = ProvenanceOf("apply", arguments, options.data.path);
  for (const std::string& notice : report.notices) Warn(notice);
  const OutputWriters writers = WritersOf(report);
  if (options.out.empty()) {
    WriteToStandardOutput(writers.text(StandardOutputTerminal()));
  } else {
    OutputFiles files;
    files.AddAt(PathOf(options.out), FormattedText(ReportFormat(options.out), writers));
    for (const WrittenFile& written : files.Commit()) {
      if (!options.quiet) Report("Written: " + written.path.string());
    }
  }
  for (const StabilityCondition& condition : report.conditions) {
    if (condition.isMet) Report("Condition " + condition.text + " is met: " + condition.finding + ".");
  }
  return AnyConditionMet(report) ? kExitConditionMet : kExitDone;
}

int CreateView(const CommandOptions& options) {
  const std::string& path = options.files.front().path;
  const CodingFile file = ParseCodingFile(ReadWholeFile(path), path);
  const auto* const bins = std::get_if<SavedBins>(&file.content);
  if (bins == nullptr)
    throw UsageError("--create-view needs bins of --bins or a scorecard; " + path + " holds rules.");
  const DatabaseTable table =
      OpenDatabaseTable(options.data.path, options.data.part, options.data.threads, DatabaseAccess::kChange);
  const bool isPostgres = table.kind == DatabaseKind::kPostgres;
  std::vector<std::string> notices;
  const std::string query =
      BinsSqlOver(table.source, *bins, notices, isPostgres ? SqlDialect::kPostgresql : SqlDialect::kDuckDb);
  for (const std::string& notice : notices) Warn(notice);
  // A view of itself makes the second statement fail, and so the old view is kept.
  const std::string view = QualifiedName(options.view);
  table.connection->Change(
      {"CREATE OR REPLACE VIEW " + view + " AS\n" + query, "SELECT * FROM " + view + " LIMIT 0"});
  if (!options.quiet) Report("The view " + options.view + " of " + table.name + " has the coded variables.");
  return kExitDone;
}

}  // namespace

int RunApplyCommand(const std::vector<std::string>& arguments) {
  const CommandOptions options = ParseOptions(arguments);
  if (!options.view.empty()) return CreateView(options);
  LimitColumnMemory(MemoryLimit(options.memory).ColumnBytes());
  if (options.monitor.monitor) return MonitorCases(options, arguments);
  UserMissing userMissing;
  Table table = LoadTable(options.data, userMissing, false);
  std::vector<int> kept = NamedVariables(table, "--keep", options.keep);
  if (options.keep.empty()) {
    kept.resize(table.columns.size());
    std::iota(kept.begin(), kept.end(), 1);
  }
  const std::size_t firstCoded = table.columns.size();
  std::vector<AppliedFile> files = Compile(options, userMissing, kept, table);
  const bool isWritten = CanCodeWhileWriting(options, files);
  if (isWritten)
    CodeWhileWriting(files, options, table);
  else
    AddCodedVariables(files, options, table);
  files.clear();
  if (!options.keep.empty()) KeepOnly(kept, firstCoded, table);
  StopIfInterrupted();
  const bool forSpreadsheet = options.csvFor != 0;
  if (isWritten) {
    if (!options.quiet) Report("Written: " + options.out);
  } else if (options.out.empty()) {
    WriteCsv(table, forSpreadsheet, [](std::string_view bytes) { WriteToStandardOutput(bytes); });
  } else {
    SaveTable(table, options.out,
              {.progress = [](double) { return !WasInterrupted(); }, .forSpreadsheet = forSpreadsheet});
    if (!options.quiet) Report("Written: " + options.out);
  }
  return kExitDone;
}

}  // namespace velmora
