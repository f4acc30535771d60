// The state of the screening analysis, and small services over it.
#include <numeric>

#include "module/resources/text_ids.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening/run_progress.h"

namespace vlmfsl {

RunMemory::RunMemory() noexcept = default;
RunMemory::~RunMemory() = default;
RunMemory& RunMemory::operator=(RunMemory&&) noexcept = default;

CFeatureSelectionTemplate::CFeatureSelectionTemplate(CAnalysisDoc* document) noexcept
    : CAnalysisSupport(document, nullptr) {}
CFeatureSelectionTemplate::~CFeatureSelectionTemplate() = default;

vlm::IScreeningResults* CFeatureSelectionTemplate::GetScreeningResults() {
  return resultsAvailable_ ? &resultsView_ : nullptr;
}

int CFeatureSelectionTemplate::ResponseCount(int responseKind) const {
  if (responseKind == vlm::kBinaryResponse) return binaryResponseCount;
  return responseKind == vlm::kCategoricalResponse ? categoricalResponseCount : continuousResponseCount;
}

int CFeatureSelectionTemplate::ResponseVariable(int responseKind) const {
  const std::vector<int>& responses = responseKind == vlm::kBinaryResponse        ? binaryResponses
                                      : responseKind == vlm::kCategoricalResponse ? categoricalResponses
                                                                                  : continuousResponses;
  return responses.empty() ? 0 : responses.front();
}

const std::string& CFeatureSelectionTemplate::ResponseName(int responseKind) const {
  if (responseKind == vlm::kBinaryResponse) return binaryResponseName;
  return responseKind == vlm::kCategoricalResponse ? categoricalResponseName : continuousResponseName;
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
  vlm::StringSink label;
  if (input == nullptr || input->GetValueLabel(variableNumber, code, &label) != 0) return CodeText(code);
  return StripFormatting(label.TakeWhole());
}

void CFeatureSelectionTemplate::ShowMessage(int textId) {
  const std::string text = Text(textId);
  Host().MessageOutput(text.data(), vlm::LengthOf(text));
}

std::string CFeatureSelectionTemplate::DecimalSeparator() {
  return vlm::WholeTextOf([&](vlm::ITextSink* sink) { Host().GetDecimalSeparator(sink); });
}

std::string CFeatureSelectionTemplate::IntervalSeparator() {
  const std::string decimal = DecimalSeparator();
  return decimal.size() != 1 || decimal == "." ? "," : ";";
}

void CFeatureSelectionTemplate::CopyAnalysisSelCondsAndWeights(vlm::IProcedure& source,
                                                               vlm::IProcedure& target) {
  SetCaseSelection(target, vlmfsl::GetCaseSelection(source));
  if (target.SetCaseWeight(source.GetCaseWeight()) != 0) {
    throw HostCallError(vlm::TextOf([&](vlm::ITextSink* sink) { target.GetError(sink); }));
  }
}

vlm::Ref<vlm::IProcedure> CFeatureSelectionTemplate::CreateStatisticsProcedure(PredSummary& record,
                                                                               int analysisId) {
  auto analysis = CreateProcedure(*record.workSheet, analysisId);
  const auto own = CreateProcedure(Host(), vlm::kCallingAnalysis);
  CopyAnalysisSelCondsAndWeights(*own, *analysis);
  return analysis;
}

}  // namespace vlmfsl
