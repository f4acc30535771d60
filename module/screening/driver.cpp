// The screening driver: every selected response kind against every predictor, in the order
// categorical, binary, continuous response, and within each the categorical predictors first.
#include <algorithm>
#include <atomic>
#include <utility>

#include "base/format_text.h"
#include "module/frame/shared_work.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
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
  class IgnoredResult final : public vlm::IAutomationResult {
   public:
    virtual ~IgnoredResult() = default;
    void SetEmpty() override {}
    void SetInt(int) override {}
    void SetReal(double) override {}
    void SetText(const char*, int) override {}
    void SetIntArray(const int*, int) override {}
    void SetObject(vlm::IAutomationObject*) override {}
    void SetArray(const vlm::AutomationValue*, int) override {}
    void SetError(int, const char*, int) override {}
  };

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

}  // namespace

int CFeatureSelectionTemplate::RunTemplateAnalysis(vlm::IDialogWindow* parentWindow) {
  SetResultsAvailable(false);
  int end = kRunCancelled;
  bool failed = false;
  std::string reason;
  try {
    ScreenUpdatingScope updating(Host());
    end = RunResponses(parentWindow);
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

int CFeatureSelectionTemplate::RunResponses(vlm::IDialogWindow* parentWindow) {
  const int predictorCount = categoricalPredictorCount + continuousPredictorCount;
  const int responseCount = categoricalResponseCount + binaryResponseCount + continuousResponseCount;
  progress = std::make_unique<CQvdProgressBar>(Services(), Text(kTextFindingBestPredictors),
                                               std::max(responseCount * predictorCount, 2));
  exclusionNoticeShown = false;
  Host().GetScreeningSettings(&settings);
  caseWeight = CreateProcedure(Host(), vlm::kCallingAnalysis)->GetCaseWeight();
  for (const int kind : {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    Results(kind).clear();
    Failed(kind).clear();
    Order(kind).clear();
    Results(kind).reserve(static_cast<std::size_t>(predictorCount));
    Failed(kind).reserve(static_cast<std::size_t>(predictorCount));
  }

  bool anyFailed = false;
  if (categoricalResponseCount > 0 && !RunPredictors(parentWindow, vlm::kCategoricalResponse, anyFailed)) {
    return kRunCancelled;
  }
  if (binaryResponseCount > 0 && !RunPredictors(parentWindow, vlm::kBinaryResponse, anyFailed))
    return kRunCancelled;
  if (continuousResponseCount > 0 && !RunPredictors(parentWindow, vlm::kContinuousResponse, anyFailed)) {
    return kRunCancelled;
  }

  if (binaryResults.empty() && continuousResults.empty() && categoricalResults.empty()) {
    ReportFailures();
    ShowMessage(kTextNoResults);
    return kRunEmpty;
  }
  SortPredictors();
  if (anyFailed) ShowMessage(kTextPredictorsFailed);
  return kRunDone;
}

// Each predictor is one thread's. Returns false when the user has cancelled.
bool CFeatureSelectionTemplate::RunPredictors(vlm::IDialogWindow* parentWindow, int responseKind,
                                              bool& anyFailed) {
  vlm::IWorkerPool* const pool = WorkerPoolOf(Services());
  const bool isShared = pool != nullptr && pool->AllowsProcedures() != 0;
  if (!exclusionNoticeShown && LeavesOutExclusion()) {
    ShowNotice(Text(kTextExclusionNotInTree));
    exclusionNoticeShown = true;
  }
  const std::string stepText = Text(kTextFindingBestPredictors);
  const int count = categoricalPredictorCount + continuousPredictorCount;
  struct Done {
    PredSummary record;
    bool failed;
  };
  std::vector<std::unique_ptr<Done>> done(static_cast<std::size_t>(count));
  std::atomic<int> finished = 0;
  const auto analyse = [&](int index, int /*worker*/) {
    const bool categorical = index < categoricalPredictorCount;
    const int place = categorical ? index : index - categoricalPredictorCount;
    auto one = std::make_unique<Done>(
        Done{MakeRecord(responseKind, categorical ? kCategoricalPredictor : kContinuousPredictor,
                        static_cast<std::size_t>(place)),
             false});
    one->failed = RunCARTAnalysis(parentWindow, one->record) != kOk;
    if (one->failed && progress->IsCancelled()) throw RunCancelled();
    // Work on this predictor is released before the next one.
    one->record.EvictSheets();
    done[static_cast<std::size_t>(index)] = std::move(one);
    ++finished;
  };
  // One step for each predictor that has begun: the display is as far as the work of one thread.
  int shown = 0;
  const auto isStopped = [&] {
    for (const int begun = std::min(finished + 1, count); shown < begun; ++shown) progress->Advance(stepText);
    return progress->Poll();
  };
  progress->Share(isShared);
  bool ended = false;
  try {
    ended = ShareOut(isShared ? pool : nullptr, count, analyse, isStopped);
  } catch (const RunCancelled&) {
  } catch (...) {
    progress->Share(false);
    throw;
  }
  progress->Share(false);
  if (!ended) return false;
  for (; shown < count; ++shown) progress->Advance(stepText);
  for (std::unique_ptr<Done>& one : done) {
    anyFailed = anyFailed || one->failed;
    (one->failed ? Failed(responseKind) : Results(responseKind)).push_back(std::move(one->record));
  }
  Results(responseKind).shrink_to_fit();
  return true;
}

// Whether the trees keep no exclusion of the user's, see PrepareTree.
bool CFeatureSelectionTemplate::LeavesOutExclusion() {
  if (settings.searchSelectedCases != 0) return false;
  const CaseSelection selection = vlmfsl::GetCaseSelection(*CreateProcedure(Host(), vlm::kCallingAnalysis));
  return selection.enabled != 0 && !selection.exclusion.empty();
}

PredSummary CFeatureSelectionTemplate::MakeRecord(int responseKind, int predictorKind,
                                                  std::size_t predictorIndex) const {
  const bool categorical = predictorKind == kCategoricalPredictor;
  const int variable = (categorical ? categoricalPredictors : continuousPredictors)[predictorIndex];
  const std::string& name =
      (categorical ? categoricalPredictorNames : continuousPredictorNames)[predictorIndex];
  switch (responseKind) {
    case vlm::kBinaryResponse:
      return {predictorKind,      variable,    name,        binaryResponses.front(),
              binaryResponseName, badCodeText, goodCodeText};
    case vlm::kCategoricalResponse:
      return {predictorKind,          variable, name, vlm::kCategoricalResponse, categoricalResponses.front(),
              categoricalResponseName};
    default:
      return {predictorKind,         variable, name, vlm::kContinuousResponse, continuousResponses.front(),
              continuousResponseName};
  }
}

// Without results the failed lists are not shown: their reasons become notices.
void CFeatureSelectionTemplate::ReportFailures() {
  constexpr std::size_t kMostReasons = 10;
  std::size_t failed = 0;
  for (const int kind : {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    for (const PredSummary& record : Failed(kind)) {
      if (++failed <= kMostReasons) ShowNotice(record.predictorName + ": " + record.failureReason);
    }
  }
  if (failed > kMostReasons) {
    ShowNotice(vlm::FormatText(Text(kTextMorePredictorsFailed), {static_cast<int>(failed - kMostReasons)}));
  }
}

void CFeatureSelectionTemplate::SetResultsAvailable(bool available) {
  resultsAvailable_ = available;
  if (IsHostAttached()) Host().ResultsChanged(available ? 1 : 0);
}

void CFeatureSelectionTemplate::ClearResults() {
  for (const int kind : {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    Results(kind).clear();
    Order(kind).clear();
  }
}

}  // namespace vlmfsl
