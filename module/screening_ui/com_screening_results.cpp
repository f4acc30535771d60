// PredictorScreeningResults: the accessors of the results dialog.
#include <utility>
#include <vector>

#include "module/frame/output_collection.h"
#include "module/resources/automation_tables.h"
#include "module/resources/control_ids.h"
#include "module/screening_ui/results_dialog.h"

namespace vlmfsl {
namespace {

int KindOfMember(int dispatchId) {
  switch (dispatchId) {
    case kDispBinaryPredictor:
    case kDispBinaryPredictorString:
    case kDispBinaryImportance:
    case kDispBinaryCrosstab:
      return vlm::kBinaryResponse;
    case kDispCategoricalPredictor:
    case kDispCategoricalPredictorString:
    case kDispCategoricalImportance:
    case kDispCategoricalCrosstab:
      return vlm::kCategoricalResponse;
    default:
      return vlm::kContinuousResponse;
  }
}

// The button of a member that makes a graph.
int ButtonOfGraph(int dispatchId) {
  switch (dispatchId) {
    case kDispBinaryDistribution:
      return kControlBinaryDistribution;
    case kDispBinaryDefaultRates:
      return kControlBinaryDefaultRates;
    case kDispContinuousBoxPlot:
      return kControlBoxPlot;
    case kDispContinuousMeanDiamonds:
      return kControlMeanDiamonds;
    case kDispCategoricalInteraction:
      return kControlInteractionPlot;
    case kDispCategoricalHistograms:
      return kControlCategorizedHistograms;
    default:
      return kControlHistograms3D;
  }
}

void ReturnOnly(const AutomationCall& call, const CFeatureSelectionTemplateResultsDialog::Sheets& sheets) {
  call.result.SetObject(sheets.empty() ? nullptr : sheets.front()->GetAutomationObject());
}

void RequireSaved(const std::string& problem) {
  if (!problem.empty()) throw AutomationException(problem);
}

}  // namespace

CComScreeningResults::CComScreeningResults()
    : DialogAutomation(kPredictorScreeningResults, "CFeatureSelectionTemplateResultsDialog") {}

CFeatureSelectionTemplateResultsDialog& CComScreeningResults::Dialog() {
  return static_cast<CFeatureSelectionTemplateResultsDialog&>(*this);
}

void CComScreeningResults::CallOpen(const AutomationCall& call) {
  using T = CComScreeningResults;
  static constexpr MemberHandler<T> kHandlers[] = {
      {kDispContinuousPredictor, &T::get_Predictor, &T::put_Predictor},
      {kDispCategoricalPredictor, &T::get_Predictor, &T::put_Predictor},
      {kDispBinaryPredictor, &T::get_Predictor, &T::put_Predictor},
      {kDispContinuousPredictorString, &T::get_PredictorString, &T::put_PredictorString},
      {kDispCategoricalPredictorString, &T::get_PredictorString, &T::put_PredictorString},
      {kDispBinaryPredictorString, &T::get_PredictorString, &T::put_PredictorString},
      {kDispNumberToSave, &T::get_NumberOfPredictorsToSave, &T::put_NumberOfPredictorsToSave},
      {kDispSaveToBundle, &T::get_SaveToVariableBundle, &T::put_SaveToVariableBundle},
      {kDispScreeningSummary, &T::get_Summary, nullptr},
      {kDispBinaryImportance, &T::get_Importance, nullptr},
      {kDispContinuousImportance, &T::get_Importance, nullptr},
      {kDispCategoricalImportance, &T::get_Importance, nullptr},
      {kDispBinaryCrosstab, &T::get_PredictorTable, nullptr},
      {kDispCategoricalCrosstab, &T::get_PredictorTable, nullptr},
      {kDispContinuousBreakdown, &T::get_PredictorTable, nullptr},
      {kDispBinaryDistribution, &T::get_Graph, nullptr},
      {kDispBinaryDefaultRates, &T::get_Graph, nullptr},
      {kDispContinuousBoxPlot, &T::get_Graph, nullptr},
      {kDispContinuousMeanDiamonds, &T::get_Graph, nullptr},
      {kDispCategoricalInteraction, &T::get_Graph, nullptr},
      {kDispCategoricalHistograms, &T::get_Graph, nullptr},
      {kDispCategoricalHistograms3D, &T::get_Graph, nullptr},
      {kDispScreeningSaveBundle, &T::SavePredictorsToVariableBundle, nullptr},
      {kDispAddCodedVariables, &T::AddCodedVarsToSprSheet, nullptr},
      {kDispSaveRecode, &T::SaveAsDataRecodeConditions, nullptr},
      {kDispSaveRules, &T::SaveAsRules, nullptr},
      {kDispRulesReport, &T::get_RulesReport, nullptr},
  };
  CallHandler<T>(kHandlers, *this, call);
}

void CComScreeningResults::get_Predictor(const AutomationCall& call) {
  const PredSummary* record = Dialog().Chosen(KindOfMember(call.member.dispatchId));
  call.result.SetInt(record != nullptr ? record->predictorVariable : 0);
}

void CComScreeningResults::put_Predictor(const AutomationCall& call) {
  const int kind = KindOfMember(call.member.dispatchId);
  const int variable = call.Int();
  if (!Dialog().ChooseWhere(kind, [&](const PredSummary& r) { return r.predictorVariable == variable; })) {
    throw AutomationException("Variable " + std::to_string(variable) +
                              " is not among the screened predictors.");
  }
}

void CComScreeningResults::get_PredictorString(const AutomationCall& call) {
  const PredSummary* record = Dialog().Chosen(KindOfMember(call.member.dispatchId));
  call.ReturnText(record != nullptr ? record->predictorName : std::string());
}

void CComScreeningResults::put_PredictorString(const AutomationCall& call) {
  const int kind = KindOfMember(call.member.dispatchId);
  const std::string name = ToText(call.Value());
  if (!Dialog().ChooseWhere(kind, [&](const PredSummary& r) { return r.predictorName == name; })) {
    throw AutomationException("\"" + name + "\" is not among the screened predictors.");
  }
}

void CComScreeningResults::get_NumberOfPredictorsToSave(const AutomationCall& call) {
  call.result.SetInt(Dialog().NumberToSave());
}

void CComScreeningResults::put_NumberOfPredictorsToSave(const AutomationCall& call) {
  Dialog().SetNumberToSave(call.Int());
}

void CComScreeningResults::get_SaveToVariableBundle(const AutomationCall& call) {
  call.result.SetInt(Dialog().SaveToBundle() ? 1 : 0);
}

void CComScreeningResults::put_SaveToVariableBundle(const AutomationCall& call) {
  Dialog().SetSaveToBundle(call.Flag());
}

void CComScreeningResults::get_Summary(const AutomationCall& call) {
  const CFeatureSelectionTemplateResultsDialog::Sheets sheets = Dialog().MakeSummary();
  std::vector<vlm::Ref<vlm::IDocument>> documents;
  for (const vlm::Ref<vlm::ISpreadsheet>& sheet : sheets) documents.emplace_back(sheet.Get());
  call.result.SetObject(MakeOutputCollection(std::move(documents)).Get());
}

void CComScreeningResults::get_Importance(const AutomationCall& call) {
  ReturnOnly(call, Dialog().MakeImportance(KindOfMember(call.member.dispatchId)));
}

void CComScreeningResults::get_PredictorTable(const AutomationCall& call) {
  ReturnOnly(call, Dialog().MakePredictorTable(KindOfMember(call.member.dispatchId)));
}

void CComScreeningResults::get_Graph(const AutomationCall& call) {
  const vlm::Ref<vlm::IGraph> graph = Dialog().MakeGraph(ButtonOfGraph(call.member.dispatchId));
  if (graph && call.member.dispatchId == kDispBinaryDistribution) Dialog().MakeDistributionTable();
  call.result.SetObject(graph ? graph->GetAutomationObject() : nullptr);
}

// A problem that the user sees is also the script's exception.
void CComScreeningResults::SavePredictorsToVariableBundle(const AutomationCall&) {
  RequireSaved(Dialog().SaveBundles());
}

void CComScreeningResults::AddCodedVarsToSprSheet(const AutomationCall&) {
  RequireSaved(Dialog().AddCodedVariables());
}

void CComScreeningResults::SaveAsDataRecodeConditions(const AutomationCall& call) {
  const std::string fileName = ToText(call.Value());
  if (fileName.find('\0') != std::string::npos)
    throw AutomationException("The file name holds a NUL character.");
  RequireSaved(Dialog().SaveRecodeConditions(fileName));
}

void CComScreeningResults::SaveAsRules(const AutomationCall&) { RequireSaved(Dialog().SaveRules()); }

void CComScreeningResults::get_RulesReport(const AutomationCall& call) {
  vlm::Ref<vlm::IDocument> report;
  RequireSaved(Dialog().MakeRulesReport(report));
  call.result.SetObject(report->GetAutomationObject());
}

}  // namespace vlmfsl
