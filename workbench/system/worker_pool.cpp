#include "workbench/system/worker_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace velmora {
namespace {

constexpr auto kProgressInterval = std::chrono::milliseconds(20);

// The pool and the number of the worker whose task the thread runs.
struct RunningWorker {
  const void* pool = nullptr;
  int worker = 0;
};
thread_local RunningWorker runningWorker;

}  // namespace

struct WorkerPool::State {
  explicit State(int number) : threadCount(number) {}

  void Start();
  void Loop(int worker);
  void Work(int worker);
  void AskProgress();
  void Fail(std::size_t index);

  const int threadCount;
  std::mutex callMutex;  // held by the thread whose tasks run

  // The running tasks. The caller sets these members while no worker is active.
  const Task* task = nullptr;  // null: there are none
  const Progress* progress = nullptr;
  std::size_t count = 0;
  std::atomic<std::size_t> next = 0, done = 0;
  std::atomic<bool> stopping = false;
  bool cancelled = false;  // used by the caller's thread only

  std::mutex mutex;  // of the members below
  std::condition_variable wakeUp, idle;
  std::size_t generation = 0;  // of tasks
  int active = 0;              // threads of the pool that work
  bool ending = false;
  std::exception_ptr failure;
  std::size_t failedIndex = 0;
  std::vector<std::thread> threads;
};

void WorkerPool::State::Start() {
  while (static_cast<int>(threads.size()) + 1 < threadCount) {
    try {
      threads.emplace_back([this, worker = static_cast<int>(threads.size()) + 1] { Loop(worker); });
    } catch (const std::system_error&) {
      return;  // the existing threads do all the work
    }
  }
}

void WorkerPool::State::Loop(int worker) {
  std::size_t seen = 0;
  std::unique_lock lock(mutex);
  for (;;) {
    wakeUp.wait(lock, [&] { return ending || generation != seen; });
    if (ending) return;
    seen = generation;
    if (task == nullptr) continue;  // the other threads have finished them
    ++active;
    lock.unlock();
    Work(worker);
    lock.lock();
    if (--active == 0) idle.notify_one();
  }
}

void WorkerPool::State::Work(int worker) {
  const RunningWorker before = std::exchange(runningWorker, {this, worker});
  while (!stopping.load(std::memory_order_relaxed)) {
    const std::size_t index = next.fetch_add(1, std::memory_order_relaxed);
    if (index >= count) break;
    try {
      (*task)(index, worker);
      done.fetch_add(1, std::memory_order_relaxed);
      if (worker == 0) AskProgress();
    } catch (...) {
      Fail(index);
    }
  }
  runningWorker = before;
}

// To be called in a handler of the exception.
void WorkerPool::State::Fail(std::size_t index) {
  const std::lock_guard lock(mutex);
  stopping = true;
  if (failure && index > failedIndex) return;
  failure = std::current_exception();
  failedIndex = index;
}

void WorkerPool::State::AskProgress() {
  if (!*progress || cancelled) return;
  const std::size_t ended = done.load(std::memory_order_relaxed);
  if ((*progress)(static_cast<double>(ended) / static_cast<double>(count))) return;
  cancelled = true;
  stopping = true;
}

WorkerPool::WorkerPool(int threads)
    : state_(std::make_unique<State>(
          threads > 0 ? threads : std::max(1, static_cast<int>(std::thread::hardware_concurrency())))) {}

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->ending = true;
  }
  state_->wakeUp.notify_all();
  for (std::thread& thread : state_->threads) thread.join();
}

int WorkerPool::ThreadCount() const { return state_->threadCount; }

bool WorkerPool::Run(std::size_t count, const Task& task, const Progress& progress) {
  State& state = *state_;
  if (runningWorker.pool == &state) {
    for (std::size_t index = 0; index < count; ++index) {
      task(index, runningWorker.worker);
      if (progress && !progress(static_cast<double>(index + 1) / static_cast<double>(count))) return false;
    }
    return true;
  }
  const std::lock_guard call(state.callMutex);
  if (count > 1) state.Start();
  {
    const std::lock_guard lock(state.mutex);
    state.task = &task;
    state.progress = &progress;
    state.count = count;
    state.next = 0;
    state.done = 0;
    state.stopping = false;
    state.cancelled = false;
    state.failure = nullptr;
    ++state.generation;
  }
  if (count > 1) state.wakeUp.notify_all();
  state.Work(0);
  std::unique_lock lock(state.mutex);
  bool ended = false;
  while (!ended) {
    ended = state.idle.wait_for(lock, kProgressInterval, [&] { return state.active == 0; });
    if (count == 0 || state.stopping) continue;
    lock.unlock();
    try {
      state.AskProgress();  // also when all is done, or a short run would never ask
    } catch (...) {
      state.Fail(count);
    }
    lock.lock();
  }
  state.task = nullptr;
  if (state.failure) std::rethrow_exception(std::exchange(state.failure, nullptr));
  return !state.cancelled;
}

bool WorkerPool::IsStopping() {
  State& state = *state_;
  if (runningWorker.pool == &state && runningWorker.worker == 0) state.AskProgress();
  return state.stopping.load(std::memory_order_relaxed);
}

}  // namespace velmora
