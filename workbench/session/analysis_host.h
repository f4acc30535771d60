// The host as one analysis of the module sees it: texts, lists, documents, statistics and services
// over the session's data. Calls about the analysis's steps and dialogs are passed on to
// RunningAnalysis. Nothing is thrown into the module: the session keeps an exception until the
// outermost call has returned.
#pragma once

#include "contract/analysis.h"
#include "workbench/session/input_spreadsheet.h"
#include "workbench/session/session_services.h"

namespace velmora {

class RunningAnalysis;
class SessionCore;

class AnalysisHost final : public vlm::IAnalysisHost {
 public:
  AnalysisHost(SessionCore& core, RunningAnalysis& analysis);
  virtual ~AnalysisHost() = default;
  AnalysisHost(const AnalysisHost&) = delete;
  AnalysisHost& operator=(const AnalysisHost&) = delete;

  SessionServices& Services() { return services_; }
  const SessionServices& Services() const { return services_; }
  const InputSpreadsheet& Input() const { return input_; }
  // Whether weights are used as they are; otherwise they are rounded.
  bool UsesWeightsAsGiven() const { return useWeightsAsGiven_ != 0; }

  // --- vlm::IAnalysisHost
  vlm::IEngineServices* GetEngineServices() override { return &services_; }
  void InitCommons(vlm::SharedBlock* dataSelectionTags, vlm::SharedBlock* extendedTags,
                   vlm::SharedBlock* selectionConditions, vlm::SharedBlock* caseWeights) override;
  int ForwardSequence(vlm::IAnalysis* analysis, int step, int option) override;
  int PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) override;
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
  int ReadCodes(int variableNumber, const vlm::AutomationValue* value, vlm::ICodesSink* codes,
                vlm::ITextSink* error) override;
  void PrintCodes(int variableNumber, const double* codes, int count, vlm::ITextSink* text) override;
  vlm::ISpreadsheet* CreateSpreadsheet(int subjectNumber, int rowCount, int columnCount) override;
  vlm::IGraph* CreateGraph(int subjectNumber, int graphKind) override;
  int CreateTextDoc(int kind, const char* title, int titleLength, const char* text, int textLength,
                    vlm::IDocument** document) override;
  vlm::IInputSpreadsheet* GetInputSpreadsheet() override { return &input_; }
  int GetKernelDensity(const double* values, int count, double minimum, double maximum, double bandwidth,
                       int pointCount, double* points, double* densities) override;
  int CreateAnalysisDialog(vlm::IDialogClient* client, int templateId) override;
  vlm::IAutomationObject* GetApplication() override;
  vlm::IProcedure* CreateProcedure(int analysisId) override;
  void GetScreeningSettings(vlm::ScreeningSettings* settings) override;

 private:
  template <typename Function>
  auto Guarded(Function function, decltype(function()) failure) noexcept -> decltype(function());
  template <typename Function>
  void Guarded(Function function) noexcept;

  SessionCore& core_;
  RunningAnalysis& analysis_;
  SessionServices services_;
  InputSpreadsheet input_;
  int useWeightsAsGiven_ = 1;
};

}  // namespace velmora
