#include "workbench/session/running_analysis.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "contract/screening_results.h"
#include "contract/text.h"
#include "workbench/data/names.h"

namespace velmora {

namespace {

constexpr int kWeightsAsGivenControl = 1004;  // a check box of feature selection's startup dialog

}  // namespace

RunningAnalysis::RunningAnalysis(SessionCore& core, std::shared_ptr<ModuleLibrary> library,
                                 vlm::IAnalysis* analysis)
    : core_(core), library_(std::move(library)), analysis_(analysis), host_(core, *this) {
  resources_ = ModuleResourcesOf(analysis_->GetLibInstance());
  host_.Services().SetResources(resources_.get());
  analysisObject_ =
      ObjectReference::Adopt(MakeAnalysisObject(core_.weak_from_this(), Name(), analysis_->GetAnalysisID()));
  analysis_->AttachHost(&host_);
  analysis_->Initialize();
}

RunningAnalysis::~RunningAnalysis() {
  CloseDialogs();
  analysis_->Destroy();
  SessionServices& services = host_.Services();
  services.CloseProgress();
  if (services.BlocksInUse() != 0) {
    try {
      Misbehaved("The analysis did not release " + std::to_string(services.BlocksInUse()) +
                 " blocks of memory (" + std::to_string(services.BytesInUse()) + " bytes).");
    } catch (...) {
      // There is no memory for the sentence, so it is dropped.
    }
  }
}

bool RunningAnalysis::GoTo(int step) { return analysis_->ForwardSequence(step, 0) != 0; }

bool RunningAnalysis::EnterSteps(int step) {
  if (step == 0) {
    ended_ = true;
    return true;
  }
  int stepCount = 0;
  const vlm::SequenceStep* const table = analysis_->GetSequenceTable(&stepCount);
  // A table whose steps form a circle ends after as many steps as it has.
  for (int entered = 0; step != 0 && entered <= stepCount; ++entered) {
    const vlm::SequenceStep* const found = std::find_if(
        table, table + stepCount, [&](const vlm::SequenceStep& entry) { return entry.step == step; });
    if (found == table + stepCount) {
      Misbehaved("The analysis went to step " + std::to_string(step) + ", which is not in its table.");
      return false;
    }
    currentStep_ = step;
    if (found->operation(analysis_) == 0) return false;
    step = found->followingStep;
  }
  return true;
}

bool RunningAnalysis::OpenDialogOf(vlm::IDialogClient* client, int templateId) {
  const auto window = std::make_shared<DialogWindow>(*this, core_.frontend, *resources_, client, templateId);
  // Listed before it opens, because the client may close it at once.
  dialogs_.push_back({window, currentStep_});
  if (window->Open()) return true;
  std::erase_if(dialogs_, [&](const OpenDialog& dialog) { return dialog.window == window; });
  return false;
}

bool RunningAnalysis::RunDeferred() {
  const auto leaving = std::find_if(dialogs_.begin(), dialogs_.end(), [](const OpenDialog& dialog) {
    return dialog.window->RequestedStep().has_value();
  });
  if (leaving == dialogs_.end()) return false;
  const std::shared_ptr<DialogWindow> window = leaving->window;
  if (leaving->step == kStartupStep && *window->RequestedStep() == kResultsStep) {
    notes_.startupSettings = SettingsOf(kStartupStep);
    notes_.notices = core_.notices;
  }
  const bool leavesResults = leaving->step == kResultsStep;
  dialogs_.erase(leaving);
  int step = *window->RequestedStep();
  if (leavesResults && step == 0 && core_.frontend.ReturnsToStartup()) step = kStartupStep;
  window->Close(step);
  if (!GoTo(step) && dialogs_.empty() && !ended_) {
    // Without an open dialog the analysis cannot be continued.
    core_.Message("The analysis cannot continue after its dialog was closed.");
    ended_ = true;
  }
  return true;
}

void RunningAnalysis::UseWeightsAsGiven(bool asGiven) {
  if (asGiven == UsesWeightsAsGiven()) return;
  const ModuleCall call(core_);
  DialogWindow* const window = DialogOf(kStartupStep);
  if (window == nullptr || !window->Press(kWeightsAsGivenControl) || asGiven != UsesWeightsAsGiven()) {
    throw AutomationError(
        vlm::kAutomationErrorCode,
        window == nullptr ? "The startup dialog is closed; the rounding of weights can no longer be changed."
                          : "This analysis does not round weights.");
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
  if (analysis_->InitializeAfterFileChanged() == 0 || !GoTo(kStartupStep)) ended_ = true;
}

void RunningAnalysis::CasesChanged() {
  if (ended_) return;
  const ModuleCall call(core_);
  for (std::size_t index = 0; index < dialogs_.size(); ++index) {
    const std::shared_ptr<DialogWindow> window = dialogs_[index].window;
    window->CasesChanged();
  }
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

void RunningAnalysis::RaiseAutomationError(std::string_view sentence) {
  RaiseAutomationError(vlm::kAutomationErrorCode, sentence);
}

void RunningAnalysis::RaiseAutomationError(int code, std::string_view sentence) {
  automationError_.emplace(code, std::string(sentence));
}

std::optional<AutomationError> RunningAnalysis::TakeAutomationError() {
  return std::exchange(automationError_, std::nullopt);
}

void RunningAnalysis::ResultsChanged(bool available) {
  if (available) DescribeSubjects();
}

// The line under the name of each dependent and response in the workbook.
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

std::string RunningAnalysis::PrintVariables(std::span<const int> numbers) const {
  return velmora::PrintVariableList(numbers);
}

std::vector<int> RunningAnalysis::ParseVariables(std::string_view text) const {
  return velmora::ParseVariableList(core_.table, text);
}

void RunningAnalysis::Misbehaved(std::string_view sentence) {
  core_.log.LogEntry(sentence.data(), vlm::LengthOf(sentence), 0, 0, 1, 0);
}

void RunningAnalysis::OpenDataFile(const std::string& path) {
  // The dialog that asked resets its own settings.
  core_.OpenDataFile(path, this);
}

void RunningAnalysis::LockResults(bool lock) {
  for (const OpenDialog& dialog : dialogs_) {
    if (dialog.step == kResultsStep) dialog.window->SetLocked(lock);
  }
}

// Open results belong to the old data.
void RunningAnalysis::RestoreResults() { LockResults(false); }

void RunningAnalysis::FrameworkCommand(int /*command*/) {
  // Each framework command means that the input spreadsheet has new bundles or variables.
  core_.DataChanged();
}

}  // namespace velmora
