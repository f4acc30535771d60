// The startup dialog of feature selection: variables, options, and the run. It edits the analysis's
// record in place and owns only its window. Scripts see it as FSLStartup.
#pragma once

#include "module/feature_selection_ui/feature_selection_dialog.h"

namespace vlmfsl {

// FSLStartup. Its accessors read and write the record and update the controls.
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

  // Called when a setting of the last run changes: its results are no longer those of the settings.
  void DropResults();

 private:
  ~CDefineTask() override = default;

  void InitDialog() override;
  void Command(int controlId) override;
  void Refresh() override;
  void CasesChanged() override;

  // OK: the checks in their order, then the run.
  void Start();
  bool HasDependentAndPredictor() const;
  // Stores a whole number from 1 to 20; anything else is an error on the edit, and the old value is
  // kept.
  void ReadCuts(int controlId, int& cuts);
  void ChooseVariables();
  void ChooseCountVariable();
  void OpenData();
};

}  // namespace vlmfsl
