// Saves the bins of a screening run for other data.
#include "workbench/cli/screen/screen_save.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "base/number_text.h"
#include "base/parse_number.h"
#include "contract/text.h"
#include "workbench/bins/coding_program.h"
#include "workbench/bins/recode_names.h"
#include "workbench/cli/command_outputs.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/screen/screen_counts.h"
#include "workbench/cli/words.h"
#include "workbench/data/names.h"
#include "workbench/data/save.h"
#include "workbench/documents/texts.h"
#include "workbench/session/settings_script.h"
#include "workbench/system/file_content.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

constexpr int kMostSaved = 100000;

std::size_t SavedCount(const ScreenedResponse& response, int best) {
  return std::min(ScreenReport::BestOf(response), static_cast<std::size_t>(best));
}

// --- Bins
// all: the row of all cases, whose shares are also those of a bin without cases.
std::vector<double> FiguresOf(const ScreenedResponse& response, const ScreenedBin& bin,
                              const ScreenedBin& all) {
  if (response.kind == vlm::kBinaryResponse) return {bin.figures.woe};
  if (response.kind == vlm::kContinuousResponse) return {bin.figures.mean};
  const ScreenedBin& source = bin.figures.total > 0 ? bin : all;
  std::vector<double> shares;
  for (const double count : source.counts)
    shares.push_back(source.figures.total > 0 ? count / source.figures.total : kMissing);
  return shares;
}

std::vector<std::string> FigureNamesOf(const ScreenedResponse& response, const std::string& stem) {
  if (response.kind == vlm::kBinaryResponse) return {stem + "_WOE"};
  if (response.kind == vlm::kContinuousResponse) return {stem + "_Mean"};
  std::vector<std::string> names;
  for (const std::string& code : response.codes) names.push_back(stem + "_Share_" + code);
  return names;
}

// The cut points as recode files and rules print them, so that every form compares with the same
// numbers.
std::vector<double> PrintedCutPoints(const std::vector<double>& cutPoints) {
  std::vector<double> printed;
  for (const double cutPoint : cutPoints)
    printed.push_back(vlm::ParseNumber<double>(vlm::FormatMachine(cutPoint)).value_or(cutPoint));
  return printed;
}

// Names of coded variables, each used once. A coded variable has the name that the module gives it:
// where responses of several kinds have predictors of one name, "a_b" of "c" and "a" of "b_c", the
// later kinds number theirs.
class CodedNames {
 public:
  explicit CodedNames(const ScreenReport& report) {
    for (const ScreenedResponse& response : report.responses) {
      std::set<std::string> ofResponse;
      for (const ScreenedPredictor& predictor : response.predictors)
        ofResponse.insert(StemOf(response, predictor));
      for (const std::string& stem : ofResponse)
        names_.insert(codedNames_[{&response, stem}] = NumberedOf(stem));
    }
  }

  static std::string StemOf(const ScreenedResponse& response, const ScreenedPredictor& predictor) {
    return response.name + "_" + predictor.name;
  }
  const std::string& Coded(const ScreenedResponse& response, const std::string& stem) const {
    return codedNames_.at({&response, stem});
  }
  std::string Unused(const std::string& name) {
    std::string unused = name;
    for (int number = 2; !names_.insert(unused).second; ++number)
      unused = name + "_" + std::to_string(number);
    return unused;
  }

 private:
  std::string NumberedOf(const std::string& stem) {
    const int number = ++timesUsed_[stem];
    return stem + "_Coded" + (number > 1 ? "_" + std::to_string(number) : "");
  }

  std::map<std::string, int> timesUsed_;  // of a stem, by the kinds of response so far
  std::map<std::pair<const ScreenedResponse*, std::string>, std::string> codedNames_;
  std::set<std::string> names_;
};

SavedPredictor SavedPredictorOf(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                                const Column& column, CodedNames& names) {
  SavedPredictor saved;
  saved.name = predictor.name;
  saved.categorical = predictor.figures.categorical != 0;
  saved.isTruth = saved.categorical && column.fromBoolean;
  if (!column.fromText && column.missingCode != kMissing) saved.missingCode = column.missingCode;
  if (predictor.figures.missingBin >= 0) saved.missingBin = predictor.figures.missingBin;
  const std::string stem = CodedNames::StemOf(response, predictor);
  saved.codedVariable = names.Coded(response, stem);
  for (const std::string& name : FigureNamesOf(response, stem))
    saved.figureVariables.push_back(names.Unused(name));
  if (!saved.categorical) saved.cutPoints = PrintedCutPoints(predictor.cutPoints);
  for (const ScreenedLevel& level : predictor.levels) {
    const std::string* label = column.LabelOf(level.value);
    SavedLevel& item = saved.levels.emplace_back();
    if (!column.fromText) item.number = level.value;
    if (label != nullptr) item.text = *label;
    item.bin = level.bin;
  }
  for (const ScreenedBin& bin : predictor.bins)
    saved.bins.push_back({bin.label, FiguresOf(response, bin, predictor.total)});
  return saved;
}

// Predictors that are dates are left out, since SQL, Python and JSON do not hold
// dates as numbers of days.
SavedBins WithoutDates(const SavedBins& bins, const Table& table, std::vector<std::string>& notices) {
  SavedBins kept = bins;
  for (SavedResponse& response : kept.responses) {
    std::erase_if(response.predictors, [&](const SavedPredictor& predictor) {
      const bool isDate = table.Variable(ResolveVariable(table, predictor.name)).dateUnit != DateUnit::kNone;
      if (isDate)
        notices.push_back("SQL, Python and JSON leave out " + predictor.name + ", which holds dates.");
      return isDate;
    });
  }
  return kept;
}

// --- Files that the module writes
// Recode files and rules cannot hold the code.
void WarnOfMissingCodes(const SavedBins& bins) {
  std::set<std::string> noted;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      if (!predictor.missingCode || !noted.insert(predictor.name).second) continue;
      const std::string code = ShortestNumber(*predictor.missingCode);
      Warn("recode files and rules do not say that " + code + " of " + predictor.name +
           " means missing; apply them with --missing " + ShellWord(predictor.name + "=" + code) +
           ", or use --bins.");
    }
  }
}

int NumberToSave(const SaveOptions& options, const ScreenReport& report) {
  std::size_t longest = 0;
  bool anyBins = false;
  for (const ScreenedResponse& response : report.responses) {
    longest = std::max(longest, ScreenReport::BestOf(response));
    anyBins = anyBins || !response.predictors.empty();
  }
  if (longest == 0 && anyBins) {
    throw RunError(
        "No predictor is better than chance, so there is nothing to save; --save-chance saves them anyway.");
  }
  if (longest == 0) throw RunError("No predictor has bins, so there is nothing to save.");
  return static_cast<int>(std::min(longest, static_cast<std::size_t>(options.best)));
}

template <typename Action>
void DoSaving(const std::string& option, Action action) {
  try {
    action();
  } catch (const AutomationError& error) {
    StopIfInterrupted();
    throw RunError(option + ": " + error.what());
  }
}

// The names of the variables that the recode files of the folder make, including those of earlier
// runs.
RecodeNames NamesForFolder(const fs::path& folder, const ScreenReport& report, const SavedBins& bins,
                           vlm::IScreeningResults& results) {
  RecodeNames names;
  std::error_code error;
  if (const fs::path file = folder / kRecodeNamesFile; fs::is_regular_file(file, error)) {
    names = ParseRecodeNames(FileContent(file), file.string());
    std::erase_if(names, [&](const auto& entry) { return !fs::exists(folder / PathOf(entry.first), error); });
  }
  for (std::size_t i = 0; i < report.responses.size(); ++i) {
    const vlm::ResponseKind kind = report.responses[i].kind;
    const std::vector<SavedPredictor>& predictors = bins.responses[i].predictors;
    vlm::IntegerSink order;
    results.GetOrder(kind, &order);
    for (std::size_t rank = 0; rank < predictors.size(); ++rank) {
      const std::string name = vlm::TextOf(
          [&](vlm::ITextSink* sink) { results.GetRecodeFileName(kind, order.numbers[rank], sink); });
      names[name] = predictors[rank].codedVariable;
    }
  }
  return names;
}

void SaveRecodeFiles(const SaveOptions& options, const ScreenReport& report, const SavedBins& bins,
                     Session& session, const AutomationClient& dialog, OutputFiles& files) {
  const fs::path folder = PathOf(options.recodeFolder);
  const fs::path staging = files.StagingFolderOf(folder);
  const auto fileCount = [&] {
    std::error_code unreadable;  // like a folder with too few files
    return NamesIn(staging, unreadable).size();
  };
  std::size_t expected = fileCount();
  for (const ScreenedResponse& response : report.responses) expected += SavedCount(response, options.best);
  const std::string base = PathOf(report.dataFile).stem().string();
  DoSaving("--recode", [&] {
    dialog.Call("SaveAsDataRecodeConditions", {Variant((staging / PathOf(base + ".ini")).string())});
  });
  // The module passes over a file that it cannot write.
  if (fileCount() != expected)
    throw RunError("Not every recode file can be written to " + options.recodeFolder + ".");
  files.AddAt(folder / kRecodeNamesFile,
              RecodeNamesJson(NamesForFolder(folder, report, bins, *session.ScreeningResults())));
}

void SaveRules(const SaveOptions& options, const AutomationClient& dialog, OutputFiles& files) {
  const fs::path staged = files.StagedPath(PathOf(options.rules));
  DoSaving("--rules", [&] {
    dialog.Put("ResultsSaveFileName", staged.string());
    dialog.Call("SaveAsRules");
  });
  std::error_code error;
  if (!fs::exists(staged, error)) throw RunError(options.rules + " cannot be written.");
}

// The figures of the bins for every case: weights of evidence, means, shares.
std::vector<Column> FigureColumns(const SavedBins& bins, const Table& table) {
  std::set<std::string> labels;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) labels.insert(predictor.codedVariable);
  }
  std::vector<std::string> notices;  // about levels that the data lack; here they all occur
  CodingProgram program({"the bins", bins}, table, notices);
  std::vector<Column> columns = program.Run([](double) { return !WasInterrupted(); });
  std::erase_if(columns, [&](const Column& column) { return labels.contains(column.name); });
  return columns;
}

void SaveCoded(const SaveOptions& options, const OutputOptions& output, const SavedBins& bins,
               Session& session, const AutomationClient& dialog, OutputFiles& files) {
  const int before = session.Data().VariableCount();
  std::vector<Column> figures = FigureColumns(bins, session.Data());
  DoSaving("--coded", [&] { dialog.Call("AddCodedVarsToSprSheet"); });
  StopIfInterrupted();
  // Bins are node numbers with labels, and only the labels have a meaning in a file of texts.
  for (int added = before + 1; added <= session.Data().VariableCount(); ++added)
    session.TakeLabelsAsTexts(added);
  for (Column& column : figures) session.AddColumn(std::move(column));
  SaveTableIn(files, session.Data(), options.coded, output);
}

}  // namespace

void SaveOptions::AddTo(CommandParser& parser) {
  parser.WholeNumber("--save-best", best, 1, kMostSaved);
  parser.Text("--coded", coded);
  parser.Text("--recode", recodeFolder);
  parser.Text("--rules", rules);
  parser.Text("--sql", sql);
  parser.Choice("--sql-dialect", sqlDialect, SqlDialectNames());
  parser.Text("--python", python);
  parser.Text("--bins", bins);
}

void SaveOptions::AddFilesTo(RunFiles& files) const {
  if (!coded.empty()) files.WritesTable("--coded", coded);
  const std::pair<const char*, const std::string*> texts[] = {
      {"--rules", &rules}, {"--sql", &sql}, {"--python", &python}, {"--bins", &bins}};
  for (const auto& [option, name] : texts) {
    if (!name->empty()) files.Writes(option, *name);
  }
}

bool SaveOptions::Any() const {
  const std::string* all[] = {&coded, &recodeFolder, &rules, &sql, &python, &bins};
  return std::any_of(std::begin(all), std::end(all), [](const std::string* name) { return !name->empty(); });
}

SavedBins SavedBinsOf(const ScreenReport& report, const Table& table, int best) {
  CodedNames names(report);
  SavedBins bins;
  bins.dataFile = report.dataFile;
  for (const ScreenedResponse& response : report.responses) {
    SavedResponse& saved = bins.responses.emplace_back();
    saved.name = response.name;
    saved.kind = ResponseKindName(response.kind);
    saved.codes = response.codes;
    saved.correctsPureBins = report.correctsPureBins && response.kind == vlm::kBinaryResponse;
    for (std::size_t i = 0; i < SavedCount(response, best); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      const Column& column = table.Variable(predictor.figures.predictorNumber);
      saved.predictors.push_back(SavedPredictorOf(response, predictor, column, names));
    }
  }
  return bins;
}

// Labels that the user gave the bins of --cut-points stay the user's.
SavedBins SavedBinsOf(const ScreenReport& report, Session& session, int best) {
  SavedBins bins = SavedBinsOf(report, session.Data(), best);
  const UserBinsByVariable& userBins = session.AnalysisSettings().userBins;
  for (SavedResponse& response : bins.responses) {
    for (SavedPredictor& predictor : response.predictors) {
      const auto own = userBins.find(ResolveVariable(session.Data(), predictor.name));
      if (own == userBins.end()) continue;
      std::set<std::string> labels(own->second.labels.begin(), own->second.labels.end());
      labels.insert(own->second.specialLabels.begin(), own->second.specialLabels.end());
      labels.insert(own->second.missingLabel);
      labels.erase("");
      for (SavedBin& bin : predictor.bins) bin.hasUserLabel = labels.contains(bin.label);
    }
  }
  return bins;
}

namespace {

// Adds counts to bins that have none.
using CountBins = std::function<void(SavedBins& bins)>;

CountBins CountsInData(const ScreenReport& report, const Session& session) {
  return [&](SavedBins& bins) {
    AddCounts(session.Data(), SelectCases(session.Data(), {report.select, report.exclude}),
              session.WeightVariable(), report.weights, bins);
  };
}

// The files that hold bins without the module's help.
void SaveBinsFiles(const SaveOptions& options, const SavedBins& bins, const Session& session,
                   const CountBins& count, OutputFiles& files) {
  if (options.sql.empty() && options.python.empty() && options.bins.empty()) return;
  std::vector<std::string> notices;
  SavedBins undated = WithoutDates(bins, session.Data(), notices);
  if (!options.sql.empty())
    files.AddAt(PathOf(options.sql), BinsSql(undated, notices, static_cast<SqlDialect>(options.sqlDialect)));
  for (const std::string& notice : notices) Warn(notice);
  if (!options.python.empty()) files.AddAt(PathOf(options.python), BinsPython(undated));
  if (!options.bins.empty()) {
    count(undated);
    files.AddAt(PathOf(options.bins), BinsJson(undated));
  }
}

}  // namespace

std::vector<std::string> ScriptedSaves(const SaveOptions& options) {
  if (!options.coded.empty() || !options.recodeFolder.empty() || !options.rules.empty()) {
    throw UsageError(
        "--print-script cannot be combined with --recode, --rules or --coded: the members of the results "
        "dialog save those.");
  }
  if (options.sqlDialect != 0) throw UsageError("--print-script cannot be combined with --sql-dialect.");
  std::vector<std::string> lines;
  const std::pair<const std::string*, const char*> files[] = {
      {&options.bins, "json"}, {&options.sql, "sql"}, {&options.python, "python"}};
  for (const auto& [path, format] : files) {
    if (path->empty()) continue;
    lines.push_back("analysis.SaveBins(" + PythonString(*path) + ", " + PythonString(format) + ")");
  }
  if (!lines.empty())
    lines.insert(lines.begin(),
                 "analysis.ResultsDialog.NumberOfPredictorsToSave = " + std::to_string(options.best));
  return lines;
}

void SaveBinsOf(const SaveOptions& options, const ScreenReport& report, Session& session,
                OutputFiles& files) {
  SaveBinsFiles(options, SavedBinsOf(report, session, NumberToSave(options, report)), session,
                CountsInData(report, session), files);
}

void SaveBinsOfParts(const SaveOptions& options, const ScreenReport& report, const SavedBins& bins,
                     const Session& session, OutputFiles& files) {
  SavedBins best = bins;
  const auto count = static_cast<std::size_t>(NumberToSave(options, report));
  for (SavedResponse& response : best.responses)
    if (response.predictors.size() > count) response.predictors.resize(count);
  SaveBinsFiles(
      options, best, session, [](SavedBins&) {}, files);
}

void SaveScreening(const SaveOptions& options, const OutputOptions& output, const ScreenReport& report,
                   Session& session, TerminalFrontend& frontend, OutputFiles& files) {
  const int count = NumberToSave(options, report);
  const SavedBins bins = SavedBinsOf(report, session, count);
  SaveBinsFiles(options, bins, session, CountsInData(report, session), files);
  if (!options.recodeFolder.empty() || !options.rules.empty()) WarnOfMissingCodes(bins);
  const AutomationClient dialog = session.ResultsDialog();
  dialog.Put("NumberOfPredictorsToSave", count);
  // The module reports files as saved before they are moved into place.
  frontend.HoldNotices(true);
  if (!options.recodeFolder.empty()) SaveRecodeFiles(options, report, bins, session, dialog, files);
  if (!options.rules.empty()) SaveRules(options, dialog, files);
  if (!options.coded.empty()) SaveCoded(options, output, bins, session, dialog, files);
  frontend.DropHeld();
  frontend.HoldNotices(false);
}

}  // namespace velmora
