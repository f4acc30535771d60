#include "module/screening_outputs/graph_writing.h"

#include "base/format_text.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {

GraphWriter::GraphWriter(CFeatureSelectionTemplate& analysis, const PredSummary& record, int graphKind)
    : analysis_(analysis),
      record_(record),
      graph_(vlm::Ref<vlm::IGraph>::Adopt(analysis.Host().CreateGraph(record.responseVariable, graphKind))) {
  if (!graph_) throw HostCallError("The host cannot make a graph.");
}

void GraphWriter::TitleLine(std::string_view text) {
  if (!text.empty()) graph_->AddTitleLine(text.data(), vlm::LengthOf(text));
}

void GraphWriter::AddRecordTitles() {
  const int predictorLine = record_.predictorKind == kContinuousPredictor ? kTextContinuousPredictorLine
                                                                          : kTextCategoricalPredictorLine;
  TitleLine(vlm::FormatText(RequiredText(analysis_, kTextDependentVariable), {record_.responseName}));
  TitleLine(vlm::FormatText(RequiredText(analysis_, predictorLine), {record_.predictorName}));
  TitleLineOfSelection();
}

void GraphWriter::TitleLineOfSelection() {
  TitleLine(
      vlm::WholeTextOf([&](vlm::ITextSink* sink) { analysis_.Host().GetCaseSelectionDescription(sink); }));
}

void GraphWriter::Footnote(std::string_view text) { graph_->SetFootnote(text.data(), vlm::LengthOf(text)); }

void GraphWriter::Axis(int axis, std::string_view title) {
  graph_->SetAxisTitle(axis, title.data(), vlm::LengthOf(title));
}

void GraphWriter::Categories(int axis, std::span<const std::string> texts) {
  int position = 0;
  for (const std::string& text : texts)
    graph_->AddAxisTick(axis, ++position, text.data(), vlm::LengthOf(text));
  graph_->SetAxisRange(axis, 0.5, position + 0.5, 1);
}

int GraphWriter::Series(int seriesKind, std::string_view name) {
  const int series = graph_->AddSeriesOfKind(seriesKind, name.data(), vlm::LengthOf(name));
  if (series < 0) throw HostCallError("The host cannot add a series to a graph.");
  return series;
}

int GraphWriter::Series(int seriesKind, std::string_view name, const GraphPoints& points) {
  const int series = Series(seriesKind, name);
  graph_->AddPoints(series, static_cast<int>(points.x.size()), points.x.data(), points.y.data());
  return series;
}

vlm::Ref<vlm::IGraph> GraphWriter::Finish(std::string_view eventScript) {
  if (!eventScript.empty()) graph_->SetSafeEventCode(eventScript.data(), vlm::LengthOf(eventScript));
  graph_->Show();
  return graph_;
}

std::vector<std::string> BinLabels(const CFeatureSelectionTemplate& analysis, const PredSummary& record) {
  std::vector<std::string> labels;
  for (std::size_t bin = 0; bin < record.bins.Count(); ++bin)
    labels.push_back(BinLabel(analysis, record, bin));
  return labels;
}

}  // namespace vlmfsl
