// The module's side of an analysis: implements what the host calls, and forwards to the host that
// is attached right after the factory has returned.
#pragma once

#include <string>
#include <string_view>

#include "contract/analysis.h"
#include "contract/ref.h"

namespace vlmfsl {

class CAnalysisContext;
class CAnalysisModelessDialog;
// A document of the host that an analysis may be opened on; the factories pass none.
struct CAnalysisDoc;

class CAnalysisSupport : public vlm::IAnalysis {
 public:
  CAnalysisSupport(const CAnalysisSupport&) = delete;
  CAnalysisSupport& operator=(const CAnalysisSupport&) = delete;

  int GetContractVersion() override { return vlm::kContractVersion; }
  void* GetLibInstance() override;
  void AttachHost(vlm::IAnalysisHost* host) override { host_ = host; }
  const vlm::SequenceStep* GetSequenceTable(int* stepCount) override;
  void Initialize() override {}
  int ForwardSequence(int step, int option) override;
  vlm::IFeatureSelectionResults* GetFeatureSelectionResults() override { return nullptr; }
  vlm::IScreeningResults* GetScreeningResults() override { return nullptr; }
  void Destroy() override { delete this; }

  bool IsHostAttached() const { return host_ != nullptr; }
  // Only once a host is attached.
  vlm::IAnalysisHost& Host() const { return *host_; }
  vlm::IEngineServices& Services() const { return *host_->GetEngineServices(); }
  CAnalysisDoc* Document() const { return document_; }
  CAnalysisContext* Context() const;

  // --- Forwarded to the host; nothing happens, and texts are empty, before AttachHost
  void InitCommons(vlm::SharedBlock& dataSelectionTags, vlm::SharedBlock& extendedTags,
                   vlm::SharedBlock& selectionConditions, vlm::SharedBlock& caseWeights);
  // Returns whether the host has this mode.
  bool PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode);
  bool HasCaseWeight() const;
  bool IsOleAutomation() const;
  // Fails the script's call that is being served.
  void RaiseAutomationError(std::string_view description);
  void MessageOutput(std::string_view text);
  void MessageOutput(int textId);
  void ShowNotice(std::string_view text);
  std::string LoadText(int number) const;
  std::string VariableName(int variableNumber) const;
  std::string StripFormatting(std::string_view text) const;
  std::string Get8CharHash(std::string_view text) const;
  std::string GetCaseSelectionDescription() const;
  std::string QuoteString(std::string_view text) const;
  std::string ParseTextBuffer(int flags, std::string_view text) const;
  std::string PrintVariableList(const int* variableNumbers, int count) const;
  // Makes and shows a text document. kind 2: report. The result is empty on failure.
  vlm::Ref<vlm::IDocument> CreateTextDoc(int kind, std::string_view title, std::string_view text);

  // Dialogs that are open on this analysis; see analysis_dialog.h.
  void AddOpenDialog(CAnalysisModelessDialog& dialog);
  void RemoveOpenDialog(CAnalysisModelessDialog& dialog);

 protected:
  // Both may be null; a null context means the module's own. Cannot fail.
  CAnalysisSupport(CAnalysisDoc* document, CAnalysisContext* context) noexcept
      : document_(document), context_(context) {}
  virtual ~CAnalysisSupport() = default;

  // table lives as long as the analysis.
  void SetSequenceTable(const vlm::SequenceStep* table, int stepCount);
  // Updates every open dialog from the analysis.
  void RefreshOpenDialogs();

 private:
  CAnalysisDoc* document_;
  CAnalysisContext* context_;
  vlm::IAnalysisHost* host_ = nullptr;
  const vlm::SequenceStep* sequenceTable_ = nullptr;
  int sequenceStepCount_ = 0;
  CAnalysisModelessDialog* openDialogs_ = nullptr;
};

}  // namespace vlmfsl
