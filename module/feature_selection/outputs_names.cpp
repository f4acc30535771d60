#include "module/feature_selection/outputs_names.h"

#include "base/format_text.h"
#include "base/utf8_text.h"
#include "contract/text.h"
#include "module/frame/engine_texts.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

std::string StatisticName(const FeatureSelectionSettings& settings, int dependentIndex) {
  if (!settings.IsCrossTabulated(dependentIndex)) return LoadText(*settings.owner, kTextFValue);
  return LoadText(*settings.owner, settings.useCramersV ? kTextCramersV : kTextChiSquare);
}

std::string DependentName(const FeatureSelectionSettings& settings, int dependentIndex) {
  return VariableName(*settings.owner, settings.DependentVariable(dependentIndex));
}

std::string PredictorName(const FeatureSelectionSettings& settings, int position) {
  return VariableName(*settings.owner, settings.PredictorVariable(position - 1));
}

std::string TextForDependent(const FeatureSelectionSettings& settings, int dependentIndex,
                             int continuousTextId, int categoricalTextId) {
  const bool continuous = dependentIndex < settings.nContinuousDependents;
  const std::string name = DependentName(settings, dependentIndex);
  return vlm::FormatText(LoadText(*settings.owner, continuous ? continuousTextId : categoricalTextId),
                         {std::string_view(name)});
}

std::string ShortenName(vlm::IAnalysisHost& host, std::string_view name, int characterCount) {
  if (characterCount < 0 || vlm::CharacterCount(name) <= static_cast<std::size_t>(characterCount)) {
    return std::string(name);
  }
  return vlm::TextOf(
      [&](vlm::ITextSink* sink) { host.Get8CharHash(name.data(), vlm::LengthOf(name), sink); });
}

}  // namespace vlmfsl
