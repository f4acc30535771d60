// The outputs of a finished run, from its record: summary sheets, importance graphs, the text
// report and variable bundles. They read the record and never change it. Each ranks every dependent
// again and shows the notices of the ranking; a dependent without a list is skipped.
#pragma once

#include <string>
#include <vector>

#include "contract/analysis.h"
#include "contract/ref.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

using DocumentList = std::vector<vlm::Ref<vlm::IDocument>>;

// One sheet, or one graph, for each dependent that has a list, in the order of the dependents.
// Return kOk, or kFailed when there is no memory or the host cannot make one: then nothing is shown
// and made is empty.
[[nodiscard]] int MakeBestPredictorsSummary(const FeatureSelectionSettings& settings,
                                            vlm::IAnalysisHost& host, DocumentList& made);
[[nodiscard]] int MakeImportanceHistogram(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host,
                                          DocumentList& made);

// Without save: one text document for all dependents, or none when no dependent has a list. With
// save: two bundles per dependent, of continuous and categorical predictors, in the input
// spreadsheet; made stays empty.
[[nodiscard]] int MakeBestPredictorsReport(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host,
                                           bool save, DocumentList& made);

}  // namespace vlmfsl
