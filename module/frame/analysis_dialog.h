// The module's side of a modeless dialog: life, closed state, and the host's window in texts of
// this side.
//   CreateAnalysisDialog -> OnInitDialog -> OnCommand ... -> OnClosed
#pragma once

#include <string>
#include <string_view>

#include "contract/dialogs.h"
#include "module/frame/analysis_support.h"
#include "module/frame/dispatch.h"

namespace vlmfsl {

class CAnalysisModelessDialog : public vlm::IDialogClient {
 public:
  CAnalysisModelessDialog(const CAnalysisModelessDialog&) = delete;
  CAnalysisModelessDialog& operator=(const CAnalysisModelessDialog&) = delete;

  // Has the host open the dialog. Returns whether it did. The analysis outlives the open window.
  [[nodiscard]] bool CreateAnalysisDialog();

  void OnInitDialog(vlm::IDialogWindow* window) final;
  void OnCommand(int controlId) final;
  void OnClosed(int step) final;
  void OnCasesChanged() final;
  void GetAutomationWindowText(vlm::ITextSink* text) final;

  // Null while no window is open.
  vlm::IDialogWindow* Window() const { return window_; }
  bool IsInCommand() const { return inCommand_; }

 protected:
  // className: in logged errors ("CDefineTask"). windowTextId: the dialog's text for automation.
  CAnalysisModelessDialog(CAnalysisSupport& analysis, int templateId, const char* className, int windowTextId)
      : analysis_(analysis), templateId_(templateId), className_(className), windowTextId_(windowTextId) {}
  virtual ~CAnalysisModelessDialog() = default;

  // The window is open in all of these. May throw.
  virtual void InitDialog() = 0;
  virtual void Command(int controlId) = 0;
  // Updates every control from the analysis.
  virtual void Refresh() = 0;
  // Shows what depends on the case selection and the weights.
  virtual void CasesChanged() {}

  CAnalysisSupport& Analysis() const { return analysis_; }
  void CountReference() { ++references_; }
  void DiscountReference();

  void AddPages(std::initializer_list<int> pageTemplateIds);
  void SetText(int controlId, std::string_view text);
  void ShowEditError(int controlId, int textId);
  void DisplayInstError(int textId);
  void WriteVarListToCaptionLong(int controlId, const int* variables, int count);
  void CheckRadio(std::initializer_list<int> controlIds, int checkedId);
  void Exit(int step);

 private:
  friend class CAnalysisSupport;
  void RefreshControls();
  // Tells the user that a command did not happen, and why.
  void ReportFailedCommand(const CommandOutcome& outcome);

  CAnalysisSupport& analysis_;
  int templateId_;
  const char* className_;
  int windowTextId_;
  int references_ = 1;
  bool inCommand_ = false;
  vlm::IDialogWindow* window_ = nullptr;
  CAnalysisModelessDialog* nextOpen_ = nullptr;
};

// A dialog and its automation object: one object, one life.
template <typename DialogBase, typename AutomationBase>
class ScriptableDialog : public DialogBase, public AutomationBase {
 public:
  void AddReference() final { DialogBase::CountReference(); }
  void ReleaseReference() final { DialogBase::DiscountReference(); }
  vlm::IAutomationObject* GetAutomationObject() final { return this; }

 protected:
  using DialogBase::DialogBase;
  ~ScriptableDialog() override = default;
  vlm::IDialogWindow* OpenWindow() const final { return DialogBase::Window(); }
  bool IsBusy() const final { return DialogBase::IsInCommand(); }
};

// Between LockResults and UnlockResults of the window; a window that has closed meanwhile is left
// alone.
class ResultsLock {
 public:
  explicit ResultsLock(const CAnalysisModelessDialog& dialog) : dialog_(dialog) {
    if (dialog_.Window()) dialog_.Window()->LockResults();
  }
  ~ResultsLock() {
    if (dialog_.Window()) dialog_.Window()->UnlockResults();
  }
  ResultsLock(const ResultsLock&) = delete;
  ResultsLock& operator=(const ResultsLock&) = delete;

 private:
  const CAnalysisModelessDialog& dialog_;
};

}  // namespace vlmfsl
