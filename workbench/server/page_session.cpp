#include "workbench/server/page_session.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "workbench/cli/exit_codes.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/file_places.h"
#include "workbench/server/first_rows.h"
#include "workbench/server/page_options.h"
#include "workbench/server/run_steps.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

namespace {

constexpr double kBinsInterval = 0.25;  // seconds between two events of new bins
constexpr int kMostRestarts = 3;        // of a worker that has ended by itself

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

double SecondsNow() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

PageSession::PageSession(int id, const fs::path& data, const std::vector<std::string>& readingWords,
                         EventHub& events)
    : id_(id), data_(data), readingWords_(readingWords), events_(events) {
  const std::lock_guard lock(mutex_);
  if (data_.extension() == kProjectExtension) {
    LoadProject(data_);
  } else {
    project_ = fs::path(data_.native() + kProjectExtension);
    if (fs::exists(project_)) LoadProject(project_);
  }
  StartWorker();
}

PageSession::~PageSession() {
  std::unique_ptr<WorkerClient> worker;
  std::vector<std::unique_ptr<WorkerClient>> ended;
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    worker = std::move(worker_);
    ended = std::move(endedWorkers_);
  }
}

void PageSession::StartWorker() {
  std::vector<std::string> words = readingWords_;
  words.push_back(data_.string());
  status_ = "loading";
  variables_.clear();
  firstRows_.clear();
  worker_ = std::make_unique<WorkerClient>(words, [this](const Frame& frame) { TakeUnasked(frame); });
}

void PageSession::TakeUnasked(const Frame& frame) {
  const std::lock_guard lock(mutex_);
  if (ending_) return;
  if (frame.type == "loading") {
    Publish("loading", Json::parse(frame.payload));
  } else if (frame.type == "firstRows") {
    firstRows_ = frame.payload;
    Publish("firstRows", {{"value", FirstRowsView()}});
  } else if (frame.type == "loaded") {
    status_ = "loaded";
    firstRows_.clear();
    about_ = Json::parse(frame.payload);
    Publish("loaded", about_);
    worker_->Send(R"({"op":"hash"})", [this](const Frame& answer) {
      if (answer.type != "result") return;
      const std::lock_guard inner(mutex_);
      const std::string hash = Json::parse(answer.payload).at("sha256").get<std::string>();
      readHash_ = hash;
      hashChanged_ = !hash_.empty() && hash_ != hash;
      if (hash_.empty()) {
        hash_ = hash;
        if (!runs_.empty()) Save();  // a project that was saved meanwhile lacks it
      }
      if (hashChanged_) Publish("dataChanged", {});
    });
  } else if (frame.type == "variables") {
    for (const Json& variable : Json::parse(frame.payload)) variables_.push_back(variable.dump());
    events_.Publish("{\"type\":\"variables\",\"session\":" + std::to_string(id_) +
                    ",\"variables\":" + frame.payload + "}");
  } else if (frame.type == "error") {
    status_ = "failed";
    error_ = Json::parse(frame.payload).value("error", "");
    Publish("failed", {{"error", error_}});
  } else if (frame.type == "ended" && status_ != "failed") {
    // This runs on a thread of the worker's client, which therefore cannot be destroyed here.
    endedWorkers_.push_back(std::move(worker_));
    if (++restarts_ > kMostRestarts) {
      status_ = "failed";
      error_ = "The process that holds the data has ended several times.";
      return Publish("failed", {{"error", error_}});
    }
    StartWorker();
    Publish("restarted", {});
  }
}

// --- Requests of windows

std::string PageSession::Snapshot() {
  const std::lock_guard lock(mutex_);
  Json runs = Json::array();
  for (const auto& run : runs_) runs.push_back(RunJson(*run));
  Json json = {{"session", id_},
               {"file", data_.filename().string()},
               {"path", data_.string()},
               {"project", project_.filename().string()},
               {"unsaved", unsaved_},
               {"status", status_},
               {"error", error_},
               {"dataChanged", hashChanged_},
               {"firstRows", FirstRowsView()},
               {"data", about_},
               {"choices", choices_},
               {"runs", runs}};
  std::string text = JsonText(json);
  text.pop_back();
  text += ",\"dialogs\":" + dialogs_ + ",\"variables\":[";
  for (std::size_t i = 0; i < variables_.size(); ++i) text += (i == 0 ? "" : ",") + variables_[i];
  return text + "]}";
}

std::string PageSession::Ask(const char* operation, Json request) {
  request["op"] = operation;
  WorkerClient* worker = nullptr;  // kept until the session ends, also when it is replaced
  {
    const std::lock_guard lock(mutex_);
    worker = worker_.get();
    if (worker == nullptr) throw RunError(error_);
  }
  return worker->Ask(JsonText(request));
}

std::string PageSession::Grid(const GridBlock& block) {
  {
    const std::lock_guard lock(mutex_);
    if (!firstRows_.empty()) return GridOfFirstRows(firstRows_, block);
  }
  return Ask(
      "grid",
      {{"row", block.row}, {"rows", block.rows}, {"column", block.column}, {"columns", block.columns}});
}

// What windows need at once; the cells follow in blocks.
Json PageSession::FirstRowsView() const {
  if (firstRows_.empty()) return nullptr;
  Json view = Json::parse(firstRows_);
  view.erase("cells");
  return view;
}

std::string PageSession::Count(const Json& selection) { return Ask("count", selection); }

void PageSession::PatchChoices(const Json& patch, const std::string& window) {
  const std::lock_guard lock(mutex_);
  choices_.merge_patch(patch);
  Publish("choices", {{"window", window}, {"patch", patch}});
  Save();
}

// --- Runs

PageSession::Run* PageSession::FindRunOrNull(int run) {
  const auto at = std::find_if(runs_.begin(), runs_.end(), [&](const auto& one) { return one->id == run; });
  return at == runs_.end() ? nullptr : at->get();
}

PageSession::Run& PageSession::FindRun(int run) {
  Run* const found = FindRunOrNull(run);
  if (found == nullptr) throw UsageError("There is no run " + std::to_string(run) + ".");
  return *found;
}

std::vector<std::string> PageSession::Commands(const Run& run) const {
  RunSteps steps{run.analysis, {data_.filename().string()}, run.edits, BinsFile(run)};
  steps.words.insert(steps.words.end(), readingWords_.begin(), readingWords_.end());
  steps.words.insert(steps.words.end(), run.shownWords.begin(), run.shownWords.end());
  return CommandsOf(steps);
}

// The file of the bins with their edits, beside the data.
std::string PageSession::BinsFile(const Run& run) const {
  return data_.stem().string() + "_bins_" + std::to_string(run.id) + ".json";
}

Json PageSession::RunJson(const Run& run) const {
  return {{"run", run.id},
          {"analysis", run.analysis},
          {"name", run.name},
          {"note", run.note},
          {"status", run.status},
          {"error", run.error},
          {"created", run.created},
          {"seconds", run.seconds},
          {"options", run.options},
          {"commands", Commands(run)},
          {"cutPoints", run.cutPointsFile},
          {"binsFile", BinsFile(run)},
          {"notices", run.notices},
          {"kept", run.kept},
          {"decisions", run.decisions},
          {"edits", run.edits}};
}

void PageSession::PublishRun(const Run& run) { Publish("run", {{"value", RunJson(run)}}); }

std::string PageSession::StartRun(const Json& request) {
  const std::lock_guard lock(mutex_);
  auto run = std::make_unique<Run>();
  run->analysis = request.at("analysis").get<std::string>();
  if (run->analysis != "feature-selection" && run->analysis != "screen")
    throw UsageError("There is no analysis " + ShortenedText(run->analysis) + ".");
  if (hashChanged_) {  // from now on the project belongs to the present data
    hash_ = readHash_;
    hashChanged_ = false;
  }
  run->options = request.at("options");
  run->words = WordsOfPage(JsonText(run->options));
  run->shownWords = run->words;
  run->id = ++lastRun_;
  run->name = request.value("name", "");
  run->created = Now();
  if (request.contains("keepBinsOf")) {
    Run& source = FindRun(request.at("keepBinsOf").get<int>());
    run->cutPointsFile = data_.stem().string() + "_accepted_" + std::to_string(run->id) + ".json";
    WriteBins(WithEdits(source, true), run->cutPointsFile);
    AddCutPoints(*run);
    run->decisions = source.decisions;
    run->kept = source.kept = true;
  }
  if (request.contains("replace")) {
    Run* const old = FindRunOrNull(request.at("replace").get<int>());
    if (old != nullptr && !old->kept && old->analysis == run->analysis) {
      if (old->status == "running" && worker_)
        worker_->Send(JsonText({{"op", "cancel"}, {"target", old->request}}), [](const Frame&) {});
      Publish("runDeleted", {{"run", old->id}});
      std::erase_if(runs_, [&](const auto& one) { return one.get() == old; });
    }
  }
  Run& started = *run;
  runs_.push_back(std::move(run));
  Launch(started);
  Save();
  return JsonText({{"run", started.id}});
}

void PageSession::AddCutPoints(Run& run) const {
  if (run.cutPointsFile.empty()) return;
  run.words.push_back("--cut-points=" +
                      (data_.parent_path() / PathOf(run.cutPointsFile).filename()).string());
  run.shownWords.push_back("--cut-points=" + run.cutPointsFile);
}

void PageSession::Launch(Run& run) {
  run.status = "running";
  run.error.clear();
  run.notices.clear();
  run.seconds = SecondsNow();  // the start, until the run has ended
  run.report.clear();
  run.bins.clear();
  run.hasAllBins = false;
  run.edited.clear();
  const Json request = {{"op", "run"}, {"analysis", run.analysis}, {"arguments", run.words}, {"bins", true}};
  run.request = worker_ ? worker_->Send(JsonText(request),
                                        [this, id = run.id](const Frame& frame) { TakeRunAnswer(id, frame); })
                        : 0;
  if (run.request == 0) {
    run.status = "failed";
    run.error = "The data are being read again; repeat the run in a moment.";
    run.seconds = 0;
  }
  PublishRun(run);
}

void PageSession::TakeRunAnswer(int id, const Frame& frame) {
  const std::lock_guard lock(mutex_);
  Run* const run = FindRunOrNull(id);
  if (run == nullptr || ending_) return;
  if (run->request != 0 && run->request != frame.id) return;  // the answer to an earlier start
  if (frame.type == "progress") {
    Json json = Json::parse(frame.payload);
    json["run"] = id;
    Publish("progress", json);
  } else if (frame.type == "line") {
    run->notices.push_back(Json::parse(frame.payload).get<std::string>());
  } else if (frame.type == "report") {
    run->report = frame.payload;
    // The ranking is shown while the counts of the bins are still being made.
    run->status = "done";
    run->seconds = SecondsNow() - run->seconds;
    PublishRun(*run);
  } else if (frame.type == "bins") {
    TakeBins(*run, frame.payload);
  } else if (frame.type == "error") {
    const Json failure = Json::parse(frame.payload);
    run->error = failure.value("error", "");
    run->status = failure.value("cancelled", false) ? "cancelled" : "failed";
    run->seconds = 0;
    PublishRun(*run);
  } else if (frame.type == "result") {
    run->hasAllBins = true;
    Publish("binsReady", {{"run", id}});
  }
}

void PageSession::CancelRun(int id) {
  const std::lock_guard lock(mutex_);
  Run& run = FindRun(id);
  if (run.status == "running" && worker_)
    worker_->Send(JsonText({{"op", "cancel"}, {"target", run.request}}), [](const Frame&) {});
}

void PageSession::RepeatRun(int id) {
  const std::lock_guard lock(mutex_);
  Run& run = FindRun(id);
  if (run.status != "running") Launch(run);
}

void PageSession::ChangeRun(int id, const Json& change) {
  const std::lock_guard lock(mutex_);
  Run& run = FindRun(id);
  if (change.contains("name")) run.name = change.at("name").get<std::string>();
  if (change.contains("note")) run.note = change.at("note").get<std::string>();
  if (change.contains("kept")) run.kept = change.at("kept").get<bool>();
  if (change.contains("decisions")) run.decisions.merge_patch(change.at("decisions"));
  if (change.contains("decisions") || !run.name.empty() || !run.note.empty()) run.kept = true;
  PublishRun(run);
  Save();
}

void PageSession::DeleteRun(int id) {
  const std::lock_guard lock(mutex_);
  Run& run = FindRun(id);
  if (run.status == "running" && worker_)
    worker_->Send(JsonText({{"op", "cancel"}, {"target", run.request}}), [](const Frame&) {});
  std::erase_if(runs_, [&](const auto& one) { return one.get() == &run; });
  Publish("runDeleted", {{"run", id}});
  Save();
}

std::string PageSession::Report(int id) {
  const std::lock_guard lock(mutex_);
  const Run& run = FindRun(id);
  if (run.report.empty()) throw RunError("The run has no result yet.");
  return run.report;
}

// --- Bins

void PageSession::TakeBins(Run& run, const std::string& json) {
  run.bins.push_back(ParseBinsJson(json, "the bins"));
  if (run.bins.size() > 1 && SecondsNow() - binsTold_ < kBinsInterval) return;
  binsTold_ = SecondsNow();
  Publish("binsReady", {{"run", run.id}});
}

SavedBins PageSession::WholeBins(const Run& run) const {
  if (run.analysis != "screen")
    throw UsageError("A run of feature-selection has no bins; screen makes them.");
  if (!run.hasAllBins) throw RunError("The cases of the bins are still being counted.");
  SavedBins whole;
  for (const SavedBins& one : run.bins) {
    const SavedResponse& response = one.responses.front();
    whole.dataFile = one.dataFile;
    if (whole.responses.empty() || whole.responses.back().name != response.name) {
      whole.responses.push_back(response);
    } else {
      whole.responses.back().predictors.push_back(response.predictors.front());
    }
  }
  return whole;
}

EditedBins& PageSession::FindEdited(Run& run, const std::string& response, const std::string& predictor) {
  const auto key = std::make_pair(response, predictor);
  const auto at = run.edited.find(key);
  if (at != run.edited.end()) return at->second;
  const auto found = std::find_if(run.bins.begin(), run.bins.end(), [&](const SavedBins& one) {
    return one.responses.front().name == response &&
           one.responses.front().predictors.front().name == predictor;
  });
  if (found == run.bins.end())
    throw RunError(run.hasAllBins ? "There are no bins of " + ShortenedText(predictor) + " for " +
                                        ShortenedText(response) + "."
                                  : "The cases of the bins are still being counted.");
  EditedBins edited(*found, response, predictor);
  if (run.edits.contains(response) && run.edits.at(response).contains(predictor)) {
    for (const Json& edit : run.edits.at(response).at(predictor)) {
      try {
        edited.Apply(edit.dump());
      } catch (const DataError& error) {  // the data have changed since
        run.notices.push_back("An edit of " + predictor + " no longer fits its bins: " + error.what());
        break;
      }
    }
  }
  return run.edited.emplace(key, std::move(edited)).first->second;
}

void PageSession::FetchPieces(int id, const std::string& response, const std::string& predictor) {
  Json request;
  std::uint64_t launch = 0;
  {
    const std::lock_guard lock(mutex_);
    Run& run = FindRun(id);
    const EditedBins& edited = FindEdited(run, response, predictor);
    if (edited.KnowsPieces()) return;
    request = {{"arguments", run.words}, {"bins", BinsJson(edited.Found())}};
    launch = run.request;
  }
  std::shared_ptr<const CasePieces> pieces;
  try {
    const std::string answer = Ask("pieces", std::move(request));
    if (answer != "null") pieces = std::make_shared<const CasePieces>(ParsePieces(answer));
  } catch (const RunError&) {
    return;  // the bins are shown without them; the next request tries again
  }
  const std::lock_guard lock(mutex_);
  Run* const run = FindRunOrNull(id);
  if (run != nullptr && run->request == launch) FindEdited(*run, response, predictor).SetPieces(pieces);
}

std::string PageSession::Bins(int id, const std::string& response, const std::string& predictor) {
  FetchPieces(id, response, predictor);
  const std::lock_guard lock(mutex_);
  return FindEdited(FindRun(id), response, predictor).PanelJson();
}

std::string PageSession::EditBins(int id, const Json& request) {
  const std::string response = request.at("response").get<std::string>();
  const std::string predictor = request.at("predictor").get<std::string>();
  if (!request.contains("preview")) FetchPieces(id, response, predictor);
  const std::lock_guard lock(mutex_);
  Run& run = FindRun(id);
  EditedBins& edited = FindEdited(run, response, predictor);
  if (request.contains("preview")) return edited.PreviewJson(request.at("preview").dump());
  const Json* decision = nullptr;
  if (run.decisions.contains(response) && run.decisions.at(response).contains(predictor))
    decision = &run.decisions.at(response).at(predictor);
  if (decision != nullptr && decision->value("locked", false))
    throw UsageError("The bins of " + predictor + " are locked; unlock them first.");
  if (request.contains("edit")) {
    edited.Apply(request.at("edit").dump());
  } else if (request.contains("undo")) {
    if (!edited.Undo()) throw UsageError("There is no edit to undo.");
  } else if (!edited.Redo()) {
    throw UsageError("There is no edit to redo.");
  }
  Json edits = Json::array();
  for (const std::string& edit : edited.Edits()) edits.push_back(Json::parse(edit));
  run.edits[response][predictor] = std::move(edits);
  run.kept = true;
  Publish("bins", {{"run", id}, {"response", response}, {"predictor", predictor}});
  PublishRun(run);
  Save();
  return edited.PanelJson();
}

// --- Dialogs

void PageSession::StartDialogs(const Json& request) {
  const std::lock_guard lock(mutex_);
  if (dialogsRequest_ != 0) throw UsageError("Dialogs are open already; close them first.");
  if (!worker_) throw RunError(error_);
  Json asked = {{"op", "dialogs"}, {"analysis", request.at("analysis").get<std::string>()}};
  for (const char* name : {"select", "exclude", "weight"}) {
    if (choices_.contains(name)) asked[name] = choices_.at(name);
  }
  // Answers come on another thread, which waits for the lock.
  dialogsRequest_ = worker_->Send(JsonText(asked), [this](const Frame& frame) { TakeDialogsAnswer(frame); });
  if (dialogsRequest_ == 0) throw RunError("The data are being read again; try again in a moment.");
}

void PageSession::TakeDialogsAnswer(const Frame& frame) {
  const std::lock_guard lock(mutex_);
  if (ending_ || frame.id != dialogsRequest_) return;
  if (frame.type == "progress") {
    Json progress = Json::parse(frame.payload);
    return Publish("dialogsProgress", std::move(progress));
  }
  Json event = {{"error", ""}};
  if (frame.type == "dialogs") {
    dialogs_ = frame.payload;
  } else if (frame.type == "result" || frame.type == "error") {
    dialogs_ = "null";
    dialogsRequest_ = 0;
    const Json answer = Json::parse(frame.payload);
    // A user who ends the dialogs needs no message that they have ended.
    if (frame.type == "error" && !answer.value("cancelled", false))
      event["error"] = answer.value("error", "");
  } else {
    return;
  }
  event["state"] = Json::parse(dialogs_);
  Publish("dialogs", std::move(event));
}

void PageSession::ActInDialogs(const Json& action) {
  std::uint64_t target = 0;
  {
    const std::lock_guard lock(mutex_);
    target = dialogsRequest_;
  }
  if (target == 0) throw UsageError("No dialogs are open.");
  static_cast<void>(Ask("act", {{"target", target}, {"action", action}}));
}

void PageSession::EndDialogs() {
  const std::lock_guard lock(mutex_);
  if (dialogsRequest_ != 0 && worker_)
    worker_->Send(JsonText({{"op", "cancel"}, {"target", dialogsRequest_}}), [](const Frame&) {});
}

Download PageSession::DialogResults(const std::string& format) {
  if (format != "html" && format != "xlsx")
    throw UsageError("There is no format " + ShortenedText(format) + ".");
  std::uint64_t target = 0;
  {
    const std::lock_guard lock(mutex_);
    target = dialogsRequest_;
  }
  if (target == 0) throw UsageError("No dialogs are open.");
  const std::string bytes =
      Ask("act", {{"target", target}, {"action", {{"do", "results"}, {"format", format}}}});
  return {bytes,
          data_.stem().string() + "_results." + format,
          format == "html" ? "text/html" : "application/octet-stream",
          format == "html",
          {}};
}

void PageSession::Publish(const char* type, Json members) {
  members["type"] = type;
  members["session"] = id_;
  events_.Publish(JsonText(members));
}

}  // namespace velmora
