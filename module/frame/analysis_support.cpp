#include "module/frame/analysis_support.h"

#include "contract/text.h"
#include "module/frame/analysis_dialog.h"
#include "module/frame/engine_texts.h"
#include "module/frame/module_context.h"

namespace vlmfsl {

void* CAnalysisSupport::GetLibInstance() { return ModuleInstance(); }

CAnalysisContext* CAnalysisSupport::Context() const { return context_ ? context_ : ModuleContext(); }

void CAnalysisSupport::SetSequenceTable(const vlm::SequenceStep* table, int stepCount) {
  sequenceTable_ = table;
  sequenceStepCount_ = stepCount;
}

const vlm::SequenceStep* CAnalysisSupport::GetSequenceTable(int* stepCount) {
  if (stepCount) *stepCount = sequenceStepCount_;
  return sequenceTable_;
}

int CAnalysisSupport::ForwardSequence(int step, int option) {
  return host_ ? host_->ForwardSequence(this, step, option) : 0;
}

void CAnalysisSupport::InitCommons(vlm::SharedBlock& dataSelectionTags, vlm::SharedBlock& extendedTags,
                                   vlm::SharedBlock& selectionConditions, vlm::SharedBlock& caseWeights) {
  if (host_) host_->InitCommons(&dataSelectionTags, &extendedTags, &selectionConditions, &caseWeights);
}

bool CAnalysisSupport::PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) {
  return !host_ || host_->PutWeightedMomentsFlags(useWeightsAsGiven, weightedMomentsMode) == 0;
}

bool CAnalysisSupport::HasCaseWeight() const { return host_ && host_->HasCaseWeight() != 0; }
bool CAnalysisSupport::IsOleAutomation() const { return host_ && host_->IsOleAutomation() != 0; }

void CAnalysisSupport::RaiseAutomationError(std::string_view description) {
  if (host_)
    host_->RaiseAutomationError(vlm::kAutomationErrorCode, description.data(), vlm::LengthOf(description));
}

void CAnalysisSupport::MessageOutput(std::string_view text) {
  if (host_) host_->MessageOutput(text.data(), vlm::LengthOf(text));
}

void CAnalysisSupport::MessageOutput(int textId) { MessageOutput(LoadText(textId)); }

void CAnalysisSupport::ShowNotice(std::string_view text) {
  if (host_) vlmfsl::ShowNotice(Services(), text);
}

std::string CAnalysisSupport::LoadText(int number) const {
  return host_ ? vlmfsl::LoadText(Services(), number) : std::string();
}

std::string CAnalysisSupport::VariableName(int variableNumber) const {
  return host_ ? vlmfsl::VariableName(Services(), variableNumber) : std::string();
}

std::string CAnalysisSupport::StripFormatting(std::string_view text) const {
  if (!host_) return {};
  return vlm::TextOf(
      [&](vlm::ITextSink* sink) { Services().StripFormatting(text.data(), vlm::LengthOf(text), sink); });
}

std::string CAnalysisSupport::Get8CharHash(std::string_view text) const {
  if (!host_) return {};
  return vlm::TextOf(
      [&](vlm::ITextSink* sink) { host_->Get8CharHash(text.data(), vlm::LengthOf(text), sink); });
}

std::string CAnalysisSupport::GetCaseSelectionDescription() const {
  if (!host_) return {};
  return vlm::TextOf([&](vlm::ITextSink* sink) { host_->GetCaseSelectionDescription(sink); });
}

std::string CAnalysisSupport::QuoteString(std::string_view text) const {
  if (!host_) return {};
  return vlm::TextOf(
      [&](vlm::ITextSink* sink) { host_->QuoteString(text.data(), vlm::LengthOf(text), sink); });
}

std::string CAnalysisSupport::ParseTextBuffer(int flags, std::string_view text) const {
  if (!host_) return {};
  return vlm::TextOf(
      [&](vlm::ITextSink* sink) { host_->ParseTextBuffer(flags, text.data(), vlm::LengthOf(text), sink); });
}

std::string CAnalysisSupport::PrintVariableList(const int* variableNumbers, int count) const {
  if (!host_) return {};
  return vlm::TextOf([&](vlm::ITextSink* sink) { host_->PrintVariableList(variableNumbers, count, sink); });
}

vlm::Ref<vlm::IDocument> CAnalysisSupport::CreateTextDoc(int kind, std::string_view title,
                                                         std::string_view text) {
  vlm::IDocument* document = nullptr;
  if (host_) {
    host_->CreateTextDoc(kind, title.data(), vlm::LengthOf(title), text.data(), vlm::LengthOf(text),
                         &document);
  }
  return vlm::Ref<vlm::IDocument>::Adopt(document);
}

void CAnalysisSupport::AddOpenDialog(CAnalysisModelessDialog& dialog) {
  dialog.nextOpen_ = openDialogs_;
  openDialogs_ = &dialog;
}

void CAnalysisSupport::RemoveOpenDialog(CAnalysisModelessDialog& dialog) {
  for (CAnalysisModelessDialog** link = &openDialogs_; *link; link = &(*link)->nextOpen_) {
    if (*link != &dialog) continue;
    *link = dialog.nextOpen_;
    dialog.nextOpen_ = nullptr;
    return;
  }
}

void CAnalysisSupport::RefreshOpenDialogs() {
  for (CAnalysisModelessDialog* dialog = openDialogs_; dialog; dialog = dialog->nextOpen_) {
    dialog->RefreshControls();
  }
}

}  // namespace vlmfsl
