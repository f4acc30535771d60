#include "module/screening/pred_summary.h"

#include <utility>

namespace vlmfsl {

PredSummary::PredSummary(int kind, int variable, std::string name, int response, int responseNumber,
                         std::string responseVariableName)
    : predictorKind(kind),
      predictorVariable(variable),
      predictorName(std::move(name)),
      responseKind(response),
      responseVariable(responseNumber),
      responseName(std::move(responseVariableName)) {}

int PredictorBins::RowOf(vlm::ISpreadsheet& sheet, int binIndex) const {
  if (static_cast<std::size_t>(binIndex) >= nodes.size()) return 0;
  const double code = nodes[static_cast<std::size_t>(binIndex)];
  const int levelRows = sheet.GetRowCount() - 1;
  for (int row = 1; row <= levelRows; ++row) {
    if (sheet.GetValue(row, 1) == code) return row;  // node numbers: whole, exact
  }
  return 0;
}

void PredSummary::EvictSheets() {
  if (workSheet) workSheet->Evict();
  if (binary.uniqueValues) binary.uniqueValues->Evict();
}

}  // namespace vlmfsl
