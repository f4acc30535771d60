// Data, nesting of calls and the list of analyses.
#include "workbench/session/session_core.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>

#include "workbench/data/errors.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"
#include "workbench/data/readers.h"
#include "workbench/session/running_analysis.h"

namespace velmora {

namespace {

constexpr int kReadingSteps = 200;

char DelimiterOf(const std::string& text) {
  if (text.empty()) return 0;
  if (text == "tab" || text == "\\t" || text == "\t") return '\t';
  if (text.size() != 1) throw DataError("A delimiter is one character or the word tab, not " + text + ".");
  return text.front();
}

}  // namespace

SessionCore::SessionCore(Frontend& sessionFrontend, SessionOptions sessionOptions)
    : frontend(sessionFrontend),
      options(std::move(sessionOptions)),
      thread(std::this_thread::get_id()),
      pool(options.threads),
      home(std::make_shared<DocumentHome>()) {
  home->workbook = std::make_shared<Workbook>();
  home->decimalSeparator = options.decimalSeparator;
  SetApplicationLog(&log);
}

SessionCore::~SessionCore() {
  SetApplicationLog(nullptr);
  if (procedures) procedures->ReleaseData(std::make_shared<const Table>(std::move(table)));
}

void SessionCore::ConnectProcedures() {
  const std::weak_ptr<SessionCore> self = weak_from_this();
  ProcedureEnvironment environment;
  // The first three are called only during a call of an analysis, the others later as well.
  environment.table = [this]() -> const Table& { return table; };
  environment.selection = [this](std::string& inclusion, std::string& exclusion) {
    inclusion = selectionText.include;
    exclusion = selectionText.exclude;
  };
  environment.weightVariable = [this] { return weightVariable; };
  environment.wrapSheet = [where = home](std::shared_ptr<Sheet> sheet) {
    return MakeSpreadsheet(where, 0, std::move(sheet));
  };
  home->variableName = [self](int variableNumber) {
    const std::shared_ptr<SessionCore> core = self.lock();
    const bool exists = core && variableNumber <= static_cast<int>(core->table.columns.size());
    return exists ? core->table.Variable(variableNumber).name : std::string();
  };
  environment.notice = [self](std::string_view text) {
    const auto show = [self, notice = std::string(text)] {
      const std::shared_ptr<SessionCore> core = self.lock();
      if (!core) return;
      try {
        core->Notice(notice);
      } catch (...) {
        core->KeepCurrentException();
      }
    };
    LentPool::IsInTask() ? LentPool::Defer(show) : show();
  };
  // A frontend may have to process its windows' messages, so it is not asked at every call.
  environment.checkpoint = [self, next = std::chrono::steady_clock::time_point()]() mutable {
    if (LentPool::IsInTask()) {
      if (LentPool::IsStopping()) throw Cancelled();
      return;
    }
    constexpr auto kInterval = std::chrono::milliseconds(50);
    const auto now = std::chrono::steady_clock::now();
    if (now < next) return;
    next = now + kInterval;
    const std::shared_ptr<SessionCore> core = self.lock();
    if (core == nullptr || !core->frontend.CancelPressed()) return;
    core->procedureCancelled = true;
    throw Cancelled();
  };
  procedures = std::make_unique<HostProcedures>(std::move(environment));
}

// The input table of a session that may have ended.
class SessionInputTable final : public InputTable {
 public:
  explicit SessionInputTable(std::weak_ptr<SessionCore> core) : core_(std::move(core)) {}
  Table& Data() const override { return Core()->table; }
  void SelectCases(const std::string& include, const std::string& exclude) const override {
    Core()->SelectCases({include, exclude});
  }
  CaseSelection Selection() const override {
    const CaseSelectionText& text = Core()->selectionText;
    return {text.include, text.exclude};
  }
  void WeightBy(int variableNumber) const override { Core()->WeightBy(variableNumber); }
  int WeightVariable() const override { return Core()->weightVariable; }
  std::int64_t SelectedCaseCount() const override { return Core()->SelectedCaseCount(); }
  void SetMissingCode(int variableNumber, const std::string& code) const override {
    Core()->SetMissingCode(variableNumber, code);
  }
  void SetMeasurement(int variableNumber, Measurement measurement) const override {
    Core()->SetMeasurement(variableNumber, measurement);
  }
  int AddVariable(const std::string& name, std::vector<double> values) const override {
    return Core()->AddVariable(name, std::move(values));
  }
  void AddBundle(const std::string& name, const std::vector<int>& variableNumbers) const override {
    Core()->AddBundle(name, variableNumbers);
  }

 private:
  std::shared_ptr<SessionCore> Core() const {
    std::shared_ptr<SessionCore> core = core_.lock();
    if (core == nullptr) throw AutomationError(vlm::kAutomationErrorCode, "The session has ended.");
    return core;
  }
  std::weak_ptr<SessionCore> core_;
};

void SessionCore::Connect() {
  inputTable = std::make_shared<SessionInputTable>(weak_from_this());
  inputObject = ObjectReference::Adopt(MakeInputSpreadsheetObject(inputTable));
  applicationObject = ObjectReference::Adopt(MakeApplicationObject(weak_from_this()));
  ConnectProcedures();
}

void SessionCore::RequireThread() const {
  if (std::this_thread::get_id() != thread) {
    throw std::logic_error("A session was used on a thread that its module does not belong to.");
  }
}

void SessionCore::EndCall() noexcept {
  if (callDepth > 1) {
    --callDepth;
    return;
  }
  // Steps entered here run at depth 1: the next round runs what they defer.
  try {
    for (bool more = true; more;) {
      more = false;
      for (std::size_t index = 0; index < analyses.size() && !more; ++index)
        more = analyses[index]->RunDeferred();
    }
    std::vector<std::unique_ptr<RunningAnalysis>> ended;
    for (std::unique_ptr<RunningAnalysis>& analysis : analyses) {
      if (analysis->HasEnded()) ended.push_back(std::move(analysis));
    }
    std::erase(analyses, nullptr);
    ended.clear();
  } catch (...) {
    KeepCurrentException();
  }
  --callDepth;
}

void SessionCore::KeepCurrentException() noexcept {
  const std::lock_guard lock(exceptionMutex);
  if (!keptException) keptException = std::current_exception();
}

void SessionCore::ThrowKept() {
  if (!keptException) keptException = std::exchange(home->failure, nullptr);
  if (keptException) std::rethrow_exception(std::exchange(keptException, nullptr));
}

void SessionCore::RequireNoPass() const {
  const bool computing = std::ranges::any_of(
      analyses, [](const auto& analysis) { return analysis && analysis->Services().IsComputing(); });
  if (computing) throw DataError("The data cannot be changed while an analysis reads them.");
}

RunningAnalysis* SessionCore::Latest() {
  if (inquiry != nullptr) return inquiry;
  const auto found = std::find_if(analyses.rbegin(), analyses.rend(),
                                  [](const auto& analysis) { return analysis && !analysis->HasEnded(); });
  return found == analyses.rend() ? nullptr : found->get();
}

void SessionCore::ReplaceTable(Table newTable) {
  RequireNoPass();
  // Cases are numbered by int across the contract.
  if (newTable.caseCount > std::numeric_limits<int>::max()) {
    throw DataError(newTable.fileName + " has " + std::to_string(newTable.caseCount) +
                    " cases; an analysis takes at most " + std::to_string(std::numeric_limits<int>::max()) +
                    ".");
  }
  // Sheets made from the old data keep them.
  if (procedures) procedures->ReleaseData(std::make_shared<const Table>(std::move(table)));
  table = std::move(newTable);
  home->descriptions.clear();
  importOptions = {};
  selectionText = {};
  selected.reset();
  weightVariable = 0;
  DataChanged();
  // A short form must not equal the name of a variable that is shown in full.
  for (const Column& column : table.columns) {
    if (column.name.size() <= static_cast<std::size_t>(kColumnNameWidth))
      home->workbook->shortNames.Reserve(column.name);
  }
}

void SessionCore::OpenDataFile(const std::string& path, const RunningAnalysis* caller) {
  OpenDataFile(path, {}, caller);
}

void SessionCore::OpenDataFile(const std::string& path, const ImportOptions& how,
                               const RunningAnalysis* caller) {
  RequireNoPass();
  ReadOptions readOptions;
  readOptions.delimiter = DelimiterOf(how.delimiter);
  readOptions.missingTexts = how.missingTexts;
  frontend.ProgressOpened("Reading " + path, kReadingSteps);
  const std::shared_ptr<Frontend> closing(&frontend, [](Frontend* shown) { shown->ProgressClosed(); });
  readOptions.progress = [this](double fraction) {
    frontend.ProgressStep(static_cast<int>(fraction * kReadingSteps));
    return !frontend.CancelPressed();
  };
  ReadReport report;
  Table read = ReadTable(path, readOptions, &report);
  ReplaceTable(std::move(read));
  importOptions = how;
  for (const std::string& warning : report.warnings) Notice("Warning: " + warning);
  NotifyOfNewData(caller);
}

void SessionCore::SetMissingCode(int variableNumber, const std::string& code) {
  RequireNoPass();
  Table changed = table;  // sheets made from the old values keep them
  const std::string name = table.Variable(variableNumber).name;
  if (const double* labelled = table.Variable(variableNumber).ValueOf(code)) {
    velmora::SetMissingCode(changed, name, *labelled);
  } else {
    ApplyMissingOption(changed, name + "=" + code);
  }
  InferMeasurements(changed);
  if (procedures) procedures->ReleaseData(std::make_shared<const Table>(std::move(table)));
  table = std::move(changed);
  importOptions.missingCodes.emplace_back(name, code);
  SelectCases(selectionText);
}

void SessionCore::SetMeasurement(int variableNumber, Measurement measurement) {
  RequireNoPass();
  const std::string name = table.Variable(variableNumber).name;
  OverrideMeasurement(table, std::span(&name, 1), measurement);
  InferMeasurements(table);
  importOptions.measurements.emplace_back(name, measurement);
  DataChanged();
}

int SessionCore::AddVariable(const std::string& name, std::vector<double> values) {
  RequireNoPass();
  if (name.empty()) throw DataError("A variable needs a name.");
  if (std::ranges::any_of(table.columns, [&](const Column& column) { return column.name == name; }))
    throw DataError("There is a variable " + name + " already.");
  if (static_cast<std::int64_t>(values.size()) != table.caseCount) {
    throw DataError("The variable " + name + " has " + std::to_string(values.size()) + " values for " +
                    std::to_string(table.caseCount) + " cases.");
  }
  Column column;
  column.name = name;
  for (double& value : values) {
    if (!std::isfinite(value)) value = kMissing;
  }
  column.values = std::move(values);
  table.columns.push_back(std::move(column));
  InferMeasurements(table);
  importOptions.added.push_back(name);
  DataChanged();
  return table.VariableCount();
}

std::string SessionCore::UnusedVariableName(const std::string& name) const {
  std::string unused = name;
  const auto isTaken = [&] {
    return std::ranges::any_of(table.columns, [&](const Column& column) { return column.name == unused; });
  };
  for (int number = 2; isTaken(); ++number) unused = name + "_" + std::to_string(number);
  return unused;
}

void SessionCore::AddBundle(const std::string& name, const std::vector<int>& variableNumbers) {
  if (name.empty()) throw DataError("A variable bundle needs a name.");
  if (std::ranges::any_of(table.bundles, [&](const VariableBundle& bundle) { return bundle.name == name; }))
    throw DataError("There is a variable bundle " + name + " already.");
  table.bundles.push_back({name, variableNumbers});
}

void SessionCore::SelectCases(const CaseSelectionText& text) {
  RequireNoPass();
  const bool isBlank = text.include.find_first_not_of(" \t") == std::string::npos &&
                       text.exclude.find_first_not_of(" \t") == std::string::npos;
  std::optional<CaseBitmap> chosen;
  if (!isBlank) chosen = velmora::SelectCases(table, {text.include, text.exclude});
  selected = std::move(chosen);
  selectionText = isBlank ? CaseSelectionText() : text;
  DataChanged();
  CasesChanged();
}

void SessionCore::WeightBy(int variableNumber) {
  RequireNoPass();
  if (variableNumber < 0 || variableNumber > table.VariableCount()) {
    throw DataError("There is no variable " + std::to_string(variableNumber) +
                    " to weight the cases by; the data have " + std::to_string(table.VariableCount()) + ".");
  }
  if (variableNumber > 0 && table.Variable(variableNumber).fromText)
    throw DataError("Cases cannot be weighted by " + table.Variable(variableNumber).name +
                    ": it holds texts.");
  weightVariable = variableNumber;
  DataChanged();
  CasesChanged();
}

ModuleLibrary& SessionCore::Module() {
  if (library == nullptr) {
    library =
        ModuleLibrary::Load(options.modulePath.empty() ? ModuleLibrary::DefaultPath() : options.modulePath);
  }
  return *library;
}

RunningAnalysis& SessionCore::Start(vlm::IAnalysis* analysis) {
  const ModuleCall call(*this);
  RunningAnalysis& running =
      *analyses.emplace_back(std::make_unique<RunningAnalysis>(*this, library, analysis));
  if (!running.GoTo(kInitStep)) {
    std::erase_if(analyses, [&](const auto& other) { return other.get() == &running; });
    ThrowKept();
    throw ModuleError("The analysis could not be started.");
  }
  return running;
}

void SessionCore::CasesChanged() {
  for (std::size_t index = 0; index < analyses.size(); ++index) analyses[index]->CasesChanged();
}

void SessionCore::NotifyOfNewData(const RunningAnalysis* caller) {
  const ModuleCall call(*this);
  for (std::size_t index = 0; index < analyses.size(); ++index) {
    if (analyses[index].get() != caller) analyses[index]->StartAfresh();
  }
}

}  // namespace velmora
