// How a predictor fails: its record says why, and the run goes on with the next one.
//
//   if (levelRows < 1) return Fail(*this, record, kTextNoSelectedCases);
#pragma once

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// The reason is a text of the module. Returns kFailed.
int Fail(CFeatureSelectionTemplate& analysis, PredSummary& record, int textId);
// The reason is a failed call of the host. Returns kFailed.
int FailAtHost(CFeatureSelectionTemplate& analysis, PredSummary& record, const HostCallError& error);
// When there are no results, the lists of failed predictors are not shown, so the reasons become
// notices.
void ReportFailures(CFeatureSelectionTemplate& analysis);

}  // namespace vlmfsl
