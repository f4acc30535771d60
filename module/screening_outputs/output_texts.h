// Names and labels as every text output of a screening shows them, so that scripts, recode files,
// rules, coded variables and tables agree.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "module/screening/bin_texts.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// A bin's label without the host's formatting marks, on one line. bin: from 0.
[[nodiscard]] std::string BinLabel(const CFeatureSelectionTemplate& analysis, const PredSummary& record,
                                   std::size_t bin);

// Host texts that an output needs. They throw std::bad_alloc rather than return an empty one.
[[nodiscard]] std::string Quoted(const CFeatureSelectionTemplate& analysis, std::string_view text);
[[nodiscard]] std::string Stripped(const CFeatureSelectionTemplate& analysis, std::string_view text);
[[nodiscard]] std::string Localized(const CFeatureSelectionTemplate& analysis, std::string_view number);

// Name of the variable that holds a predictor's bins: RESPONSE_PREDICTOR_Coded, with a number after
// it when a response of an earlier kind has a predictor that gives the same name.
[[nodiscard]] std::string CodedVariableName(CFeatureSelectionTemplate& analysis, const PredSummary& record);

// All analysed predictors of a response kind, best first.
[[nodiscard]] std::vector<PredSummary*> RankedPredictors(CFeatureSelectionTemplate& analysis,
                                                         int responseKind);
// Its best predictors, best first: at most count, and no more than the host counts among the best.
[[nodiscard]] std::vector<PredSummary*> BestPredictors(CFeatureSelectionTemplate& analysis, int responseKind,
                                                       int count);
inline constexpr int kKindsInOutputOrder[] = {vlm::kBinaryResponse, vlm::kContinuousResponse,
                                              vlm::kCategoricalResponse};

// A text for the inside of the quotation marks of an event script: its own are doubled.
[[nodiscard]] std::string ScriptText(std::string_view text);

}  // namespace vlmfsl
