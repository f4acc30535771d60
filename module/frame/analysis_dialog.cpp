#include "module/frame/analysis_dialog.h"

#include "base/format_text.h"
#include "contract/ref.h"
#include "contract/text.h"
#include "module/frame/guarded.h"
#include "module/frame/module_context.h"
#include "module/resources/control_ids.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

bool CAnalysisModelessDialog::CreateAnalysisDialog() {
  return analysis_.IsHostAttached() && analysis_.Host().CreateAnalysisDialog(this, templateId_) == 0;
}

void CAnalysisModelessDialog::OnInitDialog(vlm::IDialogWindow* window) {
  const vlm::Ref<vlm::IDialogClient> keep(this);
  window_ = window;
  analysis_.AddOpenDialog(*this);
  const CommandOutcome outcome = GuardedCommand(className_, [&] { InitDialog(); });
  if (!outcome) ReportFailedCommand(outcome);
}

void CAnalysisModelessDialog::OnCommand(int controlId) {
  // A command that pumps messages must not be entered again by the user's next click.
  if (!window_ || inCommand_) return;
  const vlm::Ref<vlm::IDialogClient> keep(this);
  inCommand_ = true;
  const CommandOutcome outcome = GuardedCommand(className_, [&] { Command(controlId); });
  inCommand_ = false;
  if (!outcome) ReportFailedCommand(outcome);
}

void CAnalysisModelessDialog::OnClosed(int) {
  if (!window_) return;
  analysis_.RemoveOpenDialog(*this);
  window_ = nullptr;
}

void CAnalysisModelessDialog::OnCasesChanged() {
  if (window_) GuardedCommand(className_, [&] { CasesChanged(); });
}

void CAnalysisModelessDialog::GetAutomationWindowText(vlm::ITextSink* text) {
  GuardedCommand(className_, [&] {
    const std::string windowText = LoadResString(windowTextId_);
    text->Assign(windowText.data(), vlm::LengthOf(windowText));
  });
}

void CAnalysisModelessDialog::DiscountReference() {
  if (--references_ == 0) delete this;
}

void CAnalysisModelessDialog::RefreshControls() {
  if (window_) GuardedCommand(className_, [&] { Refresh(); });
}

void CAnalysisModelessDialog::ReportFailedCommand(const CommandOutcome& outcome) {
  GuardedCommand(className_, [&] {
    if (outcome.reason.empty()) {
      analysis_.MessageOutput(kTextNotEnoughMemory);
    } else {
      analysis_.MessageOutput(
          vlm::FormatText(LoadResString(kTextCommandFailed), {std::string_view(outcome.reason)}));
    }
  });
}

void CAnalysisModelessDialog::AddPages(std::initializer_list<int> pageTemplateIds) {
  window_->AddDlgTabs(kControlTabs, pageTemplateIds.begin(), static_cast<int>(pageTemplateIds.size()));
}

void CAnalysisModelessDialog::SetText(int controlId, std::string_view text) {
  window_->SetDlgItemText(controlId, text.data(), vlm::LengthOf(text));
}

void CAnalysisModelessDialog::ShowEditError(int controlId, int textId) {
  const std::string text = LoadResString(textId);
  window_->ShowEditError(controlId, text.data(), vlm::LengthOf(text));
}

void CAnalysisModelessDialog::DisplayInstError(int textId) {
  const std::string text = LoadResString(textId);
  window_->DisplayInstError(text.data(), vlm::LengthOf(text));
}

void CAnalysisModelessDialog::WriteVarListToCaptionLong(int controlId, const int* variables, int count) {
  const std::string none = LoadResString(kTextNone);
  window_->WriteVarListToCaptionLong(controlId, variables, count, none.data(), vlm::LengthOf(none));
}

void CAnalysisModelessDialog::CheckRadio(std::initializer_list<int> controlIds, int checkedId) {
  for (const int controlId : controlIds) window_->CheckDlgButton(controlId, controlId == checkedId ? 1 : 0);
}

void CAnalysisModelessDialog::Exit(int step) {
  if (window_) window_->ExitDialog(step);
}

}  // namespace vlmfsl
