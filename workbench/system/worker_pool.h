// Threads that share out numbered tasks. The results of a task must not depend on the worker or on
// the order, so results are the same for any number of threads.
//
//   WorkerPool pool(options.threads);
//   std::vector<Scratch> scratch(pool.ThreadCount());
//   const bool finished = pool.Run(predictors.size(), [&](std::size_t index, int worker) {
//     figures[index] = Compute(predictors[index], scratch[static_cast<std::size_t>(worker)]);
//   }, progress);
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace velmora {

class WorkerPool {
 public:
  // threads: that work at once, the caller of Run among them; 0: one for each processor that the
  // process may use. They start with the first Run that has more than one task, and fewer when the
  // system has no more.
  explicit WorkerPool(int threads = 0);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  int ThreadCount() const;

  // worker: 0 to ThreadCount() - 1. Tasks that run at the same time have different workers.
  using Task = std::function<void(std::size_t index, int worker)>;
  // Called on the thread that called Run, with the share of the tasks that are done; false stops.
  using Progress = std::function<bool(double fraction)>;

  // Calls task for 0 to count - 1, starting them in this order, and returns when all have ended;
  // false when progress has stopped the run, in which case some were never called. When tasks
  // throw, no more begin, and the exception of the lowest index is thrown. Calls of several threads
  // take turns; a task's own call runs on its thread alone.
  [[nodiscard]] bool Run(std::size_t count, const Task& task, const Progress& progress = {});

  // For a task that takes long: whether it should return, because progress or an exception stops
  // the run. Asks progress where the task runs on the caller's thread. Costs as much as progress.
  [[nodiscard]] bool IsStopping();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace velmora
