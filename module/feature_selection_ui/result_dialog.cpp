#include "module/feature_selection_ui/result_dialog.h"

#include "base/number_text.h"
#include "base/tolerant.h"
#include "module/resources/control_ids.h"

namespace vlmfsl {
namespace {

constexpr int kSmallestCount = 1;
constexpr int kLargestCount = 10000;
constexpr double kSmallestCriterion = 0.00001;
constexpr double kLargestCriterion = 0.99999;

// A display mode, its radio button and the edit of its number.
struct ModeControl {
  DisplayMode mode;
  int radio;
  int edit;
};
constexpr ModeControl kModes[] = {
    {DisplayMode::kFixedNumber, kControlModeFixedNumber, kControlFixedNumber},
    {DisplayMode::kFixedPValue, kControlModePValue, kControlPCriterion},
    {DisplayMode::kFixedNumberByPValue, kControlModeFixedNumberByP, kControlFixedNumberByP},
};

}  // namespace

CResultDialog::CResultDialog(CFeatureSelection& analysis)
    : ScriptableDialog(analysis, kResultsTemplate, "CResultDialog", kTextResultDialog) {}

void CResultDialog::InitDialog() {
  AddPages({kResultsQuickPage});
  Window()->InitOpeningDialog();
  Window()->SetIntEditRange(kControlFixedNumber, kSmallestCount, kLargestCount);
  Window()->SetRealEditRange(kControlPCriterion, kSmallestCriterion, kLargestCriterion, 0);
  Window()->SetIntEditRange(kControlFixedNumberByP, kSmallestCount, kLargestCount);
  Refresh();
}

void CResultDialog::Refresh() {
  ShowNumbers();
  ShowMode();
}

void CResultDialog::ShowNumbers() {
  const FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  Window()->SetDlgItemInt(kControlFixedNumber, settings->fixedNumberOfBest);
  Window()->SetDlgItemReal(kControlPCriterion, settings->pCriterion);
  Window()->SetDlgItemInt(kControlFixedNumberByP, settings->fixedNumberOfBestByP);
}

void CResultDialog::ShowMode() {
  const FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  for (const ModeControl& row : kModes) {
    const int active = row.mode == settings->displayMode ? 1 : 0;
    Window()->CheckDlgButton(row.radio, active);
    Window()->EnableWindow(row.edit, active);
  }
}

void CResultDialog::SetMode(DisplayMode mode) {
  if (FeatureSelectionSettings* settings = Settings()) settings->displayMode = mode;
  ShowMode();
}

void CResultDialog::Command(int controlId) {
  for (const ModeControl& row : kModes) {
    if (row.radio == controlId) return SetMode(row.mode);
  }
  // An output that cannot be made shows nothing; the host reports the reason.
  DocumentList made;
  switch (controlId) {
    case kControlSummary:
      (void)MakeOutput(Output::kSummary, made);
      return;
    case kControlHistogram:
      (void)MakeOutput(Output::kHistogram, made);
      return;
    case kControlReport:
      (void)MakeOutput(Output::kReport, made);
      return;
    case kControlSaveBundle:
      if (SaveBundles() != kOk) Analysis().MessageOutput(kBundlesNotSaved);
      return;
    case kControlCancel:
      SetStartupDialogInitialised(false);
      return Exit(kExitResultsCancelled);
    default:
      return;
  }
}

int CResultDialog::MakeOutput(Output output, DocumentList& made) {
  FeatureSelectionSettings* settings = Settings();
  if (!settings || !settings->HasResults()) return kOk;
  // The output is made even if an edit is wrong, with the last valid number.
  ReadEdits();
  vlm::IAnalysisHost& host = Analysis().Host();
  const int result = output == Output::kSummary     ? MakeBestPredictorsSummary(*settings, host, made)
                     : output == Output::kHistogram ? MakeImportanceHistogram(*settings, host, made)
                                                    : MakeBestPredictorsReport(*settings, host, false, made);
  if (result == kOk && made.empty()) Analysis().MessageOutput(kTextNothingToShow);
  return result;
}

int CResultDialog::SaveBundles() {
  FeatureSelectionSettings* settings = Settings();
  if (!settings || !settings->HasResults()) return kOk;
  DocumentList none;
  const int result = MakeBestPredictorsReport(*settings, Analysis().Host(), true, none);
  if (Window()) Window()->SendFrameworkCommand(kCommandBundlesSaved);
  return result;
}

void CResultDialog::ReadEdits() {
  FeatureSelectionSettings* settings = Settings();
  if (!settings) return;
  switch (settings->displayMode) {
    case DisplayMode::kFixedNumber:
      return ReadCount(kControlFixedNumber, settings->fixedNumberOfBest);
    case DisplayMode::kFixedPValue:
      return ReadCriterion(settings->pCriterion);
    case DisplayMode::kFixedNumberByPValue:
      return ReadCount(kControlFixedNumberByP, settings->fixedNumberOfBestByP);
  }
}

void CResultDialog::ReadCount(int controlId, int& count) {
  int value = 0;
  if (Window()->GetDlgItemLong(controlId, &value) == 0 && value >= kSmallestCount && value <= kLargestCount) {
    count = value;
    return;
  }
  ShowEditError(controlId, kTextInvalidInteger);
  // Only a script can have put such a number there.
  if (count < kSmallestCount || count > kLargestCount) {
    Analysis().ShowNotice("The number of predictors to show is " + std::to_string(count) + ", outside " +
                          std::to_string(kSmallestCount) + " to " + std::to_string(kLargestCount) +
                          "; the outputs use it as it is.");
  }
}

void CResultDialog::ReadCriterion(double& criterion) {
  double value = 0.0;
  // Both bounds with the tolerance: values that differ from 0 or 1 by rounding alone are refused
  // too.
  if (Window()->GetDlgItemReal(kControlPCriterion, &value) == 0 && vlm::GreaterBeyondTolerance(value, 0.0) &&
      vlm::LessBeyondTolerance(value, 1.0)) {
    criterion = value;
    return;
  }
  ShowEditError(kControlPCriterion, kTextInvalidPValue);
  if (!(vlm::GreaterBeyondTolerance(criterion, 0.0) && vlm::LessBeyondTolerance(criterion, 1.0))) {
    Analysis().ShowNotice("The p criterion is " + vlm::FormatGeneral(criterion) +
                          ", which is not between 0 and 1; the outputs use it as it is.");
  }
}

}  // namespace vlmfsl
