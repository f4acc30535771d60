#include "module/frame/shared_work.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <new>

namespace vlmfsl {
namespace {

class SharedTask final : public vlm::IPoolTask {
 public:
  SharedTask(const std::function<void(int, int)>& body, const std::function<bool()>& isStopped)
      : body_(body), isStopped_(isStopped) {}
  virtual ~SharedTask() = default;
  SharedTask(const SharedTask&) = delete;
  SharedTask& operator=(const SharedTask&) = delete;

  void RunTask(int index, int worker) override {
    try {
      body_(index, worker);
    } catch (...) {
      Keep(index);
    }
  }

  int IsStopped() override {
    if (failed_) return 1;
    try {
      stopped_ = stopped_ || isStopped_();
    } catch (...) {
      Keep(-1);
      return 1;
    }
    return stopped_ ? 1 : 0;
  }

  // Ends the run. Returns false when isStopped has stopped it.
  bool Finish() {
    if (failure_) std::rethrow_exception(failure_);
    return stopped_;
  }

 private:
  void Keep(int index) {
    const std::lock_guard lock(mutex_);
    failed_ = true;
    if (failure_ && index > failedIndex_) return;
    failure_ = std::current_exception();
    failedIndex_ = index;
  }

  const std::function<void(int, int)>& body_;
  const std::function<bool()>& isStopped_;
  bool stopped_ = false;
  std::atomic<bool> failed_ = false;
  std::mutex mutex_;
  std::exception_ptr failure_;
  int failedIndex_ = 0;
};

}  // namespace

vlm::IWorkerPool* WorkerPoolOf(vlm::IEngineServices& services) {
  return static_cast<vlm::IWorkerPool*>(services.GetExtension(vlm::kWorkerPoolExtension));
}

bool ShareOut(vlm::IWorkerPool* pool, int count, const std::function<void(int index, int worker)>& body,
              const std::function<bool()>& isStopped) {
  if (pool == nullptr) {
    for (int index = 0; index < count; ++index) {
      if (isStopped()) return false;
      body(index, 0);
    }
    return true;
  }
  SharedTask task(body, isStopped);
  const bool ended = pool->Run(&task, count) == 0;
  if (task.Finish()) return false;
  if (!ended) throw std::bad_alloc();
  return true;
}

}  // namespace vlmfsl
