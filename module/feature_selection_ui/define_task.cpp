#include "module/feature_selection_ui/define_task.h"

#include <array>
#include <cstdint>

#include "contract/text.h"
#include "module/resources/control_ids.h"

namespace vlmfsl {
namespace {

constexpr int kSmallestCuts = 1;
constexpr int kSmallestCutsOfEdit = 2;
constexpr int kLargestCuts = 20;
constexpr std::int64_t kMostVariables = 1'000'000;
constexpr int kFewestPredictorsOfChoice = 2;

// The kind of variables that a variable dialog shows first.
constexpr int kCategoricalKind = 1;
constexpr int kContinuousKind = 2;

// The four lists, in the order of the variables dialog.
struct ListControl {
  VariableRole role;
  int captionControl;
  int captionText;
  int kind;
};
constexpr ListControl kLists[] = {
    {VariableRole::kContinuousDependent, kControlContinuousDependents, kTextContinuousDependents,
     kContinuousKind},
    {VariableRole::kCategoricalDependent, kControlCategoricalDependents, kTextCategoricalDependents,
     kCategoricalKind},
    {VariableRole::kContinuousPredictor, kControlContinuousPredictors, kTextContinuousPredictors,
     kContinuousKind},
    {VariableRole::kCategoricalPredictor, kControlCategoricalPredictors, kTextCategoricalPredictors,
     kCategoricalKind},
};

}  // namespace

CDefineTask::CDefineTask(CFeatureSelection& analysis)
    : ScriptableDialog(analysis, kStartupTemplate, "CDefineTask", kTextStartupDialog) {}

void CDefineTask::InitDialog() {
  AddPages({kStartupQuickPage, kStartupAdvancedPage});
  Window()->InitOpeningDialog();
  ShowWeights();
  Window()->SetIntEditRange(kControlPredictorCuts, kSmallestCutsOfEdit, kLargestCuts);
  Window()->SetIntEditRange(kControlDependentCuts, kSmallestCutsOfEdit, kLargestCuts);
  ShowPredictorCuts();
  ShowDependentCuts();
  ShowVariables();
  ShowOptions();
  SetStartupDialogInitialised(true);
}

void CDefineTask::Refresh() {
  ShowWeights();
  ShowPredictorCuts();
  ShowDependentCuts();
  ShowVariables();
  ShowOptions();
}

void CDefineTask::CasesChanged() { ShowWeights(); }

void CDefineTask::ShowWeights() {
  FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  const int asGiven = settings->useWeightsAsGiven;
  // A host that has only one mode of weighted moments keeps it.
  if (!Analysis().PutWeightedMomentsFlags(asGiven, settings->weightedMomentsMode)) {
    settings->weightedMomentsMode = 0;
    (void)Analysis().PutWeightedMomentsFlags(asGiven, 0);
  }
  const int mode = settings->weightedMomentsMode;
  Window()->CheckDlgButton(kControlUseWeightsAsGiven, asGiven);
  const int enabled = Analysis().HasCaseWeight() && asGiven != 0 ? 1 : 0;
  for (const int control :
       {kControlWeightedMoments, kControlWeightedMomentsMode0, kControlWeightedMomentsMode1}) {
    Window()->EnableWindow(control, enabled);
  }
  CheckRadio({kControlWeightedMomentsMode0, kControlWeightedMomentsMode1},
             mode == 0 ? kControlWeightedMomentsMode0 : kControlWeightedMomentsMode1);
}

void CDefineTask::ShowVariables() {
  const FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  for (const ListControl& list : kLists) {
    const std::span<const int> numbers = settings->Variables(list.role);
    WriteVarListToCaptionLong(list.captionControl, numbers.data(), static_cast<int>(numbers.size()));
  }
  WriteVarListToCaptionLong(kControlCountVariableCaption, &settings->countVariable,
                            settings->useCountVariable != 0 ? 1 : 0);
}

void CDefineTask::ShowPredictorCuts() {
  if (const FeatureSelectionSettings* settings = Settings()) {
    Window()->SetDlgItemInt(kControlPredictorCuts, settings->cutsContinuousPredictor);
  }
}

void CDefineTask::ShowDependentCuts() {
  if (const FeatureSelectionSettings* settings = Settings()) {
    Window()->SetDlgItemInt(kControlDependentCuts, settings->cutsContinuousDependent);
  }
}

void CDefineTask::ShowOptions() {
  const FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  const int cutDependents = settings->treatContinuousDependentAsCategorical;
  Window()->CheckDlgButton(kControlCasewiseDeletion, settings->casewiseDeletion);
  Window()->CheckDlgButton(kControlCutDependents, cutDependents);
  Window()->EnableWindow(kControlDependentCutsLabel, cutDependents);
  Window()->EnableWindow(kControlDependentCuts, cutDependents);
  CheckRadio({kControlCramersV, kControlChiSquare},
             settings->useCramersV ? kControlCramersV : kControlChiSquare);
}

void CDefineTask::DropResults() {
  FeatureSelection().SetResultsAvailable(false);
  if (FeatureSelectionSettings* settings = Settings()) settings->ReleaseResults();
}

void CDefineTask::Command(int controlId) {
  if (controlId == kControlCancel) {
    Window()->EnableStartupMenus(1);
    SetStartupDialogInitialised(false);
    return Exit(kExitNone);
  }
  if (controlId == kControlOpenData) return OpenData();
  FeatureSelectionSettings* settings = Settings();
  if (!settings) return Analysis().MessageOutput(kTextNotEnoughMemory);
  const auto toggle = [](std::int16_t& flag) { flag = flag == 0 ? 1 : 0; };
  switch (controlId) {
    case kControlOk:
      return Start();
    case kControlCaseSelection: {
      const ResultsLock lock(*this);
      Window()->DefineSelCond();
      return;
    }
    case kControlCaseWeights: {
      const ResultsLock lock(*this);
      Window()->DefineWeight();
      if (Window()) ShowWeights();
      return;
    }
    case kControlUseWeightsAsGiven:
      DropResults();
      toggle(settings->useWeightsAsGiven);
      return ShowWeights();
    case kControlWeightedMomentsMode0:
    case kControlWeightedMomentsMode1:
      settings->weightedMomentsMode = controlId == kControlWeightedMomentsMode1 ? 1 : 0;
      return ShowWeights();
    case kControlVariables:
      return ChooseVariables();
    case kControlCountVariable:
      return ChooseCountVariable();
    case kControlCasewiseDeletion:
      DropResults();
      toggle(settings->casewiseDeletion);
      return ShowOptions();
    case kControlCutDependents:
      DropResults();
      toggle(settings->treatContinuousDependentAsCategorical);
      return ShowOptions();
    case kControlCramersV:
    case kControlChiSquare:
      DropResults();
      settings->useCramersV = controlId == kControlCramersV;
      return ShowOptions();
    default:
      return;
  }
}

void CDefineTask::OpenData() {
  if (Window()->OpenQvdFile() == 0 || !Window()) return;
  Window()->RestoreResults();
  FeatureSelection().ResetSettings();
  Refresh();
}

bool CDefineTask::HasDependentAndPredictor() const {
  const FeatureSelectionSettings* settings = Settings();
  return settings && settings->DependentCount() > 0 && settings->PredictorCount() > 0;
}

void CDefineTask::ChooseVariables() {
  while (FeatureSelectionSettings* settings = Settings()) {
    int* const lists[] = {settings->variableList, settings->categoricalDependentList,
                          settings->continuousPredictorList, settings->categoricalPredictorList};
    int* const counts[] = {&settings->nContinuousDependents, &settings->nCategoricalDependents,
                           &settings->nContinuousPredictors, &settings->nCategoricalPredictors};
    std::array<std::string, std::size(kLists)> captions;
    std::array<vlm::VariableListRequest, std::size(kLists)> requests{};
    for (std::size_t i = 0; i < requests.size(); ++i) {
      captions[i] = LoadResString(kLists[i].captionText);
      requests[i] = {captions[i].data(),
                     vlm::LengthOf(captions[i]),
                     kLists[i].kind,
                     settings->numberOfVariables,
                     lists[i],
                     counts[i],
                     settings->listCapacity[i],
                     0};
    }
    const std::string title = LoadResString(kTextSelectVariables);
    if (Window()->VariableListsDialog(title.data(), vlm::LengthOf(title), requests.data(),
                                      static_cast<int>(requests.size())) == 0) {
      return;
    }
    // The lists belong to the record: after OK they differ from those of the last run.
    DropResults();
    if (!Window()) return;
    if (settings->DependentCount() >= 1 && settings->PredictorCount() >= kFewestPredictorsOfChoice) {
      return ShowVariables();
    }
    Analysis().MessageOutput(kTextTooFewVariables);
    ShowVariables();
    if (Analysis().IsOleAutomation()) return;
  }
}

void CDefineTask::ChooseCountVariable() {
  FeatureSelectionSettings& settings = RequireSettings();
  int variable = settings.countVariable;
  int count = settings.useCountVariable != 0 ? 1 : 0;
  const std::string title = LoadResString(kTextSelectCountVariable);
  const std::string caption = LoadResString(kTextCountVariable);
  const vlm::VariableListRequest request = {
      caption.data(), vlm::LengthOf(caption), kContinuousKind, 1, &variable, &count, 1, 0};
  if (Window()->VariableListsDialog(title.data(), vlm::LengthOf(title), &request, 1) == 0 || !Window())
    return;
  DropResults();
  settings.useCountVariable = count > 0 ? 1 : 0;
  settings.countVariable = count > 0 ? variable : 0;
  ShowVariables();
}

void CDefineTask::ReadCuts(int controlId, int& cuts) {
  int value = 0;
  if (Window()->GetDlgItemLong(controlId, &value) == 0 && value >= kSmallestCuts && value <= kLargestCuts) {
    cuts = value;
    return;
  }
  ShowEditError(controlId, kTextInvalidInteger);
  // Only a script can have put such a number there.
  if (cuts < kSmallestCuts || cuts > kLargestCuts) {
    Analysis().ShowNotice("The number of cuts is " + std::to_string(cuts) + ", outside " +
                          std::to_string(kSmallestCuts) + " to " + std::to_string(kLargestCuts) +
                          "; the variables that are cut by it give " +
                          (cuts < kSmallestCuts ? "no results." : "results of that many intervals."));
  }
}

void CDefineTask::Start() {
  if (!HasDependentAndPredictor()) {
    if (Analysis().IsOleAutomation())
      return Analysis().RaiseAutomationError(LoadResString(kTextSelectionNotValid));
    ChooseVariables();
    if (!Window() || !HasDependentAndPredictor()) return;
  }
  FeatureSelectionSettings& settings = RequireSettings();
  const std::int64_t selected = std::int64_t{settings.nContinuousDependents} +
                                settings.nCategoricalDependents + settings.nContinuousPredictors +
                                settings.nCategoricalPredictors;
  if (selected > kMostVariables) return Analysis().MessageOutput(kTextTooManyVariables);

  // A wrong number keeps the value that was there, and the run goes ahead with it.
  ReadCuts(kControlPredictorCuts, settings.cutsContinuousPredictor);
  if (settings.treatContinuousDependentAsCategorical != 0) {
    ReadCuts(kControlDependentCuts, settings.cutsContinuousDependent);
  }
  DropResults();
  if (RunFeatureSelection(settings) != kOk) return;
  FeatureSelection().SetResultsAvailable(true);
  Exit(kExitShowResults);
}

}  // namespace vlmfsl
