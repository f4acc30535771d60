// The state that the parts of a session share: data, selection, documents, the nesting of calls
// into the module.
#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "workbench/automation/document_objects.h"
#include "workbench/data/table.h"
#include "workbench/dialogs/dialog_frontend.h"
#include "workbench/documents/workbook.h"
#include "workbench/language/selection.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/session/analysis_notes.h"
#include "workbench/session/document_adapters.h"
#include "workbench/session/frontend.h"
#include "workbench/session/lent_pool.h"
#include "workbench/session/module_library.h"
#include "workbench/session/process_exports.h"
#include "workbench/session/session.h"

namespace velmora {

class RunningAnalysis;

class SessionCore : public std::enable_shared_from_this<SessionCore> {
 public:
  SessionCore(Frontend& sessionFrontend, SessionOptions sessionOptions);
  ~SessionCore();
  SessionCore(const SessionCore&) = delete;
  SessionCore& operator=(const SessionCore&) = delete;

  // Throws std::logic_error on a thread that the module does not belong to.
  void RequireThread() const;

  // --- Calls into the module nest. When the outermost one returns, dialogs that asked to be left
  // are closed, steps are entered and ended analyses are destroyed.
  void BeginCall() {
    if (callDepth++ == 0 && !notices.empty()) latestNotices = std::exchange(notices, {});
  }
  void EndCall() noexcept;
  void KeepCurrentException() noexcept;
  // Rethrows, once, the exception that a call from the module has kept.
  void ThrowKept();

  // --- Data
  // Throws DataError while an analysis reads the cases, which must not change meanwhile.
  void RequireNoPass() const;
  // Replaces the data and drops selection and weights; the caller notifies the analyses. Throws as
  // RequireNoPass does, as do SelectCases and WeightBy.
  void ReplaceTable(Table newTable);
  // Reads the file, replaces the data and notifies all analyses except the caller. Throws
  // DataError; then nothing has changed.
  void OpenDataFile(const std::string& path, const RunningAnalysis* caller);
  void SelectCases(const CaseSelectionText& text);  // throws DataError
  void WeightBy(int variableNumber);                // throws DataError
  // To be called after values, selection, weights or the set of variables change: readers start
  // again.
  void DataChanged() {
    ++dataVersion;
    if (procedures) procedures->ForgetCaches();
  }
  std::int64_t SelectedCaseCount() const { return selected ? selected->IncludedCount() : table.caseCount; }
  bool IsSelected(std::int64_t caseIndex) const { return !selected || selected->Contains(caseIndex); }

  // The loaded module; loads it when it is not loaded yet. Throws ModuleError.
  ModuleLibrary& Module();
  // Makes the objects that refer back to the core. Called once, when it is held by a shared
  // pointer.
  void Connect();
  // Runs the steps from the first on. Throws ModuleError when they fail; the analysis is destroyed
  // then.
  RunningAnalysis& Start(vlm::IAnalysis* analysis);
  // Closes the dialogs of all analyses except the caller and starts them again with the new data.
  void NotifyOfNewData(const RunningAnalysis* caller);
  // Updates open dialogs after a change of the case selection or the weights.
  void CasesChanged();
  // The analysis started last that has not ended; null for none.
  RunningAnalysis* Latest();

  // Reads as OpenDataFile does, but as the import options say. missingTexts and delimiter do not
  // apply to other files.
  void OpenDataFile(const std::string& path, const ImportOptions& how, const RunningAnalysis* caller);
  // Changes that scripts make to the input table. Each throws DataError; then nothing has changed.
  void SetMissingCode(int variableNumber, const std::string& code);
  void SetMeasurement(int variableNumber, Measurement measurement);
  int AddVariable(const std::string& name, std::vector<double> values);
  // The name, with a number after it where a variable has it already.
  std::string UnusedVariableName(const std::string& name) const;
  void AddBundle(const std::string& name, const std::vector<int>& variableNumbers);

  // Shows the notice by the frontend and keeps it until the next outermost call.
  void Notice(std::string_view text) {
    notices.emplace_back(text);
    frontend.Notice(text);
  }
  void Message(std::string_view text) {
    notices.emplace_back(text);
    frontend.Message(text);
  }

  Frontend& frontend;
  AnalysisReporter* reporter = nullptr;  // of the command or server; null: none
  const SessionOptions options;
  const std::thread::id thread;
  LentPool pool;
  HostLog log;

  Table table;
  CaseSelectionText selectionText;
  std::optional<CaseBitmap> selected;  // none: all cases are used
  int weightVariable = 0;
  ImportOptions importOptions;  // of the table
  std::uint64_t dataVersion = 1;

  std::unique_ptr<HostProcedures> procedures;  // trees, tables and so on, which the module asks for
  std::shared_ptr<DocumentHome> home;
  std::shared_ptr<const InputTable> inputTable;  // for scripts
  ObjectReference inputObject;
  ObjectReference applicationObject;
  std::shared_ptr<ModuleLibrary> library;
  std::vector<std::unique_ptr<RunningAnalysis>> analyses;  // in the order they were started

  void ConnectProcedures();
  // The user's cancel has ended a procedure since the progress display opened.
  bool procedureCancelled = false;
  bool updatesScreen = true;  // frontends show results as they are made

  int callDepth = 0;
  int automationDepth = 0;    // script calls being served
  std::mutex exceptionMutex;  // tasks of the pool may fail, too
  std::exception_ptr keptException;
  std::vector<std::string> notices;        // notices and messages of the outermost call
  std::vector<std::string> latestNotices;  // of the latest outermost call before it that made any
  RunningAnalysis* inquiry = nullptr;      // counts as the latest while its results are read
};

// Counts a call into the module; deferred actions run at its end.
class ModuleCall {
 public:
  explicit ModuleCall(SessionCore& core) : core_(core) { core_.BeginCall(); }
  ~ModuleCall() { core_.EndCall(); }
  ModuleCall(const ModuleCall&) = delete;
  ModuleCall& operator=(const ModuleCall&) = delete;

 private:
  SessionCore& core_;
};

// The open dialog of an analysis as scripts get it; empty for none.
ObjectReference DialogObject(const std::shared_ptr<SessionCore>& core, const RunningAnalysis& analysis,
                             int step);
// The window of an open dialog, control by control.
ObjectReference MakeWindowObject(const std::shared_ptr<SessionCore>& core, DialogWindow& window);
const vlm::AutomationInterface* WindowInterface();
// The core of a session that still exists, on its own thread; throws AutomationError when it does
// not.
std::shared_ptr<SessionCore> LockedCore(const std::weak_ptr<SessionCore>& core);

// The application's object; its members fail after the session has ended.
vlm::IAutomationObject* MakeApplicationObject(const std::weak_ptr<SessionCore>& core);
// The object of one running analysis.
vlm::IAutomationObject* MakeAnalysisObject(const std::weak_ptr<SessionCore>& core, std::string name,
                                           int analysisId);

}  // namespace velmora
