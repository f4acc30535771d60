// What the screening analysis holds, and small services over it.
#include <numeric>

#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening/progress_bar.h"

namespace vlmfsl {

ScreeningState::ScreeningState() noexcept = default;
ScreeningState::~ScreeningState() = default;
ScreeningState& ScreeningState::operator=(ScreeningState&&) noexcept = default;

CFeatureSelectionTemplate::~CFeatureSelectionTemplate() = default;

vlm::IScreeningResults* CFeatureSelectionTemplate::GetScreeningResults() {
  return resultsAvailable_ ? &resultsView_ : nullptr;
}

int CFeatureSelectionTemplate::ResponseCount(int responseKind) const {
  if (responseKind == kBinaryKind) return binaryResponseCount;
  return responseKind == kCategoricalKind ? categoricalResponseCount : continuousResponseCount;
}

int CFeatureSelectionTemplate::ResponseVariable(int responseKind) const {
  const std::vector<int>& responses = responseKind == kBinaryKind        ? binaryResponses
                                      : responseKind == kCategoricalKind ? categoricalResponses
                                                                         : continuousResponses;
  return responses.empty() ? 0 : responses.front();
}

const std::string& CFeatureSelectionTemplate::ResponseName(int responseKind) const {
  if (responseKind == kBinaryKind) return binaryResponseName;
  return responseKind == kCategoricalKind ? categoricalResponseName : continuousResponseName;
}

std::vector<PredSummary>& CFeatureSelectionTemplate::Results(int responseKind) {
  if (responseKind == kBinaryKind) return binaryResults;
  return responseKind == kCategoricalKind ? categoricalResults : continuousResults;
}

std::vector<PredSummary>& CFeatureSelectionTemplate::Failed(int responseKind) {
  if (responseKind == kBinaryKind) return binaryFailed;
  return responseKind == kCategoricalKind ? categoricalFailed : continuousFailed;
}

std::vector<int>& CFeatureSelectionTemplate::Order(int responseKind) {
  if (responseKind == kBinaryKind) return binaryOrder;
  return responseKind == kCategoricalKind ? categoricalOrder : continuousOrder;
}

std::span<const double> CFeatureSelectionTemplate::FactorCodes(std::size_t predictorIndex) const {
  if (predictorIndex >= factorCodeCounts.size()) return {};
  const auto first = std::accumulate(
      factorCodeCounts.begin(), factorCodeCounts.begin() + static_cast<std::ptrdiff_t>(predictorIndex),
      std::size_t{0}, [](std::size_t sum, int count) { return sum + static_cast<std::size_t>(count); });
  return std::span(factorCodes).subspan(first, static_cast<std::size_t>(factorCodeCounts[predictorIndex]));
}

std::string CFeatureSelectionTemplate::Text(int textId) { return LoadText(textId + kHostTextOffset); }

std::string CFeatureSelectionTemplate::DisplayText(int variableNumber, double code) {
  vlm::IInputSpreadsheet* input = Host().GetInputSpreadsheet();
  StringSink label;
  if (input == nullptr || input->GetValueLabel(variableNumber, code, &label) != 0) return CodeText(code);
  return StripFormatting(label.TakeWhole());
}

void CFeatureSelectionTemplate::ShowMessage(int textId) {
  const std::string text = Text(textId);
  Host().MessageOutput(text.data(), LengthOf(text));
}

std::string CFeatureSelectionTemplate::DecimalSeparator() {
  return WholeTextOf([&](vlm::ITextSink* sink) { Host().GetDecimalSeparator(sink); });
}

std::string CFeatureSelectionTemplate::IntervalSeparator() {
  const std::string decimal = DecimalSeparator();
  return decimal.size() != 1 || decimal == "." ? "," : ";";
}

void CFeatureSelectionTemplate::CopyAnalysisSelCondsAndWeights(vlm::IHostAnalysis& source,
                                                               vlm::IHostAnalysis& target) {
  SetCaseSelection(target, vlmfsl::GetCaseSelection(source));
  if (target.SetCaseWeight(source.GetCaseWeight()) != 0) {
    throw HostCallError(TextOf([&](vlm::ITextSink* sink) { target.GetError(sink); }));
  }
}

Ref<vlm::IHostAnalysis> CFeatureSelectionTemplate::CreateStatisticsAnalysis(PredSummary& record,
                                                                            int analysisId) {
  auto analysis = CreateHostAnalysis(*record.workSheet, analysisId);
  const auto own = CreateHostAnalysis(Host(), vlm::kCallingAnalysis);
  CopyAnalysisSelCondsAndWeights(*own, *analysis);
  return analysis;
}

}  // namespace vlmfsl
