#include "module/screening_outputs/output_texts.h"

#include <algorithm>
#include <utility>

#include "module/resources/text_ids.h"

namespace vlmfsl {

std::string BinLabel(const CFeatureSelectionTemplate& analysis, const PredSummary& record, std::size_t bin) {
  return OnOneLine(Stripped(analysis, record.bins.names[bin]));
}

std::string Stripped(const CFeatureSelectionTemplate& analysis, std::string_view text) {
  return text.empty() ? std::string() : Required(analysis.StripFormatting(text));
}

std::string Quoted(const CFeatureSelectionTemplate& analysis, std::string_view text) {
  return Required(analysis.QuoteString(text));
}

std::string Localized(const CFeatureSelectionTemplate& analysis, std::string_view number) {
  return Required(analysis.ParseTextBuffer(0, number));
}

std::string CodedVariableName(CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  const std::string stem = record.responseName + "_" + record.predictorName;
  int number = 1;
  for (const int kind : kKindsInOutputOrder) {
    if (kind == record.responseKind) break;
    const std::string& response = analysis.ResponseName(kind);
    if (!stem.starts_with(response + "_")) continue;
    const std::string_view predictor = std::string_view(stem).substr(response.size() + 1);
    const std::vector<PredSummary>& results = analysis.Results(kind);
    if (std::any_of(results.begin(), results.end(),
                    [&](const PredSummary& other) { return other.predictorName == predictor; }))
      ++number;
  }
  return stem + RequiredText(analysis, kTextCodedSuffix) + (number > 1 ? "_" + std::to_string(number) : "");
}

std::vector<PredSummary*> RankedPredictors(CFeatureSelectionTemplate& analysis, int responseKind) {
  std::vector<PredSummary>& results = analysis.Results(responseKind);
  std::vector<PredSummary*> ranked;
  for (const int position : analysis.Order(responseKind))
    ranked.push_back(&results[static_cast<std::size_t>(position)]);
  return ranked;
}

std::vector<PredSummary*> BestPredictors(CFeatureSelectionTemplate& analysis, int responseKind, int count) {
  std::vector<PredSummary*> best = RankedPredictors(analysis, responseKind);
  const int most = std::max(std::min(count, analysis.lists[responseKind].bestCount), 0);
  best.resize(std::min(best.size(), static_cast<std::size_t>(most)));
  return best;
}

std::string ScriptText(std::string_view text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == '"' ? 2 : 1, c);
  return doubled;
}

}  // namespace vlmfsl
