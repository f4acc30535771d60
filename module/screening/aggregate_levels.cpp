// Levels of the coded predictor: which value of a categorical predictor belongs to which bin.
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

void CFeatureSelectionTemplate::StoreAggregateLevelsForCategoricalPredictor(PredSummary& record) {
  record.levelOf.clear();
  if (record.predictorKind == kContinuousPredictor) return;
  // Values against the coded predictor, its nodes in the order of the bins: each value has cases in one column.
  const auto crosstab = CreateProcedure(*record.workSheet, vlm::kCrosstabProcedure);
  SetVariableList(*crosstab, " 1 | 3");
  std::string codes;
  for (const int node : record.binNodes) codes += std::to_string(node) + " ";
  SetResponseCodes(*crosstab, codes);
  Run(*crosstab);
  const auto sheet = GetResult(*crosstab, vlm::kCrosstabSummaryResult);
  const int binCount = static_cast<int>(record.binNodes.size());
  for (int row = 1; row < sheet->GetRowCount(); ++row) {
    for (int bin = 0; bin < binCount; ++bin) {
      if (sheet->GetValue(row, 2 + bin) > 0) record.levelOf[sheet->GetValue(row, 1)] = bin;
    }
  }
}

}  // namespace vlmfsl
