// A progress bar on standard error, drawn only on a terminal; a thread's monitor gets the fractions
// instead:
//   Computing...  [##########----------]  48 %  about 12 s left
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace velmora {

class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Begins a new stage at 0.
  void Start(std::string_view caption);
  // fraction: 0 to 1. Cheap: draws at most ten times a second, and only when the display changes.
  void Update(double fraction);
  void Finish();

  // Erases the bar that is shown, if any, so that a line can be written there.
  static void WipeShown();

 private:
  using Clock = std::chrono::steady_clock;
  void Draw(double fraction, Clock::time_point now);

  bool shownOnTerminal_ = false;
  bool utf8_ = true;
  int width_ = 80;
  std::string caption_;
  std::string drawn_;
  Clock::time_point started_;
  Clock::time_point lastDrawn_;
  static ProgressBar* shown_;
};

}  // namespace velmora
