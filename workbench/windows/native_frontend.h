// The session's frontend on Windows: the module's dialogs, the workbench's questions, messages and
// progress as windows of the system. Everything happens on the thread that made it, which runs its
// loop:
//
//   NativeFrontend frontend;
//   Session session(frontend);
//   session.StartFeatureSelection();
//   frontend.Run();
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "workbench/session/frontend.h"
#include "workbench/windows/native_dialog.h"

namespace velmora {

class NativeFrontend : public Frontend {
 public:
  NativeFrontend();
  ~NativeFrontend() override;
  NativeFrontend(const NativeFrontend&) = delete;
  NativeFrontend& operator=(const NativeFrontend&) = delete;

  // Dispatches messages until the main window closes, or without one until every dialog has. Calls
  // afterEach, unless it is empty, after each message: for work that a command leaves to be done
  // outside of it, such as showing failures.
  void Run(const std::function<void()>& afterEach = {});
  // A window that Run serves besides the dialogs; null for none.
  void SetMainWindow(HWND window) { mainWindow_ = window; }
  // The dialog's window, null when it is not open.
  NativeDialog* WindowOf(const DialogWindow& dialog);
  // False while a command of a dialog runs, and while the user is asked anything.
  bool IsReady() const;
  // A line under each dialog's controls, after the description of the data.
  void ShowStatus(std::string_view status);
  // A message box over the dialog in front. Returns what MessageBox returns.
  int ShowMessage(std::string_view sentence, UINT style);

  // Files to open and to save: false or nothing for Cancel.
  std::optional<std::string> ChooseDataFile(HWND owner);
  std::optional<std::string> ChooseTableFile(HWND owner, const std::string& present);

  // A user who cancels the results has choices to come back to.
  bool ReturnsToStartup() const override { return true; }
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
  // Called before a dialog's data are replaced; false keeps them.
  virtual bool MayReplaceData() { return true; }
  virtual void ShowHelp() {}
  std::optional<std::string> AskDataFile(DialogWindow& window) override;
  std::optional<std::string> AskSaveFile(DialogWindow& window, std::string_view title,
                                         std::string_view extension) override;
  bool AskReplaceFiles(DialogWindow& window, const std::vector<std::string>& paths) override;

 private:
  class ProgressWindow;

  HWND OwnerFor(const DialogWindow& window);
  HWND FrontWindow() const;
  // Disables the dialogs whose command runs while messages are dispatched within it.
  void BlockDialogs();
  void DispatchOne(MSG& message);

  std::map<const DialogWindow*, std::unique_ptr<NativeDialog>> dialogs_;
  // Destroyed once none of their messages is being handled.
  std::vector<std::unique_ptr<NativeDialog>> closed_;
  HWND mainWindow_ = nullptr;
  int questions_ = 0;  // message boxes and file dialogs that are open
  std::string status_;
  std::unique_ptr<ProgressWindow> progress_;  // once a command has taken long enough to show it
  std::string progressCaption_;
  int progressStepCount_ = 0, progressStep_ = 0;
  ULONGLONG progressNextLook_ = 0;  // 0: no command reports progress
};

}  // namespace velmora
