#include "workbench/cli/terminal_face.h"

#include <algorithm>
#include <utility>

#include "workbench/cli/console.h"

namespace velmora {

void TerminalFace::Say(std::string_view lines) {
  std::string text(lines);
  std::replace(text.begin(), text.end(), '\n', ' ');
  said_.emplace_back(text);
  if (!told_.insert(text).second) {
    unsaid_.emplace_back(text);
    return;  // every ranked output repeats the same notices
  }
  if (holding_) {
    held_.emplace_back(text);
  } else {
    Tell(text);
  }
}

void TerminalFace::Notice(std::string_view text) { Say(text); }

void TerminalFace::Message(std::string_view text) {
  if (quiet_) {
    said_.emplace_back(text);
    unsaid_.emplace_back(text);
  } else {
    Say(text);
  }
}

void TerminalFace::ShowEditError(DialogWindow& /*window*/, int controlId, std::string_view text) {
  Say(std::string(text) + " (control " + std::to_string(controlId) + ")");
}

void TerminalFace::ShowInstructionError(DialogWindow& /*window*/, std::string_view text) { Say(text); }

// A new run: its messages are shown even if they were shown for the run before.
void TerminalFace::OkCalled(DialogWindow& /*window*/) {
  unsaid_.clear();
  told_.clear();
}

// A failure is shown every time, even under --quiet. While messages are held back, the caller
// reports it.
void TerminalFace::OkRefused(DialogWindow& /*window*/) {
  if (holding_) return;
  for (const std::string& line : std::exchange(unsaid_, {})) Tell(line);
}

void TerminalFace::ProgressOpened(std::string_view caption, int stepCount) {
  stepCount_ = stepCount;
  bar_.Start(caption);
}

void TerminalFace::ProgressStep(int step) {
  if (stepCount_ > 0) bar_.Update(static_cast<double>(step) / stepCount_);
}

void TerminalFace::ProgressClosed() { bar_.Finish(); }

bool TerminalFace::CancelPressed() { return WasInterrupted(); }

void TerminalFace::DialogClosed(DialogWindow& window) {
  if (openDialog_ == &window) openDialog_ = nullptr;
}

std::vector<std::string> TerminalFace::TakeSaid() { return std::exchange(said_, {}); }

void TerminalFace::HoldBack(bool hold) {
  holding_ = hold;
  if (hold) return;
  for (const std::string& line : std::exchange(held_, {})) Tell(line);
}

}  // namespace velmora
