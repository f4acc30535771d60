// The frontend of a session at a terminal: a progress bar, Ctrl-C, notices and messages on standard
// error, each once per run.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/cli/progress_bar.h"
#include "workbench/session/frontend.h"

namespace velmora {

class TerminalFrontend : public Frontend {
 public:
  explicit TerminalFrontend(bool quiet) : quiet_(quiet) {}

  void Notice(std::string_view text) override;
  void Message(std::string_view text) override;
  void ProgressOpened(std::string_view caption, int stepCount) override;
  void ProgressStep(int step) override;
  void ProgressClosed() override;
  bool CancelPressed() override;
  void DialogOpened(DialogWindow& window) override { openDialog_ = &window; }
  void DialogClosed(DialogWindow& window) override;
  void ShowEditError(DialogWindow& window, int controlId, std::string_view text) override;
  void ShowInstructionError(DialogWindow& window, std::string_view text) override;
  void OkCalled(DialogWindow& window) override;
  void OkRefused(DialogWindow& window) override;

  // The dialog opened last, null when it was closed.
  DialogWindow* OpenDialog() const { return openDialog_; }

  // Notices and messages since the last call, in order.
  std::vector<std::string> TakeNotices();
  // Holds lines back (for the sentence of a failure), or shows them at once, which is the default.
  void HoldNotices(bool hold);
  // Drops the lines that were held back because they are reported elsewhere.
  void DropHeld() { held_.clear(); }

 private:
  void Show(std::string_view text);

  bool quiet_;
  bool holding_ = false;
  std::set<std::string> reported_;
  std::vector<std::string> notices_, held_;
  // Messages since OK was called that are not shown: repeated ones, or all under --quiet.
  std::vector<std::string> unreported_;
  DialogWindow* openDialog_ = nullptr;
  ProgressBar bar_;
  int stepCount_ = 0;
};

}  // namespace velmora
