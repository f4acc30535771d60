// FSLResults: the accessors of the results dialog.
#include <utility>

#include "module/feature_selection/select_best_predictors.h"
#include "module/feature_selection_ui/result_dialog.h"
#include "module/frame/output_collection.h"
#include "module/resources/automation_tables.h"

namespace vlmfsl {
namespace {

void RequireMade(int result) {
  if (result != kOk) throw AutomationException("The output could not be made.");
}

}  // namespace

CComResultDialog::CComResultDialog() : DialogAutomation(kFslResults, "CResultDialog") {}

CResultDialog& CComResultDialog::Dialog() { return static_cast<CResultDialog&>(*this); }

std::span<const MemberHandler<CComResultDialog>> CComResultDialog::Handlers() {
  using T = CComResultDialog;
  constexpr auto kComputes = GuardKind::kAnalysisMethod;
  static constexpr MemberHandler<T> kHandlers[] = {
      {kDispModeFixedNumber, &T::get_DisplayFixedNumberOfBestPredictors,
       &T::put_DisplayFixedNumberOfBestPredictors},
      {kDispModeFixedNumberByP, &T::get_DisplayFixedNumberOfBestPredictorsByPValue,
       &T::put_DisplayFixedNumberOfBestPredictorsByPValue},
      {kDispModePValue, &T::get_DisplayBestPredictorsWithFixedPValue,
       &T::put_DisplayBestPredictorsWithFixedPValue},
      {kDispFixedNumber, &T::get_FixedNumberOfBestPredictors, &T::put_FixedNumberOfBestPredictors},
      {kDispFixedNumberByP, &T::get_FixedNumberOfBestPredictorsByPValue,
       &T::put_FixedNumberOfBestPredictorsByPValue},
      {kDispPCriterion, &T::get_FixedPValueOfBestPredictors, &T::put_FixedPValueOfBestPredictors},
      {kDispSummary, &T::get_Summary, nullptr},
      {kDispHistogram, &T::get_HistogramOfImportanceForBestPredictors, nullptr},
      {kDispReport, &T::get_ReportOfBestKPredictors, nullptr},
      {kDispBestContinuous, &T::get_BestContinuousPredictors, nullptr, kComputes},
      {kDispBestCategorical, &T::get_BestCategoricalPredictors, nullptr, kComputes},
      {kDispBestContinuousString, &T::get_BestContinuousPredictorString, nullptr, kComputes},
      {kDispBestCategoricalString, &T::get_BestCategoricalPredictorString, nullptr, kComputes},
      {kDispSaveBundle, &T::SavePredictorsToVariableBundle, nullptr},
  };
  return kHandlers;
}

void CComResultDialog::CallOpen(const AutomationCall& call) { CallHandler(Handlers(), *this, call); }

GuardKind CComResultDialog::GuardOf(int dispatchId) const { return FindGuard(Handlers(), dispatchId); }

// --- The display mode, as three flags

void CComResultDialog::ReturnMode(const AutomationCall& call, DisplayMode mode) {
  call.result.SetInt(Dialog().RequireSettings().displayMode == mode ? 1 : 0);
}

void CComResultDialog::SelectMode(const AutomationCall& call, DisplayMode mode) {
  // False selects nothing: it does not say which of the other two is meant.
  if (!call.Flag()) return;
  Dialog().RequireSettings().displayMode = mode;
  Dialog().ShowMode();
}

void CComResultDialog::get_DisplayFixedNumberOfBestPredictors(const AutomationCall& call) {
  ReturnMode(call, DisplayMode::kFixedNumber);
}
void CComResultDialog::put_DisplayFixedNumberOfBestPredictors(const AutomationCall& call) {
  SelectMode(call, DisplayMode::kFixedNumber);
}
void CComResultDialog::get_DisplayFixedNumberOfBestPredictorsByPValue(const AutomationCall& call) {
  ReturnMode(call, DisplayMode::kFixedNumberByPValue);
}
void CComResultDialog::put_DisplayFixedNumberOfBestPredictorsByPValue(const AutomationCall& call) {
  SelectMode(call, DisplayMode::kFixedNumberByPValue);
}
void CComResultDialog::get_DisplayBestPredictorsWithFixedPValue(const AutomationCall& call) {
  ReturnMode(call, DisplayMode::kFixedPValue);
}
void CComResultDialog::put_DisplayBestPredictorsWithFixedPValue(const AutomationCall& call) {
  SelectMode(call, DisplayMode::kFixedPValue);
}

// --- The numbers of the modes. They are not checked here; the outputs check the edits.

void CComResultDialog::get_FixedNumberOfBestPredictors(const AutomationCall& call) {
  call.result.SetInt(Dialog().RequireSettings().fixedNumberOfBest);
}
void CComResultDialog::put_FixedNumberOfBestPredictors(const AutomationCall& call) {
  Dialog().RequireSettings().fixedNumberOfBest = call.Int();
  Dialog().ShowNumbers();
}
void CComResultDialog::get_FixedNumberOfBestPredictorsByPValue(const AutomationCall& call) {
  call.result.SetInt(Dialog().RequireSettings().fixedNumberOfBestByP);
}
void CComResultDialog::put_FixedNumberOfBestPredictorsByPValue(const AutomationCall& call) {
  Dialog().RequireSettings().fixedNumberOfBestByP = call.Int();
  Dialog().ShowNumbers();
}
void CComResultDialog::get_FixedPValueOfBestPredictors(const AutomationCall& call) {
  call.result.SetReal(Dialog().RequireSettings().pCriterion);
}
void CComResultDialog::put_FixedPValueOfBestPredictors(const AutomationCall& call) {
  Dialog().RequireSettings().pCriterion = call.Real();
  Dialog().ShowNumbers();
}

// --- Outputs: several documents as a collection, the one report as itself

void CComResultDialog::get_Summary(const AutomationCall& call) {
  DocumentList made;
  RequireMade(Dialog().MakeOutput(CResultDialog::Output::kSummary, made));
  call.result.SetObject(MakeOutputCollection(std::move(made)).Get());
}

void CComResultDialog::get_HistogramOfImportanceForBestPredictors(const AutomationCall& call) {
  DocumentList made;
  RequireMade(Dialog().MakeOutput(CResultDialog::Output::kHistogram, made));
  call.result.SetObject(MakeOutputCollection(std::move(made)).Get());
}

void CComResultDialog::get_ReportOfBestKPredictors(const AutomationCall& call) {
  DocumentList made;
  RequireMade(Dialog().MakeOutput(CResultDialog::Output::kReport, made));
  call.result.SetObject(made.empty() ? nullptr : made.front()->GetAutomationObject());
}

void CComResultDialog::SavePredictorsToVariableBundle(const AutomationCall&) {
  if (Dialog().SaveBundles() != kOk) throw AutomationException(kBundlesNotSaved);
}

// --- Best predictors as data

std::vector<int> CComResultDialog::BestOfKind(int dependentNumber, PredictorKind kind, int notFoundTextId,
                                              int noMemoryTextId) {
  Dialog().ReadEdits();
  const FeatureSelectionSettings& settings = Dialog().RequireSettings();
  int dependentIndex = 0;
  while (dependentIndex < settings.DependentCount() &&
         settings.DependentVariable(dependentIndex) != dependentNumber) {
    ++dependentIndex;
  }
  if (dependentIndex == settings.DependentCount()) throw AutomationException(LoadResString(notFoundTextId));
  if (!settings.HasResults()) return {};
  BestPredictors best(*settings.owner);
  if (best.Select(settings, dependentIndex) != kOk) throw AutomationException(LoadResString(noMemoryTextId));
  std::vector<int> numbers;
  for (const int position : best.Best()) {
    const bool continuous = position <= settings.nContinuousPredictors;
    if (continuous != (kind == PredictorKind::kContinuous)) continue;
    if (settings.notComputable[settings.MatrixIndex(dependentIndex, position - 1)] != 0) continue;
    numbers.push_back(settings.PredictorVariable(position - 1));
  }
  return numbers;
}

void CComResultDialog::ReturnNumbers(const AutomationCall& call, PredictorKind kind) {
  const std::vector<int> numbers = BestOfKind(call.Int(), kind, kTextNotADependent, kTextNotEnoughMemory);
  call.result.SetIntArray(numbers.data(), static_cast<int>(numbers.size()));
}

void CComResultDialog::ReturnString(const AutomationCall& call, PredictorKind kind) {
  std::string text;
  for (const int number : BestOfKind(call.Int(), kind, kTextNotADependentString, kTextInsufficientMemory)) {
    text += " " + std::to_string(number);
  }
  call.ReturnText(text);
}

void CComResultDialog::get_BestContinuousPredictors(const AutomationCall& call) {
  ReturnNumbers(call, PredictorKind::kContinuous);
}
void CComResultDialog::get_BestCategoricalPredictors(const AutomationCall& call) {
  ReturnNumbers(call, PredictorKind::kCategorical);
}
void CComResultDialog::get_BestContinuousPredictorString(const AutomationCall& call) {
  ReturnString(call, PredictorKind::kContinuous);
}
void CComResultDialog::get_BestCategoricalPredictorString(const AutomationCall& call) {
  ReturnString(call, PredictorKind::kCategorical);
}

}  // namespace vlmfsl
