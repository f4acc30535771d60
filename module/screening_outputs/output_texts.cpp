#include "module/screening_outputs/output_texts.h"

#include <utility>

#include "module/resources/text_ids.h"

namespace vlmfsl {

std::string BinLabel(const CFeatureSelectionTemplate& analysis, const PredSummary& record, std::size_t bin) {
  return OnOneLine(Stripped(analysis, record.levelNames[bin]));
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
  return record.responseName + "_" + record.predictorName + RequiredText(analysis, kTextCodedSuffix);
}

std::vector<PredSummary*> BestPredictors(CFeatureSelectionTemplate& analysis, int responseKind, int count) {
  std::vector<PredSummary>& results = analysis.Results(responseKind);
  const std::vector<int>& order = analysis.Order(responseKind);
  std::vector<PredSummary*> best;
  for (std::size_t rank = 0; rank < order.size() && static_cast<int>(rank) < count; ++rank) {
    best.push_back(&results[static_cast<std::size_t>(order[rank])]);
  }
  return best;
}

std::string ScriptText(std::string_view text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == '"' ? 2 : 1, c);
  return doubled;
}

}  // namespace vlmfsl
