// One analysis of the module while it runs: its steps, its open dialogs, and notes about its run.
// The module sees the session through AnalysisHost.
//
//   100 Init -> 101 startup dialog --OK--> 102 results dialog --Cancel--> 101 again
//                                \--Cancel--> 0: the analysis ends
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/analysis.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/session/analysis_host.h"
#include "workbench/session/library_resources.h"
#include "workbench/session/session_core.h"

namespace velmora {

inline constexpr int kInitStep = 100;
inline constexpr int kStartupStep = 101;
inline constexpr int kResultsStep = 102;

class RunningAnalysis final : public DialogOwner {
 public:
  // Takes ownership of the analysis: attaches the host to it and destroys it at the end.
  RunningAnalysis(SessionCore& core, std::shared_ptr<ModuleLibrary> library, vlm::IAnalysis* analysis);
  ~RunningAnalysis() override;

  // Enters a step and the steps that follow it automatically. False when an operation failed or
  // there is no such step.
  bool GoTo(int step);
  // Closes dialogs that asked to be left and enters their steps. True when there was any.
  bool RunDeferred();
  bool HasEnded() const { return ended_; }
  // Closes the dialogs; the analysis is destroyed when no call into the module runs any more.
  void End();
  void CloseDialogs();
  // After the session's data are replaced: closes the dialogs and opens the startup dialog with new
  // settings.
  void StartAfresh();
  // Updates open dialogs after a change of the case selection or the weights.
  void CasesChanged();

  // The open dialog that a step opened, or null.
  DialogWindow* DialogOf(int step) const;
  vlm::IAnalysis& Analysis() { return *analysis_; }
  const std::shared_ptr<ModuleLibrary>& Library() const { return library_; }
  std::string Name();
  AnalysisNotes& Notes() { return notes_; }
  // Whether weights are used as they are; otherwise they are rounded. The startup dialog must be
  // open to change it.
  bool UsesWeightsAsGiven() const { return host_.UsesWeightsAsGiven(); }
  void UseWeightsAsGiven(bool asGiven);  // throws AutomationError
  // The properties of an open dialog that can be read and put, in the interface's order.
  std::vector<MemberValue> SettingsOf(int step) const;
  const SessionServices& Services() const { return host_.Services(); }

  // --- For AnalysisHost
  // Runs the operation of the step and of the steps that follow it automatically; step 0 ends the
  // analysis.
  bool EnterSteps(int step);
  void ResultsChanged(bool available);
  bool OpenDialogOf(vlm::IDialogClient* client, int templateId);
  void RaiseAutomationError(int code, std::string_view sentence);

  // --- DialogOwner
  void BeginCall() override { core_.BeginCall(); }
  void EndCall() override { core_.EndCall(); }
  bool UnderAutomation() const override { return core_.automationDepth > 0; }
  void RaiseAutomationError(std::string_view sentence) override;
  std::optional<AutomationError> TakeAutomationError() override;
  void KeepCurrentException() noexcept override { core_.KeepCurrentException(); }
  void Misbehaved(std::string_view sentence) override;
  const Table& Data() const override { return core_.table; }
  std::vector<double> SelectedValues(int variableNumber) const override {
    return host_.Input().SelectedValues(variableNumber);
  }
  std::string DecimalSeparator() const override { return core_.options.decimalSeparator; }
  std::string PrintVariables(std::span<const int> numbers) const override;
  std::vector<int> ParseVariables(std::string_view text) const override;
  CaseSelectionText CaseSelection() const override { return core_.selectionText; }
  void SetCaseSelection(const CaseSelectionText& selection) override { core_.SelectCases(selection); }
  int CaseWeight() const override { return core_.weightVariable; }
  void SetCaseWeight(int variableNumber) override { core_.WeightBy(variableNumber); }
  void OpenDataFile(const std::string& path) override;
  void LockResults(bool lock) override;
  void RestoreResults() override;
  void FrameworkCommand(int command) override;
  void Notice(std::string_view text) override { core_.Notice(text); }
  vlm::IAutomationObject* ApplicationObject() override { return core_.applicationObject.Get(); }
  vlm::IAutomationObject* AnalysisObject() override { return analysisObject_.Get(); }

 private:
  void DescribeSubjects();

  struct OpenDialog {
    std::shared_ptr<DialogWindow> window;
    int step;  // that opened it
  };

  SessionCore& core_;
  // The module's code stays loaded as long as its objects live.
  std::shared_ptr<ModuleLibrary> library_;
  vlm::IAnalysis* analysis_;
  AnalysisHost host_;
  std::shared_ptr<vlm::IModuleResources> resources_;
  std::vector<OpenDialog> dialogs_;
  int currentStep_ = 0;
  bool ended_ = false;
  AnalysisNotes notes_;
  std::optional<AutomationError> automationError_;
  ObjectReference analysisObject_;
};

}  // namespace velmora
