#include "workbench/cli/screen/screen_save.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/save.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

constexpr int kMostSaved = 100000;

std::size_t SavedCount(const ScreenedResponse& response, int best) {
  return std::min(response.predictors.size(), static_cast<std::size_t>(best));
}

// --- Bins
std::vector<double> FiguresOf(const ScreenedResponse& response, const ScreenedBin& bin) {
  if (response.kind == vlm::kBinaryResponse) return {bin.figures.woe};
  if (response.kind == vlm::kContinuousResponse) return {bin.figures.mean};
  std::vector<double> shares;
  for (const double count : bin.counts)
    shares.push_back(bin.figures.total > 0 ? count / bin.figures.total : kMissing);
  return shares;
}

std::vector<std::string> FigureVariablesOf(const ScreenedResponse& response, const std::string& stem) {
  if (response.kind == vlm::kBinaryResponse) return {stem + "_WOE"};
  if (response.kind == vlm::kContinuousResponse) return {stem + "_Mean"};
  std::vector<std::string> names;
  for (const std::string& code : response.codes) names.push_back(stem + "_Share_" + code);
  return names;
}

// What rounding has moved off a cut point counts as equal to it here, while other programs compare exactly: 0.1 * 3
// lies above 0.3. So a cut point is saved as the highest value of the data that is equal to it.
std::vector<double> CutPointsInData(const std::vector<double>& cutPoints, const Column& column) {
  std::vector<double> saved = cutPoints;
  for (const double value : column.values) {
    const auto above = std::lower_bound(cutPoints.begin(), cutPoints.end(), value);
    if (above == cutPoints.begin() || !NearlyEqualDoubles(*std::prev(above), value)) continue;
    double& bound = saved[static_cast<std::size_t>(above - cutPoints.begin()) - 1];
    bound = std::max(bound, value);
  }
  return saved;
}

SavedPredictor SavedPredictorOf(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                                const Column& column) {
  SavedPredictor saved;
  saved.name = predictor.name;
  saved.categorical = predictor.figures.categorical != 0;
  saved.isTruth = saved.categorical && column.fromBoolean;
  if (!column.fromText && column.missingCode != kMissing) saved.missingCode = column.missingCode;
  const std::string stem = response.name + "_" + predictor.name;
  saved.codedVariable = stem + "_Coded";
  saved.figureVariables = FigureVariablesOf(response, stem);
  if (!saved.categorical) saved.cutPoints = CutPointsInData(predictor.cutPoints, column);
  for (const ScreenedLevel& level : predictor.levels) {
    const std::string* label = column.LabelOf(level.value);
    SavedLevel& item = saved.levels.emplace_back();
    if (!column.fromText) item.number = level.value;
    if (label != nullptr) item.text = *label;
    item.bin = level.bin;
  }
  for (const ScreenedBin& bin : predictor.bins) saved.bins.push_back({bin.label, FiguresOf(response, bin)});
  return saved;
}

// --- What the module writes
// A line of a recode file or a script holds no line break, so such a level stands there as a number that other data
// do not share.
void WarnOfLineBreaks(const ScreenReport& report, const Table& table, int best) {
  const auto breaksLine = [](const ScreenedLevel& level) {
    return std::any_of(level.text.begin(), level.text.end(), [](unsigned char c) { return c < ' '; });
  };
  std::set<std::string> told;
  for (const ScreenedResponse& response : report.responses) {
    for (std::size_t i = 0; i < SavedCount(response, best); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      if (!table.Variable(predictor.figures.predictorNumber).fromText ||
          std::none_of(predictor.levels.begin(), predictor.levels.end(), breaksLine) ||
          !told.insert(predictor.name).second)
        continue;
      Tell("Warning: " + predictor.name +
           " has levels with line breaks, which recode files and rules do not find in other data; --bins "
           "does.");
    }
  }
}

int NumberToSave(const SaveOptions& options, const ScreenReport& report) {
  std::size_t longest = 0;
  for (const ScreenedResponse& response : report.responses)
    longest = std::max(longest, response.predictors.size());
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

void SaveRecodeFiles(const SaveOptions& options, const ScreenReport& report, const AutomationClient& dialog,
                     OutputFiles& files) {
  const fs::path staging = files.StagingFolderOf(PathOf(options.recodeFolder));
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

void SaveCoded(const SaveOptions& options, Session& session, const AutomationClient& dialog,
               OutputFiles& files) {
  const int before = session.Data().VariableCount();
  DoSaving("--coded", [&] { dialog.Call("AddCodedVarsToSprSheet"); });
  StopIfInterrupted();
  // Bins are node numbers with labels; in a file of texts only the labels say something.
  for (int added = before + 1; added <= session.Data().VariableCount(); ++added)
    session.TakeLabelsAsTexts(added);
  SaveTableIn(files, session.Data(), options.coded);
}

}  // namespace

void SaveOptions::AddTo(CommandParser& parser) {
  parser.WholeNumber("--save-best", best, 1, kMostSaved);
  parser.Text("--coded", coded);
  parser.Text("--recode", recodeFolder);
  parser.Text("--rules", rules);
  parser.Text("--sql", sql);
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

SavedBins SavedBinsOf(const ScreenReport& report, const Table& table, int best,
                      std::vector<std::string>& notices) {
  SavedBins bins;
  bins.dataFile = report.dataFile;
  for (const ScreenedResponse& response : report.responses) {
    SavedResponse& saved = bins.responses.emplace_back();
    saved.name = response.name;
    saved.kind = ResponseKindName(response.kind);
    saved.codes = response.codes;
    for (std::size_t i = 0; i < SavedCount(response, best); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      const Column& column = table.Variable(predictor.figures.predictorNumber);
      if (column.dateUnit != DateUnit::kNone) {
        notices.push_back("SQL, Python and JSON leave out " + predictor.name + ", which holds dates.");
        continue;
      }
      saved.predictors.push_back(SavedPredictorOf(response, predictor, column));
    }
  }
  return bins;
}

void SaveScreening(const SaveOptions& options, const ScreenReport& report, Session& session,
                   TerminalFace& face, OutputFiles& files) {
  const int count = NumberToSave(options, report);
  if (!options.sql.empty() || !options.python.empty() || !options.bins.empty()) {
    std::vector<std::string> notices;
    const SavedBins bins = SavedBinsOf(report, session.Data(), count, notices);
    if (!options.sql.empty()) files.AddAt(PathOf(options.sql), BinsSql(bins, notices));
    for (const std::string& notice : notices) Tell("Warning: " + notice);
    if (!options.python.empty()) files.AddAt(PathOf(options.python), BinsPython(bins));
    if (!options.bins.empty()) files.AddAt(PathOf(options.bins), BinsJson(bins));
  }
  if (!options.recodeFolder.empty() || !options.rules.empty())
    WarnOfLineBreaks(report, session.Data(), count);
  const AutomationClient dialog = session.ResultsDialog();
  dialog.Put("NumberOfPredictorsToSave", count);
  // The module says that files have been saved when they are not yet in their place.
  face.HoldBack(true);
  if (!options.recodeFolder.empty()) SaveRecodeFiles(options, report, dialog, files);
  if (!options.rules.empty()) SaveRules(options, dialog, files);
  if (!options.coded.empty()) SaveCoded(options, session, dialog, files);
  face.DropHeld();
  face.HoldBack(false);
}

}  // namespace velmora
