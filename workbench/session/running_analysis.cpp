// The host side of one analysis.
#include "workbench/session/running_analysis.h"

#include <algorithm>
#include <span>
#include <utility>

#include "contract/screening_results.h"
#include "contract/text.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/stats/kernel_density.h"

namespace velmora {

namespace {

constexpr int kWeightsAsGivenControl = 1004;  // a check box that the module leaves to the host to show

void AssignText(vlm::ITextSink* sink, std::string_view text) {
  sink->Assign(text.data(), vlm::LengthOf(text));
}

}  // namespace

template <typename Function>
auto RunningAnalysis::Guarded(Function function, decltype(function()) failure) noexcept
    -> decltype(function()) {
  try {
    return function();
  } catch (...) {
    core_.KeepCurrentException();
    return failure;
  }
}

template <typename Function>
void RunningAnalysis::Guarded(Function function) noexcept {
  try {
    function();
  } catch (...) {
    core_.KeepCurrentException();
  }
}

RunningAnalysis::RunningAnalysis(SessionCore& core, std::shared_ptr<ModuleLibrary> library,
                                 vlm::IAnalysis* analysis)
    : core_(core), library_(std::move(library)), analysis_(analysis), services_(core), input_(core) {
  resources_ = ModuleResourcesOf(analysis_->GetLibInstance());
  services_.SetResources(resources_.get());
  analysisObject_ =
      ObjectReference::Adopt(MakeAnalysisObject(core_.weak_from_this(), Name(), analysis_->GetAnalysisID()));
  analysis_->AttachHost(this);
  analysis_->Initialize();
}

RunningAnalysis::~RunningAnalysis() {
  CloseDialogs();
  analysis_->Destroy();
  services_.CloseProgress();
  if (services_.BlocksInUse() != 0) {
    try {
      Misbehaved("The analysis left " + std::to_string(services_.BlocksInUse()) + " blocks of memory (" +
                 std::to_string(services_.BytesInUse()) + " bytes) behind.");
    } catch (...) {
      // Nothing more to tell when even the sentence finds no memory.
    }
  }
}

bool RunningAnalysis::GoTo(int step) { return analysis_->ForwardSequence(step, 0) != 0; }

int RunningAnalysis::ForwardSequence(vlm::IAnalysis* /*analysis*/, int step, int /*option*/) {
  return Guarded(
      [&] {
        if (step == 0) {
          ended_ = true;
          return 1;
        }
        int stepCount = 0;
        const vlm::SequenceStep* const table = analysis_->GetSequenceTable(&stepCount);
        // A table that leads in circles ends after as many steps as it has.
        for (int entered = 0; step != 0 && entered <= stepCount; ++entered) {
          const vlm::SequenceStep* const found = std::find_if(
              table, table + stepCount, [&](const vlm::SequenceStep& entry) { return entry.step == step; });
          if (found == table + stepCount) {
            Misbehaved("The analysis went to step " + std::to_string(step) + ", which its table has not.");
            return 0;
          }
          currentStep_ = step;
          if (found->operation(analysis_) == 0) return 0;
          step = found->followingStep;
        }
        return 1;
      },
      0);
}

bool RunningAnalysis::RunDeferred() {
  const auto leaving = std::find_if(dialogs_.begin(), dialogs_.end(), [](const OpenDialog& dialog) {
    return dialog.window->RequestedStep().has_value();
  });
  if (leaving == dialogs_.end()) return false;
  const std::shared_ptr<DialogWindow> window = leaving->window;
  if (leaving->step == kStartupStep && *window->RequestedStep() == kResultsStep) {
    notes_.startupSettings = SettingsOf(kStartupStep);
    notes_.notices = core_.said;
  }
  dialogs_.erase(leaving);
  const int step = *window->RequestedStep();
  window->Close(step);
  if (!GoTo(step) && dialogs_.empty() && !ended_) {
    // Without a dialog nobody could go on.
    core_.Message("The analysis cannot go on after its dialog was left.");
    ended_ = true;
  }
  return true;
}

void RunningAnalysis::UseWeightsAsGiven(bool asGiven) {
  if (asGiven == UsesWeightsAsGiven()) return;
  const ModuleCall call(core_);
  DialogWindow* const window = DialogOf(kStartupStep);
  if (window != nullptr) window->ShowControl(kWeightsAsGivenControl, 1);
  if (window == nullptr || !window->Press(kWeightsAsGivenControl) || asGiven != UsesWeightsAsGiven()) {
    throw AutomationError(vlm::kAutomationErrorCode,
                          window == nullptr ? "The startup dialog is closed; weights can be rounded no more."
                                            : "The startup dialog takes no rounding of weights.");
  }
}

std::vector<MemberValue> RunningAnalysis::SettingsOf(int step) const {
  const DialogWindow* const window = DialogOf(step);
  if (window == nullptr) return {};
  const AutomationClient dialog(ObjectReference(window->Client()->GetAutomationObject()));
  const vlm::AutomationInterface* const description = dialog.Object()->GetInterface();
  constexpr int kBoth = vlm::kInvokeGet | vlm::kInvokePut;
  std::vector<MemberValue> settings;
  for (int index = 0; index < description->memberCount; ++index) {
    const vlm::AutomationMember& member = description->members[index];
    if ((member.kinds & kBoth) != kBoth || member.argumentCount > 0) continue;
    settings.push_back({member.name, dialog.Get(member.name)});
  }
  return settings;
}

void RunningAnalysis::CloseDialogs() {
  const ModuleCall call(core_);
  while (!dialogs_.empty()) {
    const std::shared_ptr<DialogWindow> window = dialogs_.back().window;
    dialogs_.pop_back();
    window->Close(0);
  }
}

void RunningAnalysis::End() {
  const ModuleCall call(core_);
  ended_ = true;
  CloseDialogs();
}

void RunningAnalysis::StartAfresh() {
  const ModuleCall call(core_);
  if (ended_) return;
  CloseDialogs();
  resultsAvailable_ = false;
  if (analysis_->InitializeAfterFileChanged() == 0 || !GoTo(kStartupStep)) ended_ = true;
}

DialogWindow* RunningAnalysis::DialogOf(int step) const {
  for (const OpenDialog& dialog : dialogs_) {
    if (dialog.step == step && dialog.window->IsOpen()) return dialog.window.get();
  }
  return nullptr;
}

std::string RunningAnalysis::Name() {
  vlm::StringSink name;
  analysis_->GetAnalysisName(&name);
  return name.Text();
}

// Selection and weights are the session's, so all analyses share them whatever blocks they give.
void RunningAnalysis::InitCommons(vlm::SharedBlock* dataSelectionTags, vlm::SharedBlock* extendedTags,
                                  vlm::SharedBlock* selectionConditions, vlm::SharedBlock* caseWeights) {
  if (dataSelectionTags == nullptr || extendedTags == nullptr || selectionConditions == nullptr ||
      caseWeights == nullptr) {
    Misbehaved("The analysis gave no shared block for its selection or its weights.");
  }
}

void RunningAnalysis::PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) {
  useWeightsAsGiven_ = useWeightsAsGiven;
  weightedMomentsMode_ = weightedMomentsMode;
}

int RunningAnalysis::HasCaseWeight() { return core_.weightVariable != 0; }
int RunningAnalysis::IsOleAutomation() { return core_.automationDepth > 0; }

void RunningAnalysis::RaiseAutomationError(int code, const char* description, int length) {
  Guarded([&] { automationError_.emplace(code, std::string(vlm::TextOf(description, length))); });
}

std::optional<AutomationError> RunningAnalysis::TakeAutomationError() {
  return std::exchange(automationError_, std::nullopt);
}

void RunningAnalysis::ResultsChanged(int available) {
  resultsAvailable_ = available != 0;
  if (resultsAvailable_) Guarded([&] { DescribeSubjects(); });
}

// What the workbook says of each dependent and response under its name.
void RunningAnalysis::DescribeSubjects() {
  std::map<int, std::string>& descriptions = core_.home->descriptions;
  vlm::StringSink text;
  if (vlm::IFeatureSelectionResults* const results = analysis_->GetFeatureSelectionResults()) {
    vlm::FeatureSelectionRun run{};
    results->GetRun(&run);
    for (int index = 0; index < run.continuousDependents + run.categoricalDependents; ++index) {
      results->GetStatisticName(index, &text);
      descriptions[results->GetDependentNumber(index)] =
          std::string(index < run.continuousDependents ? "continuous" : "categorical") + " dependent, " +
          text.Text();
    }
  }
  if (vlm::IScreeningResults* const results = analysis_->GetScreeningResults()) {
    static constexpr const char* kKinds[vlm::kResponseKindCount] = {"continuous", "binary", "categorical"};
    std::map<int, std::string> described;
    for (int response = 0; response < vlm::kResponseKindCount; ++response) {
      vlm::ScreeningRun run{};
      results->GetRun(response, &run);
      if (!run.selected) continue;
      std::string description = std::string(kKinds[response]) + " response";
      if (response == vlm::kBinaryResponse) {
        results->GetClassText(response, 0, &text);
        description += ", bad: " + text.Text();
        results->GetClassText(response, 1, &text);
        description += ", good: " + text.Text();
      }
      // One variable may be a response of several kinds.
      std::string& all = described[run.responseNumber];
      all += (all.empty() ? "" : "; ") + description;
    }
    for (const auto& [number, description] : described) descriptions[number] = description;
  }
}

void RunningAnalysis::MessageOutput(const char* text, int length) {
  Guarded([&] { core_.Message(vlm::TextOf(text, length)); });
}

void RunningAnalysis::Get8CharHash(const char* text, int length, vlm::ITextSink* shortForm) {
  Guarded([&] {
    AssignText(shortForm, core_.home->workbook->shortNames.ShortFormOf(vlm::TextOf(text, length)));
  });
}

void RunningAnalysis::GetCaseSelectionDescription(vlm::ITextSink* text) {
  Guarded([&] {
    const CaseSelectionText& selection = core_.selectionText;
    std::string description;
    if (!selection.include.empty()) description = "Include cases: " + selection.include;
    if (!selection.exclude.empty()) {
      description += std::string(description.empty() ? "" : "; ") + "Exclude cases: " + selection.exclude;
    }
    AssignText(text, description);
  });
}

void RunningAnalysis::GetDecimalSeparator(vlm::ITextSink* text) {
  AssignText(text, core_.options.decimalSeparator);
}

// In quotation marks, those inside doubled.
void RunningAnalysis::QuoteString(const char* text, int length, vlm::ITextSink* quoted) {
  Guarded([&] {
    std::string result = "\"";
    for (const char character : vlm::TextOf(text, length)) {
      result += character;
      if (character == '"') result += '"';
    }
    AssignText(quoted, result + "\"");
  });
}

// The number text with the user's decimal separator.
void RunningAnalysis::ParseTextBuffer(int /*flags*/, const char* text, int length,
                                      vlm::ITextSink* localized) {
  Guarded([&] {
    std::string result(vlm::TextOf(text, length));
    const std::size_t point = result.find('.');
    if (point != std::string::npos) result.replace(point, 1, core_.options.decimalSeparator);
    AssignText(localized, result);
  });
}

int RunningAnalysis::ParseVariableList(const char* text, int length, vlm::IIntegerSink* variableNumbers,
                                       vlm::ITextSink* error) {
  return Guarded(
      [&] {
        variableNumbers->Clear();
        try {
          for (const int number : ParseVariables(vlm::TextOf(text, length))) variableNumbers->Append(number);
          return 0;
        } catch (const DataError& problem) {
          AssignText(error, problem.what());
          return 1;
        }
      },
      1);
}

void RunningAnalysis::PrintVariableList(const int* variableNumbers, int count, vlm::ITextSink* text) {
  Guarded([&] {
    AssignText(text, PrintVariables({variableNumbers, static_cast<std::size_t>(std::max(count, 0))}));
  });
}

std::string RunningAnalysis::PrintVariables(std::span<const int> numbers) const {
  return velmora::PrintVariableList(numbers);
}

std::vector<int> RunningAnalysis::ParseVariables(std::string_view text) const {
  return velmora::ParseVariableList(core_.table, text);
}

vlm::ISpreadsheet* RunningAnalysis::CreateSpreadsheet(int subjectNumber, int rowCount, int columnCount) {
  return Guarded(
      [&] {
        return MakeSpreadsheet(core_.home, subjectNumber, rowCount, columnCount, core_.options.rowNameWidth);
      },
      nullptr);
}

vlm::IGraph* RunningAnalysis::CreateGraph(int subjectNumber, int graphKind) {
  return Guarded([&] { return MakeGraph(core_.home, subjectNumber, graphKind); }, nullptr);
}

int RunningAnalysis::GetKernelDensity(const double* values, int count, double minimum, double maximum,
                                      double bandwidth, int pointCount, double* points, double* densities) {
  return Guarded(
      [&] {
        if (count < 0 || pointCount < 0) return 1;
        const std::span<double> at(points, static_cast<std::size_t>(pointCount));
        stats::DensityPoints(minimum, maximum, at);
        stats::GaussianDensity({values, static_cast<std::size_t>(count)}, bandwidth, at,
                               {densities, static_cast<std::size_t>(pointCount)});
        return 0;
      },
      1);
}

int RunningAnalysis::CreateTextDoc(int kind, const char* title, int titleLength, const char* text,
                                   int textLength, vlm::IDocument** document) {
  if (document != nullptr) *document = nullptr;
  return Guarded(
      [&] {
        TextDocument body{kind, std::string(vlm::TextOf(title, titleLength)),
                          std::string(vlm::TextOf(text, textLength))};
        auto made = vlm::Ref<vlm::IDocument>::Adopt(MakeTextDocument(core_.home, std::move(body)));
        made->Show();
        if (document != nullptr) {
          made->AddReference();
          *document = made.Get();
        }
        return 0;
      },
      1);
}

int RunningAnalysis::CreateAnalysisDialog(vlm::IDialogClient* client, int templateId) {
  return Guarded(
      [&] {
        const auto window =
            std::make_shared<DialogWindow>(*this, core_.face, *resources_, client, templateId);
        // Listed before it opens: a client may leave it again at once.
        dialogs_.push_back({window, currentStep_});
        if (window->Open()) return 0;
        std::erase_if(dialogs_, [&](const OpenDialog& dialog) { return dialog.window == window; });
        return 1;
      },
      1);
}

vlm::IProcedure* RunningAnalysis::CreateProcedure(int analysisId) {
  // Several analyses may be open: each has its own bins.
  core_.procedures->Settings().analysisBins = notes_.userBins;
  return core_.procedures->Create(analysisId);
}

void RunningAnalysis::Misbehaved(std::string_view sentence) {
  core_.log.LogEntry(sentence.data(), vlm::LengthOf(sentence), 0, 0, 1, 0);
}

void RunningAnalysis::OpenDataFile(const std::string& path) {
  // The dialog that asked makes its own settings anew.
  core_.OpenDataFile(path, this);
}

void RunningAnalysis::LockResults(bool lock) {
  for (const OpenDialog& dialog : dialogs_) {
    if (dialog.step == kResultsStep) dialog.window->SetLocked(lock);
  }
}

// Results that stand open belong to the data that were.
void RunningAnalysis::RestoreResults() {
  LockResults(false);
  resultsAvailable_ = false;
}

void RunningAnalysis::FrameworkCommand(int /*command*/) {
  // The framework's commands tell that the input spreadsheet has new bundles or variables.
  core_.DataChanged();
}

}  // namespace velmora
