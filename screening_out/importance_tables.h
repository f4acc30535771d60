// Importance tables: a row an analysed predictor, best first, a column a statistic of the response kind.
#pragma once

#include "frame/ref.h"
#include "screening/feature_selection_template.h"

namespace vlmfsl {

// Makes and shows the table of a response kind. Null when no predictor was analysed for it, or the host could
// not make the sheet.
[[nodiscard]] Ref<vlm::ISpreadsheet> ShowImportanceTable(CFeatureSelectionTemplate& analysis,
                                                         int responseKind);

// The crosstabulation of a binary or categorical response, or the breakdown of a continuous one, for one
// predictor, shown with its title. Null when there is none.
[[nodiscard]] Ref<vlm::ISpreadsheet> ShowPredictorTable(CFeatureSelectionTemplate& analysis, int responseKind,
                                                        int predictorIndex);

}  // namespace vlmfsl
