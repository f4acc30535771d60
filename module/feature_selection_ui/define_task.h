// The startup dialog of feature selection: variables, options, and the run. It edits the analysis's record in
// place and owns nothing but its window; FSLStartup is its face for scripts.
#pragma once

#include "module/feature_selection_ui/feature_selection_dialog.h"

namespace vlmfsl {

// FSLStartup. Accessors read and write the record, and have the dialog show what they wrote.
class CComDefineTask : public DialogAutomation {
 protected:
  CComDefineTask();
  ~CComDefineTask() = default;

 private:
  void CallOpen(const AutomationCall& call) final;
  class CDefineTask& Task();

  void get_Variables(const AutomationCall& call);
  void put_Variables(const AutomationCall& call);
  void get_CountVariable(const AutomationCall& call);
  void put_CountVariable(const AutomationCall& call);
  void get_NumberOfCutsForContinuousPredictor(const AutomationCall& call);
  void put_NumberOfCutsForContinuousPredictor(const AutomationCall& call);
  void get_CasewiseDeletionOfMD(const AutomationCall& call);
  void put_CasewiseDeletionOfMD(const AutomationCall& call);
  void get_TreatContinuousDependentAsCategorical(const AutomationCall& call);
  void put_TreatContinuousDependentAsCategorical(const AutomationCall& call);
  void get_NumberOfCutsForContinuousDependentVariable(const AutomationCall& call);
  void put_NumberOfCutsForContinuousDependentVariable(const AutomationCall& call);
  void get_UseCramerVForCategoricalDependentVariable(const AutomationCall& call);
  void put_UseCramerVForCategoricalDependentVariable(const AutomationCall& call);
  void get_UseChiSquareForCategoricalDependentVariable(const AutomationCall& call);
  void put_UseChiSquareForCategoricalDependentVariable(const AutomationCall& call);
};

class CDefineTask final : public ScriptableDialog<CFeatureSelectionModelessDialog, CComDefineTask> {
 public:
  explicit CDefineTask(CFeatureSelection& analysis);

  // Each shows one group of settings in its controls.
  void ShowWeights();
  void ShowVariables();
  void ShowPredictorCuts();
  void ShowDependentCuts();
  void ShowOptions();

  // What the last run stood on has changed: its results describe it no longer.
  void DropResults();

 private:
  ~CDefineTask() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;

  // OK: the checks in their order, then the run.
  void Start();
  bool HasDependentAndPredictor() const;
  // An integer of 1 to 20 is stored; anything else is an error on the edit, and the value stays.
  void ReadCuts(int controlId, int& cuts);
  void ChooseVariables();
  void ChooseCountVariable();
  void OpenData();
};

}  // namespace vlmfsl
