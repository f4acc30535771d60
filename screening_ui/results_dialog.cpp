#include "screening_ui/results_dialog.h"

#include <algorithm>
#include <cmath>

#include "frame/string_sink.h"
#include "resources/control_ids.h"
#include "resources/text_ids.h"
#include "screening_out/importance_tables.h"

namespace vlmfsl {
namespace {

// Outputs come in this order.
constexpr int kKinds[] = {kBinaryKind, kContinuousKind, kCategoricalKind};

int DropDownOf(int responseKind) {
  if (responseKind == kBinaryKind) return kControlBinaryPredictor;
  return responseKind == kCategoricalKind ? kControlCategoricalPredictor : kControlContinuousPredictor;
}

struct GraphButton {
  int controlId;
  int responseKind;
  Ref<vlm::IGraph> (CFeatureSelectionTemplate::*make)(PredSummary& record);
};

constexpr GraphButton kGraphButtons[] = {
    {kControlBinaryDistribution, kBinaryKind, &CFeatureSelectionTemplate::BinaryCDFGraph},
    {kControlBinaryDefaultRates, kBinaryKind, &CFeatureSelectionTemplate::BinaryDefaultRateGraph},
    {kControlBoxPlot, kContinuousKind, &CFeatureSelectionTemplate::ContinuousBoxPlot},
    {kControlMeanDiamonds, kContinuousKind, &CFeatureSelectionTemplate::ContinuousOverlaidScatter},
    {kControlInteractionPlot, kCategoricalKind, &CFeatureSelectionTemplate::CategoricalInteractionPlot},
    {kControlCategorizedHistograms, kCategoricalKind, &CFeatureSelectionTemplate::CategoricalHistograms},
    {kControlHistograms3D, kCategoricalKind, &CFeatureSelectionTemplate::Categorical3DHistogram},
};

}  // namespace

CFeatureSelectionTemplateResultsDialog::CFeatureSelectionTemplateResultsDialog(
    CFeatureSelectionTemplate& analysis)
    : ScriptableDialog(analysis, kScreeningResultsTemplate, "CFeatureSelectionTemplateResultsDialog",
                       kTextScreeningResultDialog) {}

void CFeatureSelectionTemplateResultsDialog::InitDialog() {
  AddPages({kScreeningBinaryPage, kScreeningContinuousPage, kScreeningCategoricalPage, kScreeningSavePage});
  Window()->InitOpeningDialog();
  Refresh();
}

void CFeatureSelectionTemplateResultsDialog::Refresh() {
  for (const int kind : kKinds) ShowPage(kind);
  Window()->SetDlgItemInt(kControlNumberToSave, numberToSave_);
  Window()->CheckDlgButton(kControlSaveCodedToBundle, saveToBundle_ ? 1 : 0);
}

void CFeatureSelectionTemplateResultsDialog::ShowPage(int responseKind) {
  const int dropDown = DropDownOf(responseKind);
  Window()->ClearDropDown(dropDown);
  for (const int position : Screening().Order(responseKind)) {
    const std::string& name =
        Screening().Results(responseKind)[static_cast<std::size_t>(position)].predictorName;
    Window()->AddDropDownItem(dropDown, name.data(), LengthOf(name));
  }
  int& chosen = chosen_[static_cast<std::size_t>(responseKind)];
  const int count = static_cast<int>(Screening().Order(responseKind).size());
  chosen = std::clamp(chosen, 0, std::max(count - 1, 0));
  Window()->SelectDropDownItem(dropDown, count > 0 ? chosen : -1);
}

const PredSummary* CFeatureSelectionTemplateResultsDialog::Chosen(int responseKind) const {
  const std::vector<int>& order = Screening().Order(responseKind);
  const auto position = static_cast<std::size_t>(chosen_[static_cast<std::size_t>(responseKind)]);
  if (position >= order.size()) return nullptr;
  return &Screening().Results(responseKind)[static_cast<std::size_t>(order[position])];
}

void CFeatureSelectionTemplateResultsDialog::Choose(int responseKind, int position) {
  chosen_[static_cast<std::size_t>(responseKind)] = position;
  Window()->SelectDropDownItem(DropDownOf(responseKind), position);
}

void CFeatureSelectionTemplateResultsDialog::SetNumberToSave(int number) {
  numberToSave_ = number;
  Window()->SetDlgItemInt(kControlNumberToSave, number);
}

void CFeatureSelectionTemplateResultsDialog::SetSaveToBundle(bool save) {
  saveToBundle_ = save;
  Window()->CheckDlgButton(kControlSaveCodedToBundle, save ? 1 : 0);
}

bool CFeatureSelectionTemplateResultsDialog::ReadNumberToSave() {
  double given = 0;
  const bool isNumber = Window()->GetDlgItemReal(kControlNumberToSave, &given) == 0;
  std::size_t longest = 0;
  for (const int kind : kKinds) longest = std::max(longest, Screening().Results(kind).size());
  const double rounded = std::round(given);
  if (isNumber && rounded >= 1 && rounded <= static_cast<double>(longest)) {
    numberToSave_ = static_cast<int>(rounded);
    return true;
  }
  Screening().ShowMessage(kTextNumberToSave);
  return false;
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakeSummary() {
  Sheets sheets;
  for (const int kind : kKinds) {
    for (Ref<vlm::ISpreadsheet>& sheet : MakeImportance(kind)) sheets.push_back(std::move(sheet));
  }
  return sheets;
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakeImportance(
    int responseKind) {
  Ref<vlm::ISpreadsheet> sheet = ShowImportanceTable(Screening(), responseKind);
  return sheet ? Sheets{std::move(sheet)} : Sheets{};
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakePredictorTable(
    int responseKind) {
  const std::vector<int>& order = Screening().Order(responseKind);
  const auto position = static_cast<std::size_t>(chosen_[static_cast<std::size_t>(responseKind)]);
  if (position >= order.size()) return {};
  Ref<vlm::ISpreadsheet> sheet = ShowPredictorTable(Screening(), responseKind, order[position]);
  return sheet ? Sheets{std::move(sheet)} : Sheets{};
}

Ref<vlm::IGraph> CFeatureSelectionTemplateResultsDialog::MakeGraph(int controlId) {
  for (const GraphButton& button : kGraphButtons) {
    if (button.controlId != controlId) continue;
    const std::vector<int>& order = Screening().Order(button.responseKind);
    const auto position = static_cast<std::size_t>(chosen_[static_cast<std::size_t>(button.responseKind)]);
    if (position >= order.size()) return {};
    std::vector<PredSummary>& results = Screening().Results(button.responseKind);
    return (Screening().*button.make)(results[static_cast<std::size_t>(order[position])]);
  }
  return {};
}

void CFeatureSelectionTemplateResultsDialog::Command(int controlId) {
  switch (controlId) {
    case kControlSummary:
      MakeSummary();
      return;
    case kControlBinaryImportance:
      MakeImportance(kBinaryKind);
      return;
    case kControlContinuousImportance:
      MakeImportance(kContinuousKind);
      return;
    case kControlCategoricalImportance:
      MakeImportance(kCategoricalKind);
      return;
    case kControlBinaryCrosstab:
      MakePredictorTable(kBinaryKind);
      return;
    case kControlCategoricalCrosstab:
      MakePredictorTable(kCategoricalKind);
      return;
    case kControlBreakdown:
      MakePredictorTable(kContinuousKind);
      return;
    case kControlBinaryPredictor:
    case kControlContinuousPredictor:
    case kControlCategoricalPredictor: {
      const int kind = controlId == kControlBinaryPredictor       ? kBinaryKind
                       : controlId == kControlContinuousPredictor ? kContinuousKind
                                                                  : kCategoricalKind;
      chosen_[static_cast<std::size_t>(kind)] = std::max(Window()->GetSelectedDropDownItem(controlId), 0);
      ShowPage(kind);
      return;
    }
    case kControlSaveCodedToBundle:
      return SetSaveToBundle(!saveToBundle_);
    case kControlCancel:
      return Exit(kExitNone);
    default:
      MakeGraph(controlId);
      return;
  }
}

}  // namespace vlmfsl
