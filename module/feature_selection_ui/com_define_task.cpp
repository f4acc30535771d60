// FSLStartup: the accessors of the startup dialog.
#include <string>

#include "contract/text.h"
#include "module/feature_selection_ui/define_task.h"
#include "module/feature_selection_ui/variable_texts.h"
#include "module/frame/variable_lists.h"
#include "module/resources/automation_tables.h"

namespace vlmfsl {

CComDefineTask::CComDefineTask() : DialogAutomation(kFslStartup, "CDefineTask") {}

CDefineTask& CComDefineTask::Task() { return static_cast<CDefineTask&>(*this); }

void CComDefineTask::CallOpen(const AutomationCall& call) {
  using T = CComDefineTask;
  static constexpr MemberHandler<T> kHandlers[] = {
      {kDispVariables, &T::get_Variables, &T::put_Variables},
      {kDispCountVariable, &T::get_CountVariable, &T::put_CountVariable},
      {kDispPredictorCuts, &T::get_NumberOfCutsForContinuousPredictor,
       &T::put_NumberOfCutsForContinuousPredictor},
      {kDispCasewiseDeletion, &T::get_CasewiseDeletionOfMD, &T::put_CasewiseDeletionOfMD},
      {kDispCutDependents, &T::get_TreatContinuousDependentAsCategorical,
       &T::put_TreatContinuousDependentAsCategorical},
      {kDispDependentCuts, &T::get_NumberOfCutsForContinuousDependentVariable,
       &T::put_NumberOfCutsForContinuousDependentVariable},
      {kDispUseCramersV, &T::get_UseCramerVForCategoricalDependentVariable,
       &T::put_UseCramerVForCategoricalDependentVariable},
      {kDispUseChiSquare, &T::get_UseChiSquareForCategoricalDependentVariable,
       &T::put_UseChiSquareForCategoricalDependentVariable},
  };
  CallHandler<T>(kHandlers, *this, call);
}

void CComDefineTask::get_Variables(const AutomationCall& call) {
  const FeatureSelectionSettings& settings = Task().RequireSettings();
  std::string text;
  for (const VariableRole role : kVariableRoles) {
    const std::span<const int> numbers = settings.Variables(role);
    if (role != kVariableRoles[0]) text += " | ";
    text += Task().FeatureSelection().PrintVariableList(numbers.data(), static_cast<int>(numbers.size()));
  }
  call.ReturnText(text);
}

void CComDefineTask::put_Variables(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  // All four are read before the first is stored.
  const std::vector<std::vector<int>> lists =
      ReadVariableLists(call.Value(), Task().FeatureSelection().Host(), std::size(kVariableRoles));
  Task().DropResults();
  for (std::size_t i = 0; i < std::size(kVariableRoles); ++i) {
    if (settings.SetVariables(kVariableRoles[i], lists[i]) != kOk) {
      throw AutomationException(LoadResString(kTextNotEnoughMemory));
    }
  }
  Task().ShowVariables();
}

void CComDefineTask::get_CountVariable(const AutomationCall& call) {
  const FeatureSelectionSettings& settings = Task().RequireSettings();
  call.ReturnText(settings.useCountVariable != 0
                      ? Task().FeatureSelection().PrintVariableList(&settings.countVariable, 1)
                      : LoadResString(kTextNone));
}

void CComDefineTask::put_CountVariable(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const int variable = ReadCountVariable(call.Value(), Task().FeatureSelection().Host());
  Task().DropResults();
  settings.useCountVariable = variable != 0 ? 1 : 0;
  settings.countVariable = variable;
  Task().ShowVariables();
}

// Cuts that a script sets are not checked against a range; OK checks the edit.
void CComDefineTask::get_NumberOfCutsForContinuousPredictor(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().cutsContinuousPredictor);
}

void CComDefineTask::put_NumberOfCutsForContinuousPredictor(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const int cuts = call.Int();
  Task().DropResults();
  settings.cutsContinuousPredictor = cuts;
  Task().ShowPredictorCuts();
}

void CComDefineTask::get_CasewiseDeletionOfMD(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().casewiseDeletion);
}

void CComDefineTask::put_CasewiseDeletionOfMD(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const bool flag = call.Flag();
  Task().DropResults();
  settings.casewiseDeletion = flag ? 1 : 0;
  Task().ShowOptions();
}

void CComDefineTask::get_TreatContinuousDependentAsCategorical(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().treatContinuousDependentAsCategorical);
}

void CComDefineTask::put_TreatContinuousDependentAsCategorical(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const bool flag = call.Flag();
  Task().DropResults();
  settings.treatContinuousDependentAsCategorical = flag ? 1 : 0;
  Task().ShowOptions();
}

void CComDefineTask::get_NumberOfCutsForContinuousDependentVariable(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().cutsContinuousDependent);
}

void CComDefineTask::put_NumberOfCutsForContinuousDependentVariable(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const int cuts = call.Int();
  Task().DropResults();
  settings.cutsContinuousDependent = cuts;
  Task().ShowDependentCuts();
}

void CComDefineTask::get_UseCramerVForCategoricalDependentVariable(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().useCramersV ? 1 : 0);
}

void CComDefineTask::put_UseCramerVForCategoricalDependentVariable(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const bool flag = call.Flag();
  Task().DropResults();
  settings.useCramersV = flag;
  Task().ShowOptions();
}

void CComDefineTask::get_UseChiSquareForCategoricalDependentVariable(const AutomationCall& call) {
  call.result.SetInt(Task().RequireSettings().useCramersV ? 0 : 1);
}

void CComDefineTask::put_UseChiSquareForCategoricalDependentVariable(const AutomationCall& call) {
  FeatureSelectionSettings& settings = Task().RequireSettings();
  const bool flag = call.Flag();
  Task().DropResults();
  settings.useCramersV = !flag;
  Task().ShowOptions();
}

}  // namespace vlmfsl
