#include "workbench/cli/terminal_frontend.h"

#include <algorithm>
#include <utility>

#include "workbench/cli/console.h"

namespace velmora {

void TerminalFrontend::Show(std::string_view lines) {
  std::string text(lines);
  std::replace(text.begin(), text.end(), '\n', ' ');
  notices_.emplace_back(text);
  if (!reported_.insert(text).second) {
    unreported_.emplace_back(text);
    return;  // every ranked output repeats the same notices
  }
  if (holding_) {
    held_.emplace_back(text);
  } else {
    Report(text);
  }
}

void TerminalFrontend::Notice(std::string_view text) { Show(text); }

void TerminalFrontend::Message(std::string_view text) {
  if (quiet_) {
    notices_.emplace_back(text);
    unreported_.emplace_back(text);
  } else {
    Show(text);
  }
}

void TerminalFrontend::ShowEditError(DialogWindow& /*window*/, int controlId, std::string_view text) {
  Show(std::string(text) + " (control " + std::to_string(controlId) + ")");
}

void TerminalFrontend::ShowInstructionError(DialogWindow& /*window*/, std::string_view text) { Show(text); }

// A new run: its messages are shown even if they were shown for the run before.
void TerminalFrontend::OkCalled(DialogWindow& /*window*/) {
  unreported_.clear();
  reported_.clear();
}

// A failure is shown every time, even under --quiet. While messages are held back, the caller
// reports it.
void TerminalFrontend::OkRefused(DialogWindow& /*window*/) {
  if (holding_) return;
  for (const std::string& line : std::exchange(unreported_, {})) Report(line);
}

void TerminalFrontend::ProgressOpened(std::string_view caption, int stepCount) {
  stepCount_ = stepCount;
  bar_.Start(caption);
}

void TerminalFrontend::ProgressStep(int step) {
  if (stepCount_ > 0) bar_.Update(static_cast<double>(step) / stepCount_);
}

void TerminalFrontend::ProgressClosed() { bar_.Finish(); }

bool TerminalFrontend::CancelPressed() { return WasInterrupted(); }

void TerminalFrontend::DialogClosed(DialogWindow& window) {
  if (openDialog_ == &window) openDialog_ = nullptr;
}

std::vector<std::string> TerminalFrontend::TakeNotices() { return std::exchange(notices_, {}); }

void TerminalFrontend::HoldNotices(bool hold) {
  holding_ = hold;
  if (hold) return;
  for (const std::string& line : std::exchange(held_, {})) Report(line);
}

}  // namespace velmora
