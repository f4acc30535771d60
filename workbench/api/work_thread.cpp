#include "workbench/api/work_thread.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "workbench/cli/exit_codes.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr auto kReportInterval = std::chrono::milliseconds(50);

}  // namespace

WorkThread::WorkThread() : process_(ProcessNumber()), thread_(new std::thread([this] { Loop(); })) {}

WorkThread::~WorkThread() {
  if (ProcessNumber() != process_) return;
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wakeUp_.notify_one();
  thread_->join();
  delete thread_;
}

void WorkThread::Run(const std::function<void()>& work, const Report& report) {
  if (ProcessNumber() != process_)
    throw RunError("The session was opened in another process; open one in this process.");
  const std::lock_guard call(callMutex_);
  std::unique_lock lock(mutex_);
  lines_.clear();
  stage_.clear();
  fraction_ = 0;
  stopped_ = false;
  failure_ = nullptr;
  work_ = &work;
  wakeUp_.notify_one();
  while (work_ != nullptr) {
    if (!report) {
      done_.wait(lock);
    } else if (done_.wait_for(lock, kReportInterval) == std::cv_status::timeout && work_ != nullptr) {
      const std::string stage = stage_;
      const double fraction = fraction_;
      lock.unlock();
      if (report(stage, fraction)) stopped_ = true;
      lock.lock();
    }
  }
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void WorkThread::Loop() {
  const MonitoredThread monitored(*this);
  std::unique_lock lock(mutex_);
  for (;;) {
    wakeUp_.wait(lock, [this] { return work_ != nullptr || ending_; });
    if (work_ == nullptr) return;
    lock.unlock();
    std::exception_ptr failure;
    try {
      (*work_)();
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    failure_ = std::move(failure);
    work_ = nullptr;
    done_.notify_one();
  }
}

void WorkThread::Line(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (std::find(lines_.begin(), lines_.end(), text) == lines_.end()) lines_.emplace_back(text);
}

void WorkThread::Progress(std::string_view caption, double fraction) {
  const std::lock_guard lock(mutex_);
  stage_ = caption;
  fraction_ = fraction;
}

}  // namespace velmora
