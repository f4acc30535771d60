// The bins of a screening for readers: the rules of the best predictors as a text, and the table of
// all predictors with their ranks.
#pragma once

#include "contract/ref.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// Makes and shows the report of the best predictors of each response kind, at most count of each:
// by response, and within it by kind of predictor, one line per predictor with its rank and its
// coded variable, then its rules. Null when the host cannot make it.
[[nodiscard]] vlm::Ref<vlm::IDocument> ShowRulesReport(CFeatureSelectionTemplate& analysis, int count);

// Makes the table of all requested predictors: by rank for the first response, each with its rank
// and its statistics for every response, empty where it failed. The caller shows it. Null when the
// host cannot make it.
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> MakeAllPredictorsTable(CFeatureSelectionTemplate& analysis);

}  // namespace vlmfsl
