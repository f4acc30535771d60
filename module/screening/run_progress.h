// The run's progress display: one step a (response, predictor) pair.
#pragma once

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
  [[nodiscard]] bool IsCancelled() const { return scope_.IsCancelled(); }

 private:
  vlm::IEngineServices& services_;
  ProgressScope scope_;
  int step_ = 0;
};

}  // namespace vlmfsl
