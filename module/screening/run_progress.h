// The run's progress display: one step per (response, predictor) pair.
#pragma once

#include <atomic>
#include <string>

#include "module/frame/progress_scope.h"

namespace vlmfsl {

class CQvdProgressBar {
 public:
  // Shows the display at once. maximum: number of steps.
  CQvdProgressBar(vlm::IEngineServices& services, const std::string& title, int maximum)
      : services_(services), scope_(services, title, maximum) {}

  // The next step, with its text.
  void Advance(const std::string& text) {
    services_.d_pbar(text.data(), static_cast<int>(text.size()));
    scope_.Advance(++step_);
  }
  // While other threads run tasks, they get what Poll has seen: only the host's thread may use the
  // display.
  [[nodiscard]] bool IsCancelled() const { return isShared_ ? cancelled_.load() : scope_.IsCancelled(); }
  void Share(bool isShared) { isShared_ = isShared; }
  bool Poll() {
    if (scope_.IsCancelled()) cancelled_ = true;
    return cancelled_;
  }

 private:
  vlm::IEngineServices& services_;
  ProgressScope scope_;
  int step_ = 0;
  bool isShared_ = false;
  std::atomic<bool> cancelled_ = false;
};

}  // namespace vlmfsl
