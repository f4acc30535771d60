#include "module/screening_ui/startup_dialog.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "base/tolerant.h"
#include "contract/text.h"
#include "module/frame/module_context.h"
#include "module/frame/step_result.h"
#include "module/resources/control_ids.h"
#include "module/resources/text_ids.h"
#include "module/screening_ui/list_texts.h"

namespace vlmfsl {
namespace {

constexpr int kVariablesShownAtOnce = 8;
constexpr double kSmallestCode = -9999999;
constexpr double kLargestCode = 9999999;
constexpr std::size_t kFewestFactorCodes = 2;

// The kind of variables that a variable dialog shows first.
constexpr int kCategoricalVariables = 1;
constexpr int kContinuousVariables = 2;

struct ListControl {
  int captionControl;
  int captionText;
  int kind;
  int setNumber;
};
// One variable may be a response of several kinds, but not also a predictor.
constexpr int kResponses = 1;
// In the order of ScreeningList.
constexpr ListControl kLists[kScreeningListCount] = {
    {kControlContinuousDependents, kTextScreeningContinuousResponse, kContinuousVariables, kResponses},
    {kControlCategoricalResponse, kTextScreeningCategoricalResponse, kCategoricalVariables, kResponses},
    {kControlBinaryResponse, kTextScreeningBinaryResponse, kCategoricalVariables, kResponses},
    {kControlCategoricalPredictors, kTextScreeningCategoricalPredictors, kCategoricalVariables, 0},
    {kControlContinuousPredictors, kTextScreeningContinuousPredictors, kContinuousVariables, 0},
};

struct SortControl {
  int control;
  int ScreeningState::*choice;
  int value;
};
constexpr SortControl kSorts[] = {
    {kControlSortGini, &ScreeningState::binarySort, kSortByGini},
    {kControlSortInformationValue, &ScreeningState::binarySort, kSortByInformationValue},
    {kControlSortBinaryWithoutKey, &ScreeningState::binarySort, kSortByNothing},
    {kControlSortChiSquareP, &ScreeningState::categoricalSort, kSortByChiSquareP},
    {kControlSortChiSquare, &ScreeningState::categoricalSort, kSortByChiSquare},
    {kControlSortRSquared, &ScreeningState::continuousSort, kSortByRSquared},
    {kControlSortFStatistic, &ScreeningState::continuousSort, kSortByF},
};

// Asks for the codes of variables, with the present choice shown. Nothing when the user cancels.
std::optional<std::vector<ChosenCodes>> AskCodes(vlm::IDialogWindow& window,
                                                 const std::vector<int>& variables,
                                                 const std::vector<ChosenCodes>& chosen) {
  static const ChosenCodes kNothing;
  std::vector<vlm::CodesRequest> requests;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const ChosenCodes& present = i < chosen.size() ? chosen[i] : kNothing;
    requests.push_back(
        {variables[i], present.codes.data(), static_cast<int>(present.codes.size()), present.all ? 1 : 0});
  }
  CodesSink codes(variables.size());
  const std::string title = LoadResString(kTextSelectFactorCodes);
  const bool answered = window.CodesListDialog(title.data(), vlm::LengthOf(title), requests.data(),
                                               static_cast<int>(requests.size()), kVariablesShownAtOnce,
                                               kSmallestCode, kLargestCode, &codes) != 0;
  std::vector<ChosenCodes> lists = codes.Take();
  return answered ? std::optional(std::move(lists)) : std::nullopt;
}

bool HasCodes(const std::vector<ChosenCodes>& lists) {
  return std::any_of(lists.begin(), lists.end(), [](const ChosenCodes& list) { return !list.codes.empty(); });
}

}  // namespace

CFeatureSelectionTemplateStartupDialog::CFeatureSelectionTemplateStartupDialog(
    CFeatureSelectionTemplate& analysis)
    : ScriptableDialog(analysis, kScreeningStartupTemplate, "CFeatureSelectionTemplateStartupDialog",
                       kTextScreeningStartupDialog) {}

vlm::IInputSpreadsheet& CFeatureSelectionTemplateStartupDialog::Input() const {
  vlm::IInputSpreadsheet* input = Analysis().Host().GetInputSpreadsheet();
  if (input == nullptr) throw HostCallError("There is no input spreadsheet.");
  return *input;
}

// --- Settings

std::vector<int>& CFeatureSelectionTemplateStartupDialog::List(ScreeningList list) const {
  CFeatureSelectionTemplate& screening = Screening();
  switch (list) {
    case ScreeningList::kContinuousResponse:
      return screening.continuousResponses;
    case ScreeningList::kCategoricalResponse:
      return screening.categoricalResponses;
    case ScreeningList::kBinaryResponse:
      return screening.binaryResponses;
    case ScreeningList::kCategoricalPredictor:
      return screening.categoricalPredictors;
    default:
      return screening.continuousPredictors;
  }
}

void CFeatureSelectionTemplateStartupDialog::SetLists(std::vector<std::vector<int>> lists) {
  CFeatureSelectionTemplate& screening = Screening();
  std::array<bool, kScreeningListCount> changed{};
  bool otherBinaryResponse = false;
  for (std::size_t i = 0; i < kScreeningListCount; ++i) {
    std::vector<int>& list = List(static_cast<ScreeningList>(i));
    changed[i] = list != lists[i];
    if (static_cast<ScreeningList>(i) == ScreeningList::kBinaryResponse && !list.empty()) {
      otherBinaryResponse = lists[i].empty() || lists[i].front() != list.front();
    }
    list = std::move(lists[i]);
  }
  const auto isChanged = [&](ScreeningList list) { return changed[static_cast<std::size_t>(list)]; };
  if (isChanged(ScreeningList::kCategoricalResponse)) SetResponseCodes({});
  if (isChanged(ScreeningList::kCategoricalPredictor)) SetFactorCodes({});
  if (otherBinaryResponse) ClearBinaryCodes();

  const auto namesOf = [&](const std::vector<int>& variables) {
    std::vector<std::string> names;
    names.reserve(variables.size());
    for (const int variable : variables) names.push_back(Analysis().VariableName(variable));
    return names;
  };
  const auto firstName = [&](const std::vector<int>& variables) {
    return variables.empty() ? std::string() : Analysis().VariableName(variables.front());
  };
  screening.categoricalPredictorNames = namesOf(screening.categoricalPredictors);
  screening.continuousPredictorNames = namesOf(screening.continuousPredictors);
  screening.binaryResponseName = firstName(screening.binaryResponses);
  screening.continuousResponseName = firstName(screening.continuousResponses);
  screening.categoricalResponseName = firstName(screening.categoricalResponses);
  screening.binaryResponseCount = screening.binaryResponses.empty() ? 0 : 1;
  screening.continuousResponseCount = screening.continuousResponses.empty() ? 0 : 1;
  screening.categoricalResponseCount = screening.categoricalResponses.empty() ? 0 : 1;
  screening.categoricalPredictorCount = static_cast<int>(screening.categoricalPredictors.size());
  screening.continuousPredictorCount = static_cast<int>(screening.continuousPredictors.size());
  ShowLists();
  ShowCodes();
}

void CFeatureSelectionTemplateStartupDialog::SetFactorCodes(std::vector<ChosenCodes> chosen) {
  CFeatureSelectionTemplate& screening = Screening();
  screening.chosenFactorCodes = std::move(chosen);
  screening.factorCodes.clear();
  screening.factorCodeCounts.clear();
  if (HasCodes(screening.chosenFactorCodes)) {
    for (const ChosenCodes& list : screening.chosenFactorCodes) {
      screening.factorCodes.insert(screening.factorCodes.end(), list.codes.begin(), list.codes.end());
      screening.factorCodeCounts.push_back(static_cast<int>(list.codes.size()));
    }
  }
  ShowCodes();
}

// The codes of every response are kept; those of the first go into the run.
void CFeatureSelectionTemplateStartupDialog::SetResponseCodes(std::vector<ChosenCodes> chosen) {
  CFeatureSelectionTemplate& screening = Screening();
  screening.chosenResponseCodes = std::move(chosen);
  screening.responseCodes = screening.chosenResponseCodes.empty()
                                ? std::vector<double>()
                                : screening.chosenResponseCodes.front().codes;
  ShowCodes();
}

void CFeatureSelectionTemplateStartupDialog::DropCodes() {
  SetResponseCodes({});
  SetFactorCodes({});
}

void CFeatureSelectionTemplateStartupDialog::ClearBinaryCodes() {
  SetText(kControlGoodCode, {});
  SetText(kControlBadCode, {});
}

void CFeatureSelectionTemplateStartupDialog::RenewCodes() {
  CFeatureSelectionTemplate& screening = Screening();
  const auto renew = [&](std::vector<ChosenCodes> lists, const std::vector<int>& variables) {
    RenewAllCodes(lists, screening.Host(), variables);
    return lists;
  };
  SetResponseCodes(renew(screening.chosenResponseCodes, screening.categoricalResponses));
  SetFactorCodes(renew(screening.chosenFactorCodes, screening.categoricalPredictors));
}

// --- Controls

void CFeatureSelectionTemplateStartupDialog::InitDialog() {
  AddPages({kScreeningStartupQuickPage, kScreeningStartupAdvancedPage});
  Window()->InitOpeningDialog();
  for (const int control :
       {kControlGoodCode, kControlBadCode, kControlFactorCodes, kControlFactorCodesCaption,
        kControlResponseCodes, kControlResponseCodesCaption}) {
    Window()->EnableWindow(control, 0);
  }
  Refresh();
}

void CFeatureSelectionTemplateStartupDialog::Refresh() {
  ShowSortChoices();
  ShowLists();
  ShowCodes();
}

void CFeatureSelectionTemplateStartupDialog::ShowLists() {
  for (std::size_t i = 0; i < kScreeningListCount; ++i) {
    const std::vector<int>& list = List(static_cast<ScreeningList>(i));
    WriteVarListToCaptionLong(kLists[i].captionControl, list.data(), static_cast<int>(list.size()));
  }
}

void CFeatureSelectionTemplateStartupDialog::ShowCodes() {
  const CFeatureSelectionTemplate& screening = Screening();
  const auto show = [&](int button, int caption, bool enabled, bool selected) {
    Window()->EnableWindow(button, enabled ? 1 : 0);
    Window()->EnableWindow(caption, enabled ? 1 : 0);
    SetText(caption, LoadResString(selected ? kTextSelected : kTextNone));
  };
  show(kControlResponseCodes, kControlResponseCodesCaption, !screening.categoricalResponses.empty(),
       HasCodes(screening.chosenResponseCodes));
  show(kControlFactorCodes, kControlFactorCodesCaption, !screening.categoricalPredictors.empty(),
       HasCodes(screening.chosenFactorCodes));
  const int response = screening.binaryResponses.empty() ? 0 : screening.binaryResponses.front();
  for (const int control : {kControlGoodCode, kControlBadCode}) {
    Window()->EnableWindow(control, response != 0 ? 1 : 0);
    Window()->OfferValues(control, response);
  }
}

void CFeatureSelectionTemplateStartupDialog::ShowSortChoices() {
  for (const SortControl& sort : kSorts) {
    if (sort.control == kControlSortBinaryWithoutKey) continue;  // on no page
    Window()->CheckDlgButton(sort.control, Screening().*sort.choice == sort.value ? 1 : 0);
  }
}

// --- Commands

void CFeatureSelectionTemplateStartupDialog::Command(int controlId) {
  for (const SortControl& sort : kSorts) {
    if (sort.control == controlId) Screening().*sort.choice = sort.value;
  }
  switch (controlId) {
    case kControlOk:
      Start();
      break;
    case kControlCancel:
      Exit(kExitNone);
      break;
    case kControlCaseSelection: {
      const ResultsLock lock(*this);
      Window()->DefineSelCond();
      if (Window()) DropCodes();  // codes are taken from the selected cases
      break;
    }
    case kControlCaseWeights: {
      const ResultsLock lock(*this);
      Window()->DefineWeight();
      break;
    }
    case kControlOpenData:
      OpenData();
      break;
    case kControlVariables:
      ChooseVariables();
      break;
    case kControlFactorCodes:
      ChooseFactorCodes();
      break;
    case kControlResponseCodes:
      ChooseResponseCodes();
      break;
    default:
      break;
  }
  if (Window()) ShowSortChoices();
}

void CFeatureSelectionTemplateStartupDialog::OpenData() {
  if (Window()->OpenQvdFile() == 0 || !Window()) return;
  Window()->EnableWindow(kControlOk, 1);
  Screening().Init();
  ClearBinaryCodes();  // they live in their edits alone
  Refresh();
  Window()->RestoreResults();
}

void CFeatureSelectionTemplateStartupDialog::ChooseVariables() {
  const int variableCount = Analysis().Services().GetNbVars();
  std::array<std::vector<int>, kScreeningListCount> buffers;
  std::array<int, kScreeningListCount> counts{};
  std::array<std::string, kScreeningListCount> captions;
  std::array<vlm::VariableListRequest, kScreeningListCount> requests{};
  for (std::size_t i = 0; i < kScreeningListCount; ++i) {
    buffers[i] = List(static_cast<ScreeningList>(i));
    counts[i] = static_cast<int>(buffers[i].size());
    buffers[i].resize(std::max(buffers[i].size(), static_cast<std::size_t>(std::max(variableCount, 1))));
    captions[i] = LoadResString(kLists[i].captionText);
    requests[i] = {captions[i].data(),
                   vlm::LengthOf(captions[i]),
                   kLists[i].kind,
                   variableCount,
                   buffers[i].data(),
                   &counts[i],
                   static_cast<int>(buffers[i].size()),
                   kLists[i].setNumber};
  }
  const std::string title = LoadResString(kTextSelectScreeningVariables);
  if (Window()->VariableListsDialog(title.data(), vlm::LengthOf(title), requests.data(),
                                    static_cast<int>(requests.size())) == 0 ||
      !Window()) {
    return;
  }
  std::vector<std::vector<int>> lists;
  for (std::size_t i = 0; i < kScreeningListCount; ++i) {
    buffers[i].resize(static_cast<std::size_t>(counts[i]));
    lists.push_back(std::move(buffers[i]));
  }
  SetLists(std::move(lists));
  const CFeatureSelectionTemplate& screening = Screening();
  if (screening.binaryResponseCount + screening.continuousResponseCount +
          screening.categoricalResponseCount ==
      0) {
    DisplayInstError(kTextNoResponsesSelected);
  } else if (screening.categoricalPredictorCount + screening.continuousPredictorCount == 0) {
    DisplayInstError(kTextNoPredictorsSelected);
  }
}

bool CFeatureSelectionTemplateStartupDialog::ChooseFactorCodes() {
  const std::vector<int>& variables = Screening().categoricalPredictors;
  if (variables.empty()) return false;
  std::optional<std::vector<ChosenCodes>> chosen =
      AskCodes(*Window(), variables, Screening().chosenFactorCodes);
  if (!chosen || !Window()) return false;
  SetFactorCodes(std::move(*chosen));
  return true;
}

bool CFeatureSelectionTemplateStartupDialog::ChooseResponseCodes() {
  const std::vector<int>& variables = Screening().categoricalResponses;
  if (variables.empty()) return false;
  std::optional<std::vector<ChosenCodes>> chosen =
      AskCodes(*Window(), variables, Screening().chosenResponseCodes);
  if (!chosen || !Window()) return false;
  SetResponseCodes(std::move(*chosen));
  return true;
}

// --- OK

void CFeatureSelectionTemplateStartupDialog::Start() {
  if (!Validate()) return;
  const ResultsLock lock(*this);
  if (Screening().RunTemplateAnalysis(Window()) == kOk) Exit(kExitShowResults);
}

bool CFeatureSelectionTemplateStartupDialog::Validate() {
  CFeatureSelectionTemplate& screening = Screening();
  const auto refuse = [&](int textId) {
    screening.ShowMessage(textId);
    return false;
  };
  if (screening.categoricalPredictors.empty() && screening.continuousPredictors.empty()) {
    return refuse(kTextNoPredictorsSelected);
  }
  if (screening.binaryResponses.empty() && screening.continuousResponses.empty() &&
      screening.categoricalResponses.empty()) {
    return refuse(kTextNoResponsesSelected);
  }
  if (!screening.binaryResponses.empty() && !ReadBinaryCodes()) return false;
  RenewCodes();
  if (!screening.categoricalResponses.empty() && screening.responseCodes.empty() &&
      (!ChooseResponseCodes() || screening.responseCodes.empty())) {
    return refuse(kTextCodesNotSelected);
  }
  if (!screening.categoricalPredictors.empty() && screening.factorCodes.empty() &&
      (!ChooseFactorCodes() || screening.factorCodes.empty())) {
    return refuse(kTextCodesNotSelected);
  }
  for (std::size_t i = 0; i < screening.categoricalPredictors.size(); ++i) {
    if (screening.FactorCodes(i).size() < kFewestFactorCodes) return refuse(kTextTooFewFactorCodes);
  }
  return true;
}

bool CFeatureSelectionTemplateStartupDialog::ReadBinaryCodes() {
  CFeatureSelectionTemplate& screening = Screening();
  double good = 0;
  double bad = 0;
  if (!ReadCode(kControlGoodCode, good)) {
    screening.ShowMessage(kTextGoodCodeNotAppropriate);
    return false;
  }
  if (!ReadCode(kControlBadCode, bad)) {
    screening.ShowMessage(kTextBadCodeNotAppropriate);
    return false;
  }
  if (vlm::NearlyEqual(good, bad)) {
    screening.ShowMessage(kTextIdenticalCodes);
    return false;
  }
  screening.goodCode = good;
  screening.badCode = bad;
  const int response = screening.binaryResponses.front();
  screening.goodCodeText = screening.DisplayText(response, good);
  screening.badCodeText = screening.DisplayText(response, bad);
  if (TrimBlanks(screening.goodCodeText) == TrimBlanks(screening.badCodeText)) {
    // Columns are found by these texts, so equal labels are replaced by the codes.
    screening.goodCodeText = CodeText(good);
    screening.badCodeText = CodeText(bad);
  }
  return true;
}

bool CFeatureSelectionTemplateStartupDialog::ReadCode(int controlId, double& code) {
  const std::string text =
      TrimBlanks(vlm::WholeTextOf([&](vlm::ITextSink* sink) { Window()->GetDlgItemText(controlId, sink); }));
  if (text.empty()) return false;
  const int response = Screening().binaryResponses.front();
  double given = 0;
  if (Input().FindValue(response, text.data(), vlm::LengthOf(text), &given) != 0 &&
      Window()->GetDlgItemReal(controlId, &given) != 0) {
    return false;
  }
  return Input().FindDataValue(response, given, &code) == 0;
}

}  // namespace vlmfsl
