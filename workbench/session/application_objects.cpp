// The object model that scripts start from:
//
//   Application
//     Spreadsheets -- Open(FileName) --> InputSpreadsheet: variables, case selection, weights, Save
//     Analyses -- Add(AnalysisID) --> Analysis
//                                       Dialog: the settings, then the outputs
//                                       Window: the same dialog by its controls
//                                       Run: OK of the startup dialog
//     Outputs: every document that was made, Save
//
// One table is open at a time: opening another one replaces it, and every analysis starts again
// with it.
#include <string>
#include <utility>

#include "workbench/automation/document_objects.h"
#include "workbench/automation/host_object.h"
#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"
#include "workbench/session/settings_script.h"

namespace velmora {

namespace {

using Arguments = std::vector<Variant>;

[[noreturn]] void Refuse(const std::string& sentence) {
  throw AutomationError(vlm::kAutomationErrorCode, sentence);
}

// The path of a file or a folder, which cannot hold a NUL.
std::string PathTextOf(const Variant& value) {
  std::string path = value.AsText();
  if (const std::size_t nul = path.find('\0'); nul != std::string::npos)
    Refuse("The path \"" + path.substr(0, nul) + "...\" holds a NUL character.");
  return path;
}

// One text, or those of an array.
std::vector<std::string> TextsOf(const Variant& value) {
  std::vector<std::string> texts;
  if (value.Type() == vlm::kAutomationArray) {
    for (const Variant& text : value.AsArray()) texts.push_back(text.AsText());
  } else if (!value.IsEmpty()) {
    texts.push_back(value.AsText());
  }
  return texts;
}

// An analysis by its identifier or its name.
int AnalysisIdOf(const Variant& which) {
  if (which.Type() != vlm::kAutomationText) return which.AsInt();
  const std::string name = which.AsText();
  if (vlm::EqualMemberNames(name, kFeatureSelectionName)) return kFeatureSelectionId;
  if (vlm::EqualMemberNames(name, kScreeningName)) return kScreeningId;
  Refuse("There is no analysis " + name + "; there are \"" + kFeatureSelectionName + "\" and \"" +
         kScreeningName + "\".");
}

RunningAnalysis& StartAnalysis(SessionCore& core, int analysisId) {
  ModuleLibrary& module = core.Module();
  if (analysisId != kFeatureSelectionId && analysisId != kScreeningId) {
    Refuse("There is no analysis " + std::to_string(analysisId) + "; feature selection is " +
           std::to_string(kFeatureSelectionId) + ", predictor screening " + std::to_string(kScreeningId) +
           ".");
  }
  // User bins belong to one analysis: they name its predictors.
  core.procedures->Settings().userBins.clear();
  RunningAnalysis& running =
      core.Start(analysisId == kScreeningId ? module.MakeScreening() : module.MakeFeatureSelection());
  core.ThrowKept();
  return running;
}

// --- One analysis, and those that run

class AnalysisObject final : public HostObject<AnalysisObject> {
 public:
  AnalysisObject(std::weak_ptr<SessionCore> core, std::string name, int analysisId)
      : core_(std::move(core)), name_(std::move(name)), analysisId_(analysisId) {}
  static const HostMemberTable<AnalysisObject>& Members();

 private:
  friend class HostObject<AnalysisObject>;
  friend Counted;
  ~AnalysisObject() = default;

  // The analysis while it runs, or null.
  RunningAnalysis* Running(const SessionCore& core) const {
    for (const auto& analysis : core.analyses) {
      if (analysis->AnalysisObject() == this) return analysis.get();
    }
    return nullptr;
  }
  ObjectReference Dialog(int step) const {
    const auto core = LockedCore(core_);
    const RunningAnalysis* const analysis = Running(*core);
    return analysis == nullptr ? ObjectReference() : DialogObject(core, *analysis, step);
  }
  // The results dialog when there are results, else the startup dialog.
  ObjectReference CurrentDialog() const {
    ObjectReference results = Dialog(kResultsStep);
    return results ? results : Dialog(kStartupStep);
  }
  ObjectReference Window() const {
    const auto core = LockedCore(core_);
    const RunningAnalysis* const analysis = Running(*core);
    if (analysis == nullptr) return {};
    DialogWindow* const results = analysis->DialogOf(kResultsStep);
    DialogWindow* const window = results != nullptr ? results : analysis->DialogOf(kStartupStep);
    return window == nullptr ? ObjectReference() : MakeWindowObject(core, *window);
  }
  int Run() const {
    const AutomationClient startup(Dialog(kStartupStep));
    if (!startup) Refuse("The analysis has no startup dialog open.");
    return startup.Call("OK").AsInt();
  }
  RunningAnalysis& Required(const SessionCore& core) const {
    RunningAnalysis* const analysis = Running(core);
    if (analysis == nullptr) Refuse("The analysis has ended.");
    return *analysis;
  }
  // Calls the reporter; meanwhile the session treats this analysis as its latest.
  template <typename Ask>
  auto AskReporter(Ask ask) const {
    const auto core = LockedCore(core_);
    if (core->reporter == nullptr) Refuse("This program makes no reports of analyses.");
    const RunningAnalysis* const before = core->inquiry;
    const std::shared_ptr<SessionCore> restored(
        core.get(), [before](SessionCore* asked) { asked->inquiry = const_cast<RunningAnalysis*>(before); });
    core->inquiry = &Required(*core);
    return ask(*core->reporter);
  }
  void LeaveOut(const Arguments& arguments) const {
    const auto core = LockedCore(core_);
    const int number = NumberOfVariable(*core->inputTable, arguments[0]);
    Required(*core).Notes().leftOut.push_back(
        {number, core->table.Variable(number).name, arguments[1].AsText(), arguments[2].AsText()});
  }
  void Close() const {
    const auto core = LockedCore(core_);
    const ModuleCall call(*core);
    if (RunningAnalysis* const analysis = Running(*core)) analysis->End();
  }

  std::weak_ptr<SessionCore> core_;
  std::string name_;
  int analysisId_;
};

const HostMemberTable<AnalysisObject>& AnalysisObject::Members() {
  using Self = AnalysisObject;
  using vlm::kAutomationInt, vlm::kAutomationObject, vlm::kAutomationText;
  static const HostMemberTable<Self> table(
      "Analysis", "A running analysis",
      {{Getter(1, "Name", kAutomationText, "Name of the analysis"),
        [](Self& s, const Arguments&) { return Variant(s.name_); }, nullptr},
       {Getter(2, "ID", kAutomationInt, "Identifier of the analysis"),
        [](Self& s, const Arguments&) { return Variant(s.analysisId_); }, nullptr},
       {Getter(3, "Application", kAutomationObject, "The workbench"),
        [](Self& s, const Arguments&) { return Variant(LockedCore(s.core_)->applicationObject); }, nullptr},
       {Getter(4, "StartupDialog", kAutomationObject, "The startup dialog; empty when it is closed"),
        [](Self& s, const Arguments&) { return Variant(s.Dialog(kStartupStep)); }, nullptr},
       {Getter(5, "ResultsDialog", kAutomationObject, "The results dialog; empty when it is closed"),
        [](Self& s, const Arguments&) { return Variant(s.Dialog(kResultsStep)); }, nullptr},
       {Getter(6, "Dialog", kAutomationObject, "The open dialog: the results dialog when there are results"),
        [](Self& s, const Arguments&) { return Variant(s.CurrentDialog()); }, nullptr},
       {Method(7, "Run", "Presses OK in the startup dialog; 1 when there are results", 0, 0, "",
               kAutomationInt),
        [](Self& s, const Arguments&) { return Variant(s.Run()); }, nullptr},
       {Method(8, "Close", "Closes the dialogs and ends the analysis"),
        [](Self& s, const Arguments&) {
          s.Close();
          return Variant();
        },
        nullptr},
       {Property(9, "UseWeightsAsGiven", kAutomationInt,
                 "1: case weights are used as they are; 0: they are rounded"),
        [](Self& s, const Arguments&) {
          const auto core = LockedCore(s.core_);
          return Variant(s.Required(*core).UsesWeightsAsGiven());
        },
        [](Self& s, const Arguments& a) {
          const auto core = LockedCore(s.core_);
          s.Required(*core).UseWeightsAsGiven(a[0].AsInt() != 0);
        }},
       {Property(10, "PredictorsShown", kAutomationInt,
                 "How many predictors of each response a screening shows with their bins"),
        [](Self& s, const Arguments&) {
          const auto core = LockedCore(s.core_);
          return Variant(s.Required(*core).Notes().shownPredictors);
        },
        [](Self& s, const Arguments& a) {
          const auto core = LockedCore(s.core_);
          s.Required(*core).Notes().shownPredictors = a[0].AsInt();
        }},
       {Method(11, "LeaveOut", "Notes in the report why a variable is not screened", 3,
               vlm::kAutomationVariant, "Variable, Role, Reason"),
        [](Self& s, const Arguments& a) {
          s.LeaveOut(a);
          return Variant();
        },
        nullptr},
       {Method(12, "ReadCutPoints", "Uses the bins in a JSON file for the predictors of the startup dialog",
               1, kAutomationText, "FileName"),
        [](Self& s, const Arguments& a) {
          s.AskReporter([&](AnalysisReporter& reporter) { reporter.ReadCutPoints(PathTextOf(a[0])); });
          return Variant();
        },
        nullptr},
       {Getter(13, "Results", kAutomationText, "The results as \"terminal\", \"json\", \"csv\" or \"html\"",
               1, kAutomationText, "Format"),
        [](Self& s, const Arguments& a) {
          return Variant(
              s.AskReporter([&](AnalysisReporter& reporter) { return reporter.ResultsText(a[0].AsText()); }));
        },
        nullptr},
       {Method(14, "WriteResults",
               "Writes the results to a folder; Formats: json, csv, xlsx, html, separated by commas, empty "
               "for all",
               2, vlm::kAutomationVariant, "Folder, Formats"),
        [](Self& s, const Arguments& a) {
          std::string formats;
          for (const std::string& format : TextsOf(a[1])) formats += (formats.empty() ? "" : ",") + format;
          s.AskReporter(
              [&](AnalysisReporter& reporter) { reporter.WriteResults(PathTextOf(a[0]), formats); });
          return Variant();
        },
        nullptr},
       {Method(15, "SettingsScript",
               "A script that repeats the run, in Python or, from the COM server, in VBScript", 0, 0, "",
               kAutomationText),
        [](Self& s, const Arguments&) {
          const auto core = LockedCore(s.core_);
          return Variant(SettingsScript(*core, s.Required(*core)));
        },
        nullptr},
       {Getter(16, "Messages", vlm::kAutomationArray,
               "What the latest call that had something to say told the user: notices and messages in order"),
        [](Self& s, const Arguments&) {
          const auto core = LockedCore(s.core_);
          Variant::Array texts;
          for (const std::string& text : core->notices.empty() ? core->latestNotices : core->notices)
            texts.emplace_back(text);
          return Variant(std::move(texts));
        },
        nullptr},
       {Method(
            17, "SaveBins",
            "Saves the bins of the best predictors, NumberOfPredictorsToSave of each response; Format: json, "
            "sql or python",
            2, kAutomationText, "FileName, Format"),
        [](Self& s, const Arguments& a) {
          s.AskReporter(
              [&](AnalysisReporter& reporter) { reporter.SaveBins(PathTextOf(a[0]), a[1].AsText()); });
          return Variant();
        },
        nullptr},
       {Getter(20, "Window", kAutomationObject, "The window of the open dialog, control by control"),
        [](Self& s, const Arguments&) { return Variant(s.Window()); }, nullptr}});
  return table;
}

class AnalysesObject final : public HostObject<AnalysesObject> {
 public:
  explicit AnalysesObject(std::weak_ptr<SessionCore> core) : core_(std::move(core)) {}
  static const HostMemberTable<AnalysesObject>& Members();

 private:
  friend class HostObject<AnalysesObject>;
  friend Counted;
  ~AnalysesObject() = default;
  static Variant ObjectOf(RunningAnalysis& analysis) {
    return Variant(ObjectReference(analysis.AnalysisObject()));
  }
  std::weak_ptr<SessionCore> core_;
};

const HostMemberTable<AnalysesObject>& AnalysesObject::Members() {
  using Self = AnalysesObject;
  using vlm::kAutomationInt, vlm::kAutomationObject;
  static const HostMemberTable<Self> table(
      "Analyses", "The running analyses",
      {{Getter(1, "Count", kAutomationInt, "Number of analyses"),
        [](Self& s, const Arguments&) {
          return Variant(static_cast<int>(LockedCore(s.core_)->analyses.size()));
        },
        nullptr},
       {Getter(0, "Item", kAutomationObject, "An analysis, in the order in which they were started", 1,
               kAutomationInt, "Index"),
        [](Self& s, const Arguments& a) {
          const auto core = LockedCore(s.core_);
          const int number = a[0].AsInt();
          if (number < 1 || number > static_cast<int>(core->analyses.size())) {
            Refuse("There is no analysis " + std::to_string(number) + "; there are " +
                   std::to_string(core->analyses.size()) + ".");
          }
          return ObjectOf(*core->analyses[static_cast<std::size_t>(number - 1)]);
        },
        nullptr},
       {Method(2, "Add", "Starts an analysis: \"Feature selection\" or 4870, \"Predictor screening\" or 4871",
               1, vlm::kAutomationVariant, "Analysis", kAutomationObject),
        [](Self& s, const Arguments& a) {
          return ObjectOf(StartAnalysis(*LockedCore(s.core_), AnalysisIdOf(a[0])));
        },
        nullptr}});
  return table;
}

// --- The application and its spreadsheets

class SpreadsheetsObject final : public HostObject<SpreadsheetsObject> {
 public:
  explicit SpreadsheetsObject(std::weak_ptr<SessionCore> core) : core_(std::move(core)) {}
  static const HostMemberTable<SpreadsheetsObject>& Members();

 private:
  friend class HostObject<SpreadsheetsObject>;
  friend Counted;
  ~SpreadsheetsObject() = default;
  std::weak_ptr<SessionCore> core_;
};

Variant OpenSpreadsheet(const std::weak_ptr<SessionCore>& session, const std::string& path) {
  const auto core = LockedCore(session);
  core->OpenDataFile(path, nullptr);
  core->ThrowKept();
  return Variant(core->inputObject);
}

int SpreadsheetCount(const SessionCore& core) { return core.table.VariableCount() > 0 ? 1 : 0; }

const HostMemberTable<SpreadsheetsObject>& SpreadsheetsObject::Members() {
  using Self = SpreadsheetsObject;
  using vlm::kAutomationInt, vlm::kAutomationObject, vlm::kAutomationText;
  static const HostMemberTable<Self> table(
      "Spreadsheets", "The open table",
      {{Getter(1, "Count", kAutomationInt, "1 when a table is open, else 0"),
        [](Self& s, const Arguments&) { return Variant(SpreadsheetCount(*LockedCore(s.core_))); }, nullptr},
       {Getter(0, "Item", kAutomationObject, "The open table", 1, kAutomationInt, "Index"),
        [](Self& s, const Arguments& a) {
          const auto core = LockedCore(s.core_);
          if (a[0].AsInt() != 1 || SpreadsheetCount(*core) == 0) {
            Refuse("There is no spreadsheet " + a[0].AsText() + "; " +
                   (SpreadsheetCount(*core) == 0 ? "none is open." : "one is open."));
          }
          return Variant(core->inputObject);
        },
        nullptr},
       {Method(2, "Open", "Opens a data file in place of the open one", 1, kAutomationText, "FileName",
               kAutomationObject),
        [](Self& s, const Arguments& a) { return OpenSpreadsheet(s.core_, PathTextOf(a[0])); }, nullptr}});
  return table;
}

class ApplicationObject final : public HostObject<ApplicationObject> {
 public:
  explicit ApplicationObject(std::weak_ptr<SessionCore> core) : core_(std::move(core)) {}
  static const HostMemberTable<ApplicationObject>& Members();

 private:
  friend class HostObject<ApplicationObject>;
  friend Counted;
  ~ApplicationObject() = default;
  Variant Outputs() const {
    return Variant(ObjectReference::Adopt(MakeWorkbookObject(LockedCore(core_)->home->workbook)));
  }
  Variant StartupOf(int analysisId) const {
    const auto core = LockedCore(core_);
    return Variant(DialogObject(core, StartAnalysis(*core, analysisId), kStartupStep));
  }
  std::weak_ptr<SessionCore> core_;
};

const HostMemberTable<ApplicationObject>& ApplicationObject::Members() {
  using Self = ApplicationObject;
  using vlm::kAutomationObject, vlm::kAutomationText;
  static const HostMemberTable<Self> table(
      "Application", "The workbench",
      {{Getter(1, "Name", kAutomationText, "Name of the application"),
        [](Self&, const Arguments&) { return Variant("Velmora"); }, nullptr},
       {Getter(2, "InputSpreadsheet", kAutomationObject, "The table that analyses use"),
        [](Self& s, const Arguments&) { return Variant(LockedCore(s.core_)->inputObject); }, nullptr},
       {Getter(3, "Workbook", kAutomationObject, "Documents made by analyses"),
        [](Self& s, const Arguments&) { return s.Outputs(); }, nullptr},
       {Method(4, "Open", "Opens a data file in place of the open one", 1, kAutomationText, "FileName",
               kAutomationObject),
        [](Self& s, const Arguments& a) { return OpenSpreadsheet(s.core_, PathTextOf(a[0])); }, nullptr},
       {Method(5, "StartFeatureSelection", "Starts feature selection; returns its startup dialog", 0, 0, "",
               kAutomationObject),
        [](Self& s, const Arguments&) { return s.StartupOf(kFeatureSelectionId); }, nullptr},
       {Method(6, "StartScreening", "Starts predictor screening; returns its startup dialog", 0, 0, "",
               kAutomationObject),
        [](Self& s, const Arguments&) { return s.StartupOf(kScreeningId); }, nullptr},
       {Getter(7, "Spreadsheets", kAutomationObject, "The open table, and opening another one"),
        [](Self& s, const Arguments&) {
          return Variant(ObjectReference::Adopt(new SpreadsheetsObject(s.core_)));
        },
        nullptr},
       {Getter(8, "Analyses", kAutomationObject, "The running analyses, and starting new ones"),
        [](Self& s, const Arguments&) {
          return Variant(ObjectReference::Adopt(new AnalysesObject(s.core_)));
        },
        nullptr},
       {Getter(9, "Outputs", kAutomationObject, "Documents made by analyses"),
        [](Self& s, const Arguments&) { return s.Outputs(); }, nullptr},
       {Method(10, "OpenText",
               "Opens a text file. Delimiter: one character, \"tab\", or empty to detect it; MissingTexts: "
               "texts that mean missing",
               3, vlm::kAutomationVariant, "FileName, Delimiter, MissingTexts", kAutomationObject),
        [](Self& s, const Arguments& a) {
          const auto core = LockedCore(s.core_);
          ImportOptions how;
          how.delimiter = a[1].AsText();
          how.missingTexts = TextsOf(a[2]);
          core->OpenDataFile(PathTextOf(a[0]), how, nullptr);
          core->ThrowKept();
          return Variant(core->inputObject);
        },
        nullptr},
       {Property(11, "PruneTrees", vlm::kAutomationInt,
                 "1: splits that are no better than chance are pruned"),
        [](Self& s, const Arguments&) {
          return Variant(LockedCore(s.core_)->procedures->Settings().pruneTrees);
        },
        [](Self& s, const Arguments& a) {
          LockedCore(s.core_)->procedures->Settings().pruneTrees = a[0].AsInt() != 0;
        }},
       {Property(12, "ScreenUpdating", vlm::kAutomationInt,
                 "0: on Windows, the page of results is not renewed before it is 1 again; a screening ends "
                 "with 1"),
        [](Self& s, const Arguments&) { return Variant(LockedCore(s.core_)->updatesScreen); },
        [](Self& s, const Arguments& a) { LockedCore(s.core_)->updatesScreen = a[0].AsInt() != 0; }}});
  return table;
}

}  // namespace

std::vector<const vlm::AutomationInterface*> ObjectModel() {
  std::vector<const vlm::AutomationInterface*> interfaces = {
      ApplicationObject::Members().Description(), SpreadsheetsObject::Members().Description(),
      AnalysesObject::Members().Description(), AnalysisObject::Members().Description(), WindowInterface()};
  for (const auto& more : {VariableInterfaces(), DocumentInterfaces()})
    interfaces.insert(interfaces.end(), more.begin(), more.end());
  return interfaces;
}

std::shared_ptr<SessionCore> LockedCore(const std::weak_ptr<SessionCore>& core) {
  const std::shared_ptr<SessionCore> locked = core.lock();
  if (locked == nullptr) Refuse("The session has ended.");
  locked->RequireThread();
  return locked;
}

vlm::IAutomationObject* MakeApplicationObject(const std::weak_ptr<SessionCore>& core) {
  return new ApplicationObject(core);
}

vlm::IAutomationObject* MakeAnalysisObject(const std::weak_ptr<SessionCore>& core, std::string name,
                                           int analysisId) {
  return new AnalysisObject(core, std::move(name), analysisId);
}

}  // namespace velmora
