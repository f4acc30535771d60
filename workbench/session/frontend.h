// The frontend of a session: notices, messages, progress, dialogs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/dialogs/dialog_frontend.h"

namespace velmora {

// All calls are made on the session's thread. The base class shows nothing and never cancels.
class Frontend : public DialogFrontend {
 public:
  virtual void Notice(std::string_view /*text*/) {}   // of an analysis about its results
  virtual void Message(std::string_view /*text*/) {}  // of the message output
  // Steps are reported at most some two hundred times per display.
  virtual void ProgressOpened(std::string_view /*caption*/, int /*stepCount*/) {}
  virtual void ProgressStep(int /*step*/) {}
  virtual void ProgressClosed() {}
  // Whether leaving the results of an analysis leads back to its startup dialog, with the choices
  // made there, even where the module would end the analysis.
  virtual bool ReturnsToStartup() const { return false; }
  // True once the display's cancel button was pressed. Asked as often as ProgressStep is called.
  virtual bool CancelPressed() { return false; }
};

// Records all calls, for tests.
class RecordingFrontend : public Frontend {
 public:
  void Notice(std::string_view text) override { notices.emplace_back(text); }
  void Message(std::string_view text) override { messages.emplace_back(text); }
  void ProgressOpened(std::string_view caption, int stepCount) override {
    progress.emplace_back(caption);
    stepCounts.push_back(stepCount);
  }
  void ProgressStep(int step) override { steps.push_back(step); }
  void ProgressClosed() override { ++progressClosed; }
  void ShowEditError(DialogWindow& /*window*/, int controlId, std::string_view text) override {
    editErrors.emplace_back(controlId, text);
  }
  void ShowInstructionError(DialogWindow& /*window*/, std::string_view text) override {
    instructionErrors.emplace_back(text);
  }

  std::vector<std::string> notices, messages, progress, instructionErrors;
  std::vector<std::pair<int, std::string>> editErrors;  // control and text
  std::vector<int> stepCounts, steps;
  int progressClosed = 0;
};

}  // namespace velmora
