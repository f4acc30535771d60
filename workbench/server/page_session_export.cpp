// The files that a session hands over: bins with their edits in every form, the files of an analysis,
// scorecards.
#include <algorithm>
#include <map>
#include <set>

#include "workbench/cli/exit_codes.h"
#include "workbench/data/atomic_file.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/output_file.h"
#include "workbench/server/page_options.h"
#include "workbench/server/page_session.h"
#include "workbench/server/run_steps.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

// Which predictors are exported.
constexpr char kAccepted[] = "accepted", kAll[] = "all";
// Formats of tables, which are files of their own until they have been sent.
constexpr char kBundles[] = "bundles";
bool IsCoded(const std::string& format) { return format.starts_with("coded-"); }
// Options of a screening about the cases and their weights.
constexpr std::string_view kCaseOptions[] = {"--select", "--exclude", "--weight", "--raw-weights", "--count"};

// The responses and predictors of a report that are no better than chance.
std::set<std::pair<std::string, std::string>> ChanceIn(const std::string& report) {
  std::set<std::pair<std::string, std::string>> chance;
  const Json json = Json::parse(report);
  for (const Json& response : json.at("responses")) {
    for (const Json& predictor : response.at("predictors")) {
      if (predictor.value("noBetterThanChance", false))
        chance.emplace(response.at("name"), predictor.at("name"));
    }
  }
  return chance;
}

bool HasPredictor(const SavedBins& bins, const BinEdit& edit) {
  return std::any_of(bins.responses.begin(), bins.responses.end(), [&](const SavedResponse& response) {
    const auto& all = response.predictors;
    return response.name == edit.response &&
           std::any_of(all.begin(), all.end(), [&](const auto& one) { return one.name == edit.predictor; });
  });
}

// A file of a format without its bytes: name and media type.
Download EmptyDownload(const std::string& stem, const std::string& format) {
  struct Kind {
    const char *ending, *type;
  };
  static const std::map<std::string, Kind> kKinds = {
      {"html", {".html", "text/html"}},
      {"json", {".json", "application/json"}},
      {"csv", {".csv", "text/csv"}},
      {"text", {".txt", "text/plain; charset=utf-8"}},
      {"xlsx", {".xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"}},
      {"tables", {"_tables.zip", "application/zip"}},
      {"bins", {"_bins.json", "application/json"}},
      {"python", {".py", "text/x-python"}},
      {"sql", {".sql", "text/plain"}},
      {"rules", {"_rules.txt", "text/plain"}},
      {"recode", {"_recode.zip", "application/zip"}},
      {"coded-csv", {"_coded.csv", "text/csv"}},
      {"coded-parquet", {"_coded.parquet", "application/vnd.apache.parquet"}},
      {"bundles", {"_bundles.parquet", "application/vnd.apache.parquet"}},
      {"script", {"_script.py", "text/x-python"}},
      {"card", {"_card.json", "application/json"}},
      {"pmml", {".pmml", "application/xml"}}};
  const auto kind = kKinds.find(format);
  if (kind == kKinds.end()) throw UsageError("There is no format " + ShortenedText(format) + ".");
  return {"", stem + kind->second.ending, kind->second.type, format == "html", {}};
}

}  // namespace

// The bins of a run with the edits of its predictors; acceptedOnly: of the accepted predictors.
SavedBins PageSession::WithEdits(Run& run, bool acceptedOnly) {
  SavedBins bins = WholeBins(run);
  std::set<std::pair<std::string, std::string>> taken;
  for (SavedResponse& response : bins.responses) {
    const Json decisions = run.decisions.value(response.name, Json::object());
    if (acceptedOnly) {
      std::erase_if(response.predictors, [&](const SavedPredictor& predictor) {
        return !decisions.value(predictor.name, Json::object()).value("accepted", false);
      });
    }
    for (SavedPredictor& predictor : response.predictors) {
      if (!run.edits.contains(response.name) || !run.edits.at(response.name).contains(predictor.name))
        continue;
      const EditedBins& edited = FindEdited(run, response.name, predictor.name);
      predictor = edited.Bins().responses.front().predictors.front();
      taken.emplace(response.name, predictor.name);
    }
  }
  // The edits in the order of the commands that repeat them.
  for (const auto& [response, predictors] : run.edits.items()) {
    for (const auto& [predictor, edits] : predictors.items()) {
      if (!taken.contains({response, predictor})) continue;
      const std::vector<BinEdit>& more = FindEdited(run, response, predictor).Bins().edits;
      bins.edits.insert(bins.edits.end(), more.begin(), more.end());
    }
  }
  return bins;
}

// Writes the bins beside the data, for --cut-points.
void PageSession::WriteBins(const SavedBins& bins, const std::string& fileName) const {
  WriteFileAtomically((data_.parent_path() / PathOf(fileName)).string(), BinsJson(bins));
}

std::string PageSession::Stem(const Run& run) const {
  return data_.stem().string() + (run.analysis == "screen" ? "_screening" : "_feature_selection");
}

// The bins to be exported, with their edits.
SavedBins PageSession::ChosenBins(Run& run, const ExportRequest& asked) {
  if (!asked.predictor.empty()) return FindEdited(run, asked.response, asked.predictor).Bins();
  const bool accepted = asked.predictors == kAccepted;
  SavedBins bins = WithEdits(run, accepted);
  std::set<std::pair<std::string, std::string>> left;
  if (!accepted && asked.predictors != kAll) left = ChanceIn(run.report);
  std::size_t count = 0;
  for (SavedResponse& response : bins.responses) {
    std::erase_if(response.predictors, [&](const SavedPredictor& one) {
      return left.contains({response.name, one.name});
    });
    count += response.predictors.size();
  }
  if (count == 0)
    throw RunError(accepted ? "No predictor has been accepted yet."
                            : "No predictor is better than chance; take all of them instead.");
  std::erase_if(bins.edits, [&](const BinEdit& edit) { return !HasPredictor(bins, edit); });
  return bins;
}

// SQL, Python and JSON hold no dates.
SavedBins PageSession::BinsToExport(Run& run, const ExportRequest& asked, std::vector<std::string>& notices) {
  SavedBins bins = ChosenBins(run, asked);
  const Json dates = about_.value("dates", Json::array());
  std::size_t count = 0;
  for (SavedResponse& response : bins.responses) {
    std::erase_if(response.predictors, [&](const SavedPredictor& one) {
      const bool isDate = std::find(dates.begin(), dates.end(), Json(one.name)) != dates.end();
      if (isDate) notices.push_back("SQL, Python and JSON leave out " + one.name + ", which holds dates.");
      return isDate;
    });
    count += response.predictors.size();
  }
  if (count == 0) throw RunError(notices.back());
  std::erase_if(bins.edits, [&](const BinEdit& edit) { return !HasPredictor(bins, edit); });
  return bins;
}

// The words of the command that makes the file, without the reading options. scratch: holds a file
// that the words name.
std::vector<std::string> PageSession::WordsForExport(Run& run, const ExportRequest& asked,
                                                     const fs::path& scratch) {
  std::vector<std::string> words = run.shownWords;
  const bool coding = asked.format == "rules" || asked.format == "recode" || IsCoded(asked.format);
  if (coding && asked.predictors == kAccepted) {
    // A search among fewer predictors could find other bins, so these are given.
    const SavedBins bins = ChosenBins(run, asked);
    std::vector<std::string> names;
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) names.push_back(predictor.name);
    }
    const fs::path file = scratch / "bins.json";
    WriteFileAtomically(file.string(), BinsJson(bins));
    words = WithOption(WithPredictors(std::move(words), names), "--cut-points", {file.string()});
    AddSaveAll(words);
    return words;
  }
  if (run.analysis == "screen" && !run.edits.empty()) {
    WriteBins(WithEdits(run, false), BinsFile(run));
    words = WithOption(words, "--cut-points", {BinsFile(run)});
  }
  if (coding) AddSaveAll(words, asked.predictors == kAll);
  return words;
}

Download PageSession::Export(int id, const ExportRequest& asked) {
  std::unique_lock lock(mutex_);
  Run& run = FindRun(id);
  const std::string& format = asked.format;
  Download download = EmptyDownload(Stem(run), format);
  if (format == "bins" || format == "python" || format == "sql") {
    const SavedBins bins = BinsToExport(run, asked, download.notices);
    if (format == "bins") {
      download.bytes = BinsJson(bins);
    } else if (format == "python") {
      download.bytes = BinsPython(bins);
    } else {
      download.bytes = BinsSql(bins, download.notices, SqlDialectNamed(asked.dialect));
    }
  } else {
    std::error_code error;
    const Scratch scratch(fs::temp_directory_path(), error);
    if (error) throw RunError("The files cannot be written: " + error.message() + ".");
    const std::vector<std::string> words = WordsForExport(run, asked, scratch.Path());
    std::vector<std::string> shown = readingWords_;
    shown.insert(shown.end(), words.begin(), words.end());
    if ((IsCoded(format) && run.analysis != "screen") || (format == kBundles && run.analysis == "screen"))
      throw UsageError("A run of " + run.analysis + " has no " + format + ".");
    std::string file;
    if (IsCoded(format) || format == kBundles) {
      download.folder = std::make_shared<Scratch>(LargeScratchFolder(), error);
      if (error) throw RunError("The file cannot be written: " + error.message() + ".");
      file = (download.folder->Path() / PathOf(download.fileName)).string();
    }
    const Json request = {{"op", "export"},     {"analysis", run.analysis},
                          {"arguments", words}, {"shown", shown},
                          {"format", format},   {"forSpreadsheet", asked.forSpreadsheet},
                          {"file", file}};
    WorkerClient* const worker = worker_.get();
    lock.unlock();
    if (worker == nullptr) throw RunError(error_);
    download.bytes = worker->Ask(JsonText(request), &download.notices);
  }
  return download;
}

Download PageSession::Scorecard(int id, const ExportRequest& asked, const std::string& options) {
  std::unique_lock lock(mutex_);
  Run& run = FindRun(id);
  Download download = EmptyDownload(data_.stem().string() + "_scorecard", asked.format);
  const std::string binsFile = Stem(run) + "_bins.json";
  const std::string bins =
      BinsJson(BinsToExport(run, {"bins", "", asked.predictors, "", ""}, download.notices));
  // The cases are those of the screening.
  std::vector<std::string> words, shown = readingWords_, missing;
  for (const std::string& word : run.shownWords) {
    const std::string option = word.substr(0, word.find('='));
    if (option == "--missing") missing.push_back(word.substr(option.size() + 1));
    if (std::find(std::begin(kCaseOptions), std::end(kCaseOptions), option) != std::end(kCaseOptions))
      words.push_back(word);
  }
  for (const std::string& word : WordsOfScorecard(options)) words.push_back(word);
  shown.push_back("--bins=" + binsFile);
  for (const std::string& code : missing) shown.push_back("--missing=" + code);
  shown.insert(shown.end(), words.begin(), words.end());
  const Json request = {
      {"op", "scorecard"},  {"bins", bins},   {"binsFile", binsFile},   {"missing", missing},
      {"arguments", words}, {"shown", shown}, {"format", asked.format}, {"dialect", asked.dialect}};
  WorkerClient* const worker = worker_.get();
  lock.unlock();
  if (worker == nullptr) throw RunError(error_);
  download.bytes = worker->Ask(JsonText(request), &download.notices);
  return download;
}

}  // namespace velmora
