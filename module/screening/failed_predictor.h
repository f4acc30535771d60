// How a predictor fails: its record says why, and the run goes on with the next one.
//
//   if (levelRows < 1) return Fail(*this, record, kTextNoSelectedCases);
#pragma once

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// For the reason of a text. Returns kFailed.
int Fail(CFeatureSelectionTemplate& analysis, PredSummary& record, int textId);
// By a call of the host. Returns kFailed.
int FailAtHost(CFeatureSelectionTemplate& analysis, PredSummary& record, const HostCallError& error);
// Without results the failed lists are not shown: their reasons become notices.
void ReportFailures(CFeatureSelectionTemplate& analysis);

}  // namespace vlmfsl
