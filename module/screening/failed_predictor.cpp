#include "module/screening/failed_predictor.h"

#include "base/format_text.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/run_progress.h"

namespace vlmfsl {

int Fail(CFeatureSelectionTemplate& analysis, PredSummary& record, int textId) {
  record.failureReason = analysis.Text(textId);
  return kFailed;
}

int FailAtHost(CFeatureSelectionTemplate& analysis, PredSummary& record, const HostCallError& error) {
  record.failureReason = error.what();
  // A procedure that ends because the user has cancelled is no error.
  if (!analysis.progress || !analysis.progress->IsCancelled()) analysis.ShowMessage(kTextFatalError);
  return kFailed;
}

void ReportFailures(CFeatureSelectionTemplate& analysis) {
  constexpr std::size_t kMostReasons = 10;
  std::size_t failed = 0;
  for (const int kind : {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    for (const PredSummary& record : analysis.Failed(kind)) {
      if (++failed <= kMostReasons) analysis.ShowNotice(record.predictorName + ": " + record.failureReason);
    }
  }
  if (failed > kMostReasons) {
    analysis.ShowNotice(
        vlm::FormatText(analysis.Text(kTextMorePredictorsFailed), {static_cast<int>(failed - kMostReasons)}));
  }
}

}  // namespace vlmfsl
