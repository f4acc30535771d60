// Importance graphs: horizontal bars, the best predictor on top.
#include <algorithm>
#include <cmath>

#include "base/format_text.h"
#include "module/feature_selection/outputs_documents.h"
#include "module/feature_selection/outputs_names.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/engine_texts.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

void AddTitleLine(vlm::IGraph& graph, const std::string& text) {
  graph.AddTitleLine(text.data(), vlm::LengthOf(text));
}

int FillGraph(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host, int dependentIndex,
              std::span<const int> best, vlm::IGraph& graph) {
  vlm::IEngineServices& services = *settings.owner;
  const std::string statisticName = StatisticName(settings, dependentIndex);
  AddTitleLine(graph, LoadText(services, kTextImportancePlot));
  AddTitleLine(graph,
               TextForDependent(settings, dependentIndex, kTextDependentVariable, kTextDependentVariable));
  const std::string importance = LoadText(services, kTextImportanceAxis);
  const std::string axisTitle =
      vlm::FormatText("%s (%s)", {std::string_view(importance), std::string_view(statisticName)});
  graph.SetAxisTitle(vlm::kValueAxis, axisTitle.data(), vlm::LengthOf(axisTitle));

  const int series = graph.AddSeries(statisticName.data(), vlm::LengthOf(statisticName));
  if (series < 0) return kFailed;
  const auto count = static_cast<int>(best.size());
  double largest = -1e307;
  for (int i = 0; i < count; ++i) {
    const int position = best[static_cast<std::size_t>(i)];
    const std::size_t cell = settings.MatrixIndex(dependentIndex, position - 1);
    if (settings.notComputable[cell] != 0) continue;
    const double statistic = settings.statistic[cell];
    largest = std::max(largest, statistic);
    const std::string label = ShortenName(host, PredictorName(settings, position), kShortNameLength);
    graph.AddPoint(series, count - i, statistic, label.data(), vlm::LengthOf(label));
  }
  graph.SetAxisRange(vlm::kCategoryAxis, 0.5, count + 0.5, 1.0);
  // When all bars have length zero or one is infinite, the host chooses the scale.
  if (largest > 0 && std::isfinite(largest)) graph.SetAxisRange(vlm::kValueAxis, 0.0, largest, 0.0);
  return kOk;
}

}  // namespace

int MakeImportanceHistogram(const FeatureSelectionSettings& settings, vlm::IAnalysisHost& host,
                            DocumentList& made) {
  made.clear();
  DocumentList graphs;
  for (int d = 0; d < settings.DependentCount(); ++d) {
    BestPredictors best(*settings.owner);
    if (best.Select(settings, d) != kOk) return kFailed;
    if (best.Listed() == 0) continue;
    const auto graph = vlm::Ref<vlm::IGraph>::Adopt(
        host.CreateGraph(settings.DependentVariable(d), vlm::kHorizontalBarGraph));
    if (!graph) return kFailed;
    if (FillGraph(settings, host, d, best.Best(), *graph) != kOk) return kFailed;
    graphs.emplace_back(graph.Get());
  }
  for (const auto& graph : graphs) graph->Show();
  made = std::move(graphs);
  return kOk;
}

}  // namespace vlmfsl
