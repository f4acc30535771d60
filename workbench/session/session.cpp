// The public interface of a session over its parts.
#include "workbench/session/session.h"

#include <algorithm>
#include <utility>

#include "workbench/session/running_analysis.h"
#include "workbench/session/session_core.h"

namespace velmora {

struct Session::State {
  std::shared_ptr<SessionCore> core;

  AutomationClient DialogOf(int step) const {
    RunningAnalysis* const analysis = core->Latest();
    return analysis == nullptr ? AutomationClient() : AutomationClient(DialogObject(core, *analysis, step));
  }
  AutomationClient Start(vlm::IAnalysis* analysis) const {
    core->Start(analysis);
    core->ThrowKept();
    return DialogOf(kStartupStep);
  }
};

Session::Session(Frontend& frontend, SessionOptions options) : state_(std::make_unique<State>()) {
  state_->core = std::make_shared<SessionCore>(frontend, std::move(options));
  state_->core->Connect();
}

Session::~Session() {
  const ModuleCall call(*state_->core);
  // In the reverse order of their starts, and before the core: they use it to the end.
  while (!state_->core->analyses.empty()) state_->core->analyses.pop_back();
}

void Session::SetTable(Table table, ImportOptions importOptions) {
  state_->core->RequireThread();
  state_->core->ReplaceTable(std::move(table));
  state_->core->importOptions = std::move(importOptions);
  state_->core->NotifyOfNewData(nullptr);
  state_->core->ThrowKept();
}

const Table& Session::Data() const { return state_->core->table; }

void Session::KeepCellsOf(const std::set<int>& variableNumbers) {
  state_->core->RequireThread();
  state_->core->RequireNoPass();
  Table& table = state_->core->table;
  for (int number = 1; number <= table.VariableCount(); ++number) {
    ColumnValues& values = table.Variable(number).values;
    if (variableNumbers.contains(number)) {
      values.Own();
    } else {
      values = {};
    }
  }
}

void Session::TakeLabelsAsTexts(int variableNumber) {
  state_->core->RequireThread();
  state_->core->table.Variable(variableNumber).fromText = true;
}

void Session::AddColumn(Column column) {
  state_->core->RequireThread();
  column.name = state_->core->UnusedVariableName(column.name);
  state_->core->table.columns.push_back(std::move(column));
  state_->core->DataChanged();
}

void Session::SelectCases(const std::string& include, const std::string& exclude) {
  state_->core->RequireThread();
  state_->core->SelectCases({include, exclude});
}

void Session::AddBundle(const std::string& name, const std::vector<int>& variableNumbers) {
  const std::vector<VariableBundle>& bundles = state_->core->table.bundles;
  const auto isTaken = [&](const std::string& candidate) {
    return std::ranges::any_of(bundles,
                               [&](const VariableBundle& bundle) { return bundle.name == candidate; });
  };
  std::string free = name;
  for (int number = 1; isTaken(free); ++number)
    free = name + (number < 10 ? "_0" : "_") + std::to_string(number);
  state_->core->AddBundle(free, variableNumbers);
}

void Session::WeightBy(int variableNumber) {
  state_->core->RequireThread();
  state_->core->WeightBy(variableNumber);
}

int Session::WeightVariable() const { return state_->core->weightVariable; }
bool Session::UpdatesScreen() const { return state_->core->updatesScreen; }
const CaseSelectionText& Session::Selection() const { return state_->core->selectionText; }
std::int64_t Session::SelectedCaseCount() const { return state_->core->SelectedCaseCount(); }

AnalysisNotes& Session::Notes() { return state_->core->Latest()->Notes(); }
void Session::UseWeightsAsGiven(bool asGiven) { state_->core->Latest()->UseWeightsAsGiven(asGiven); }
void Session::SetReporter(AnalysisReporter* reporter) { state_->core->reporter = reporter; }

void Session::WithFreshDocuments(const std::function<void()>& make) {
  DocumentHome& home = *state_->core->home;
  struct Restore {
    DocumentHome& home;
    std::shared_ptr<Workbook> workbook;
    ~Restore() { home.workbook = std::move(workbook); }
  } const restore{home, home.workbook};
  home.workbook = std::make_shared<Workbook>();
  home.workbook->shortNames = restore.workbook->shortNames;
  make();
}

std::vector<int> Session::DocumentsShownBy(const std::function<void()>& make) {
  DocumentHome& home = *state_->core->home;
  std::vector<int> ids;
  struct Restore {
    DocumentHome& home;
    std::vector<int>* recorded;
    ~Restore() { home.recorded = recorded; }
  } const restore{home, std::exchange(home.recorded, &ids)};
  make();
  return ids;
}

void Session::LoadModule() {
  state_->core->RequireThread();
  state_->core->Module();
}

AutomationClient Session::StartFeatureSelection() {
  state_->core->RequireThread();
  return state_->Start(state_->core->Module().MakeFeatureSelection());
}

AutomationClient Session::StartScreening() {
  state_->core->RequireThread();
  return state_->Start(state_->core->Module().MakeScreening());
}

AutomationClient Session::StartupDialog() { return state_->DialogOf(kStartupStep); }
AutomationClient Session::ResultsDialog() { return state_->DialogOf(kResultsStep); }

vlm::IFeatureSelectionResults* Session::FeatureSelectionResults() {
  state_->core->RequireThread();
  RunningAnalysis* const analysis = state_->core->Latest();
  return analysis == nullptr ? nullptr : analysis->Analysis().GetFeatureSelectionResults();
}

vlm::IScreeningResults* Session::ScreeningResults() {
  state_->core->RequireThread();
  RunningAnalysis* const analysis = state_->core->Latest();
  return analysis == nullptr ? nullptr : analysis->Analysis().GetScreeningResults();
}

ProcedureSettings& Session::AnalysisSettings() { return state_->core->procedures->Settings(); }

void Session::EndAnalysis() {
  state_->core->RequireThread();
  const ModuleCall call(*state_->core);
  if (RunningAnalysis* const analysis = state_->core->Latest()) analysis->End();
}

Workbook& Session::Documents() { return *state_->core->home->workbook; }
void Session::ThrowKept() { state_->core->ThrowKept(); }
std::vector<std::string> Session::LogTexts() const {
  std::vector<std::string> texts;
  for (LogLine& line : state_->core->log.Lines()) texts.push_back(std::move(line.text));
  return texts;
}

AutomationClient Session::Application() { return AutomationClient(state_->core->applicationObject); }

}  // namespace velmora
