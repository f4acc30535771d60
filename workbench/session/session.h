// A session of the workbench: the input table with its case selection and weights, the loaded
// module, the running analyses, and the workbook of their documents. Commands, scripts and pages
// drive analyses through it:
//
//   Session session(frontend);
//   session.SetTable(ReadTable(...));
//   AutomationClient startup = session.StartFeatureSelection();  // the startup dialog is open
//   startup.Put("Variables", "1 | | 2-5 | 6");
//   startup.Call("OK");                                  // 0, or AutomationError, when it fails
//   AutomationClient results = session.ResultsDialog();  // empty when the run failed
//   results.Get("Summary");                              // documents are in session.Documents()
//
// Who owns what: SessionCore holds the data, the workbook and the list of analyses; a
// RunningAnalysis the steps and the dialogs of one of them, with AnalysisHost as the host that its
// module sees; AnalysisNotes facts about its run besides its settings; HostProcedures the trees and
// tables that the module asks the host for.
//
// The module belongs to one thread, the one that made the session: a call on another one throws
// std::logic_error.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
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
#include "workbench/session/frontend.h"

namespace velmora {

// The module cannot be loaded or used; the sentence names its file.
class ModuleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The language of the scripts that the session writes: that of the scripts that drive it.
enum class ScriptLanguage { kPython, kVBScript };

struct SessionOptions {
  // The module's file; empty: libvlmfsl.so beside the executable, then beside the executable's lib
  // folder.
  std::string modulePath;
  std::map<int, int> profile;  // integers of the user profile by entry number; see user_settings.h
  int rowNameWidth = 32;       // longest row name of an output spreadsheet, 8 to 40 characters
  std::string decimalSeparator = ".";
  ScriptLanguage scriptLanguage = ScriptLanguage::kPython;
  int threads = 0;  // that work at once; 0: one for each processor, 1: only the session's own
};

struct ProcedureSettings;

class Session {
 public:
  explicit Session(Frontend& frontend, SessionOptions options = {});
  ~Session();  // ends every analysis
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // --- Data
  // Replaces the data: selection and weights are dropped, results dialogs are closed, and every
  // analysis starts again with the new data. SetTable, SelectCases and WeightBy throw DataError
  // while an analysis reads the cases.
  void SetTable(Table table, ImportOptions importOptions = {});
  const Table& Data() const;
  // Drops the cells of all other variables, which keep their names and labels, and copies borrowed
  // cells of these.
  void KeepCellsOf(const std::set<int>& variableNumbers);
  // From now on the variable, whose values all have labels, holds the labels as texts and is saved
  // with them.
  void TakeLabelsAsTexts(int variableNumber);
  // Appends a variable of as many values as there are cases. A name that is taken gets a number.
  void AddColumn(Column column);
  // Cases used: those for which include (when not empty) is true and exclude (when not empty) is
  // not. Throws DataError for a wrong expression; then nothing has changed.
  void SelectCases(const std::string& include, const std::string& exclude);
  // Adds a bundle to the table, under the first of NAME, NAME_01, NAME_02 ... that is free.
  void AddBundle(const std::string& name, const std::vector<int>& variableNumbers);
  // Case weights of all analyses; 0: none.
  void WeightBy(int variableNumber);
  int WeightVariable() const;
  // Whether results are shown as they are made; scripts may hold them back.
  bool UpdatesScreen() const;
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
  // Closes the dialogs of the analysis started last and destroys it; inside one of its commands,
  // once that has returned. Handles stay valid; their calls fail.
  void EndAnalysis();

  vlm::IScreeningResults* ScreeningResults();
  // How the host's own procedures work: pruning, the user's bins; see host_procedures.h.
  ProcedureSettings& AnalysisSettings();

  // Whether the analysis started last uses weights as they are, or rounds them. Throws
  // AutomationError.
  void UseWeightsAsGiven(bool asGiven);
  // Of the analysis started last, which must exist.
  AnalysisNotes& Notes();
  // Makes the reports that scripts ask for; it lives as long as the session or until another is
  // set.
  void SetReporter(AnalysisReporter* reporter);
  // Calls make() while new documents go to a workbook of their own, which Documents() returns
  // meanwhile.
  void WithFreshDocuments(const std::function<void()>& make);

  // --- Outputs
  Workbook& Documents();
  // Calls make() and returns the ids of the documents that it has shown.
  std::vector<int> DocumentsShownBy(const std::function<void()>& make);

  // Rethrows, once, an exception of a dialog command that no call into the session has thrown yet.
  // For event loops.
  void ThrowKept();

  // Entries of the log: failures inside the module, and violations of the contract by it.
  std::vector<std::string> LogTexts() const;

  // The application's automation object.
  AutomationClient Application();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The interfaces of the objects that scripts reach, the application's first.
std::vector<const vlm::AutomationInterface*> ObjectModel();

}  // namespace velmora
