// The lists of best predictors by kind, as one text for all dependents or as variable bundles.
#include "base/format_text.h"
#include "module/feature_selection/outputs_documents.h"
#include "module/feature_selection/outputs_names.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/engine_texts.h"
#include "module/frame/input_additions.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

constexpr int kReportDocument = 2;

// Variable numbers of the listed predictors that have a statistic, " %d" each, by kind.
struct NumbersByKind {
  std::string continuous;
  std::string categorical;
};

NumbersByKind CollectNumbers(const FeatureSelectionSettings& settings, int dependentIndex,
                             std::span<const int> best) {
  NumbersByKind numbers;
  for (const int position : best) {
    if (settings.notComputable[settings.MatrixIndex(dependentIndex, position - 1)] != 0) continue;
    std::string& line = position > settings.nContinuousPredictors ? numbers.categorical : numbers.continuous;
    line += " " + std::to_string(settings.PredictorVariable(position - 1));
  }
  return numbers;
}

std::string ReportOfDependent(const FeatureSelectionSettings& settings, int dependentIndex,
                              const NumbersByKind& numbers) {
  vlm::IEngineServices& services = *settings.owner;
  return TextForDependent(settings, dependentIndex, kTextReportContinuousHeading,
                          kTextReportCategoricalHeading) +
         LoadText(services, kTextBestContinuousPredictors) + numbers.continuous + "\n" +
         LoadText(services, kTextBestCategoricalPredictors) + numbers.categorical + "\n\n\n";
}

void AddBundle(const FeatureSelectionSettings& settings, int dependentIndex, int nameTextId,
               const std::string& numbers, std::vector<PredictorBundle>& bundles) {
  if (numbers.empty()) return;
  bundles.push_back({TextForDependent(settings, dependentIndex, nameTextId, nameTextId), numbers.substr(1)});
}

}  // namespace

int MakeBestPredictorsReport(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host, bool save,
                             DocumentList& made) {
  made.clear();
  std::string text;
  std::vector<PredictorBundle> bundles;
  for (int d = 0; d < settings.DependentCount(); ++d) {
    BestPredictors best(*settings.owner);
    if (best.Select(settings, d) != kOk) return kFailed;
    if (best.Listed() == 0) continue;
    const NumbersByKind numbers = CollectNumbers(settings, d, best.Best());
    if (save) {
      AddBundle(settings, d, kTextBundleContinuous, numbers.continuous, bundles);
      AddBundle(settings, d, kTextBundleCategorical, numbers.categorical, bundles);
    } else {
      text += ReportOfDependent(settings, d, numbers);
    }
  }
  if (save) return SaveBestPredictorBundles(bundles, host, *settings.owner);
  if (text.empty()) return kOk;
  const std::string title = LoadText(*settings.owner, kTextBestPredictorLists);
  vlm::IDocument* document = nullptr;
  const int failed = host.CreateTextDoc(kReportDocument, title.data(), vlm::LengthOf(title), text.data(),
                                        vlm::LengthOf(text), &document);
  auto counted = vlm::Ref<vlm::IDocument>::Adopt(document);
  if (failed != 0 || !counted) return kFailed;
  made.push_back(std::move(counted));
  return kOk;
}

}  // namespace vlmfsl
