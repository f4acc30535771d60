// Writes a run as a script that repeats it, in Python or VBScript.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/dialogs/dialog_frontend.h"
#include "workbench/session/analysis_notes.h"
#include "workbench/session/session.h"

namespace velmora {

class RunningAnalysis;
class SessionCore;

inline constexpr int kFeatureSelectionId = 4870;
inline constexpr int kScreeningId = 4871;
inline constexpr char kFeatureSelectionName[] = "Feature selection";
inline constexpr char kScreeningName[] = "Predictor screening";

struct ScriptedRun {
  const Table& table;  // names of the variables
  ImportOptions importOptions;
  CaseSelectionText selection;
  int weight = 0;  // 0: none
  const char* analysis;
  bool useWeightsAsGiven = true;
  bool pruneTrees = true;
  AnalysisNotes notes;                       // with the startup dialog's settings
  std::vector<MemberValue> resultsSettings;  // of the results dialog; empty: as they come
  // The last lines of a Python script; empty: print the results.
  std::vector<std::string> outputs;
  ScriptLanguage language = ScriptLanguage::kPython;
};

std::string WriteSettingsScript(const ScriptedRun& run);

// The script of an analysis: with the settings of its results or, before there are results, of its
// startup dialog.
std::string SettingsScript(SessionCore& core, RunningAnalysis& analysis);

// A text as a Python string literal.
std::string PythonString(std::string_view text);

}  // namespace velmora
