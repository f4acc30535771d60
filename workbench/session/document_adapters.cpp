// Adapters over Sheet, Graph and TextDocument. A call that fails keeps its exception in the
// document's home and returns to the module as if nothing had happened; such a document is never
// shown.
#include "workbench/session/document_adapters.h"

#include <algorithm>
#include <string>
#include <utility>

#include "contract/counted.h"
#include "contract/text.h"
#include "workbench/automation/document_objects.h"
#include "workbench/data/table.h"
#include "workbench/documents/texts.h"

namespace velmora {

namespace {

// Home, subject and automation object of any document. Interface is the contract's, Body the
// workbench's.
template <typename Self, typename Interface, typename Body>
class DocumentAdapter : public vlm::Counted<Self, Interface> {
 public:
  void Show() override {
    Try([&] {
      if (shown_ || failed_) return;
      home_->Show(body_, subjectNumber_);
      shown_ = true;
    });
  }
  vlm::IAutomationObject* GetAutomationObject() override {
    Try([&] {
      if (!object_) object_ = ObjectReference::Adopt(static_cast<Self*>(this)->MakeObject());
    });
    return object_.Get();
  }

 protected:
  DocumentAdapter(std::shared_ptr<DocumentHome> home, int subjectNumber, std::shared_ptr<Body> body)
      : home_(std::move(home)), body_(std::move(body)), subjectNumber_(subjectNumber) {}
  ~DocumentAdapter() = default;

  template <typename Function>
  void Try(Function function) noexcept {
    try {
      function();
    } catch (...) {
      failed_ = true;
      const std::lock_guard lock(home_->failureMutex);
      if (!home_->failure) home_->failure = std::current_exception();
    }
  }
  std::shared_ptr<const ShortNames> Names() const { return {home_->workbook, &home_->workbook->shortNames}; }

  std::shared_ptr<DocumentHome> home_;
  std::shared_ptr<Body> body_;

 private:
  ObjectReference object_;
  int subjectNumber_;
  bool shown_ = false;
  bool failed_ = false;  // a part of the document is lost
};

class SpreadsheetAdapter final : public DocumentAdapter<SpreadsheetAdapter, vlm::ISpreadsheet, Sheet> {
 public:
  SpreadsheetAdapter(std::shared_ptr<DocumentHome> home, int subjectNumber, int rowCount, int columnCount,
                     int rowNameWidth)
      : DocumentAdapter(std::move(home), subjectNumber, std::make_shared<Sheet>(rowCount, columnCount)) {
    body_->SetColumnNameWidth(kColumnNameWidth);
    body_->SetRowNameWidth(rowNameWidth);
  }
  SpreadsheetAdapter(std::shared_ptr<DocumentHome> home, int subjectNumber, std::shared_ptr<Sheet> sheet)
      : DocumentAdapter(std::move(home), subjectNumber, std::move(sheet)) {}
  vlm::IAutomationObject* MakeObject() { return MakeSpreadsheetObject(body_, Names()); }

  int GetRowCount() override { return body_->RowCount(); }
  int GetColumnCount() override { return body_->ColumnCount(); }
  void SetTitle(const char* text, int length) override {
    Try([&] { body_->SetTitle(vlm::TextOf(text, length)); });
  }
  void GetTitle(vlm::ITextSink* text) override { Assign(text, body_->Title()); }
  void SetLongTitle(const char* text, int length) override {
    Try([&] { body_->SetLongTitle(vlm::TextOf(text, length)); });
  }
  int GetColumnNameWidth() override { return body_->ColumnNameWidth(); }
  int GetRowNameWidth() override { return body_->RowNameWidth(); }
  void SetColumnName(int columnNumber, const char* text, int length) override {
    Try([&] { body_->SetColumnName(columnNumber, vlm::TextOf(text, length)); });
  }
  void GetColumnName(int columnNumber, vlm::ITextSink* text) override {
    Assign(text, body_->ColumnName(columnNumber));
  }
  void SetColumnLongName(int columnNumber, const char* text, int length) override {
    Try([&] {
      const std::string_view longName = vlm::TextOf(text, length);
      // A text that is not a valid formula is kept as a name that begins with "=".
      const bool isFormula = longName.starts_with('=') && body_->SetFormula(columnNumber, longName).empty();
      if (!isFormula) body_->SetColumnLongName(columnNumber, longName);
    });
  }
  void GetColumnLongName(int columnNumber, vlm::ITextSink* text) override {
    Assign(text, body_->ColumnLongName(columnNumber));
  }
  void SetColumnFormat(int columnNumber, const char* format, int length) override {
    Try([&] { body_->SetFormat(columnNumber, vlm::TextOf(format, length)); });
  }
  void SetColumnRole(int columnNumber, int role) override {
    const NumberRole roles[] = {NumberRole::kPlain, NumberRole::kCount, NumberRole::kProbability};
    if (role >= vlm::kPlainColumn && role <= vlm::kProbabilityColumn)
      body_->SetRole(columnNumber, roles[role]);
  }
  void SetRowName(int rowNumber, const char* text, int length) override {
    Try([&] { body_->SetRowName(rowNumber, vlm::TextOf(text, length)); });
  }
  void GetRowName(int rowNumber, vlm::ITextSink* text) override { Assign(text, body_->RowName(rowNumber)); }

  void SetValue(int rowNumber, int columnNumber, double value) override {
    Try([&] { body_->SetCell(rowNumber, columnNumber, value); });
  }
  void SetInteger(int rowNumber, int columnNumber, int value) override {
    Try([&] { body_->SetInteger(rowNumber, columnNumber, value); });
  }
  void SetText(int rowNumber, int columnNumber, const char* text, int length) override {
    Try([&] { body_->SetText(rowNumber, columnNumber, vlm::TextOf(text, length)); });
  }
  double GetValue(int rowNumber, int columnNumber) override {
    const double value = body_->Cell(rowNumber, columnNumber);
    return IsEmptyCell(value) ? vlm::kMissingValue : value;
  }
  void GetText(int rowNumber, int columnNumber, vlm::ITextSink* text) override {
    Try([&] {
      if (const std::string* shown = body_->ShownText(rowNumber, columnNumber)) return Assign(text, *shown);
      const double value = body_->Cell(rowNumber, columnNumber);
      Assign(text, IsEmptyCell(value) ? std::string() : ShownNumber(value, body_->Format(columnNumber)));
    });
  }
  void ReadColumn(int columnNumber, int firstRowNumber, int rowCount, double* values) override {
    for (int index = 0; index < rowCount; ++index)
      values[index] = GetValue(firstRowNumber + index, columnNumber);
  }
  void WriteColumn(int columnNumber, int firstRowNumber, int rowCount, const double* values) override {
    Try([&] {
      if (firstRowNumber == 1) {
        body_->SetValues(columnNumber, {values, static_cast<std::size_t>(std::max(rowCount, 0))});
        return;
      }
      for (int index = 0; index < rowCount; ++index) {
        body_->SetCell(firstRowNumber + index, columnNumber, values[index]);
      }
    });
  }
  int InsertColumn(int afterColumnNumber, const char* name, int nameLength, const char* longName,
                   int longNameLength, const char* format, int formatLength) override {
    int number = 0;
    Try([&] {
      const std::string error =
          body_->InsertColumn(afterColumnNumber, vlm::TextOf(name, nameLength),
                              vlm::TextOf(longName, longNameLength), vlm::TextOf(format, formatLength));
      if (error.empty()) number = afterColumnNumber + 1;
    });
    return number;
  }
  void SetValueLabel(int columnNumber, double value, const char* text, int length) override {
    Try([&] {
      std::vector<ValueLabel> labels = body_->Labels(columnNumber);
      std::erase_if(labels, [&](const ValueLabel& label) { return label.value == value; });
      labels.push_back({value, std::string(vlm::TextOf(text, length))});
      body_->SetLabels(columnNumber, std::move(labels));
    });
  }
  vlm::ISpreadsheet* Copy(int subjectNumber) override {
    vlm::ISpreadsheet* copy = nullptr;
    Try([&] { copy = MakeSpreadsheet(home_, subjectNumber, std::make_shared<Sheet>(*body_)); });
    return copy;
  }

 private:
  friend class DocumentAdapter<SpreadsheetAdapter, vlm::ISpreadsheet, Sheet>;
  friend Counted;
  ~SpreadsheetAdapter() = default;
  static void Assign(vlm::ITextSink* sink, const std::string& text) {
    sink->Assign(text.data(), vlm::LengthOf(text));
  }
};

struct KindOfGraph {
  GraphKind layout;
  SeriesKind series;
};

KindOfGraph KindOf(int graphKind) {
  switch (graphKind) {
    case vlm::kHorizontalBarGraph:
      return {GraphKind::kHorizontalBars, SeriesKind::kBars};
    case vlm::kScatterGraph:
      return {GraphKind::kXy, SeriesKind::kScatter};
    case vlm::kBoxGraph:
      return {GraphKind::kBoxPlot, SeriesKind::kBoxes};
    case vlm::kGroupedBarGraph:
      return {GraphKind::kVerticalBars, SeriesKind::kBars};
    case vlm::kHistogramGraph:
      return {GraphKind::kPanels, SeriesKind::kBars};
    case vlm::kHistogram3DGraph:
      return {GraphKind::kHistogram3D, SeriesKind::kBars3D};
    default:
      return {GraphKind::kXy, SeriesKind::kLine};
  }
}

SeriesKind SeriesKindOf(int seriesKind) {
  switch (seriesKind) {
    case vlm::kBarSeries:
      return SeriesKind::kBars;
    case vlm::kScatterSeries:
      return SeriesKind::kScatter;
    case vlm::kBoxSeries:
      return SeriesKind::kBoxes;
    case vlm::kDiamondSeries:
      return SeriesKind::kDiamonds;
    case vlm::kBar3DSeries:
      return SeriesKind::kBars3D;
    default:
      return SeriesKind::kLine;
  }
}

class GraphAdapter final : public DocumentAdapter<GraphAdapter, vlm::IGraph, Graph> {
 public:
  GraphAdapter(std::shared_ptr<DocumentHome> home, int subjectNumber, int graphKind)
      : DocumentAdapter(std::move(home), subjectNumber, std::make_shared<Graph>()), kind_(KindOf(graphKind)) {
    body_->kind = kind_.layout;
  }
  vlm::IAutomationObject* MakeObject() { return MakeGraphObject(body_, Names()); }

  void AddTitleLine(const char* text, int length) override {
    Try([&] { body_->titleLines.emplace_back(vlm::TextOf(text, length)); });
  }
  void SetFootnote(const char* text, int length) override {
    Try([&] { body_->footnote = vlm::TextOf(text, length); });
  }
  void SetAxisTitle(int axis, const char* text, int length) override {
    Try([&] { Axis(axis).title = vlm::TextOf(text, length); });
  }
  void SetAxisRange(int axis, double minimum, double maximum, double step) override {
    velmora::GraphAxis& changed = Axis(axis);
    changed.minimum = minimum;
    changed.maximum = maximum;
    changed.step = step == 0 ? kMissing : step;
  }
  void AddAxisTick(int axis, double position, const char* text, int length) override {
    Try([&] { Axis(axis).ticks.push_back({position, std::string(vlm::TextOf(text, length))}); });
  }
  int AddSeries(const char* name, int length) override { return NewSeries(kind_.series, name, length); }
  int AddSeriesOfKind(int seriesKind, const char* name, int length) override {
    return NewSeries(SeriesKindOf(seriesKind), name, length);
  }
  void PutOnRightAxis(int seriesIndex) override {
    if (GraphSeries* series = Series(seriesIndex)) series->onRightAxis = true;
  }
  void AddPoint(int seriesIndex, double x, double y, const char* label, int length) override {
    Try([&] {
      GraphSeries* series = Series(seriesIndex);
      if (series == nullptr) return;
      series->x.push_back(x);
      series->y.push_back(y);
      AddLabel(*series, series->x.size(), label, length);
    });
  }
  void AddPoints(int seriesIndex, int pointCount, const double* x, const double* y) override {
    Try([&] {
      GraphSeries* series = Series(seriesIndex);
      if (series == nullptr || pointCount <= 0) return;
      series->x.insert(series->x.end(), x, x + pointCount);
      series->y.insert(series->y.end(), y, y + pointCount);
      if (!series->labels.empty()) series->labels.resize(series->x.size());
    });
  }
  void AddPoints3D(int seriesIndex, int pointCount, const double* position, const double* depth,
                   const double* height) override {
    Try([&] {
      GraphSeries* series = Series(seriesIndex);
      if (series == nullptr || pointCount <= 0) return;
      series->x.insert(series->x.end(), position, position + pointCount);
      series->y.insert(series->y.end(), depth, depth + pointCount);
      series->z.insert(series->z.end(), height, height + pointCount);
    });
  }
  void AddBox(int seriesIndex, const vlm::GraphBox* box, const char* label, int length) override {
    Try([&] {
      GraphSeries* series = Series(seriesIndex);
      if (series == nullptr || box == nullptr) return;
      if (series->kind == SeriesKind::kDiamonds) {
        series->x.push_back(box->intervalFrom);
        series->y.push_back(box->intervalTo);
      }
      series->boxes.push_back({box->position, box->minimum, box->lowerQuartile, box->median,
                               box->upperQuartile, box->maximum, box->mean, box->lowerLimit, box->upperLimit,
                               box->count});
      AddLabel(*series, series->boxes.size(), label, length);
    });
  }
  void SetSafeEventCode(const char* text, int length) override {
    Try([&] {
      body_->eventScript = vlm::TextOf(text, length);
      body_->decimalSeparator = home_->decimalSeparator;
    });
  }

 private:
  friend class DocumentAdapter<GraphAdapter, vlm::IGraph, Graph>;
  friend Counted;
  ~GraphAdapter() = default;
  velmora::GraphAxis& Axis(int axis) {
    if (axis == vlm::kValueAxis) return body_->valueAxis;
    if (axis == vlm::kRightAxis) return body_->rightAxis;
    return axis == vlm::kDepthAxis ? body_->depthAxis : body_->positionAxis;
  }
  int NewSeries(SeriesKind kind, const char* name, int length) {
    int seriesIndex = -1;
    Try([&] {
      GraphSeries series;
      series.kind = kind;
      series.name = vlm::TextOf(name, length);
      body_->series.push_back(std::move(series));
      seriesIndex = static_cast<int>(body_->series.size()) - 1;
    });
    return seriesIndex;
  }
  // A series has labels for all of its points or boxes or for none, so the first label
  // adds empty ones before it.
  static void AddLabel(GraphSeries& series, std::size_t count, const char* label, int length) {
    if (length == 0 && series.labels.empty()) return;
    series.labels.resize(count - 1);
    series.labels.emplace_back(vlm::TextOf(label, length));
  }
  GraphSeries* Series(int seriesIndex) {
    if (seriesIndex < 0 || seriesIndex >= static_cast<int>(body_->series.size())) return nullptr;
    return &body_->series[static_cast<std::size_t>(seriesIndex)];
  }

  KindOfGraph kind_;
};

class TextAdapter final : public DocumentAdapter<TextAdapter, vlm::IDocument, TextDocument> {
 public:
  TextAdapter(std::shared_ptr<DocumentHome> home, TextDocument document)
      : DocumentAdapter(std::move(home), 0, std::make_shared<TextDocument>(std::move(document))) {}
  vlm::IAutomationObject* MakeObject() { return MakeReportObject(body_); }

 private:
  friend class DocumentAdapter<TextAdapter, vlm::IDocument, TextDocument>;
  friend Counted;
  ~TextAdapter() = default;
};

}  // namespace

int DocumentHome::GroupOfSubject(int variableNumber) {
  const std::string name = variableNumber > 0 && variableName ? variableName(variableNumber) : std::string();
  if (name.empty()) return 0;
  const auto description = descriptions.find(variableNumber);
  return workbook->GroupOfSubject(variableNumber, name,
                                  description == descriptions.end() ? std::string() : description->second);
}

vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, int subjectNumber, int rowCount,
                                   int columnCount, int rowNameWidth) {
  return new SpreadsheetAdapter(std::move(home), subjectNumber, rowCount, columnCount,
                                std::clamp(rowNameWidth, kMinimumRowNameWidth, kMaximumRowNameWidth));
}

vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, int subjectNumber,
                                   std::shared_ptr<Sheet> sheet) {
  return new SpreadsheetAdapter(std::move(home), subjectNumber, std::move(sheet));
}

vlm::IGraph* MakeGraph(std::shared_ptr<DocumentHome> home, int subjectNumber, int graphKind) {
  return new GraphAdapter(std::move(home), subjectNumber, graphKind);
}

vlm::IDocument* MakeTextDocument(std::shared_ptr<DocumentHome> home, TextDocument document) {
  return new TextAdapter(std::move(home), std::move(document));
}

}  // namespace velmora
