// The results dialog of predictor screening: each button makes one output. The dialog owns only the
// choice of predictors. Scripts see it as PredictorScreeningResults.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "module/frame/analysis_dialog.h"
#include "module/screening/feature_selection_template.h"

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
  void SavePredictorsToVariableBundle(const AutomationCall& call);
  void AddCodedVarsToSprSheet(const AutomationCall& call);
  void SaveAsDataRecodeConditions(const AutomationCall& call);
  void SaveAsRules(const AutomationCall& call);
  void get_RulesReport(const AutomationCall& call);
};

class CFeatureSelectionTemplateResultsDialog final
    : public ScriptableDialog<CAnalysisModelessDialog, CComScreeningResults> {
 public:
  explicit CFeatureSelectionTemplateResultsDialog(CFeatureSelectionTemplate& analysis);

  CFeatureSelectionTemplate& Screening() const { return static_cast<CFeatureSelectionTemplate&>(Analysis()); }

  // The result record chosen on the page of a response kind; null when the kind has no results.
  PredSummary* Chosen(int responseKind) const;
  // Chooses the best predictor for which is(record) is true. False when there is none.
  template <typename Predicate>
  bool ChooseWhere(int responseKind, Predicate is) {
    const std::vector<int>& order = Screening().Order(responseKind);
    for (std::size_t position = 0; position < order.size(); ++position) {
      if (!is(Screening().Results(responseKind)[static_cast<std::size_t>(order[position])])) continue;
      Choose(responseKind, static_cast<int>(position));
      return true;
    }
    return false;
  }
  void ShowPage(int responseKind);

  // Make, show and return outputs. Nothing for a response kind without results.
  using Sheets = std::vector<vlm::Ref<vlm::ISpreadsheet>>;
  Sheets MakeSummary();
  Sheets MakeImportance(int responseKind);
  Sheets MakePredictorTable(int responseKind);
  // Of the chosen predictor of the binary response, when it is continuous.
  void MakeDistributionTable();
  // The graph of this button for the predictor chosen on its page. Null when there is none.
  vlm::Ref<vlm::IGraph> MakeGraph(int controlId);

  // The actions of the "Save" page. Each reads the number to save and acts on that many best
  // predictors of each response. A problem is shown to the user and returned as a sentence, which
  // is empty after success or Cancel.
  std::string SaveBundles();
  std::string AddCodedVariables();
  // fileName: "NAME" or "NAME.ini", from which the files' names are made; empty: asks the user.
  std::string SaveRecodeConditions(const std::string& fileName);
  std::string SaveRules();
  // Shows the table of all predictors and the report; report receives the latter.
  std::string MakeRulesReport(vlm::Ref<vlm::IDocument>& report);

  void SetNumberToSave(int number);
  int NumberToSave() const { return numberToSave_; }
  void SetSaveToBundle(bool save);
  bool SaveToBundle() const { return saveToBundle_; }

 private:
  ~CFeatureSelectionTemplateResultsDialog() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;

  // position: in the kind's order, best first.
  void Choose(int responseKind, int position);
  // Place of the chosen record in the kind's results, or -1.
  int ChosenIndex(int responseKind) const;
  // Reads the number in the edit, rounded half away from zero. Throws SaveProblem when it is not
  // one of 1 to the longest result list.
  void ReadNumberToSave();
  // Asks for a file; empty when the user cancels. Throws SaveProblem when a script asks that has
  // named none.
  std::string AskSaveFile(int titleTextId, std::string_view extension);
  // False when the user keeps a file that exists.
  bool MayReplace(const std::vector<std::string>& paths);
  // Runs a save action and shows its SaveProblem to the user.
  template <typename Action>
  std::string Save(Action&& action);

  std::array<int, 3> chosen_{};  // position in the order of each response kind
  int numberToSave_ = 1;
  bool saveToBundle_ = false;
};

}  // namespace vlmfsl
