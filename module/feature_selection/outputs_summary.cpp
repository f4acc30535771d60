// Summary sheets: one row per listed predictor, with its statistic and p-value.
#include <algorithm>

#include "base/utf8_text.h"
#include "module/feature_selection/outputs_documents.h"
#include "module/feature_selection/outputs_names.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/engine_texts.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

constexpr std::size_t kTitleLength = 80;
constexpr int kStatisticColumn = 1;
constexpr int kPValueColumn = 2;

void SetHeader(vlm::IAnalysisHost& host, vlm::ISpreadsheet& sheet, int columnNumber,
               const std::string& text) {
  const int width = sheet.GetColumnNameWidth();
  const std::string name = ShortenName(host, text, width);
  const std::string_view cut = vlm::FirstCharacters(name, static_cast<std::size_t>(std::max(width, 0)));
  sheet.SetColumnName(columnNumber, cut.data(), vlm::LengthOf(cut));
}

void FillSheet(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host, int dependentIndex,
               std::span<const int> best, vlm::ISpreadsheet& sheet) {
  const std::string title =
      TextForDependent(settings, dependentIndex, kTextBestForContinuous, kTextBestForCategorical);
  const std::string_view shown = vlm::FirstCharacters(title, kTitleLength);
  sheet.SetTitle(shown.data(), vlm::LengthOf(shown));
  if (shown.size() < title.size()) sheet.SetLongTitle(title.data(), vlm::LengthOf(title));
  SetHeader(host, sheet, kStatisticColumn, StatisticName(settings, dependentIndex));
  const bool crossTabulated = settings.IsCrossTabulated(dependentIndex);
  SetHeader(host, sheet, kPValueColumn,
            LoadText(*settings.owner, crossTabulated ? kTextPValueCategorical : kTextPValue));
  sheet.SetColumnRole(kPValueColumn, vlm::kProbabilityColumn);

  const int rowNameWidth = sheet.GetRowNameWidth();
  int row = 0;
  for (const int position : best) {
    ++row;
    const std::string name = ShortenName(
        host, ShortenName(host, PredictorName(settings, position), kShortNameLength), rowNameWidth);
    sheet.SetRowName(row, name.data(), vlm::LengthOf(name));
    const std::size_t cell = settings.MatrixIndex(dependentIndex, position - 1);
    if (settings.notComputable[cell] != 0) continue;
    sheet.SetValue(row, kStatisticColumn, settings.statistic[cell]);
    sheet.SetValue(row, kPValueColumn, settings.pValue[cell]);
  }
}

}  // namespace

int MakeBestPredictorsSummary(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host,
                              DocumentList& made) {
  made.clear();
  DocumentList sheets;
  for (int d = 0; d < settings.DependentCount(); ++d) {
    BestPredictors best(*settings.owner);
    if (best.Select(settings, d) != kOk) return kFailed;
    if (best.Listed() == 0) continue;
    const auto sheet = vlm::Ref<vlm::ISpreadsheet>::Adopt(
        host.CreateSpreadsheet(settings.DependentVariable(d), best.Listed(), 2));
    if (!sheet) return kFailed;
    FillSheet(settings, host, d, best.Best(), *sheet);
    sheets.emplace_back(sheet.Get());
  }
  for (const auto& sheet : sheets) sheet->Show();
  made = std::move(sheets);
  return kOk;
}

}  // namespace vlmfsl
