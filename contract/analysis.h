// An analysis as the host drives it, and the host as an analysis sees it. Order of calls:
//   factory -> AttachHost -> steps of the table (100 first) -> ... -> all dialogs closed -> Destroy
#pragma once

#include "contract/automation.h"
#include "contract/dialogs.h"
#include "contract/documents.h"
#include "contract/engine_services.h"
#include "contract/results.h"
#include "contract/types.h"

namespace vlm {

struct IAnalysis;
struct IProcedure;
struct IScreeningResults;
struct ScreeningSettings;

// The operation of a step. Nonzero means success.
using SequenceOperation = int (*)(IAnalysis* analysis);

struct SequenceStep {
  int step;
  SequenceOperation operation;
  int followingStep;  // entered automatically afterwards; 0: none
};

// Implemented by the host, one for each analysis. Valid from AttachHost to Destroy.
struct IAnalysisHost {
  virtual IEngineServices* GetEngineServices() = 0;

  // --- Framework ---
  // Binds the module's shared blocks: analyses that give the same blocks share case selection and
  // weights.
  virtual void InitCommons(SharedBlock* dataSelectionTags, SharedBlock* extendedTags,
                           SharedBlock* selectionConditions, SharedBlock* caseWeights) = 0;
  // The host's default step handling.
  virtual int ForwardSequence(IAnalysis* analysis, int step, int option) = 0;
  // Returns 0, or nonzero when the host has no such mode of weighted moments, which it
  // reports to the user itself.
  virtual int PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) = 0;
  virtual int HasCaseWeight() = 0;
  virtual int IsOleAutomation() = 0;  // not 0 while a script's call is being served
  // Raises an automation exception from a command that a script's OK started: that OK fails with
  // this description.
  virtual void RaiseAutomationError(int code, const char* description, int length) = 0;
  // The analysis has new results, or (0) has lost them.
  virtual void ResultsChanged(int available) = 0;

  // --- Texts ---
  virtual void MessageOutput(const char* text, int length) = 0;
  // A short form of 8 characters, the same for the same text in one run.
  virtual void Get8CharHash(const char* text, int length, ITextSink* shortForm) = 0;
  virtual void GetCaseSelectionDescription(ITextSink* text) = 0;  // empty when all cases are used
  virtual void GetDecimalSeparator(ITextSink* text) = 0;          // of the user's locale
  virtual void QuoteString(const char* text, int length, ITextSink* quoted) = 0;
  virtual void ParseTextBuffer(int flags, const char* text, int length, ITextSink* localized) = 0;
  // The host's variable-list notation ("1-5 7 12", names allowed). Returns 0, or not 0 with the
  // reason in error.
  virtual int ParseVariableList(const char* text, int length, IIntegerSink* variableNumbers,
                                ITextSink* error) = 0;
  virtual void PrintVariableList(const int* variableNumbers, int count, ITextSink* text) = 0;
  // The codes that a script gives for one variable: a number, a text of numbers, ranges, value
  // labels and "*" (every value of the selected cases), or an array of these. They go to variable 0
  // of the sink. Returns 0, or not 0 with the reason in error.
  virtual int ReadCodes(int variableNumber, const AutomationValue* value, ICodesSink* codes,
                        ITextSink* error) = 0;
  // The codes as a text that ReadCodes takes.
  virtual void PrintCodes(int variableNumber, const double* codes, int count, ITextSink* text) = 0;

  // --- Documents ---
  // subjectNumber: variable number of the dependent or response that the document is about, 0 for
  // the run. The caller releases the document; null when the host cannot make it.
  virtual ISpreadsheet* CreateSpreadsheet(int subjectNumber, int rowCount, int columnCount) = 0;
  virtual IGraph* CreateGraph(int subjectNumber, int graphKind) = 0;
  // Makes and shows a text document about the run (kind 2: report). document: null, or receives the
  // document, which the caller releases.
  virtual int CreateTextDoc(int kind, const char* title, int titleLength, const char* text, int textLength,
                            IDocument** document) = 0;
  virtual IInputSpreadsheet* GetInputSpreadsheet() = 0;

  // --- Statistics ---
  // Kernel density of count values with the Gaussian kernel, at pointCount equally spaced points
  // from minimum to maximum: the points and their densities (0 everywhere where the bandwidth is
  // not above 0). Returns 0 on success.
  virtual int GetKernelDensity(const double* values, int count, double minimum, double maximum,
                               double bandwidth, int pointCount, double* points, double* densities) = 0;

  // --- Dialogs and object model ---
  // Opens a modeless dialog on a template of the module. Calls client->OnInitDialog before it
  // returns. Returns 0 on success.
  virtual int CreateAnalysisDialog(IDialogClient* client, int templateId) = 0;
  virtual IAutomationObject* GetApplication() = 0;
  // A procedure by its identifier (4971: classification and regression trees) on the current input
  // spreadsheet. The caller releases it; null when the host has no such procedure.
  virtual IProcedure* CreateProcedure(int analysisId) = 0;
  // Asked for at the start of each screening run.
  virtual void GetScreeningSettings(ScreeningSettings* settings) = 0;

 protected:
  ~IAnalysisHost() = default;
};

// Implemented by the module; made by a factory. The host destroys it by Destroy, once, after its
// dialogs are closed.
struct IAnalysis {
  virtual int GetContractVersion() = 0;  // may be called before AttachHost, like the next three
  virtual int GetAnalysisID() = 0;
  // The module instance handle: HMODULE on Windows, else IModuleResources*.
  virtual void* GetLibInstance() = 0;
  virtual void GetAnalysisName(ITextSink* name) = 0;

  virtual void AttachHost(IAnalysisHost* host) = 0;
  virtual const SequenceStep* GetSequenceTable(int* stepCount) = 0;
  virtual void Initialize() = 0;
  // The host has other data; open dialogs have been closed, or refresh themselves.
  virtual int InitializeAfterFileChanged() = 0;
  virtual int ForwardSequence(int step, int option) = 0;
  // Null until a run has succeeded, and for the other kind of analysis.
  virtual IFeatureSelectionResults* GetFeatureSelectionResults() = 0;
  virtual IScreeningResults* GetScreeningResults() = 0;
  virtual void Destroy() = 0;

 protected:
  ~IAnalysis() = default;
};

}  // namespace vlm
