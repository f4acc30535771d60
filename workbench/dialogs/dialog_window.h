// One open dialog of a module: every control's state, loaded from the module's templates, and the way of
// commands between a face and the module. The window is the same whatever face shows it.
//
// A command runs inside the owner's call scope: what it defers (leaving the dialog) happens when the scope
// ends.
#pragma once

#include <map>
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
#include "workbench/dialogs/dialog_face.h"
#include "workbench/dialogs/edit_text.h"

namespace velmora {

// Buttons that every dialog has from the host; their commands do not reach the module.
inline constexpr int kOkButton = 1;
inline constexpr int kCancelButton = 2;
inline constexpr int kOptionsButton = 10710;
inline constexpr int kByGroupButton = 10720;
// Buttons whose commands come back from the module as questions of the host.
inline constexpr int kCaseSelectionButton = 1001;
inline constexpr int kCaseWeightButton = 1002;
inline constexpr int kOpenDataButton = 1003;

struct Control {
  int id = 0;
  int pageIndex = -1;  // -1: on the dialog itself, else index of its page
  vlm::ControlClass controlClass = vlm::kButton;
  std::string caption;  // of the template; '&' and "!249" marks included
  int x = 0, y = 0, width = 0, height = 0;
  bool groupStart = false;
  bool isDefault = false;  // what the return key presses
  bool tabStop = true;

  bool enabled = true;
  bool shown = true;
  bool checked = false;
  std::string text;  // what edits and captions show
  std::optional<double> minimum, maximum;
  bool truncate = false;
  std::vector<std::string> items;  // of a drop-down list
  int selectedItem = -1;
  std::string error;  // shown on the field until its text changes

  // False when the edit has a range and its text is no number of it. The module decides what that means.
  bool InRange(std::string_view decimalSeparator) const;
};

struct DialogPage {
  int templateId = 0;
  int tabControlId = 0;
  std::string caption;
};

// What a dialog asks of the analysis that it belongs to.
class DialogOwner {
 public:
  virtual ~DialogOwner() = default;

  // Calls into the module nest; what was deferred happens when the outermost one has returned.
  virtual void BeginCall() = 0;
  virtual void EndCall() = 0;
  virtual bool UnderAutomation() const = 0;
  // The automation error raised since the call began, if any; forgets it.
  virtual std::optional<AutomationError> TakeAutomationError() = 0;
  // Keeps the exception in flight until the outermost call has returned; nothing may pass through the module.
  virtual void KeepCurrentException() noexcept = 0;
  // The module broke the rules of the contract; the sentence goes to the log.
  virtual void Misbehaved(std::string_view sentence) = 0;

  virtual const Table& Data() const = 0;
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
  virtual void EnableStartupMenus(bool enabled) = 0;
  virtual void FrameworkCommand(int command) = 0;
  virtual void Message(std::string_view text) = 0;
  virtual vlm::IAutomationObject* ApplicationObject() = 0;  // borrowed
  virtual vlm::IAutomationObject* AnalysisObject() = 0;     // borrowed
};

class DialogWindow final : public vlm::IDialogWindow, public std::enable_shared_from_this<DialogWindow> {
 public:
  // Owner, face, resources and client outlive the window's open time; the client is counted while it is open.
  DialogWindow(DialogOwner& owner, DialogFace& face, vlm::IModuleResources& resources,
               vlm::IDialogClient* client, int templateId);
  virtual ~DialogWindow() = default;
  DialogWindow(const DialogWindow&) = delete;
  DialogWindow& operator=(const DialogWindow&) = delete;

  // Loads the template and lets the client fill the controls. False when there is no such template.
  bool Open();
  // Tells the client and lets go of it. A closed window takes no commands.
  void Close(int step);
  bool IsOpen() const { return open_; }
  int TemplateId() const { return templateId_; }
  vlm::IDialogClient* Client() const { return client_.Get(); }
  // The step that ExitDialog asked for.
  std::optional<int> RequestedStep() const { return requestedStep_; }

  // --- For a face
  // The data that variables are chosen from.
  const Table& Data() const { return owner_.Data(); }
  const std::string& Caption() const { return caption_; }
  // The data that the dialog works on: file, selection, weights. Empty until the module had it filled in.
  const std::string& DataLine() const { return dataLine_; }
  const std::vector<DialogPage>& Pages() const { return pages_; }
  const std::vector<Control>& Controls() const { return controls_; }
  // The first control with this id, or null.
  const Control* Find(int controlId) const;
  // Index of the page in front; -1 when there are no pages.
  int SelectedPage() const { return selectedPage_; }
  // False while the dialog is closed, while results are locked and while a command runs: then nothing that a
  // person does has an effect.
  bool TakesCommands() const { return open_ && !locked_ && runningCommands_ == 0; }
  bool IsLocked() const { return locked_; }
  void SetLocked(bool locked);

  // What a person does. Each returns false, and does nothing, when the dialog takes no commands or has no such
  // control that is shown and enabled. Boxes and radio buttons change their check first, as windows do.
  // Closing the window by its frame or the escape key is Press(kCancelButton).
  bool Press(int controlId);
  bool SelectPage(int pageIndex);
  bool TypeText(int controlId, std::string_view text);
  bool ChooseItem(int controlId, int itemIndex);

  // --- vlm::IDialogWindow
  void AddDlgTabs(int tabControlId, const int* pageTemplateIds, int pageCount) override;
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
  int CodesListDialog(const char* title, int titleLength, const int* variables, int variableCount,
                      int shownAtOnce, double minimum, double maximum, vlm::ICodesSink* codes) override;
  int DefineSelCond() override;
  int DefineWeight() override;
  int OpenQvdFile() override;
  int SaveFileDialog(const char* title, int titleLength, const char* extension, int extensionLength,
                     vlm::ITextSink* path) override;
  void LockResults() override;
  void UnlockResults() override;
  void RestoreResults() override;
  void EnableStartupMenus(int enabled) override;
  void SendFrameworkCommand(int command) override;
  void ExitDialog(int step) override;
  int InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
                      vlm::IAutomationResult* result) override;

 private:
  // Dispatch ids of what every dialog's automation object inherits.
  enum InheritedMember : int {
    kNameMember = 0,
    kApplicationMember = 1,
    kParentMember = 2,
    kOkMember = 3,
    kCancelMember = 4,
    kFirstResultsMember = 5,
    kResultsVariables = 7,
    kResultsCodes = 9,
    kResultsSaveFileName = 10,
    kLastResultsMember = 12
  };

  // Runs what the module asked for; an exception is kept for later and failure is returned in its place.
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

  void LoadControls(const vlm::DialogTemplate& dialogTemplate, int pageIndex);
  // Calls change(control) for every control with the id and tells the face; an unknown id is the module's
  // mistake.
  template <typename Change>
  void ChangeControl(int controlId, Change change);
  Control* FindUsable(int controlId);
  // Brings the page of a control to the front.
  void ShowPageOf(int controlId);
  void SendCommand(int controlId);
  void RefreshDataLine();
  void AvailabilityChanged();
  int PressFromScript(int controlId, vlm::IAutomationResult* result);
  // What a script has put for a question before it is asked; null when nothing, or when a person is asked.
  const Variant* ScriptedAnswer(InheritedMember member) const;
  void CheckLists(const std::vector<VariableListQuestion>& questions) const;  // throws DataError
  // Asks until the answer is taken or the user gives up; ask returns false for Cancel, use throws DataError.
  template <typename Ask, typename Use>
  bool AskUntilTaken(Ask ask, Use use);

  DialogOwner& owner_;
  DialogFace& face_;
  vlm::IModuleResources& resources_;
  vlm::Ref<vlm::IDialogClient> client_;
  int templateId_;
  bool open_ = false;
  bool locked_ = false;
  int lockCount_ = 0;
  int runningCommands_ = 0;
  int selectedPage_ = -1;
  std::optional<int> requestedStep_;
  std::string caption_;
  std::string dataLine_;
  std::vector<DialogPage> pages_;
  std::vector<Control> controls_;
  std::map<int, Variant> resultsSettings_;  // Results... values put by a script, by dispatch id
};

}  // namespace velmora
