// The thread of a session, to which the session's module belongs: calls come from any thread and
// run here, one at a time, while the caller waits and reports progress.
//
//   WorkThread thread;
//   thread.Run([&] { result = RunAnalysis(...); }, report);   // throws what the work throws
#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "workbench/cli/run_monitor.h"

namespace velmora {

class WorkThread final : private RunMonitor {
 public:
  // Called on the thread that waits; true stops the work.
  using Report = std::function<bool(const std::string& stage, double fraction)>;

  WorkThread();
  // Ends the thread. In a child process there is no thread to end.
  ~WorkThread();
  WorkThread(const WorkThread&) = delete;
  WorkThread& operator=(const WorkThread&) = delete;

  // Throws what work throws, and Cancelled when it was stopped. Throws RunError in a child process.
  // Calls of several threads take turns.
  void Run(const std::function<void()>& work, const Report& report);
  // The lines of the last work, in order, each once.
  const std::vector<std::string>& Lines() const { return lines_; }
  // Stops the work that runs; any thread.
  void Stop() { stopped_ = true; }

 private:
  void Loop();
  void Line(std::string_view text) override;
  void Progress(std::string_view caption, double fraction) override;
  bool IsStopped() override { return stopped_; }

  std::mutex callMutex_;  // held by the caller whose work runs
  std::mutex mutex_;      // of the members below
  std::condition_variable wakeUp_, done_;
  const std::function<void()>* work_ = nullptr;  // null: none is waiting or running
  bool ending_ = false;
  std::exception_ptr failure_;
  std::string stage_;
  double fraction_ = 0;
  std::atomic<bool> stopped_ = false;
  std::vector<std::string> lines_;
  unsigned process_;
  std::thread* thread_;  // never destroyed in a child process, where it cannot be joined
};

}  // namespace velmora
