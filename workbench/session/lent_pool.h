// The session's threads, lent to the module. Actions that its tasks may not do on other threads are
// deferred until the tasks have ended.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "contract/lent_threads.h"
#include "workbench/system/worker_pool.h"

namespace velmora {

class LentPool final : public vlm::IWorkerPool {
 public:
  // threads: as of WorkerPool.
  explicit LentPool(int threads) : threads_(threads) {}
  virtual ~LentPool() = default;
  LentPool(const LentPool&) = delete;
  LentPool& operator=(const LentPool&) = delete;

  int GetThreadCount() override;
  // Returns not 0 when memory is short, too.
  int Run(vlm::IPoolTask* task, int count) override;
  int AllowsProcedures() override { return 1; }

  // Ends the threads. They start again with the next run.
  void Release() { pool_.reset(); }

  // Whether a task of any pool runs on the calling thread.
  static bool IsInTask();
  // Keeps action until the run of the calling thread's task has ended: actions are done in the
  // order of the tasks, on the thread that called Run.
  static void Defer(std::function<void()> action);
  // Whether the task of the calling thread should end.
  static bool IsStopping();

 private:
  WorkerPool& Pool();

  const int threads_;
  std::unique_ptr<WorkerPool> pool_;
};

}  // namespace velmora
