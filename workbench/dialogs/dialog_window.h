// One open dialog of a module, which routes commands between a frontend, the module and scripts.
// Its controls are kept by DialogControls, the host's questions are asked by DialogQuestions; the
// window is the same whatever frontend shows it.
//
// A command runs inside the owner's call scope: what it defers (leaving the dialog) happens when
// the scope ends.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/dialogs.h"
#include "contract/resources.h"
#include "workbench/automation/automation_client.h"
#include "workbench/data/table.h"
#include "workbench/dialogs/dialog_controls.h"
#include "workbench/dialogs/dialog_frontend.h"
#include "workbench/dialogs/dialog_questions.h"
#include "workbench/dialogs/edit_text.h"

namespace velmora {

// The analysis that a dialog belongs to, as the dialog needs it.
class DialogOwner {
 public:
  virtual ~DialogOwner() = default;

  // Calls into the module nest; what was deferred happens when the outermost one has returned.
  virtual void BeginCall() = 0;
  virtual void EndCall() = 0;
  virtual bool UnderAutomation() const = 0;
  // Fails the script's call that is being served with this sentence.
  virtual void RaiseAutomationError(std::string_view sentence) = 0;
  // The automation error raised since the call began, if any; forgets it.
  virtual std::optional<AutomationError> TakeAutomationError() = 0;
  // Keeps the exception in flight until the outermost call has returned; nothing may pass through
  // the module.
  virtual void KeepCurrentException() noexcept = 0;
  // The module broke the rules of the contract; the sentence goes to the log.
  virtual void Misbehaved(std::string_view sentence) = 0;

  virtual const Table& Data() const = 0;
  // The distinct values of a variable in the selected cases, ascending.
  virtual std::vector<double> SelectedValues(int variableNumber) const = 0;
  virtual std::string DecimalSeparator() const = 0;
  virtual std::string PrintVariables(std::span<const int> numbers) const = 0;
  // Numbers of a variable-list text. Throws DataError.
  virtual std::vector<int> ParseVariables(std::string_view text) const = 0;
  virtual CaseSelectionText CaseSelection() const = 0;
  virtual void SetCaseSelection(const CaseSelectionText& selection) = 0;  // throws DataError
  virtual int CaseWeight() const = 0;
  virtual void SetCaseWeight(int variableNumber) = 0;      // throws DataError
  virtual void OpenDataFile(const std::string& path) = 0;  // throws DataError

  virtual void LockResults(bool lock) = 0;
  virtual void RestoreResults() = 0;
  virtual void FrameworkCommand(int command) = 0;
  virtual void Notice(std::string_view text) = 0;
  virtual vlm::IAutomationObject* ApplicationObject() = 0;  // borrowed
  virtual vlm::IAutomationObject* AnalysisObject() = 0;     // borrowed
};

class DialogWindow final : public vlm::IDialogWindow, public std::enable_shared_from_this<DialogWindow> {
 public:
  // Owner, frontend, resources and client outlive the window's open time; the client is
  // counted while it is open.
  DialogWindow(DialogOwner& owner, DialogFrontend& frontend, vlm::IModuleResources& resources,
               vlm::IDialogClient* client, int templateId);
  virtual ~DialogWindow() = default;
  DialogWindow(const DialogWindow&) = delete;
  DialogWindow& operator=(const DialogWindow&) = delete;

  // Loads the template and lets the client fill the controls. False when there is no such template.
  bool Open();
  // Notifies the client and releases it. A closed window takes no commands.
  void Close(int step);
  bool IsOpen() const { return open_; }
  int TemplateId() const { return templateId_; }
  vlm::IDialogClient* Client() const { return client_.Get(); }
  // The step that ExitDialog asked for.
  std::optional<int> RequestedStep() const { return requestedStep_; }
  // To be called after any change of the case selection or the weights.
  void CasesChanged();

  // --- For a frontend
  // The data that variables are chosen from.
  const Table& Data() const { return owner_.Data(); }
  // The values of a variable in the selected cases, ascending: its codes, and what an edit with
  // valuesOf takes.
  std::vector<double> SelectedValues(int variableNumber) const {
    return owner_.SelectedValues(variableNumber);
  }
  const std::string& Caption() const { return caption_; }
  // The data that the dialog uses: file, selection, weights. Empty before InitOpeningDialog.
  const std::string& DataLine() const { return dataLine_; }
  const std::vector<DialogPage>& Pages() const { return controls_.Pages(); }
  const std::vector<Control>& Controls() const { return controls_.All(); }
  // The first control with this id, or null.
  const Control* Find(int controlId) const { return controls_.Find(controlId); }
  // Index of the selected page; -1 when there are no pages.
  int SelectedPage() const { return controls_.SelectedPage(); }
  // False while the dialog is closed, while results are locked, and while a command runs: user
  // actions then have no effect.
  bool TakesCommands() const { return open_ && !locked_ && runningCommands_.empty(); }
  // The control whose command is running (the outermost one); 0: none. During OK, a frontend must
  // show an edit's error so that the user reads it before the run starts, since the dialog closes
  // after the run.
  int RunningCommand() const { return runningCommands_.empty() ? 0 : runningCommands_.front(); }
  void SetLocked(bool locked);

  // User actions. Each returns false, and does nothing, when the dialog takes no commands or has no
  // such control that is shown and enabled. Check boxes and radio buttons change before their
  // command runs. A text outside an edit's range sets the edit's error. Closing the window, or the
  // escape key, is Press(kCancelButton).
  bool Press(int controlId);
  bool SelectPage(int pageIndex);
  bool TypeText(int controlId, std::string_view text);
  bool ChooseItem(int controlId, int itemIndex);

  // --- vlm::IDialogWindow
  void AddDlgTabs(int tabControlId, const int* pageTemplateIds, int pageCount) override;
  void SelectDlgTab(int tabControlId, int pageIndex) override;
  void InitOpeningDialog() override;
  void EnableWindow(int controlId, int enabled) override;
  void ShowControl(int controlId, int shown) override;
  void CheckDlgButton(int controlId, int checked) override;
  void SetDlgItemText(int controlId, const char* text, int length) override;
  void GetDlgItemText(int controlId, vlm::ITextSink* text) override;
  void SetDlgItemInt(int controlId, int value) override;
  int GetDlgItemLong(int controlId, int* value) override;
  void SetDlgItemReal(int controlId, double value) override;
  int GetDlgItemReal(int controlId, double* value) override;
  void SetIntEditRange(int controlId, int minimum, int maximum) override;
  void SetRealEditRange(int controlId, double minimum, double maximum, int truncate) override;
  void OfferValues(int controlId, int variableNumber) override;
  void WriteVarListToCaptionLong(int controlId, const int* variables, int count, const char* noneText,
                                 int noneLength) override;
  void ClearDropDown(int controlId) override;
  void AddDropDownItem(int controlId, const char* text, int length) override;
  void SelectDropDownItem(int controlId, int itemIndex) override;
  int GetSelectedDropDownItem(int controlId) override;
  void ShowEditError(int controlId, const char* text, int length) override;
  void DisplayInstError(const char* text, int length) override;
  int VariableListsDialog(const char* title, int titleLength, const vlm::VariableListRequest* lists,
                          int listCount) override;
  int CodesListDialog(const char* title, int titleLength, const vlm::CodesRequest* variables,
                      int variableCount, int shownAtOnce, double minimum, double maximum,
                      vlm::ICodesSink* codes) override;
  int DefineSelCond() override;
  int DefineWeight() override;
  int OpenQvdFile() override;
  int SaveFileDialog(const char* title, int titleLength, const char* extension, int extensionLength,
                     vlm::ITextSink* path) override;
  int ConfirmReplacing(const char* const* paths, int count) override;
  void LockResults() override;
  void UnlockResults() override;
  void RestoreResults() override;
  void EnableStartupMenus(int /*enabled*/) override {}  // this host has none
  void SendFrameworkCommand(int command) override;
  void ExitDialog(int step) override;
  int InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
                      vlm::IAutomationResult* result) override;

 private:
  // Runs a call of the module; an exception is kept for later and failure is returned instead.
  template <typename Function>
  auto Guarded(Function function, decltype(function()) failure) noexcept -> decltype(function()) {
    try {
      return function();
    } catch (...) {
      owner_.KeepCurrentException();
      return failure;
    }
  }
  template <typename Function>
  void Guarded(Function function) noexcept {
    try {
      function();
    } catch (...) {
      owner_.KeepCurrentException();
    }
  }

  // Changes every control with the id and notifies the frontend; an unknown id is an error of the
  // module.
  template <typename Change>
  void ChangeControl(int controlId, Change change);
  // A control that the user can use now, or null.
  Control* FindUsable(int controlId) { return TakesCommands() ? controls_.FindUsable(controlId) : nullptr; }
  // Brings the page of a control to the front.
  void ShowPageOf(int controlId);
  void SendCommand(int controlId);
  void RefreshDataLine();
  void AvailabilityChanged();
  // Inherited members of the automation object: OK, Cancel, and the answers to questions.
  int PressFromScript(int controlId, vlm::IAutomationResult* result);
  void PutAnswer(int dispatchId, const vlm::AutomationValue& value);

  DialogOwner& owner_;
  DialogFrontend& frontend_;
  vlm::IModuleResources& resources_;
  vlm::Ref<vlm::IDialogClient> client_;
  int templateId_;
  bool open_ = false;
  bool locked_ = false;
  int lockCount_ = 0;
  std::vector<int> runningCommands_;
  std::optional<int> requestedStep_;
  std::string caption_;
  std::string dataLine_;
  DialogControls controls_;
  DialogQuestions questions_;
};

}  // namespace velmora
