// The screening analysis: its steps, and the dialogs that they open.
#include "frame/guarded.h"
#include "frame/module_context.h"
#include "frame/string_sink.h"
#include "resources/text_ids.h"
#include "screening/feature_selection_template.h"

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

}  // namespace

CFeatureSelectionTemplate::CFeatureSelectionTemplate(CAnalysisDoc* document) noexcept
    : CAnalysisSupport(document, nullptr) {
  SetSequenceTable(kSteps, 3);
}

void CFeatureSelectionTemplate::GetAnalysisName(vlm::ITextSink* name) {
  GuardedCommand("CFeatureSelectionTemplate::GetAnalysisName", [&] {
    const std::string text = LoadResString(kTextScreeningName);
    name->Assign(text.data(), LengthOf(text));
  });
}

int CFeatureSelectionTemplate::InitializeAfterFileChanged() {
  const int result = Init();
  RefreshOpenDialogs();
  return result;
}

int CFeatureSelectionTemplate::Init() {
  ModuleSharedBlocks& blocks = SharedBlocks();
  InitCommons(blocks.dataSelectionTags, blocks.extendedTags, blocks.selectionConditions, blocks.caseWeights);
  return 1;
}

int CFeatureSelectionTemplate::StartAnalysis() { return 0; }
int CFeatureSelectionTemplate::ResultDialog() { return 0; }

}  // namespace vlmfsl
