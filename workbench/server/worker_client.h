// The server's side of a worker: starts the process, sends requests and hands out its answers.
//
//   WorkerClient worker({"credit.csv"}, [](const Frame& frame) { ... }); // frames that answer no
//   request std::string block =
//   worker.Ask(R"({"op":"grid","row":0,"rows":50,"column":0,"columns":8})");
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "workbench/server/channel.h"

namespace velmora {

class WorkerClient {
 public:
  using Handler = std::function<void(const Frame&)>;

  // arguments: the words of a command that say how the file is read, and the file. unasked: called
  // on a thread of this object for frames that answer no request, at last with the type "ended".
  // Throws RunError when no process can be started.
  WorkerClient(const std::vector<std::string>& arguments, Handler unasked);
  ~WorkerClient();
  WorkerClient(const WorkerClient&) = delete;
  WorkerClient& operator=(const WorkerClient&) = delete;

  // Sends a request. handler is called for each of its answers, in order, the last one of the type
  // "result" or "error". Returns the request's id; 0 when the worker is gone, and handler is not
  // called then.
  std::uint64_t Send(const std::string& json, Handler handler);
  // Sends a request and waits for the result. lines: gets the warnings on the way, unless it is
  // null. Throws RunError with the worker's sentence.
  std::string Ask(const std::string& json, std::vector<std::string>* lines = nullptr);

 private:
  void ReadAnswers();

  Channel channel_;
  int process_ = 0;
  Handler unasked_;
  std::mutex mutex_;      // of the members below
  std::mutex sendMutex_;  // held while a frame is sent
  std::map<std::uint64_t, Handler> handlers_;
  std::uint64_t lastId_ = 0;
  bool ended_ = false;
  std::thread reader_;
};

}  // namespace velmora
