// A progress bar of one line, redrawn in place.
#include "workbench/cli/progress_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "workbench/cli/console.h"
#include "workbench/cli/run_monitor.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr auto kQuietStart = std::chrono::milliseconds(300);  // short stages show no bar
constexpr int kBarCells = 30;

std::string RemainingTime(double seconds) {
  if (!(seconds < 360000)) return {};
  const auto whole = static_cast<long>(std::ceil(seconds));
  char text[64];
  if (whole < 90) {
    std::snprintf(text, sizeof text, "about %ld s left", whole);
  } else {
    std::snprintf(text, sizeof text, "about %ld min left", (whole + 30) / 60);
  }
  return text;
}

}  // namespace

ProgressBar* ProgressBar::shown_ = nullptr;

ProgressBar::ProgressBar() {
  const Terminal terminal = StandardErrorTerminal();
  shownOnTerminal_ = terminal.isTerminal;
  utf8_ = terminal.utf8;
  width_ = terminal.width;
}

ProgressBar::~ProgressBar() { Finish(); }

void ProgressBar::Start(std::string_view caption) {
  Finish();
  caption_ = PrintableText(ShortenedText(caption));
  started_ = Clock::now();
  lastDrawn_ = {};
}

void ProgressBar::Update(double fraction) {
  if (RunMonitor* const monitor = CurrentMonitor())
    return monitor->Progress(caption_, std::clamp(fraction, 0.0, 1.0));
  if (!shownOnTerminal_) return;
  const Clock::time_point now = Clock::now();
  if (now - lastDrawn_ < kRedrawInterval || now - started_ < kQuietStart) return;
  lastDrawn_ = now;
  Draw(std::clamp(fraction, 0.0, 1.0), now);
}

void ProgressBar::Draw(double fraction, Clock::time_point now) {
  const int cells = std::clamp(width_ - WidthOf(caption_) - 30, 5, kBarCells);
  const int full = static_cast<int>(fraction * cells);
  std::string line = caption_ + "  ";
  for (int cell = 0; cell < cells; ++cell) line += cell < full ? (utf8_ ? "█" : "#") : (utf8_ ? "░" : "-");
  char percent[16];
  std::snprintf(percent, sizeof percent, "  %3d %%", static_cast<int>(fraction * 100));
  line += percent;
  const double elapsed = std::chrono::duration<double>(now - started_).count();
  if (fraction > 0.02 && elapsed > 1) line += "  " + RemainingTime(elapsed * (1 - fraction) / fraction);
  if (line == drawn_) return;
  drawn_ = line;
  WriteToStandardError("\r" + line + "\x1b[K");
  shown_ = this;
}

void ProgressBar::Finish() {
  if (shown_ == this) WipeShown();
}

void ProgressBar::WipeShown() {
  if (shown_ == nullptr) return;
  WriteToStandardError("\r\x1b[K");
  shown_->drawn_.clear();
  shown_ = nullptr;
}

}  // namespace velmora
