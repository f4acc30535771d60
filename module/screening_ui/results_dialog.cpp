#include "module/screening_ui/results_dialog.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <stdexcept>

#include "base/format_text.h"
#include "base/rounding.h"
#include "contract/text.h"
#include "module/frame/step_result.h"
#include "module/resources/control_ids.h"
#include "module/resources/text_ids.h"
#include "module/screening_outputs/bin_conditions.h"
#include "module/screening_outputs/coded_variables.h"
#include "module/screening_outputs/importance_tables.h"
#include "module/screening_outputs/output_texts.h"
#include "module/screening_outputs/predictor_tables.h"
#include "module/screening_outputs/rules_report.h"
#include "module/screening_outputs/screening_graphs.h"
#include "module/screening_outputs/text_file.h"

namespace vlmfsl {
namespace {

int DropDownOf(int responseKind) {
  if (responseKind == vlm::kBinaryResponse) return kControlBinaryPredictor;
  return responseKind == vlm::kCategoricalResponse ? kControlCategoricalPredictor
                                                   : kControlContinuousPredictor;
}

// The controls of a page that need results of its response kind.
std::span<const int> ControlsOf(int responseKind) {
  static constexpr int kBinary[] = {kControlBinaryPredictor, kControlBinaryImportance, kControlBinaryCrosstab,
                                    kControlBinaryDistribution, kControlBinaryDefaultRates};
  static constexpr int kContinuous[] = {kControlContinuousPredictor, kControlContinuousImportance,
                                        kControlBreakdown, kControlBoxPlot, kControlMeanDiamonds};
  static constexpr int kCategorical[] = {kControlCategoricalPredictor,  kControlCategoricalImportance,
                                         kControlCategoricalCrosstab,   kControlInteractionPlot,
                                         kControlCategorizedHistograms, kControlHistograms3D};
  if (responseKind == vlm::kBinaryResponse) return kBinary;
  return responseKind == vlm::kCategoricalResponse ? std::span<const int>(kCategorical) : kContinuous;
}

struct GraphButton {
  int controlId;
  int responseKind;
  vlm::Ref<vlm::IGraph> (*make)(CFeatureSelectionTemplate& analysis, PredSummary& record);
};

constexpr GraphButton kGraphButtons[] = {
    {kControlBinaryDistribution, vlm::kBinaryResponse, &BinaryCDFGraph},
    {kControlBinaryDefaultRates, vlm::kBinaryResponse, &BinaryDefaultRateGraph},
    {kControlBoxPlot, vlm::kContinuousResponse, &ContinuousBoxPlot},
    {kControlMeanDiamonds, vlm::kContinuousResponse, &ContinuousOverlaidScatter},
    {kControlInteractionPlot, vlm::kCategoricalResponse, &CategoricalInteractionPlot},
    {kControlCategorizedHistograms, vlm::kCategoricalResponse, &CategoricalHistograms},
    {kControlHistograms3D, vlm::kCategoricalResponse, &Categorical3DHistogram},
};

// Why a save action failed, in one sentence.
class SaveProblem : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Notifies the host's framework at the end of an action, however it ends.
class CommandAtEnd {
 public:
  CommandAtEnd(const CAnalysisModelessDialog& dialog, int command) : dialog_(dialog), command_(command) {}
  ~CommandAtEnd() {
    if (dialog_.Window()) dialog_.Window()->SendFrameworkCommand(command_);
  }
  CommandAtEnd(const CommandAtEnd&) = delete;
  CommandAtEnd& operator=(const CommandAtEnd&) = delete;

 private:
  const CAnalysisModelessDialog& dialog_;
  int command_;
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
  // The pages are in the order of the kinds below.
  constexpr int kKindsOfPages[] = {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse};
  const auto first = std::find_if(std::begin(kKindsOfPages), std::end(kKindsOfPages),
                                  [&](int kind) { return !Screening().Order(kind).empty(); });
  if (first != std::end(kKindsOfPages)) {
    Window()->SelectDlgTab(kControlTabs, static_cast<int>(first - std::begin(kKindsOfPages)));
  }
}

void CFeatureSelectionTemplateResultsDialog::Refresh() {
  for (const int kind : kKindsInOutputOrder) ShowPage(kind);
  Window()->SetDlgItemInt(kControlNumberToSave, numberToSave_);
  Window()->CheckDlgButton(kControlSaveCodedToBundle, saveToBundle_ ? 1 : 0);
}

void CFeatureSelectionTemplateResultsDialog::ShowPage(int responseKind) {
  const int dropDown = DropDownOf(responseKind);
  Window()->ClearDropDown(dropDown);
  for (const int position : Screening().Order(responseKind)) {
    const std::string& name =
        Screening().Results(responseKind)[static_cast<std::size_t>(position)].predictorName;
    Window()->AddDropDownItem(dropDown, name.data(), vlm::LengthOf(name));
  }
  int& chosen = chosen_[static_cast<std::size_t>(responseKind)];
  const int count = static_cast<int>(Screening().Order(responseKind).size());
  chosen = std::clamp(chosen, 0, std::max(count - 1, 0));
  Window()->SelectDropDownItem(dropDown, count > 0 ? chosen : -1);
  for (const int control : ControlsOf(responseKind)) Window()->EnableWindow(control, count > 0 ? 1 : 0);
}

int CFeatureSelectionTemplateResultsDialog::ChosenIndex(int responseKind) const {
  const std::vector<int>& order = Screening().Order(responseKind);
  const auto position = static_cast<std::size_t>(chosen_[static_cast<std::size_t>(responseKind)]);
  return position < order.size() ? order[position] : -1;
}

PredSummary* CFeatureSelectionTemplateResultsDialog::Chosen(int responseKind) const {
  const int index = ChosenIndex(responseKind);
  return index < 0 ? nullptr : &Screening().Results(responseKind)[static_cast<std::size_t>(index)];
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

void CFeatureSelectionTemplateResultsDialog::ReadNumberToSave() {
  double given = 0;
  const bool isNumber = Window()->GetDlgItemReal(kControlNumberToSave, &given) == 0;
  std::size_t longest = 0;
  for (const int kind : kKindsInOutputOrder) longest = std::max(longest, Screening().Results(kind).size());
  const double rounded = vlm::RoundHalfAway(given);
  if (isNumber && rounded >= 1 && rounded <= static_cast<double>(longest)) {
    numberToSave_ = static_cast<int>(rounded);
    return;
  }
  throw SaveProblem(Screening().Text(kTextNumberToSave));
}

std::string CFeatureSelectionTemplateResultsDialog::AskSaveFile(int titleTextId, std::string_view extension) {
  const std::string title = Screening().Text(titleTextId);
  vlm::StringSink path;
  const int answer = Window()->SaveFileDialog(title.data(), vlm::LengthOf(title), extension.data(),
                                              vlm::LengthOf(extension), &path);
  if (answer == 0 && Screening().IsOleAutomation()) throw SaveProblem(Screening().Text(kTextNoFileName));
  return answer == 0 ? std::string() : path.TakeWhole();
}

bool CFeatureSelectionTemplateResultsDialog::MayReplace(const std::vector<std::string>& paths) {
  std::vector<const char*> texts;
  for (const std::string& path : paths) texts.push_back(path.c_str());
  return Window()->ConfirmReplacing(texts.data(), static_cast<int>(texts.size())) != 0;
}

template <typename Action>
std::string CFeatureSelectionTemplateResultsDialog::Save(Action&& action) {
  try {
    action();
    return "";
  } catch (const SaveProblem& problem) {
    Screening().MessageOutput(problem.what());
    return problem.what();
  }
}

std::string CFeatureSelectionTemplateResultsDialog::SaveBundles() {
  const CommandAtEnd command(*this, kCommandBundlesSaved);
  return Save([&] {
    ReadNumberToSave();
    if (SavePredictorBundles(Screening(), numberToSave_) != kOk) {
      throw SaveProblem("The predictors could not be saved as variable bundles.");
    }
  });
}

std::string CFeatureSelectionTemplateResultsDialog::AddCodedVariables() {
  const CommandAtEnd command(*this, kCommandCodedVariablesAdded);
  return Save([&] {
    ReadNumberToSave();
    const Addition end = vlmfsl::AddCodedVariables(Screening(), numberToSave_, saveToBundle_);
    if (end == Addition::kNotAdded) {
      throw SaveProblem("The coded variables could not be added to the spreadsheet.");
    }
    if (end == Addition::kAdded) Screening().ShowMessage(kTextCodedVariablesSaved);
  });
}

std::string CFeatureSelectionTemplateResultsDialog::SaveRecodeConditions(const std::string& fileName) {
  constexpr std::string_view kExtension = ".ini";
  return Save([&] {
    ReadNumberToSave();
    const std::string path = fileName.empty() ? AskSaveFile(kTextSaveRecode, kExtension) : fileName;
    if (path.empty()) return;
    const std::vector<RecodeFile> files =
        MakeRecodeFiles(Screening(), WithoutExtension(path, kExtension), numberToSave_);
    std::vector<std::string> paths;
    for (const RecodeFile& file : files) paths.push_back(file.path);
    if (!MayReplace(paths)) return;
    std::string refused;
    if (SaveRecodeFiles(files, refused) == 0) {
      throw SaveProblem(vlm::FormatText(Screening().Text(kTextFileNotWritten), {refused}));
    }
    Screening().ShowMessage(kTextRecodeSaved);
  });
}

std::string CFeatureSelectionTemplateResultsDialog::SaveRules() {
  return Save([&] {
    ReadNumberToSave();
    const CommandAtEnd command(*this, kCommandRulesSaved);
    const std::string path = AskSaveFile(kTextSaveRules, ".txt");
    if (path.empty() || !MayReplace({path})) return;
    if (!WriteTextFile(path, RulesOfBestPredictors(Screening(), numberToSave_))) {
      throw SaveProblem(vlm::FormatText(Screening().Text(kTextFileNotWritten), {path}));
    }
    Screening().ShowMessage(kTextRulesSaved);
  });
}

std::string CFeatureSelectionTemplateResultsDialog::MakeRulesReport(vlm::Ref<vlm::IDocument>& report) {
  return Save([&] {
    ReadNumberToSave();
    const vlm::Ref<vlm::ISpreadsheet> table = MakeAllPredictorsTable(Screening());
    if (table) report = ShowRulesReport(Screening(), numberToSave_);
    if (!report) throw SaveProblem("The report could not be made.");
    table->Show();
  });
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakeSummary() {
  Sheets sheets;
  for (const int kind : kKindsInOutputOrder) {
    for (vlm::Ref<vlm::ISpreadsheet>& sheet : MakeImportance(kind)) sheets.push_back(std::move(sheet));
  }
  return sheets;
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakeImportance(
    int responseKind) {
  vlm::Ref<vlm::ISpreadsheet> sheet = ShowImportanceTable(Screening(), responseKind);
  return sheet ? Sheets{std::move(sheet)} : Sheets{};
}

CFeatureSelectionTemplateResultsDialog::Sheets CFeatureSelectionTemplateResultsDialog::MakePredictorTable(
    int responseKind) {
  const int index = ChosenIndex(responseKind);
  if (index < 0) return {};
  vlm::Ref<vlm::ISpreadsheet> sheet = ShowPredictorTable(Screening(), responseKind, index);
  return sheet ? Sheets{std::move(sheet)} : Sheets{};
}

void CFeatureSelectionTemplateResultsDialog::MakeDistributionTable() {
  const int index = ChosenIndex(vlm::kBinaryResponse);
  if (index >= 0) (void)ShowDistributionTable(Screening(), index);
}

vlm::Ref<vlm::IGraph> CFeatureSelectionTemplateResultsDialog::MakeGraph(int controlId) {
  for (const GraphButton& button : kGraphButtons) {
    if (button.controlId != controlId) continue;
    PredSummary* const record = Chosen(button.responseKind);
    return record != nullptr ? button.make(Screening(), *record) : vlm::Ref<vlm::IGraph>();
  }
  return {};
}

void CFeatureSelectionTemplateResultsDialog::Command(int controlId) {
  switch (controlId) {
    case kControlSummary:
      MakeSummary();
      return;
    case kControlBinaryImportance:
      MakeImportance(vlm::kBinaryResponse);
      return;
    case kControlContinuousImportance:
      MakeImportance(vlm::kContinuousResponse);
      return;
    case kControlCategoricalImportance:
      MakeImportance(vlm::kCategoricalResponse);
      return;
    case kControlBinaryCrosstab:
      MakePredictorTable(vlm::kBinaryResponse);
      return;
    case kControlBinaryDistribution:
      if (MakeGraph(controlId)) MakeDistributionTable();
      return;
    case kControlCategoricalCrosstab:
      MakePredictorTable(vlm::kCategoricalResponse);
      return;
    case kControlBreakdown:
      MakePredictorTable(vlm::kContinuousResponse);
      return;
    case kControlBinaryPredictor:
    case kControlContinuousPredictor:
    case kControlCategoricalPredictor: {
      const int kind = controlId == kControlBinaryPredictor       ? vlm::kBinaryResponse
                       : controlId == kControlContinuousPredictor ? vlm::kContinuousResponse
                                                                  : vlm::kCategoricalResponse;
      chosen_[static_cast<std::size_t>(kind)] = std::max(Window()->GetSelectedDropDownItem(controlId), 0);
      ShowPage(kind);
      return;
    }
    case kControlSaveBundle:
      SaveBundles();
      return;
    case kControlAddCodedVariables:
      AddCodedVariables();
      return;
    case kControlSaveCodedToBundle:
      return SetSaveToBundle(!saveToBundle_);
    case kControlSaveRecode:
      SaveRecodeConditions("");
      return;
    case kControlSaveRules:
      SaveRules();
      return;
    case kControlRulesReport: {
      vlm::Ref<vlm::IDocument> report;
      MakeRulesReport(report);
      return;
    }
    case kControlCancel:
      return Exit(kExitNone);
    default:
      MakeGraph(controlId);
      return;
  }
}

}  // namespace vlmfsl
