#include "module/entry/feature_selection_template_root.h"

#include "contract/text.h"
#include "module/frame/guarded.h"
#include "module/frame/module_context.h"
#include "module/resources/text_ids.h"
#include "module/screening_ui/results_dialog.h"
#include "module/screening_ui/startup_dialog.h"

namespace vlmfsl {
namespace {

CFeatureSelectionTemplate& Of(vlm::IAnalysis* analysis) {
  return *static_cast<CFeatureSelectionTemplate*>(analysis);
}

constexpr vlm::SequenceStep kSteps[] = {
    {100, [](vlm::IAnalysis* analysis) { return Of(analysis).Init(); }, 101},
    {101, [](vlm::IAnalysis* analysis) { return Of(analysis).StartAnalysis(); }, 0},
    {102, [](vlm::IAnalysis* analysis) { return Of(analysis).ResultDialog(); }, 0},
};

// -1 when the dialog is open.
template <typename Dialog>
int Open(CFeatureSelectionTemplate& analysis, const char* name) {
  bool opened = false;
  GuardedCommand(name, [&] {
    const auto dialog = vlm::Ref<Dialog>::Adopt(new Dialog(analysis));
    opened = dialog->CreateAnalysisDialog();
  });
  return opened ? -1 : 0;
}

}  // namespace

FeatureSelectionTemplateRoot::FeatureSelectionTemplateRoot(CAnalysisDoc* document) noexcept
    : CFeatureSelectionTemplate(document) {
  SetSequenceTable(kSteps, 3);
}

void FeatureSelectionTemplateRoot::GetAnalysisName(vlm::ITextSink* name) {
  GuardedCommand("CFeatureSelectionTemplate::GetAnalysisName", [&] {
    const std::string text = LoadResString(kTextScreeningName);
    name->Assign(text.data(), vlm::LengthOf(text));
  });
}

int FeatureSelectionTemplateRoot::InitializeAfterFileChanged() {
  const int result = Init();
  RefreshOpenDialogs();
  return result;
}

int FeatureSelectionTemplateRoot::Init() {
  ModuleSharedBlocks& blocks = SharedBlocks();
  InitCommons(blocks.dataSelectionTags, blocks.extendedTags, blocks.selectionConditions, blocks.caseWeights);
  static_cast<ScreeningState&>(*this) = ScreeningState();
  SetResultsAvailable(false);
  return 1;
}

int FeatureSelectionTemplateRoot::StartAnalysis() {
  return Open<CFeatureSelectionTemplateStartupDialog>(*this, "CFeatureSelectionTemplate::StartAnalysis");
}

int FeatureSelectionTemplateRoot::ResultDialog() {
  return Open<CFeatureSelectionTemplateResultsDialog>(*this, "CFeatureSelectionTemplate::ResultDialog");
}

}  // namespace vlmfsl
