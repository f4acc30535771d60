// The screening driver: every selected response kind against every predictor, in the order
// categorical, binary, continuous response, and within each the categorical predictors first.
#include <algorithm>
#include <atomic>
#include <iterator>
#include <utility>

#include "module/frame/ignored_result.h"
#include "module/frame/shared_work.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/failed_predictor.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening/run_progress.h"

namespace vlmfsl {
namespace {

// Switches the host application's screen updating off, and on again at the end. A host without such
// a property is left alone.
class ScreenUpdatingScope {
 public:
  explicit ScreenUpdatingScope(vlm::IAnalysisHost& host) : application_(host.GetApplication()) { Put(0); }
  ~ScreenUpdatingScope() { Put(1); }
  ScreenUpdatingScope(const ScreenUpdatingScope&) = delete;
  ScreenUpdatingScope& operator=(const ScreenUpdatingScope&) = delete;

 private:
  void Put(int on) {
    constexpr std::string_view kName = "ScreenUpdating";
    int id = 0;
    if (!application_ ||
        application_->GetIdOfName(kName.data(), vlm::LengthOf(kName), &id) != vlm::kDispatchOk) {
      return;
    }
    vlm::AutomationValue value{};
    value.type = vlm::kAutomationInt;
    value.intValue = on;
    IgnoredResult result;
    application_->Invoke(id, vlm::kInvokePut, &value, 1, &result);
  }

  vlm::Ref<vlm::IAutomationObject> application_;
};

// A procedure of the host has ended because of the cancel.
struct RunCancelled {};

enum RunEnd : int { kRunDone = 0, kRunCancelled = 1, kRunEmpty = 2 };

PredSummary MakeRecord(const ScreeningChoices& choices, int responseKind, int predictorKind,
                       std::size_t predictorIndex) {
  const bool categorical = predictorKind == kCategoricalPredictor;
  const int variable =
      (categorical ? choices.categoricalPredictors : choices.continuousPredictors)[predictorIndex];
  const std::string& name =
      (categorical ? choices.categoricalPredictorNames : choices.continuousPredictorNames)[predictorIndex];
  const auto record = [&](const std::vector<int>& responses, const std::string& responseName) {
    return PredSummary(predictorKind, variable, name, responseKind, responses.front(), responseName);
  };
  if (responseKind == vlm::kCategoricalResponse)
    return record(choices.categoricalResponses, choices.categoricalResponseName);
  if (responseKind == vlm::kContinuousResponse)
    return record(choices.continuousResponses, choices.continuousResponseName);
  PredSummary binary = record(choices.binaryResponses, choices.binaryResponseName);
  binary.badCodeText = choices.badCodeText;
  binary.goodCodeText = choices.goodCodeText;
  return binary;
}

// Whether the trees ignore an exclusion of the user, see PrepareTree.
bool LeavesOutExclusion(CFeatureSelectionTemplate& analysis) {
  if (analysis.settings.searchSelectedCases != 0) return false;
  const CaseSelection selection =
      vlmfsl::GetCaseSelection(*CreateProcedure(analysis.Host(), vlm::kCallingAnalysis));
  return selection.enabled != 0 && !selection.exclusion.empty();
}

// Each predictor is processed by one thread. Returns false when the user has cancelled.
bool RunPredictors(CFeatureSelectionTemplate& analysis, vlm::IDialogWindow* parentWindow, int responseKind,
                   bool& anyFailed) {
  vlm::IWorkerPool* const pool = WorkerPoolOf(analysis.Services());
  const bool isShared = pool != nullptr && pool->AllowsProcedures() != 0;
  if (!analysis.exclusionNoticeShown && LeavesOutExclusion(analysis)) {
    analysis.ShowNotice(analysis.Text(kTextExclusionNotInTree));
    analysis.exclusionNoticeShown = true;
  }
  const std::string stepText = analysis.Text(kTextFindingBestPredictors);
  const int count = analysis.categoricalPredictorCount + analysis.continuousPredictorCount;
  struct Done {
    PredSummary record;
    bool failed;
  };
  std::vector<std::unique_ptr<Done>> done(static_cast<std::size_t>(count));
  std::atomic<int> finished = 0;
  const auto analyse = [&](int index, int /*worker*/) {
    const bool categorical = index < analysis.categoricalPredictorCount;
    const int place = categorical ? index : index - analysis.categoricalPredictorCount;
    auto one = std::make_unique<Done>(
        Done{MakeRecord(analysis, responseKind, categorical ? kCategoricalPredictor : kContinuousPredictor,
                        static_cast<std::size_t>(place)),
             false});
    one->failed = analysis.RunCARTAnalysis(parentWindow, one->record) != kOk;
    if (one->failed && analysis.progress->IsCancelled()) throw RunCancelled();
    // Work on this predictor is released before the next one.
    one->record.EvictSheets();
    done[static_cast<std::size_t>(index)] = std::move(one);
    ++finished;
  };
  // One step for each predictor that has begun, so that the display advances as it does with one
  // thread.
  int shown = 0;
  const auto isStopped = [&] {
    for (const int begun = std::min(finished + 1, count); shown < begun; ++shown)
      analysis.progress->Advance(stepText);
    return analysis.progress->Poll();
  };
  analysis.progress->Share(isShared);
  bool ended = false;
  try {
    ended = ShareOut(isShared ? pool : nullptr, count, analyse, isStopped);
  } catch (const RunCancelled&) {
  } catch (...) {
    analysis.progress->Share(false);
    throw;
  }
  analysis.progress->Share(false);
  if (!ended) return false;
  for (; shown < count; ++shown) analysis.progress->Advance(stepText);
  for (std::unique_ptr<Done>& one : done) {
    anyFailed = anyFailed || one->failed;
    (one->failed ? analysis.Failed(responseKind) : analysis.Results(responseKind))
        .push_back(std::move(one->record));
  }
  analysis.Results(responseKind).shrink_to_fit();
  return true;
}

int RunResponses(CFeatureSelectionTemplate& analysis, vlm::IDialogWindow* parentWindow) {
  const int predictorCount = analysis.categoricalPredictorCount + analysis.continuousPredictorCount;
  const int responseCount =
      analysis.categoricalResponseCount + analysis.binaryResponseCount + analysis.continuousResponseCount;
  analysis.progress =
      std::make_unique<CQvdProgressBar>(analysis.Services(), analysis.Text(kTextFindingBestPredictors),
                                        std::max(responseCount * predictorCount, 2));
  analysis.exclusionNoticeShown = false;
  analysis.Host().GetScreeningSettings(&analysis.settings);
  analysis.caseWeight = CreateProcedure(analysis.Host(), vlm::kCallingAnalysis)->GetCaseWeight();
  for (ResultList& list : analysis.lists) {
    list.analysed.clear();
    list.failed.clear();
    list.order.clear();
    list.analysed.reserve(static_cast<std::size_t>(predictorCount));
    list.failed.reserve(static_cast<std::size_t>(predictorCount));
  }

  bool anyFailed = false;
  for (const int kind : {vlm::kCategoricalResponse, vlm::kBinaryResponse, vlm::kContinuousResponse}) {
    if (analysis.ResponseCount(kind) > 0 && !RunPredictors(analysis, parentWindow, kind, anyFailed))
      return kRunCancelled;
  }

  if (std::all_of(std::begin(analysis.lists), std::end(analysis.lists),
                  [](const ResultList& list) { return list.analysed.empty(); })) {
    ReportFailures(analysis);
    analysis.ShowMessage(kTextNoResults);
    return kRunEmpty;
  }
  analysis.SortPredictors();
  if (anyFailed) analysis.ShowMessage(kTextPredictorsFailed);
  return kRunDone;
}

}  // namespace

int CFeatureSelectionTemplate::RunTemplateAnalysis(vlm::IDialogWindow* parentWindow) {
  SetResultsAvailable(false);
  int end = kRunCancelled;
  bool failed = false;
  std::string reason;
  try {
    ScreenUpdatingScope updating(Host());
    end = RunResponses(*this, parentWindow);
  } catch (const HostCallError& error) {
    failed = true;
    reason = error.what();
  } catch (...) {
    failed = true;
  }
  if (failed && progress && progress->IsCancelled()) {
    failed = false;  // a procedure of the host ended because of the cancel
    end = kRunCancelled;
  }
  if (failed || end == kRunCancelled) ClearResults();
  progress.reset();
  if (failed) {
    if (!reason.empty()) ShowNotice(reason);
    ShowMessage(kTextScreeningUnable);
  }
  if (failed || end != kRunDone) return kFailed;
  SetResultsAvailable(true);
  return kOk;
}

void CFeatureSelectionTemplate::SetResultsAvailable(bool available) {
  resultsAvailable_ = available;
  if (IsHostAttached()) Host().ResultsChanged(available ? 1 : 0);
}

void CFeatureSelectionTemplate::ClearResults() {
  for (ResultList& list : lists) {
    list.analysed.clear();
    list.order.clear();
  }
}

}  // namespace vlmfsl
