// A session of the workbench: the input table with its case selection and weights, the loaded module, the
// analyses that run, and the workbook of what they made. A command, a script or a page drives analyses
// through it:
//
//   Session session(face);
//   session.SetTable(ReadTable(...));
//   AutomationClient startup = session.StartFeatureSelection();   // steps 100 and 101: the startup dialog is
//   open startup.Put("Variables", ...); startup.Call("OK");                                           //
//   runs; AutomationError or 0 when it did not AutomationClient results = session.ResultsDialog(); // step
//   102; empty when the run failed results.Get("Summary");                                       // documents
//   arrive in session.Documents()
//
// One thread belongs to the module: the one that made the session. Every call from another one, but
// RequestCancellation, throws std::logic_error.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "contract/results.h"
#include "contract/screening_results.h"
#include "workbench/automation/automation_client.h"
#include "workbench/data/table.h"
#include "workbench/documents/workbook.h"
#include "workbench/session/analysis_notes.h"
#include "workbench/session/face.h"

namespace velmora {

// The module cannot be loaded or used: one sentence that names its file.
class ModuleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SessionOptions {
  // The module's file; empty: libvlmfsl.so beside the executable, then beside the executable's lib folder.
  std::string modulePath;
  std::map<int, int> profile;  // integers of the user profile by entry number (56236: Cramer's V by default)
  int rowNameWidth = 32;       // longest row name of an output spreadsheet, 8 to 40 characters
  std::string decimalSeparator = ".";
};

struct ProcedureSettings;

class Session {
 public:
  explicit Session(Face& face, SessionOptions options = {});
  ~Session();  // ends every analysis
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // --- Data
  // Puts other data in place of what is there: selection and weights are dropped, results dialogs are closed,
  // and every analysis starts afresh on the new data. This, SelectCases and WeightBy throw DataError while an
  // analysis reads the cases.
  void SetTable(Table table, DataRecipe recipe = {});
  const Table& Data() const;
  // From now on the variable, whose every value has a label, holds those texts: it is saved as they are.
  void TakeLabelsAsTexts(int variableNumber);
  // Cases used: those for which include (when not empty) is true and exclude (when not empty) is not. Throws
  // DataError for a wrong expression; then nothing has changed.
  void SelectCases(const std::string& include, const std::string& exclude);
  // Case weights of all analyses; 0: none.
  void WeightBy(int variableNumber);
  int WeightVariable() const;
  const CaseSelectionText& Selection() const;
  std::int64_t SelectedCaseCount() const;

  // --- Analyses
  // Loads the module when it is not loaded yet; throws ModuleError.
  void LoadModule();
  // Starts the analysis and returns its startup dialog.
  AutomationClient StartFeatureSelection();
  AutomationClient StartScreening();
  // The open dialogs of the analysis started last; empty handles when they are not open.
  AutomationClient StartupDialog();
  AutomationClient ResultsDialog();
  // Results of the analysis started last: null until a run has succeeded.
  vlm::IFeatureSelectionResults* FeatureSelectionResults();
  // Closes the dialogs of the analysis started last and destroys it; inside a command of its own, when the command
  // has returned. Handles held stay valid and fail.
  void EndAnalysis();

  vlm::IScreeningResults* ScreeningResults();
  // How the host's own analyses work: pruning, a person's own bins; see host_procedures.h.
  ProcedureSettings& AnalysisSettings();

  // Whether weights count as they are, or rounded, in the analysis started last. Throws AutomationError.
  void UseWeightsAsGiven(bool asGiven);
  // Of the analysis started last, which there must be.
  AnalysisNotes& Notes();
  // Makes the reports that scripts ask for; it lives as long as the session or until another is set.
  void SetReporter(AnalysisReporter* reporter);
  // Calls make() while new documents go to a workbook of their own, which Documents() returns meanwhile.
  void WithFreshDocuments(const std::function<void()>& make);

  // --- What analyses made
  Workbook& Documents();
  // Calls make() and returns the ids of the documents that it has shown.
  std::vector<int> DocumentsShownBy(const std::function<void()>& make);

  // Throws, once, what a command of a dialog left behind that no call into the session has thrown: for a loop that
  // lets a person act.
  void ThrowKept();

  // Entries of the log: failures inside the module, and what it did against the rules of the contract.
  std::vector<std::string> LogTexts() const;

  // The application's automation object.
  AutomationClient Application();

  // --- Cancellation
  // Asks all analyses to stop. Safe in a signal handler and from any thread; holds until ClearCancellation.
  static void RequestCancellation() noexcept;
  static bool CancellationRequested() noexcept;
  static void ClearCancellation() noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace velmora
