// The feature selection analysis: its steps, its records, and the dialogs that the steps open.
#include <new>

#include "contract/text.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/outputs_view.h"
#include "module/feature_selection_ui/define_task.h"
#include "module/feature_selection_ui/result_dialog.h"
#include "module/frame/feature_selection.h"
#include "module/frame/guarded.h"
#include "module/frame/module_context.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

CFeatureSelection& Of(vlm::IAnalysis* analysis) { return *static_cast<CFeatureSelection*>(analysis); }

constexpr vlm::SequenceStep kSteps[] = {
    {100, [](vlm::IAnalysis* analysis) { return Of(analysis).Init(); }, 101},
    {101, [](vlm::IAnalysis* analysis) { return Of(analysis).StartAnalysis(); }, 0},
    {102, [](vlm::IAnalysis* analysis) { return Of(analysis).ResultDialog(); }, 0},
};

// Opens a dialog of the analysis; the host counts it while it is open.
template <typename Dialog>
int OpenDialog(CFeatureSelection& analysis) {
  auto* dialog = new (std::nothrow) Dialog(analysis);
  if (!dialog) return 0;
  const auto counted = vlm::Ref<Dialog>::Adopt(dialog);
  return dialog->CreateAnalysisDialog() ? -1 : 0;
}

}  // namespace

// The record is in ordinary memory, its arrays are in the host's. It lives from Init to the end of
// the analysis.
struct CFeatureSelection::Record {
  FeatureSelectionSettings settings;
  FeatureSelectionResultsView view{settings};
  Record* earlier;
};

CFeatureSelection::CFeatureSelection(CAnalysisDoc* document, CAnalysisContext* context) noexcept
    : CAnalysisSupport(document, context) {
  SetSequenceTable(kSteps, 3);
}

CFeatureSelection::~CFeatureSelection() {
  while (records_) {
    Record* record = records_;
    records_ = record->earlier;
    record->settings.ReleaseAll();
    delete record;
  }
}

void CFeatureSelection::GetAnalysisName(vlm::ITextSink* name) {
  GuardedCommand("CFeatureSelection::GetAnalysisName", [&] {
    const std::string text = LoadResString(kTextAnalysisName);
    name->Assign(text.data(), vlm::LengthOf(text));
  });
}

int CFeatureSelection::InitializeAfterFileChanged() {
  const int result = Init();
  RefreshOpenDialogs();
  return result;
}

int CFeatureSelection::Init() {
  ModuleSharedBlocks& blocks = SharedBlocks();
  InitCommons(blocks.dataSelectionTags, blocks.extendedTags, blocks.selectionConditions, blocks.caseWeights);
  SetStartupDialogInitialised(false);
  if (!IsHostAttached()) return 1;
  SetResultsAvailable(false);
  current_ = new (std::nothrow) Record{.settings = {}, .earlier = records_};
  if (!current_) return 1;
  records_ = current_;
  // When there is no memory for its lists, the record remains with null lists, and the dialog says
  // so.
  (void)current_->settings.Create(&Services());
  return 1;
}

int CFeatureSelection::StartAnalysis() { return OpenDialog<CDefineTask>(*this); }
int CFeatureSelection::ResultDialog() { return OpenDialog<CResultDialog>(*this); }

FeatureSelectionSettings* CFeatureSelection::Settings() const {
  return current_ ? &current_->settings : nullptr;
}

void CFeatureSelection::ResetSettings() {
  SetResultsAvailable(false);
  if (!current_) {
    Init();
    return;
  }
  current_->settings.ReleaseAll();
  (void)current_->settings.Create(&Services());
}

void CFeatureSelection::SetResultsAvailable(bool available) {
  if (!available && !resultsAvailable_) return;
  resultsAvailable_ = available;
  Host().ResultsChanged(available ? 1 : 0);
}

vlm::IFeatureSelectionResults* CFeatureSelection::GetFeatureSelectionResults() {
  return resultsAvailable_ && current_ ? &current_->view : nullptr;
}

}  // namespace vlmfsl
