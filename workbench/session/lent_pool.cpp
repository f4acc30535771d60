#include "workbench/session/lent_pool.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace velmora {
namespace {

// How often the frontend is asked for a cancel at most.
constexpr auto kPollInterval = std::chrono::milliseconds(20);

struct RunningTask {
  WorkerPool* pool = nullptr;  // null: the thread runs no task
  std::vector<std::function<void()>>* deferred = nullptr;
};
thread_local RunningTask runningTask;

}  // namespace

WorkerPool& LentPool::Pool() {
  if (!pool_) pool_ = std::make_unique<WorkerPool>(threads_);
  return *pool_;
}

int LentPool::GetThreadCount() { return Pool().ThreadCount(); }

int LentPool::Run(vlm::IPoolTask* task, int count) try {
  WorkerPool& pool = Pool();
  std::vector<std::vector<std::function<void()>>> deferred(static_cast<std::size_t>(count));
  auto nextPoll = std::chrono::steady_clock::now();
  const bool finished = pool.Run(
      deferred.size(),
      [&](std::size_t index, int worker) {
        const RunningTask before = std::exchange(runningTask, {&pool, &deferred[index]});
        task->RunTask(static_cast<int>(index), worker);
        runningTask = before;
      },
      [&](double) {
        const auto now = std::chrono::steady_clock::now();
        if (now < nextPoll) return true;
        nextPoll = now + kPollInterval;
        // The module calls this on the session's thread, not as part of the task that runs there.
        const RunningTask before = std::exchange(runningTask, {});
        const bool stopped = task->IsStopped() != 0;
        runningTask = before;
        return !stopped;
      });
  for (const auto& actions : deferred) {
    for (const auto& action : actions) action();
  }
  return finished ? 0 : 1;
} catch (...) {
  return 1;  // memory is short
}

bool LentPool::IsInTask() { return runningTask.pool != nullptr; }

void LentPool::Defer(std::function<void()> action) { runningTask.deferred->push_back(std::move(action)); }

bool LentPool::IsStopping() { return runningTask.pool->IsStopping(); }

}  // namespace velmora
