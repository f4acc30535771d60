// The session's threads as the module borrows them, and what its tasks may not do off the session's
// thread: it is put off until they have ended.
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
  // Whether the calling thread's task shall end.
  static bool IsStopping();

 private:
  WorkerPool& Pool();

  const int threads_;
  std::unique_ptr<WorkerPool> pool_;
};

}  // namespace velmora
