// velmora dialog: opens the start window, reads the data, runs analyses in dialogs and shows their
// documents.
#include "workbench/cli/dialog_command_windows.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/data/save.h"
#include "workbench/documents/presentation.h"
#include "workbench/session/recent_files.h"
#include "workbench/system/system.h"
#include "workbench/windows/apartment_windows.h"
#include "workbench/windows/application_data.h"
#include "workbench/windows/dialog_help.h"
#include "workbench/windows/native_frontend.h"
#include "workbench/windows/questions.h"
#include "workbench/windows/results_page.h"
#include "workbench/windows/start_window.h"

namespace velmora {

const char kDialogHelp[] = R"(velmora dialog runs analyses in dialogs.

Usage: velmora dialog [ANALYSIS] [DATA] [OPTIONS]

ANALYSIS is feature-selection or screen: its startup dialog opens at once. Without it, and without DATA, the
start window opens data and starts analyses. Each button of a results dialog adds its output to one page in the
browser. Closing the start window ends the program; it asks before changed data are lost. F1 is help.

Data:
  --missing-text TEXT      texts that mean a missing value
  --missing NAME=CODE...   the missing-data code of a variable
  --continuous NAMES       treat these variables as continuous
  --categorical NAMES      treat these variables as categorical
  --delimiter CHARACTER    field separator of a text file (default: detected)
  --sheet NAME             sheet of a workbook, by name or number (default: the first that is visible)
  --range CELLS            cells of a sheet, such as B3:F200; the first row names the columns
  --table NAME             table of a database, where it has several
  --sql-from QUERY         SELECT over a database, or without DATA over files: "SELECT * FROM 'a.parquet'"
  --select EXPRESSION      use the cases for which EXPRESSION is true
  --exclude EXPRESSION     drop the cases for which EXPRESSION is true
  --weight NAME            weight the cases by a variable

Results:
  --out DIR                folder for the page (default: the folder for temporary files)
  --no-browser             write the page without opening it

  --module FILE            the analysis module
  --log FILE               append what the module logs to FILE (default: VELMORA_LOG)
  --decimal-separator C    of numbers in edits and labels (default: of the user's locale)
)";

namespace {

struct CommandOptions {
  std::string analysis;
  DataOptions data;
  CaseOptions cases;
  ModuleOptions module;
  std::string folder;
  bool noBrowser = false;
};

bool IsAnalysis(const std::string& word) { return word == "feature-selection" || word == "screen"; }

CommandOptions ParseOptions(std::vector<std::string> arguments) {
  CommandOptions options;
  if (!arguments.empty() && IsAnalysis(arguments.front())) {
    options.analysis = arguments.front();
    arguments.erase(arguments.begin());
  }
  CommandParser parser;
  options.data.AddTo(parser);
  options.cases.AddTo(parser);
  options.module.AddTo(parser);
  parser.Text("--out", options.folder);
  parser.Flag("--no-browser", options.noBrowser);
  parser.Parse(arguments);
  if (options.data.path.empty() && !options.analysis.empty())
    throw UsageError("DATA is missing: velmora dialog " + options.analysis + " needs the data file.");
  return options;
}

// The parts of a table that analyses change: its variables and its bundles.
struct TableState {
  explicit TableState(const Table& table) : bundles(table.bundles) {
    for (const Column& column : table.columns) variables.push_back(column.name);
  }
  bool IsThatOf(const Table& table) const {
    return std::equal(variables.begin(), variables.end(), table.columns.begin(), table.columns.end(),
                      [](const std::string& name, const Column& column) { return name == column.name; }) &&
           std::equal(bundles.begin(), bundles.end(), table.bundles.begin(), table.bundles.end(),
                      [](const VariableBundle& a, const VariableBundle& b) {
                        return a.name == b.name && a.variableNumbers == b.variableNumbers;
                      });
  }
  std::vector<std::string> variables;
  std::vector<VariableBundle> bundles;
};

class Workspace;

// Messages go to the results too, beside the outputs that they are about.
class WorkspaceFrontend final : public NativeFrontend {
 public:
  Workspace* workspace = nullptr;
  void Message(std::string_view text) override;
  bool MayReplaceData() override;
  void ShowHelp() override;
};

// The session behind the start window: its data, changes that are not saved, and results.
class Workspace final : public StartCommands {
 public:
  Workspace(const CommandOptions& options, const SessionOptions& sessionOptions)
      : session_(frontend_, sessionOptions),
        page_(session_, PathOf(options.folder), !options.noBrowser),
        start_(std::make_unique<StartWindow>(*this)),
        saved_(session_.Data()) {
    frontend_.workspace = this;
    frontend_.SetMainWindow(start_->Handle());
    ShowState();
  }

  void TakeData(Table table, const CommandOptions& options) {
    const int weight = ChooseWeight(table, options.cases.weight, true);
    session_.SetTable(std::move(table));
    ApplyCases(session_, weight, options.cases);
    DataWereOpened();
  }

  void Run() {
    frontend_.Run([this] {
      try {
        session_.ThrowKept();
        AfterMessage();
      } catch (const std::exception& error) {
        // The windows stay as they are, so the user can choose otherwise and go on.
        ShowFailure(error.what());
      }
    });
  }

  // --- StartCommands
  void OpenData() override {
    if (!MayReplaceData()) return;
    if (const auto path = frontend_.ChooseDataFile(start_->Handle())) Open(*path);
  }
  void OpenData(const std::string& path) override {
    if (MayReplaceData()) Open(path);
  }
  void StartFeatureSelection() override { session_.StartFeatureSelection(); }
  void StartScreening() override { session_.StartScreening(); }
  // The weights of every analysis; the dialogs of screening have no button for them.
  void ChooseWeights() override {
    int variableNumber = session_.WeightVariable();
    if (!AskCaseWeightNatively(start_->Handle(), session_.Data(), variableNumber)) return;
    session_.WeightBy(variableNumber);
    ShowState();
  }
  void SaveData() override { Save(); }
  void ShowResults() override { page_.Open(); }
  void ShowHelp() override { ShowHelpPage(); }
  bool IsReady() const override { return frontend_.IsReady(); }
  bool MayClose() override { return MayReplaceData(); }
  void ShowFailure(std::string_view sentence) override {
    frontend_.ShowMessage(sentence, MB_OK | MB_ICONEXCLAMATION);
  }

  // Asks when the data have bundles or variables that no file holds. False for Cancel.
  bool MayReplaceData() {
    if (IsSaved()) return true;
    const int answer = frontend_.ShowMessage(
        "The data have new variables or bundles that are not saved. Save the data to a file?",
        MB_YESNOCANCEL | MB_ICONQUESTION);
    return answer == IDNO || (answer == IDYES && Save());
  }
  Session& GetSession() { return session_; }

 private:
  bool IsSaved() const { return saved_.IsThatOf(session_.Data()); }

  void Open(const std::string& path) {
    session_.Application().Call("Open", {path});
    DataWereOpened();
  }

  void DataWereOpened() {
    openFile_ = session_.Data().fileName;
    saved_ = TableState(session_.Data());
    recent_.Remember(AbsolutePath(PathOf(openFile_)));
    ShowState();
  }

  // False when the user cancelled.
  bool Save() {
    const auto path = frontend_.ChooseTableFile(start_->Handle(), session_.Data().fileName);
    if (!path) return false;
    SaveTable(session_.Data(), *path);
    saved_ = TableState(session_.Data());
    recent_.Remember(AbsolutePath(PathOf(*path)));
    ShowState();
    return true;
  }

  void AfterMessage() {
    // A dialog's own button opens data too.
    if (session_.Data().fileName != openFile_) DataWereOpened();
    if (session_.UpdatesScreen() && page_.Update()) {
      ShowState();
      const std::size_t count = page_.DocumentCount();
      frontend_.ShowStatus(std::to_string(count) + (count == 1 ? " output" : " outputs") + " in " +
                           page_.File());
    }
    if (IsSaved() != savedShown_) ShowState();
  }

  void ShowState() {
    StartState state;
    const Table& table = session_.Data();
    savedShown_ = IsSaved();
    const int weight = session_.WeightVariable();
    if (table.VariableCount() > 0) {
      state.data = PathOf(table.fileName).filename().string() + ": " + GroupedDigits(table.caseCount) +
                   (table.caseCount == 1 ? " case, " : " cases, ") + GroupedDigits(table.VariableCount()) +
                   (table.VariableCount() == 1 ? " variable" : " variables") +
                   (weight == 0 ? "" : ", weighted by " + table.Variable(weight).name) +
                   (savedShown_ ? "" : " (changed, not saved)");
    }
    for (const std::filesystem::path& file : recent_.Read()) state.recentFiles.push_back(file.string());
    state.resultsFile = page_.File();
    start_->Show(state);
  }

  WorkspaceFrontend frontend_;
  Session session_;
  ResultsPage page_;
  const RecentFiles recent_{ApplicationDataFolder(ApplicationData::kOfUser) / "recent.txt"};
  std::unique_ptr<StartWindow> start_;
  TableState saved_;
  bool savedShown_ = true;
  std::string openFile_;
};

void WorkspaceFrontend::Message(std::string_view text) {
  if (workspace != nullptr) workspace->GetSession().Documents().AddNotice(text);
  NativeFrontend::Message(text);
}

bool WorkspaceFrontend::MayReplaceData() { return workspace == nullptr || workspace->MayReplaceData(); }

void WorkspaceFrontend::ShowHelp() {
  try {
    ShowHelpPage();
  } catch (const std::exception& error) {
    ShowMessage(error.what(), MB_OK | MB_ICONEXCLAMATION);
  }
}

}  // namespace

int RunDialogCommand(const std::vector<std::string>& arguments) {
  const CommandOptions options = ParseOptions(arguments);
  const SessionOptions sessionOptions = MakeSessionOptions(options.module, Readers::kPeople);
  std::optional<Table> table;
  if (!options.data.path.empty()) table = LoadTable(options.data);

  // The system's file dialogs and the opening of the browser are built on COM.
  const ComApartment apartment;
  Workspace workspace(options, sessionOptions);
  if (table) workspace.TakeData(std::move(*table), options);
  if (options.analysis == "screen") {
    workspace.StartScreening();
  } else if (!options.analysis.empty()) {
    workspace.StartFeatureSelection();
  }
  workspace.Run();
  return kExitDone;
}

}  // namespace velmora
