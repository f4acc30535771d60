// One analysis of the module while it runs: the host as it sees it, its step machine and its dialogs.
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
#include "workbench/session/session_services.h"
#include "workbench/session/input_spreadsheet.h"
#include "workbench/session/library_resources.h"
#include "workbench/session/session_core.h"

namespace velmora {

inline constexpr int kInitStep = 100;
inline constexpr int kStartupStep = 101;
inline constexpr int kResultsStep = 102;

class RunningAnalysis final : public vlm::IAnalysisHost, public DialogOwner {
 public:
  // Takes the analysis over: attaches itself to it and destroys it in the end.
  RunningAnalysis(SessionCore& core, std::shared_ptr<ModuleLibrary> library, vlm::IAnalysis* analysis);
  ~RunningAnalysis() override;

  // Goes to a step and those that follow it by themselves. False when an operation failed or there is no such step.
  bool GoTo(int step);
  // Closes dialogs that asked to be left and enters their steps. True when there was any.
  bool RunDeferred();
  bool HasEnded() const { return ended_; }
  // Closes the dialogs; the analysis is destroyed when no call into the module runs any more.
  void End();
  void CloseDialogs();
  // The session has other data: dialogs close, and the startup dialog opens again on fresh settings.
  void StartAfresh();

  // The open dialog that a step opened, or null.
  DialogWindow* DialogOf(int step) const;
  vlm::IAnalysis& Analysis() { return *analysis_; }
  const std::shared_ptr<ModuleLibrary>& Library() const { return library_; }
  std::string Name();
  AnalysisNotes& Notes() { return notes_; }
  // Whether weights count as they are; else rounded. The startup dialog must be open to change it.
  bool UsesWeightsAsGiven() const { return useWeightsAsGiven_ != 0; }
  void UseWeightsAsGiven(bool asGiven);  // throws AutomationError
  // The properties of an open dialog that can be read and put, in the interface's order.
  std::vector<MemberValue> SettingsOf(int step) const;
  bool ResultsAvailable() const { return resultsAvailable_; }
  const SessionServices& Services() const { return services_; }

  // --- vlm::IAnalysisHost
  vlm::IEngineServices* GetEngineServices() override { return &services_; }
  void InitCommons(vlm::SharedBlock* dataSelectionTags, vlm::SharedBlock* extendedTags,
                   vlm::SharedBlock* selectionConditions, vlm::SharedBlock* caseWeights) override;
  int ForwardSequence(vlm::IAnalysis* analysis, int step, int option) override;
  void PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) override;
  int HasCaseWeight() override;
  int IsOleAutomation() override;
  void RaiseAutomationError(int code, const char* description, int length) override;
  void ResultsChanged(int available) override;
  void MessageOutput(const char* text, int length) override;
  void Get8CharHash(const char* text, int length, vlm::ITextSink* shortForm) override;
  void GetCaseSelectionDescription(vlm::ITextSink* text) override;
  void GetDecimalSeparator(vlm::ITextSink* text) override;
  void QuoteString(const char* text, int length, vlm::ITextSink* quoted) override;
  void ParseTextBuffer(int flags, const char* text, int length, vlm::ITextSink* localized) override;
  int ParseVariableList(const char* text, int length, vlm::IIntegerSink* variableNumbers,
                        vlm::ITextSink* error) override;
  void PrintVariableList(const int* variableNumbers, int count, vlm::ITextSink* text) override;
  vlm::ISpreadsheet* CreateSpreadsheet(int subjectNumber, int rowCount, int columnCount) override;
  vlm::IGraph* CreateGraph(int subjectNumber, int graphKind) override;
  int CreateTextDoc(int kind, const char* title, int titleLength, const char* text, int textLength,
                    vlm::IDocument** document) override;
  vlm::IInputSpreadsheet* GetInputSpreadsheet() override { return &input_; }
  int GetKernelDensity(const double* values, int count, double minimum, double maximum, double bandwidth,
                       int pointCount, double* points, double* densities) override;
  int CreateAnalysisDialog(vlm::IDialogClient* client, int templateId) override;
  vlm::IAutomationObject* GetApplication() override { return core_.applicationObject.Get(); }
  vlm::IProcedure* CreateProcedure(int analysisId) override;

  // --- DialogOwner
  void BeginCall() override { core_.BeginCall(); }
  void EndCall() override { core_.EndCall(); }
  bool UnderAutomation() const override { return core_.automationDepth > 0; }
  std::optional<AutomationError> TakeAutomationError() override;
  void KeepCurrentException() noexcept override { core_.KeepCurrentException(); }
  void Misbehaved(std::string_view sentence) override;
  const Table& Data() const override { return core_.table; }
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
  void EnableStartupMenus(bool enabled) override { startupMenusEnabled_ = enabled; }
  void FrameworkCommand(int command) override;
  void Message(std::string_view text) override { core_.Message(text); }
  vlm::IAutomationObject* ApplicationObject() override { return core_.applicationObject.Get(); }
  vlm::IAutomationObject* AnalysisObject() override { return analysisObject_.Get(); }

 private:
  // A call that the module made: an exception is kept, the failure value returned.
  template <typename Function>
  auto Guarded(Function function, decltype(function()) failure) noexcept -> decltype(function());
  template <typename Function>
  void Guarded(Function function) noexcept;
  void DescribeSubjects();

  struct OpenDialog {
    std::shared_ptr<DialogWindow> window;
    int step;  // that opened it
  };

  SessionCore& core_;
  std::shared_ptr<ModuleLibrary> library_;  // the module's code stays loaded as long as its objects live
  vlm::IAnalysis* analysis_;
  SessionServices services_;
  InputSpreadsheet input_;
  std::shared_ptr<vlm::IModuleResources> resources_;
  std::vector<OpenDialog> dialogs_;
  int currentStep_ = 0;
  bool ended_ = false;
  bool resultsAvailable_ = false;
  bool startupMenusEnabled_ = true;
  AnalysisNotes notes_;
  int useWeightsAsGiven_ = 1, weightedMomentsMode_ = 0;
  std::optional<AutomationError> automationError_;
  ObjectReference analysisObject_;
};

}  // namespace velmora
