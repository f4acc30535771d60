// velmora dialog: reads the data, opens the analysis's startup dialog and shows what its buttons make.
#include "workbench/cli/dialog_command_windows.h"

#include <windows.h>
// after windows.h
#include <shellapi.h>

#include <filesystem>

#include "contract/com/values.h"
#include "workbench/cli/analysis_run.h"
#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/output_files.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/documents/writers.h"
#include "workbench/windows/apartment_windows.h"
#include "workbench/windows/native_face.h"

namespace velmora {

const char kDialogHelp[] = R"(velmora dialog sets up an analysis in its dialogs.

Usage: velmora dialog ANALYSIS DATA [OPTIONS]

ANALYSIS is feature-selection or screen. Each button of the results dialog adds its output to one page,
which is shown in the browser; the page is kept in --out DIR, else in the folder for temporary files.
The analysis ends with the Cancel button of its startup dialog.

Data:
  --missing-text TEXT      texts that mean a missing value
  --missing NAME=CODE      the missing-data code of a variable
  --continuous NAMES       take these variables as continuous
  --categorical NAMES      take these variables as categorical
  --delimiter CHARACTER    between the fields of a text file
  --select EXPRESSION      use the cases for which it is true
  --exclude EXPRESSION     leave out the cases for which it is true
  --weight NAME            weight the cases by a variable

Results:
  --out DIR                where the page is kept
  --no-browser             write the page, show it not

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

CommandOptions ParseOptions(const std::vector<std::string>& arguments) {
  CommandOptions options;
  if (arguments.empty() || (arguments.front() != "feature-selection" && arguments.front() != "screen")) {
    throw UsageError(
        "Name the analysis first: velmora dialog feature-selection DATA or velmora dialog screen DATA.");
  }
  options.analysis = arguments.front();
  CommandParser parser;
  options.data.AddTo(parser);
  options.cases.AddTo(parser);
  options.module.AddTo(parser);
  parser.Text("--out", options.folder);
  parser.Flag("--no-browser", options.noBrowser);
  parser.Parse({arguments.begin() + 1, arguments.end()});
  if (options.data.path.empty()) throw UsageError("DATA is missing: name the data file.");
  return options;
}

// The page of everything that the analysis has made, written anew and shown whenever there is more of it.
class ResultsPage {
 public:
  ResultsPage(const CommandOptions& options, Session& session)
      : folder_(options.folder.empty() ? std::filesystem::temp_directory_path() / "velmora"
                                       : std::filesystem::path(vlmcom::Utf16(options.folder))),
        fileName_((options.analysis == "screen" ? "screening-" : "feature_selection-") +
                  std::to_string(GetCurrentProcessId()) + ".html"),
        show_(!options.noBrowser),
        session_(session) {}

  void Update() {
    const std::size_t count = session_.Documents().Documents().size();
    if (count == shown_) return;
    shown_ = count;
    OutputFiles files(folder_);
    files.Add(fileName_, WriteHtml(session_.Documents()));
    const std::filesystem::path path = files.Commit().front();
    if (show_) ShellExecuteW(nullptr, L"open", path.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  }

 private:
  std::filesystem::path folder_;
  std::string fileName_;
  bool show_;
  Session& session_;
  std::size_t shown_ = 0;
};

}  // namespace

int RunDialogCommand(const std::vector<std::string>& arguments) {
  const CommandOptions options = ParseOptions(arguments);
  const SessionOptions sessionOptions = MakeSessionOptions(options.module, Readers::kPeople);
  Table table = LoadTable(options.data);
  const int weight = ChooseWeight(table, options.cases.weight);

  const ComApartment apartment;  // the system's file dialogs and the opening of the browser are built on COM
  NativeFace face;
  Session session(face, sessionOptions);
  session.SetTable(std::move(table));
  ApplyCases(session, weight, options.cases);
  ResultsPage page(options, session);
  if (options.analysis == "screen") {
    session.StartScreening();
  } else {
    session.StartFeatureSelection();
  }
  face.Run([&] {
    try {
      session.ThrowKept();
      page.Update();
    } catch (const std::exception& error) {
      // The dialogs stay as they are: a person can choose otherwise and go on.
      face.Tell(error.what(), MB_ICONEXCLAMATION);
    }
  });
  return kExitDone;
}

}  // namespace velmora
