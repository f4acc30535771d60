// Tables of one predictor: its bins against the response, and its distribution.
#pragma once

#include "contract/ref.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Shows a copy of the crosstabulation of a binary or categorical response, or of the breakdown of a
// continuous one, for one predictor, and after it the percentages and expected counts of a
// categorical response. Every call makes new documents; the record stays as it is. Null when there
// is none, or the host could not make it.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> ShowPredictorTable(CFeatureSelectionTemplate& analysis,
                                                             int responseKind, int predictorIndex);

// Shows one row per distinct value of a continuous predictor of the binary response: default rate,
// bad and good cases, and the percentage of all cases up to the value. Null when there is none.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> ShowDistributionTable(CFeatureSelectionTemplate& analysis,
                                                                int predictorIndex);

}  // namespace vlmfsl
