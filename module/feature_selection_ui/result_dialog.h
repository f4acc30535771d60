// The results dialog of feature selection: how the best predictors are selected, and the outputs.
// Scripts see it as FSLResults.
#pragma once

#include "module/feature_selection/outputs_documents.h"
#include "module/feature_selection_ui/feature_selection_dialog.h"

namespace vlmfsl {

// FSLResults.
class CComResultDialog : public DialogAutomation {
 protected:
  CComResultDialog();
  ~CComResultDialog() = default;

 private:
  enum class PredictorKind { kContinuous, kCategorical };

  void CallOpen(const AutomationCall& call) final;
  GuardKind GuardOf(int dispatchId) const final;
  static std::span<const MemberHandler<CComResultDialog>> Handlers();
  class CResultDialog& Dialog();

  void get_DisplayFixedNumberOfBestPredictors(const AutomationCall& call);
  void put_DisplayFixedNumberOfBestPredictors(const AutomationCall& call);
  void get_DisplayFixedNumberOfBestPredictorsByPValue(const AutomationCall& call);
  void put_DisplayFixedNumberOfBestPredictorsByPValue(const AutomationCall& call);
  void get_DisplayBestPredictorsWithFixedPValue(const AutomationCall& call);
  void put_DisplayBestPredictorsWithFixedPValue(const AutomationCall& call);
  void get_FixedNumberOfBestPredictors(const AutomationCall& call);
  void put_FixedNumberOfBestPredictors(const AutomationCall& call);
  void get_FixedNumberOfBestPredictorsByPValue(const AutomationCall& call);
  void put_FixedNumberOfBestPredictorsByPValue(const AutomationCall& call);
  void get_FixedPValueOfBestPredictors(const AutomationCall& call);
  void put_FixedPValueOfBestPredictors(const AutomationCall& call);
  void get_Summary(const AutomationCall& call);
  void get_HistogramOfImportanceForBestPredictors(const AutomationCall& call);
  void get_ReportOfBestKPredictors(const AutomationCall& call);
  void get_BestContinuousPredictors(const AutomationCall& call);
  void get_BestCategoricalPredictors(const AutomationCall& call);
  void get_BestContinuousPredictorString(const AutomationCall& call);
  void get_BestCategoricalPredictorString(const AutomationCall& call);
  void SavePredictorsToVariableBundle(const AutomationCall& call);

  void SelectMode(const AutomationCall& call, DisplayMode mode);
  void ReturnMode(const AutomationCall& call, DisplayMode mode);
  // Variable numbers of the listed predictors of one kind, best first.
  std::vector<int> BestOfKind(int dependentNumber, PredictorKind kind, int notFoundTextId,
                              int noMemoryTextId);
  void ReturnNumbers(const AutomationCall& call, PredictorKind kind);
  void ReturnString(const AutomationCall& call, PredictorKind kind);
};

// Shown when the host refuses a bundle.
inline constexpr char kBundlesNotSaved[] = "The predictors could not be saved as variable bundles.";

class CResultDialog final : public ScriptableDialog<CFeatureSelectionModelessDialog, CComResultDialog> {
 public:
  explicit CResultDialog(CFeatureSelection& analysis);

  // Shows the display mode: the radio buttons, and which edit is enabled.
  void ShowMode();
  void ShowNumbers();
  // Stores the number in the current mode's edit; a wrong number is an error on the edit, and the
  // old value is kept.
  void ReadEdits();

  enum class Output { kSummary, kHistogram, kReport };
  // Reads the edits and makes an output. Returns kFailed when it could not be made; nothing
  // happens, and made stays empty, without results.
  [[nodiscard]] int MakeOutput(Output output, DocumentList& made);
  // Saves the best predictors as bundles, without reading the edits, and notifies the framework.
  // Does nothing without results.
  [[nodiscard]] int SaveBundles();

 private:
  ~CResultDialog() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;

  void SetMode(DisplayMode mode);
  void ReadCount(int controlId, int& count);
  void ReadCriterion(double& criterion);
};

}  // namespace vlmfsl
