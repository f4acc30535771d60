#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/repeated_command.h"
#include "workbench/cli/run_monitor.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/screen/screen_counts.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/screen/screening_cases.h"
#include "workbench/data/measurement.h"
#include "workbench/data/readers.h"
#include "workbench/data/sha256.h"
#include "workbench/language/selection.h"
#include "workbench/report/json_text.h"
#include "workbench/server/case_pieces.h"
#include "workbench/server/channel.h"
#include "workbench/server/first_rows.h"
#include "workbench/server/output_file.h"
#include "workbench/server/page_dialogs.h"
#include "workbench/server/table_view.h"
#include "workbench/server/worker.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr auto kProgressInterval = std::chrono::milliseconds(60);
constexpr int kVariablesPerMessage = 25;
constexpr int kAllPredictors = 1 << 30;

std::string SentenceJson(const std::string& sentence) { return JsonText({{"error", sentence}}); }

// The error of a request that the user has cancelled.
std::string CancelledJson() { return JsonText({{"error", "Cancelled."}, {"cancelled", true}}); }

// Sends what a thread reports to the server.
class ChannelMonitor final : public RunMonitor {
 public:
  ChannelMonitor(const Channel& channel, std::uint64_t id) : channel_(channel), id_(id) {}
  void Line(std::string_view text) override {
    static_cast<void>(channel_.Send({"line", id_, JsonText(std::string(text))}));
  }
  void Progress(std::string_view caption, double fraction) override {
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ < kProgressInterval) return;
    last_ = now;
    const Json json = {{"stage", std::string(caption)}, {"fraction", fraction}};
    static_cast<void>(channel_.Send({"progress", id_, JsonText(json)}));
  }
  bool IsStopped() override { return false; }  // the process of a cancelled analysis is ended

 private:
  const Channel& channel_;
  std::uint64_t id_;
  std::chrono::steady_clock::time_point last_;
};

// --- Work of children

// A table whose first variables have already been described.
struct DescribedTable {
  Table table;
  int described = 0;
  const UserMissing& userMissing;  // of its file
};

std::vector<std::string> WordsOf(const Json& request, const Table& table) {
  auto words = request.at("arguments").get<std::vector<std::string>>();
  words.insert(words.begin(), table.fileName);
  return words;
}

std::unique_ptr<FinishedRun> RunRequested(const Json& request, DescribedTable data) {
  const std::string analysis = request.at("analysis").get<std::string>();
  const std::vector<std::string> words = WordsOf(request, data.table);
  if (analysis == "screen" && request.value("bins", false))
    return RunScreenOn(std::move(data.table), words, data.described, &data.userMissing, true);
  return RunAnalysis(analysis, std::move(data.table), words, data.described, &data.userMissing);
}

void Analyze(const Channel& channel, const Frame& frame, const Json& request, DescribedTable described) {
  const std::unique_ptr<FinishedRun> run = RunRequested(request, std::move(described));
  if (!channel.Send({"report", frame.id, run->Writers().json()})) return;
  if (run->screening && request.value("bins", false)) {
    const ScreenReport& report = *run->screening;
    const Table& data = run->session.Data();
    const CaseBitmap selected = SelectCases(data, {report.select, report.exclude});
    const SavedBins bins = SavedBinsOf(report, run->session, kAllPredictors);
    const std::string fileName = PathOf(bins.dataFile).filename().string();
    // One by one, the best first, so that the first can be edited while the others are counted.
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) {
        SavedResponse part = response;
        part.predictors = {predictor};
        SavedBins one{fileName, {std::move(part)}, {}};
        AddCounts(data, selected, run->session.WeightVariable(), report.weights, one);
        if (!channel.Send({"bins", frame.id, BinsJson(one)})) return;
      }
    }
  }
  static_cast<void>(channel.Send({"result", frame.id, "{}"}));
}

void SendPieces(const Channel& channel, const Frame& frame, const Json& request, DescribedTable described) {
  const std::vector<std::string> words = WordsOf(request, described.table);
  const SavedBins bins = ParseBinsJson(request.at("bins").get<std::string>(), "the bins");
  const ScreeningCases cases = CasesOfScreening(std::move(described.table), words, described.described);
  const std::optional<CasePieces> pieces = CountPieces(cases, bins.responses.at(0));
  static_cast<void>(channel.Send({"result", frame.id, pieces ? PiecesJson(*pieces) : "null"}));
}

// Paths in output files are those of a command that runs in the folder of the data.
void EnterFolderOf(Table& table) {
  const std::filesystem::path file = PathOf(table.fileName);
  std::error_code unreachable;  // then the whole path is named
  std::filesystem::current_path(file.parent_path(), unreachable);
  if (!unreachable) table.fileName = file.filename().string();
}

Provenance ProvenanceOfPage(const std::string& command, const std::string& data, const Json& request) {
  auto words = request.at("shown").get<std::vector<std::string>>();
  words.insert(words.begin(), data);
  return ProvenanceOf(command, words, data);
}

void Export(const Channel& channel, const Frame& frame, const Json& request, DescribedTable described) {
  EnterFolderOf(described.table);
  const std::string data = described.table.fileName;
  const std::string analysis = request.at("analysis").get<std::string>();
  const std::string format = request.at("format").get<std::string>();
  if (format == "script") {
    auto words = request.at("shown").get<std::vector<std::string>>();
    words.insert(words.begin(), data);
    const std::string script =
        AnalysisScript(analysis, std::move(described.table), words, described.described);
    static_cast<void>(channel.Send({"result", frame.id, script}));
    return;
  }
  const std::unique_ptr<FinishedRun> run = RunRequested(request, std::move(described));
  Provenance provenance = ProvenanceOfPage(analysis, data, request);
  (run->screening ? run->screening->provenance : run->featureSelection->provenance) = std::move(provenance);
  SaveOptions save;
  if (run->screening) {
    auto words = request.at("arguments").get<std::vector<std::string>>();
    words.insert(words.begin(), data);
    save = ParseScreen(words).save;
  }
  OutputOptions output;
  output.csvFor = request.at("forSpreadsheet").get<bool>() ? 1 : 0;
  std::string answer = "{}";
  if (const std::string file = request.at("file").get<std::string>(); !file.empty()) {
    WriteTableFile(*run, save, output, file);
  } else {
    answer = AnalysisFile(*run, format, save, output);
  }
  static_cast<void>(channel.Send({"result", frame.id, answer}));
}

void ExportScorecard(const Channel& channel, const Frame& frame, const Json& request, Table table) {
  EnterFolderOf(table);
  const std::string data = table.fileName, binsFile = request.at("binsFile").get<std::string>();
  for (const Json& option : request.at("missing")) ApplyMissingOption(table, option.get<std::string>());
  ScorecardReport report =
      RunScorecardOn(std::move(table), ParseBinsJson(request.at("bins").get<std::string>(), binsFile),
                     request.at("arguments").get<std::vector<std::string>>(), binsFile);
  report.provenance = ProvenanceOfPage("scorecard", data, request);
  for (const std::string& notice : report.notices) Warn(notice);
  const std::string bytes = ScorecardFile(report, request.at("format").get<std::string>(),
                                          request.at("dialect").get<std::string>());
  static_cast<void>(channel.Send({"result", frame.id, bytes}));
}

// Every failure becomes one sentence.
void SendFailure(const Channel& channel, std::uint64_t id, const std::function<void()>& work) {
  std::string sentence;
  try {
    return work();
  } catch (const Cancelled&) {
    static_cast<void>(channel.Send({"error", id, CancelledJson()}));
    return;
  } catch (const std::bad_alloc&) {
    sentence = "There is not enough memory for this.";
  } catch (const Json::exception&) {
    sentence = "The request is damaged.";
  } catch (const std::exception& error) {
    sentence = error.what();
  }
  static_cast<void>(channel.Send({"error", id, SentenceJson(sentence)}));
}

// A child that reads the first rows of the file, while this process reads the whole of it.
class FirstRowsReader {
 public:
  FirstRowsReader(const std::string& path, const ReadOptions& reading) {
    const SocketPair ends = MakeSocketPair();
    process_ = fork();
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends.ours);
      SendFirstRows(Channel(ends.theirs), path, reading);
      _exit(kExitDone);
    }
    close(ends.theirs);
    channel_ = Channel(ends.ours);
  }
  ~FirstRowsReader() {
    if (process_ <= 0) return;
    channel_.Shut();  // which the child notices, and removes its files
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  FirstRowsReader(const FirstRowsReader&) = delete;
  FirstRowsReader& operator=(const FirstRowsReader&) = delete;

  // The rows, once, as soon as they are there.
  std::optional<Frame> Take() {
    std::optional<Frame> frame;
    pollfd waiting = {channel_.Socket(), POLLIN, 0};
    while (!hasEnded_ && poll(&waiting, 1, 0) > 0) {
      hasEnded_ = !channel_.Fill();
      frame = channel_.Next();
      hasEnded_ = hasEnded_ || frame;
    }
    return frame;
  }

 private:
  static void SendFirstRows(const Channel& channel, const std::string& path, ReadOptions reading) {
    reading.progress = [&channel](double) {
      pollfd waiting = {channel.Socket(), POLLIN, 0};
      return poll(&waiting, 1, 0) == 0;
    };
    try {
      if (const std::optional<Table> table = ReadFirstRows(path, reading))
        static_cast<void>(channel.Send({"firstRows", 0, FirstRowsJson(*table)}));
    } catch (const std::exception&) {
      return;  // the process that reads the whole file reports its error
    }
  }

  Channel channel_{-1};
  pid_t process_ = -1;
  bool hasEnded_ = false;
};

// --- The worker itself

struct Child {
  pid_t process = 0;
  std::uint64_t request = 0;
  Channel channel;
  bool answered = false, cancelled = false;
  std::set<std::uint64_t> asked;  // further requests that it has yet to answer
};

class Worker {
 public:
  explicit Worker(int socket) : channel_(socket) {}

  bool Load(const std::vector<std::string>& arguments) {
    bool loaded = false;
    const ChannelMonitor monitor(channel_, 0);
    SendFailure(channel_, 0, [&] {
      CommandParser parser;
      DataOptions options;
      options.AddTo(parser);
      parser.Parse(arguments);
      // Measurements are inferred variable by variable, while the page is already shown.
      ReadOptions reading = ReadingOptionsOf(options);
      FirstRowsReader firstRows(options.path, reading);
      reading.progress = [this, &firstRows,
                          last = std::chrono::steady_clock::time_point()](double fraction) mutable {
        const auto now = std::chrono::steady_clock::now();
        if (now - last < kProgressInterval) return true;
        last = now;
        if (const std::optional<Frame> rows = firstRows.Take(); rows && !channel_.Send(*rows)) return false;
        return channel_.Send({"loading", 0, JsonText({{"fraction", fraction}})});
      };
      ReadReport report;
      reading.userMissing = &userMissing_;
      table_ = ReadTable(options.path, reading, &report);
      for (const std::string& option : options.missingCodes) ApplyMissingOption(table_, option);
      Json names = Json::array();
      Json dates = Json::array();
      for (const Column& column : table_.columns) {
        names.push_back(column.name);
        if (column.dateUnit != DateUnit::kNone) dates.push_back(column.name);
      }
      loaded = channel_.Send({"loaded", 0,
                              JsonText({{"cases", table_.caseCount},
                                        {"names", names},
                                        {"dates", dates},
                                        {"notices", report.warnings}})});
    });
    return loaded;
  }

  // Serves until the server is gone.
  int Serve() {
    for (;;) {
      std::vector<pollfd> waiting = {{channel_.Socket(), POLLIN, 0}};
      for (const auto& [id, child] : children_) waiting.push_back({child.channel.Socket(), POLLIN, 0});
      const bool idle = described_ == table_.VariableCount();
      if (poll(waiting.data(), waiting.size(), idle ? -1 : 0) < 0) continue;
      if (waiting[0].revents != 0 && !TakeRequests()) return EndChildren();
      for (std::size_t i = 1; i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) TakeAnswers(waiting[i].fd);
      }
      if (!idle) DescribeSomeVariables();
    }
  }

 private:
  bool TakeRequests() {
    if (!channel_.Fill()) return false;
    while (std::optional<Frame> frame = channel_.Next()) {
      SendFailure(channel_, frame->id, [&] { Answer(*frame); });
    }
    return true;
  }

  void Answer(const Frame& frame) {
    const Json request = Json::parse(frame.payload);
    const std::string op = request.at("op").get<std::string>();
    const auto reply = [&](const std::string& json) {
      static_cast<void>(channel_.Send({"result", frame.id, json}));
    };
    if (op == "grid") {
      return reply(
          GridJson(table_, {request.value("row", std::int64_t{0}), request.value("rows", std::int64_t{0}),
                            request.value("column", 0), request.value("columns", 0)}));
    }
    if (op == "count") {
      if (!request.contains("missing")) return reply(CountOf(request));
      // Further missing codes change the table, so they are applied in a child.
      return Fork(frame, [this, &request](const Channel& channel, const Frame& asked) {
        for (const Json& option : request.at("missing"))
          ApplyMissingOption(table_, option.get<std::string>());
        static_cast<void>(channel.Send({"result", asked.id, CountOf(request)}));
      });
    }
    if (op == "cancel") return Cancel(request.at("target").get<std::uint64_t>());
    if (op == "hash") {
      return Fork(frame, [this](const Channel& channel, const Frame& asked) {
        static_cast<void>(
            channel.Send({"result", asked.id, JsonText({{"sha256", Sha256OfFile(table_.fileName)}})}));
      });
    }
    if (op == "run" || op == "pieces" || op == "export") {
      return Fork(frame, [this, &request, &op](const Channel& channel, const Frame& asked) {
        DescribedTable data{std::move(table_), described_, userMissing_};
        if (op == "run") return Analyze(channel, asked, request, std::move(data));
        if (op == "pieces") return SendPieces(channel, asked, request, std::move(data));
        Export(channel, asked, request, std::move(data));
      });
    }
    if (op == "scorecard") {
      return Fork(frame, [this, &request](const Channel& channel, const Frame& asked) {
        ExportScorecard(channel, asked, request, std::move(table_));
      });
    }
    if (op == "dialogs") {
      return Fork(frame, [this, &request](Channel& channel, const Frame& asked) {
        ServeDialogs(channel, asked.id, request, PrepareTable(std::move(table_), {}, described_));
        static_cast<void>(channel.Send({"result", asked.id, "{}"}));
      });
    }
    if (op == "act") return Act(frame, request);
    throw RunError("There is no operation " + op + ".");
  }

  std::string CountOf(const Json& request) const {
    const std::string weight = request.value("weight", "");
    return CaseCountJson(table_, request.value("select", ""), request.value("exclude", ""),
                         weight.empty() ? 0 : NamedVariable(table_, "--weight", weight));
  }

  // Runs work in a child that ends afterwards. This process has one thread, so it is safe to fork.
  void Fork(const Frame& frame, const std::function<void(Channel&, const Frame&)>& work) {
    const SocketPair ends = MakeSocketPair();
    const pid_t process = fork();
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (const auto& [id, child] : children_) close(child.channel.Socket());
      close(channel_.Socket());
      close(ends.ours);
      Channel channel(ends.theirs);
      ChannelMonitor monitor(channel, frame.id);
      const MonitoredThread monitored(monitor);
      SendFailure(channel, frame.id, [&] { work(channel, frame); });
      _exit(kExitDone);
    }
    close(ends.theirs);
    Channel channel(ends.ours);
    if (process < 0) throw RunError("The system starts no further process.");
    children_.emplace(ends.ours, Child{process, frame.id, std::move(channel), false, false, {}});
  }

  void TakeAnswers(int socket) {
    const auto at = children_.find(socket);
    if (at == children_.end()) return;
    Child& child = at->second;
    if (child.channel.Fill()) {
      while (std::optional<Frame> frame = child.channel.Next()) {
        if (frame->type == "result" || frame->type == "error") {
          if (frame->id == child.request) child.answered = true;
          child.asked.erase(frame->id);
        }
        static_cast<void>(channel_.Send(*frame));
      }
      return;
    }
    int status = 0;
    while (waitpid(child.process, &status, 0) < 0 && errno == EINTR) continue;
    if (!child.answered) {
      const std::string signal =
          WIFSIGNALED(status) ? " (signal " + std::to_string(WTERMSIG(status)) + ")" : "";
      const std::string error = child.cancelled
                                    ? CancelledJson()
                                    : SentenceJson("The analysis ended unexpectedly" + signal +
                                                   ". The data and all other results are unchanged.");
      static_cast<void>(channel_.Send({"error", child.request, error}));
    }
    for (const std::uint64_t id : child.asked)
      static_cast<void>(channel_.Send({"error", id, SentenceJson("The dialogs have ended.")}));
    children_.erase(at);
  }

  // Gives an action to the child that serves dialogs; only "results" are answered by it.
  void Act(const Frame& frame, const Json& request) {
    const Json& action = request.at("action");
    for (auto& [socket, child] : children_) {
      if (child.request != request.at("target").get<std::uint64_t>()) continue;
      if (action.value("do", "") == "results") {
        child.asked.insert(frame.id);
      } else {
        static_cast<void>(channel_.Send({"result", frame.id, "{}"}));
      }
      static_cast<void>(child.channel.Send({"action", frame.id, JsonText(action)}));
      return;
    }
    throw RunError("The dialogs have ended.");
  }

  void Cancel(std::uint64_t request) {
    for (auto& [socket, child] : children_) {
      if (child.request != request || child.answered) continue;
      child.cancelled = true;
      kill(child.process, SIGKILL);
    }
  }

  int EndChildren() {
    for (auto& [socket, child] : children_) kill(child.process, SIGKILL);
    return kExitDone;
  }

  void DescribeSomeVariables() {
    const int last = std::min(described_ + kVariablesPerMessage, table_.VariableCount());
    const auto start = std::chrono::steady_clock::now();
    std::string list;
    do {
      const VariableProfile profile = ProfileVariable(table_, ++described_);
      Column& column = table_.Variable(described_);
      column.measurement = profile.measurement;
      column.measurementReason = profile.measurementReason;
      column.role = profile.role;
      column.roleReason = profile.roleReason;
      list += (list.empty() ? "" : ",") + VariableViewJson(table_, profile);
    } while (described_ < last && std::chrono::steady_clock::now() - start < kProgressInterval);
    static_cast<void>(channel_.Send({"variables", 0, "[" + list + "]"}));
  }

  Channel channel_;
  Table table_;
  UserMissing userMissing_;
  int described_ = 0;              // variables, from the first
  std::map<int, Child> children_;  // by the socket
};

}  // namespace

int RunWorker(const std::vector<std::string>& arguments) {
  // Ctrl-C of the terminal is for the server, which ends its workers.
  signal(SIGINT, SIG_IGN);
  signal(SIGHUP, SIG_IGN);
  Worker worker(std::stoi(arguments.at(0)));
  if (!worker.Load({arguments.begin() + 1, arguments.end()})) return kExitFailed;
  return worker.Serve();
}

}  // namespace velmora
