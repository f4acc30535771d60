// Names for the outputs.
#pragma once

#include <string>
#include <string_view>

#include "contract/analysis.h"
#include "module/feature_selection/feature_selection_settings.h"

namespace vlmfsl {

// "F-value" for a dependent scored by F, else "Cramer's V" or "Chi-square".
[[nodiscard]] std::string StatisticName(const FeatureSelectionSettings& settings, int dependentIndex);
[[nodiscard]] std::string DependentName(const FeatureSelectionSettings& settings, int dependentIndex);
// position: of a predictor in a ranked order, from 1.
[[nodiscard]] std::string PredictorName(const FeatureSelectionSettings& settings, int position);

// A text of the module with the dependent's name in place of "%s": the first text for a continuous
// dependent, the second for a categorical one.
[[nodiscard]] std::string TextForDependent(const FeatureSelectionSettings& settings, int dependentIndex,
                                           int continuousTextId, int categoricalTextId);

// The name, or the host's 8-character short form when the name is longer than characterCount.
[[nodiscard]] std::string ShortenName(vlm::IAnalysisHost& host, std::string_view name, int characterCount);

// Names of predictors in outputs have at most this many characters.
inline constexpr int kShortNameLength = 8;

}  // namespace vlmfsl
