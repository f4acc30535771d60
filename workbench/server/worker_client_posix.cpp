#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <future>
#include <nlohmann/json.hpp>

#include "workbench/cli/exit_codes.h"
#include "workbench/server/worker.h"
#include "workbench/server/worker_client.h"
#include "workbench/system/system.h"

extern char** environ;

namespace velmora {
namespace {

constexpr int kSocketOfWorker = 3;
constexpr char kEnded[] = "The process that holds the data has ended unexpectedly; the data are read again.";

// Starts this program as a worker whose socket has the number kSocketOfWorker.
pid_t StartWorker(int socket, const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {ExecutablePath().string(), kWorkerSwitch,
                                    std::to_string(kSocketOfWorker)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  // This also makes a socket inheritable that already has that number.
  posix_spawn_file_actions_adddup2(&actions, socket, kSocketOfWorker);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, words.front().c_str(), &actions, &attributes, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw RunError("The process that holds the data cannot be started.");
  return process;
}

}  // namespace

WorkerClient::WorkerClient(const std::vector<std::string>& arguments, Handler unasked)
    : channel_(-1), unasked_(std::move(unasked)) {
  const SocketPair ends = MakeSocketPair();
  channel_ = Channel(ends.ours);
  const Channel theirs(ends.theirs);
  process_ = StartWorker(theirs.Socket(), arguments);
  reader_ = std::thread([this] { ReadAnswers(); });
}

WorkerClient::~WorkerClient() {
  channel_.Shut();  // which ends the worker, too
  reader_.join();
}

std::uint64_t WorkerClient::Send(const std::string& json, Handler handler) {
  std::uint64_t id = 0;
  {
    const std::lock_guard lock(mutex_);
    if (ended_) return 0;
    id = ++lastId_;
    handlers_.emplace(id, std::move(handler));
  }
  const std::lock_guard lock(sendMutex_);
  // A worker that is gone is noticed by the reader.
  static_cast<void>(channel_.Send({"request", id, json}));
  return id;
}

std::string WorkerClient::Ask(const std::string& json, std::vector<std::string>* lines) {
  const auto answer = std::make_shared<std::promise<std::string>>();
  std::future<std::string> result = answer->get_future();
  const std::uint64_t id = Send(json, [answer, lines](const Frame& frame) {
    if (frame.type == "line" && lines != nullptr)
      lines->push_back(nlohmann::json::parse(frame.payload).get<std::string>());
    if (frame.type == "result") answer->set_value(frame.payload);
    if (frame.type != "error") return;
    const std::string sentence = nlohmann::json::parse(frame.payload).value("error", "");
    answer->set_exception(std::make_exception_ptr(RunError(sentence)));
  });
  if (id == 0) throw RunError(kEnded);
  return result.get();
}

void WorkerClient::ReadAnswers() {
  try {
    while (channel_.Fill()) {
      while (std::optional<Frame> frame = channel_.Next()) {
        Handler handler;
        if (frame->id == 0) {
          handler = unasked_;
        } else {
          const std::lock_guard lock(mutex_);
          const auto at = handlers_.find(frame->id);
          if (at == handlers_.end()) continue;
          const bool last = frame->type == "result" || frame->type == "error";
          handler = last ? std::move(at->second) : at->second;
          if (last) handlers_.erase(at);
        }
        handler(*frame);
      }
    }
  } catch (const RunError&) {  // a damaged message: as if the worker had ended
    kill(process_, SIGKILL);
  }
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
  std::map<std::uint64_t, Handler> open;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    open.swap(handlers_);
  }
  const std::string sentence = nlohmann::json({{"error", kEnded}}).dump();
  for (const auto& [id, handler] : open) handler({"error", id, sentence});
  unasked_({"ended", 0, "{}"});
}

}  // namespace velmora
