// One open table: its worker, the user's choices, the history of runs and the edited bins.
// Everything that the user decides is kept in the project file NAME.velmora beside the data, so
// that nothing accepted is lost when the program ends.
//
// Methods may be called on any thread. They return JSON texts and throw UsageError, RunError or
// DataError with one sentence. What changes is published as events, JSON objects with "type",
// "session" and more.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/report/json_text.h"
#include "workbench/server/bins_panel.h"
#include "workbench/server/event_hub.h"
#include "workbench/server/table_view.h"
#include "workbench/server/worker_client.h"
#include "workbench/system/scratch.h"

namespace velmora {

struct Download {
  std::string bytes, fileName, contentType;
  bool isPage = false;               // to be shown in a sandbox, not saved
  std::vector<std::string> notices;  // for the user, a sentence each
  // For a table, which may be large: a folder with one file, instead of bytes.
  std::shared_ptr<const Scratch> folder = nullptr;
};

class PageSession {
 public:
  // data: the file, or its project file. readingWords: options that say how it is read.
  PageSession(int id, const std::filesystem::path& data, const std::vector<std::string>& readingWords,
              EventHub& events);
  ~PageSession();

  int Id() const { return id_; }
  const std::filesystem::path& DataFile() const { return data_; }

  // Everything that a window needs first: "data", "variables", "choices", "runs" without reports.
  std::string Snapshot();
  // While the file is being read, of its first rows.
  std::string Grid(const GridBlock& block);
  std::string Count(const Json& selection);

  // patch: a JSON merge patch (RFC 7396) of the choices, which belong to the page. window: the one
  // that has made the change, named in the event.
  void PatchChoices(const Json& patch, const std::string& window);

  // request: "analysis", "options", and optionally "replace": a run that this one
  // replaces unless it is kept, "keepBinsOf": a run whose accepted predictors keep their
  // bins. Returns {"run": number}.
  std::string StartRun(const Json& request);
  void CancelRun(int run);
  // Computes a run of an earlier session of the program again.
  void RepeatRun(int run);
  // change: "name", "note", "kept", "decisions" (a merge patch: response -> predictor ->
  // {"accepted", "locked", "comment"}).
  void ChangeRun(int run, const Json& change);
  void DeleteRun(int run);
  // The JSON of the analysis.
  std::string Report(int run);

  std::string Bins(int run, const std::string& response, const std::string& predictor);
  // request: "response", "predictor" and one of "edit", "preview" (an edit that is not kept),
  // "undo" and "redo". Returns the panel of the bins.
  std::string EditBins(int run, const Json& request);

  struct ExportRequest {
    // As of AnalysisFile; of a screening also bins, sql and python; the data as coded-csv or
    // coded-parquet, of a feature selection as bundles; the run of the dialogs as a script.
    std::string format;
    std::string dialect;  // of SQL
    // For bins, sql, python, rules, recode and coded data: "accepted", "all", or empty for those
    // better than chance.
    std::string predictors;
    std::string response, predictor;  // only the bins of this predictor; empty: those that `predictors` names
    bool forSpreadsheet = false;      // of CSV: as --csv-for spreadsheet
  };
  // The file that the command writes. With edits: after the edits as operations of velmora bins, or
  // from the edited bins as --cut-points, which are written beside the data.
  Download Export(int run, const ExportRequest& request);
  // A scorecard of the bins that Export gives as "bins". options: of the command, as JSON. format:
  // as of ScorecardFile.
  Download Scorecard(int run, const ExportRequest& request, const std::string& options);
  Download Project();

  // The module's own dialogs (page_dialogs.h). request: "analysis". One analysis at a time.
  void StartDialogs(const Json& request);
  void ActInDialogs(const Json& action);
  void EndDialogs();
  Download DialogResults(const std::string& format);

 private:
  struct Run {
    int id = 0;
    std::string analysis, name, note, status, error, created;
    std::string cutPointsFile;  // beside the data; the bins of predictors that were accepted before
    Json options;
    std::vector<std::string> words;       // of the options
    std::vector<std::string> shownWords;  // of the command that repeats it
    std::vector<std::string> notices;
    Json decisions = Json::object();
    Json edits = Json::object();  // response -> predictor -> list of edits
    bool kept = false;
    double seconds = 0;
    std::uint64_t request = 0;  // of the worker
    std::string report;
    std::vector<SavedBins> bins;  // of one predictor each, the best first; complete with the result
    bool hasAllBins = false;
    std::map<std::pair<std::string, std::string>, EditedBins> edited;
  };

  // Private methods expect mutex_ to be held unless they say otherwise.
  void StartWorker();
  Json FirstRowsView() const;
  void TakeDialogsAnswer(const Frame& frame);            // locks
  std::string Ask(const char* operation, Json request);  // locks
  void AddCutPoints(Run& run) const;
  void TakeUnasked(const Frame& frame);             // locks
  void TakeRunAnswer(int run, const Frame& frame);  // locks
  Run& FindRun(int run);
  Run* FindRunOrNull(int run);
  Json RunJson(const Run& run) const;
  void Launch(Run& run);
  EditedBins& FindEdited(Run& run, const std::string& response, const std::string& predictor);
  // Has the cases of a predictor counted when the editor first shows it.
  void FetchPieces(int run, const std::string& response, const std::string& predictor);  // locks
  SavedBins WholeBins(const Run& run) const;
  void TakeBins(Run& run, const std::string& json);
  SavedBins WithEdits(Run& run, bool acceptedOnly);
  SavedBins ChosenBins(Run& run, const ExportRequest& asked);
  SavedBins BinsToExport(Run& run, const ExportRequest& asked, std::vector<std::string>& notices);
  std::vector<std::string> WordsForExport(Run& run, const ExportRequest& asked,
                                          const std::filesystem::path& scratch);
  std::string Stem(const Run& run) const;
  void WriteBins(const SavedBins& bins, const std::string& fileName) const;
  void Publish(const char* type, Json members);
  void PublishRun(const Run& run);
  void LoadProject(const std::filesystem::path& project);
  Json ProjectJson() const;
  void Save();
  std::vector<std::string> Commands(const Run& run) const;
  std::string BinsFile(const Run& run) const;

  int id_;
  std::filesystem::path data_, project_;
  std::vector<std::string> readingWords_;
  EventHub& events_;
  std::mutex mutex_;
  std::string status_ = "loading", error_;
  std::string hash_, readHash_;  // SHA-256 of the data: as the project has it, and as they were read
  bool ending_ = false, hashChanged_ = false, unsaved_ = false;
  int restarts_ = 0;
  double binsTold_ = 0;          // when windows last heard of new bins, in seconds
  std::string firstRows_;        // while the file is being read: FirstRowsJson, or nothing yet
  Json about_ = Json::object();  // "cases", "names", "notices"
  std::vector<std::string> variables_;
  Json choices_ = Json::object();
  std::vector<std::unique_ptr<Run>> runs_;
  int lastRun_ = 0;
  std::uint64_t dialogsRequest_ = 0;  // of the worker; 0: no dialogs are open
  std::string dialogs_ = "null";      // what they show, as JSON
  std::unique_ptr<WorkerClient> worker_;
  std::vector<std::unique_ptr<WorkerClient>> endedWorkers_;
};

}  // namespace velmora
