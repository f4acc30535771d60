// The session's face as windows of the system: the module's dialogs, the workbench's questions, messages and
// progress. Everything happens on the thread that made it, which runs its loop:
//
//   NativeFace face; Session session(face); ... session.StartFeatureSelection(); face.Run();
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "workbench/session/face.h"
#include "workbench/windows/native_dialog.h"

namespace velmora {

class NativeFace : public Face {
 public:
  NativeFace();
  ~NativeFace() override;
  NativeFace(const NativeFace&) = delete;
  NativeFace& operator=(const NativeFace&) = delete;

  // Dispatches messages until every dialog has closed. afterEach is called after each message, for what a command
  // left to be done outside of it (failures to be shown); may be empty.
  void Run(const std::function<void()>& afterEach = {});
  // The dialog's window, null when it is not open.
  NativeDialog* WindowOf(const DialogWindow& dialog);
  // A sentence for the person, in a message box over the dialog in front.
  void Tell(std::string_view sentence, UINT icon);

  void Notice(std::string_view text) override;
  void Message(std::string_view text) override;
  void ProgressOpened(std::string_view caption, int stepCount) override;
  void ProgressStep(int step) override;
  void ProgressClosed() override;
  bool CancelPressed() override;

  void DialogOpened(DialogWindow& window) override;
  void ControlChanged(DialogWindow& window, int controlId) override;
  void PageSelected(DialogWindow& window) override;
  void DataLineChanged(DialogWindow& window) override;
  void AvailabilityChanged(DialogWindow& window) override;
  void DialogClosed(DialogWindow& window) override;
  void ShowEditError(DialogWindow& window, int controlId, std::string_view text) override;
  void ShowInstructionError(DialogWindow& window, std::string_view text) override;
  bool AskVariableLists(DialogWindow& window, std::string_view title,
                        std::vector<VariableListQuestion>& lists) override;
  bool AskCodes(DialogWindow& window, CodesQuestion& question) override;
  bool AskCaseSelection(DialogWindow& window, CaseSelectionText& selection) override;
  bool AskCaseWeight(DialogWindow& window, int& variableNumber) override;
  std::optional<std::string> AskDataFile(DialogWindow& window) override;
  std::optional<std::string> AskSaveFile(DialogWindow& window, std::string_view title,
                                         std::string_view extension) override;
  bool AskReplaceFiles(DialogWindow& window, const std::vector<std::string>& paths) override;

 private:
  class ProgressWindow;

  HWND OwnerFor(const DialogWindow& window);
  HWND FrontWindow() const;
  // Nobody acts on a dialog whose command is running while messages are dispatched within it.
  void BlockDialogs();
  void DispatchOne(MSG& message);

  std::map<const DialogWindow*, std::unique_ptr<NativeDialog>> dialogs_;
  std::vector<std::unique_ptr<NativeDialog>> closed_;  // gone once no message of theirs is being handled
  std::unique_ptr<ProgressWindow> progress_;           // while there is progress that has lasted
  std::string progressCaption_;
  int progressStepCount_ = 0, progressStep_ = 0;
  ULONGLONG progressNextLook_ = 0;  // 0: there is no progress
};

}  // namespace velmora
