// The startup dialog of predictor screening: responses, predictors, codes, sort choices, and the
// run. It edits the analysis in place and owns only its window. Scripts see it as
// PredictorScreeningStartup.
#pragma once

#include "module/frame/analysis_dialog.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening_ui/list_texts.h"

namespace vlmfsl {

// The five variable lists, in the order of the variables dialog and of scripts.
enum class ScreeningList {
  kContinuousResponse,
  kCategoricalResponse,
  kBinaryResponse,
  kCategoricalPredictor,
  kContinuousPredictor
};
inline constexpr std::size_t kScreeningListCount = 5;

// PredictorScreeningStartup.
class CComScreeningStartup : public DialogAutomation {
 protected:
  CComScreeningStartup();
  ~CComScreeningStartup() = default;

 private:
  void CallOpen(const AutomationCall& call) final;
  class CFeatureSelectionTemplateStartupDialog& Dialog();

  void get_Variables(const AutomationCall& call);
  void put_Variables(const AutomationCall& call);
  void get_FactorCodes(const AutomationCall& call);
  void put_FactorCodes(const AutomationCall& call);
  void get_ResponseCodes(const AutomationCall& call);
  void put_ResponseCodes(const AutomationCall& call);
  void get_GoodCode(const AutomationCall& call);
  void put_GoodCode(const AutomationCall& call);
  void get_BadCode(const AutomationCall& call);
  void put_BadCode(const AutomationCall& call);
  // The six sort choices: a pair for each response kind.
  void get_SortBy(const AutomationCall& call);
  void put_SortBy(const AutomationCall& call);
};

class CFeatureSelectionTemplateStartupDialog final
    : public ScriptableDialog<CAnalysisModelessDialog, CComScreeningStartup> {
 public:
  explicit CFeatureSelectionTemplateStartupDialog(CFeatureSelectionTemplate& analysis);

  CFeatureSelectionTemplate& Screening() const { return static_cast<CFeatureSelectionTemplate&>(Analysis()); }
  vlm::IInputSpreadsheet& Input() const;

  [[nodiscard]] std::vector<int>& List(ScreeningList list) const;
  // Stores the lists with names and counts; the codes of a list that changed are dropped.
  void SetLists(std::vector<std::vector<int>> lists);
  // One list per categorical predictor or response; no list at all: nothing is chosen.
  void SetFactorCodes(std::vector<ChosenCodes> chosen);
  void SetResponseCodes(std::vector<ChosenCodes> chosen);

  // Each shows one group of settings in its controls.
  void ShowLists();
  void ShowCodes();
  void ShowSortChoices();

 private:
  ~CFeatureSelectionTemplateStartupDialog() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;

  void ChooseVariables();
  bool ChooseFactorCodes();    // false when the user cancelled
  bool ChooseResponseCodes();  // the same
  void DropCodes();
  void ClearBinaryCodes();
  // The codes chosen as all are those of the cases selected now.
  void RenewCodes();
  void OpenData();

  // OK: the checks in their order, then the run.
  void Start();
  bool Validate();
  bool ReadBinaryCodes();
  // The number or value label in an edit, when some case of the data has it in the response.
  bool ReadCode(int controlId, double& code);
};

}  // namespace vlmfsl
