// Tables of one predictor: its bins against the response, and its distribution.
#pragma once

#include "contract/ref.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// The crosstabulation of a binary or categorical response, or the breakdown of a continuous one, for one
// predictor, shown with its title; the percentages and expected counts of a categorical response are shown after it.
// Null when there is none.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> ShowPredictorTable(CFeatureSelectionTemplate& analysis,
                                                             int responseKind, int predictorIndex);

// A row a distinct value of a continuous predictor of the binary response: default rate, bad and good cases, and the
// percent of all cases up to it; shown with its title. Null when there is none.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> ShowDistributionTable(CFeatureSelectionTemplate& analysis,
                                                                int predictorIndex);

}  // namespace vlmfsl
