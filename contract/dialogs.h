// Dialogs: the module describes them by templates and answers commands; the host owns the windows,
// whatever shows them (nothing, native windows, a page). Life of a dialog:
//   CreateAnalysisDialog -> OnInitDialog -> OnCommand ... -> ExitDialog -> OnClosed -> released
#pragma once

#include "contract/automation.h"
#include "contract/types.h"

namespace vlm {

// One list of a variable dialog: filled in by the caller, replaced by the choice of the user.
struct VariableListRequest {
  const char* caption;  // of the list
  int captionLength;
  int variableKind;  // 1 categorical, 2 continuous, 0 any: what the host offers first
  int maximumCount;  // upper limit of the count
  int* variables;    // capacity numbers, count of them set
  int* count;
  int capacity;
  int setNumber;  // lists of one set may name the same variable; 0: no other list may
};

// A variable of a codes dialog with the codes that are chosen for it when the dialog opens.
struct CodesRequest {
  int variableNumber;
  const double* codes;  // count of them
  int count;
  int all;  // not 0: chosen as "all values", whatever cases are selected when the codes are used
};

struct ICodesSink;

// The host's side of one open dialog. Borrowed by the client from CreateAnalysisDialog until
// OnClosed returns.
struct IDialogWindow {
  // Puts page templates of the module on a tab control; the pages' captions are the templates'.
  virtual void AddDlgTabs(int tabControlId, const int* pageTemplateIds, int pageCount) = 0;
  // Brings a page to the front, 0 the first.
  virtual void SelectDlgTab(int tabControlId, int pageIndex) = 0;
  // The host fills in what every dialog shows: the name of the data, selection and weights.
  virtual void InitOpeningDialog() = 0;

  virtual void EnableWindow(int controlId, int enabled) = 0;
  virtual void ShowControl(int controlId, int shown) = 0;
  virtual void CheckDlgButton(int controlId, int checked) = 0;
  virtual void SetDlgItemText(int controlId, const char* text, int length) = 0;
  virtual void GetDlgItemText(int controlId, ITextSink* text) = 0;
  virtual void SetDlgItemInt(int controlId, int value) = 0;
  // Returns 0 and the number, or not 0 when the edit holds no whole number.
  virtual int GetDlgItemLong(int controlId, int* value) = 0;
  virtual void SetDlgItemReal(int controlId, double value) = 0;
  // Returns 0 and the number, or not 0 when the edit holds no number.
  virtual int GetDlgItemReal(int controlId, double* value) = 0;
  virtual void SetIntEditRange(int controlId, int minimum, int maximum) = 0;
  virtual void SetRealEditRange(int controlId, double minimum, double maximum, int truncate) = 0;
  // The edit takes a value of this variable, which the host may offer with its label; 0: nothing to
  // offer.
  virtual void OfferValues(int controlId, int variableNumber) = 0;
  // The host's compact variable-list text, or noneText for an empty list.
  virtual void WriteVarListToCaptionLong(int controlId, const int* variables, int count, const char* noneText,
                                         int noneLength) = 0;
  virtual void ClearDropDown(int controlId) = 0;
  virtual void AddDropDownItem(int controlId, const char* text, int length) = 0;
  virtual void SelectDropDownItem(int controlId, int itemIndex) = 0;  // -1: none
  virtual int GetSelectedDropDownItem(int controlId) = 0;

  // Shows an error at an edit field, and one about the whole dialog.
  virtual void ShowEditError(int controlId, const char* text, int length) = 0;
  virtual void DisplayInstError(const char* text, int length) = 0;

  // The host's own dialogs. Return 1 for OK, 0 for Cancel. Only the host tells the user about wrong
  // entries.
  virtual int VariableListsDialog(const char* title, int titleLength, const VariableListRequest* lists,
                                  int listCount) = 0;
  // Shows the codes of each variable with the present choice; on OK the sink receives the new
  // choice for every variable. Values outside minimum..maximum are refused.
  virtual int CodesListDialog(const char* title, int titleLength, const CodesRequest* variables,
                              int variableCount, int shownAtOnce, double minimum, double maximum,
                              ICodesSink* codes) = 0;
  virtual int DefineSelCond() = 0;
  virtual int DefineWeight() = 0;
  virtual int OpenQvdFile() = 0;  // another data file; 1 when the host now has other data
  // title of the save-as dialog; extension with its dot. Returns 1 and the path, or 0.
  virtual int SaveFileDialog(const char* title, int titleLength, const char* extension, int extensionLength,
                             ITextSink* path) = 0;
  // Asks the user whether those of the files that exist may be replaced; paths: NUL-terminated
  // UTF-8. Returns 1 when they may, and when none exists.
  virtual int ConfirmReplacing(const char* const* paths, int count) = 0;

  virtual void LockResults() = 0;
  virtual void UnlockResults() = 0;
  virtual void RestoreResults() = 0;
  virtual void EnableStartupMenus(int enabled) = 0;
  virtual void SendFrameworkCommand(int command) = 0;  // 52818, 52819, 52821

  // The host closes the dialog and goes to the step once the running command has returned.
  virtual void ExitDialog(int step) = 0;

  // The members that every dialog's automation object inherits (dispatch ids 0 to 12). Returns a
  // DispatchStatus.
  virtual int InvokeInherited(int dispatchId, int kind, const AutomationValue* arguments, int argumentCount,
                              IAutomationResult* result) = 0;

 protected:
  ~IDialogWindow() = default;
};

// Receives the codes chosen for each of some variables.
struct ICodesSink {
  virtual void Clear() = 0;
  virtual void AppendCode(int variableIndex, double code) = 0;
  // The codes of the variable, which are appended too, stand for all its values.
  virtual void ChooseAll(int variableIndex) = 0;

 protected:
  ~ICodesSink() = default;
};

// The module's side of a dialog. The host counts a reference while the window is open; a script's
// automation object counts references of its own, and outlives the window: its calls then fail.
struct IDialogClient : ICounted {
  virtual void OnInitDialog(IDialogWindow* window) = 0;
  virtual void OnCommand(int controlId) = 0;
  virtual void OnClosed(int step) = 0;
  // The case selection or the case weights have changed: the dialog shows what depends on them.
  virtual void OnCasesChanged() = 0;
  virtual void GetAutomationWindowText(ITextSink* text) = 0;
  virtual IAutomationObject* GetAutomationObject() = 0;  // borrowed; shares the client's life

 protected:
  ~IDialogClient() = default;
};

}  // namespace vlm
