// Graphs of one predictor, made from its record and shown.
//
//   if (const auto graph = BinaryCDFGraph(analysis, record)) ...
//
// After a failure of the host they tell the user, show nothing and return null. A graph of bins is
// one of intervals or of levels, by the kind of the predictor.
#pragma once

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

vlm::Ref<vlm::IGraph> BinaryDefaultRateGraph(CFeatureSelectionTemplate& analysis, PredSummary& record);
vlm::Ref<vlm::IGraph> BinaryCDFGraph(CFeatureSelectionTemplate& analysis, PredSummary& record);
vlm::Ref<vlm::IGraph> ContinuousBoxPlot(CFeatureSelectionTemplate& analysis, PredSummary& record);
// Shows at most 2000 cases, with mean diamonds.
vlm::Ref<vlm::IGraph> ContinuousOverlaidScatter(CFeatureSelectionTemplate& analysis, PredSummary& record);
vlm::Ref<vlm::IGraph> CategoricalInteractionPlot(CFeatureSelectionTemplate& analysis, PredSummary& record);
vlm::Ref<vlm::IGraph> CategoricalHistograms(CFeatureSelectionTemplate& analysis,
                                            PredSummary& record);  // one per bin
vlm::Ref<vlm::IGraph> Categorical3DHistogram(CFeatureSelectionTemplate& analysis, PredSummary& record);

}  // namespace vlmfsl
