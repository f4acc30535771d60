// Importance tables: one row per analysed predictor, best first, one column per statistic of the
// response kind.
#pragma once

#include <span>
#include <string>

#include "contract/ref.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

struct ImportanceColumn {
  int textId;
  RankingStatistic statistic;
  vlm::ColumnRole role = vlm::kPlainColumn;
};
[[nodiscard]] std::span<const ImportanceColumn> ImportanceColumns(int responseKind);

// Writes the statistics of a record's response kind into the row, from firstColumn on.
void WriteImportance(vlm::ISpreadsheet& sheet, int row, int firstColumn, const PredSummary& record);
void NameColumn(vlm::ISpreadsheet& sheet, int column, const std::string& name, const std::string& longName);
// A name that is longer than the sheet's row names becomes its short form.
void NameRow(CFeatureSelectionTemplate& analysis, vlm::ISpreadsheet& sheet, int row, const std::string& name);

// Makes and shows the table of a response kind. Null when no predictor was analysed for it, or the
// host could not make the sheet.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> ShowImportanceTable(CFeatureSelectionTemplate& analysis,
                                                              int responseKind);

}  // namespace vlmfsl
