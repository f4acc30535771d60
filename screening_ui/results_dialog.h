// The results dialog of predictor screening: a switchboard whose buttons make one output each. It owns the
// chosen predictors and nothing else; PredictorScreeningResults is its face for scripts.
#pragma once

#include <array>
#include <vector>

#include "frame/analysis_dialog.h"
#include "screening/feature_selection_template.h"

namespace vlmfsl {

// PredictorScreeningResults.
class CComScreeningResults : public DialogAutomation {
 protected:
  CComScreeningResults();
  ~CComScreeningResults() = default;

 private:
  void CallOpen(const AutomationCall& call) final;
  class CFeatureSelectionTemplateResultsDialog& Dialog();

  // The chosen predictor of a page, as variable number and by name.
  void get_Predictor(const AutomationCall& call);
  void put_Predictor(const AutomationCall& call);
  void get_PredictorString(const AutomationCall& call);
  void put_PredictorString(const AutomationCall& call);
  void get_NumberOfPredictorsToSave(const AutomationCall& call);
  void put_NumberOfPredictorsToSave(const AutomationCall& call);
  void get_SaveToVariableBundle(const AutomationCall& call);
  void put_SaveToVariableBundle(const AutomationCall& call);
  void get_Summary(const AutomationCall& call);
  void get_Importance(const AutomationCall& call);
  void get_PredictorTable(const AutomationCall& call);
  void get_Graph(const AutomationCall& call);
};

class CFeatureSelectionTemplateResultsDialog final
    : public ScriptableDialog<CAnalysisModelessDialog, CComScreeningResults> {
 public:
  explicit CFeatureSelectionTemplateResultsDialog(CFeatureSelectionTemplate& analysis);

  CFeatureSelectionTemplate& Screening() const { return static_cast<CFeatureSelectionTemplate&>(Analysis()); }

  // The result record chosen on the page of a response kind; null when the kind has no results.
  const PredSummary* Chosen(int responseKind) const;
  // position: in the kind's order, best first.
  void Choose(int responseKind, int position);
  void ShowPage(int responseKind);

  // Outputs, shown and handed back. Nothing for a kind without results.
  using Sheets = std::vector<Ref<vlm::ISpreadsheet>>;
  Sheets MakeSummary();
  Sheets MakeImportance(int responseKind);
  Sheets MakePredictorTable(int responseKind);
  // The graph that this button makes, of the predictor chosen on its page. Null when there is none.
  Ref<vlm::IGraph> MakeGraph(int controlId);

  void SetNumberToSave(int number);
  int NumberToSave() const { return numberToSave_; }
  void SetSaveToBundle(bool save);
  bool SaveToBundle() const { return saveToBundle_; }

 private:
  ~CFeatureSelectionTemplateResultsDialog() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;

  // The number in the edit, rounded half away from zero, when it is one of 1 to the longest result list; else
  // tells the user and returns false.
  bool ReadNumberToSave();

  std::array<int, 3> chosen_{};  // position in the order of each response kind
  int numberToSave_ = 1;
  bool saveToBundle_ = false;
};

}  // namespace vlmfsl
