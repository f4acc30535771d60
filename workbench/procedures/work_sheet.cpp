#include "workbench/procedures/work_sheet.h"

#include <algorithm>
#include <cmath>

#include "base/tolerant.h"
#include "contract/counted.h"
#include "contract/text.h"
#include "workbench/documents/texts.h"

namespace velmora {

namespace {

int FindBin(const std::vector<std::pair<double, int>>& bins, double value) {
  const double lowest = -vlm::RaisedByTolerance(-value);
  const auto found = std::lower_bound(bins.begin(), bins.end(), lowest,
                                      [](const auto& one, double wanted) { return one.first < wanted; });
  if (found == bins.end()) return -1;
  return found->first == value || vlm::NearlyEqual(found->first, value) ? found->second : -1;
}

}  // namespace

int Bins::BinOfLevel(double level) const { return FindBin(levels, level); }
int Bins::BinOfSpecialCode(double code) const { return FindBin(specialCodes, code); }

SplitOrder SplitCodes(OrderPointer order, std::span<const double> column, std::span<const double> codes) {
  std::shared_ptr<stats::SortedOrder> parts[] = {std::make_shared<stats::SortedOrder>(),
                                                 std::make_shared<stats::SortedOrder>()};
  for (std::size_t d = 0; d < order->DistinctCount(); ++d) {
    const double value = order->Value(column, d);
    const bool isCode = std::any_of(codes.begin(), codes.end(), [value](double code) {
      return code == value || vlm::NearlyEqual(code, value);
    });
    stats::SortedOrder& part = *parts[isCode ? 1 : 0];
    part.starts.push_back(static_cast<std::int32_t>(part.cases.size()));
    part.cases.insert(part.cases.end(), order->cases.begin() + order->starts[d],
                      order->cases.begin() + order->starts[d + 1]);
  }
  if (parts[1]->cases.empty()) return {std::move(order), parts[1]};
  for (const auto& part : parts) part->starts.push_back(static_cast<std::int32_t>(part->cases.size()));
  return {parts[0], parts[1]};
}

OrderPointer RestrictOrder(OrderPointer order, std::span<const double> column,
                           std::span<const std::uint8_t> present, std::span<const double> codes) {
  if (!codes.empty()) {
    std::vector<double> ascending(codes.begin(), codes.end());
    std::sort(ascending.begin(), ascending.end());
    const auto wanted = [&](double value) {
      const auto code = std::lower_bound(ascending.begin(), ascending.end(), -vlm::RaisedByTolerance(-value));
      return code != ascending.end() && vlm::NearlyEqual(*code, value);
    };
    auto kept = std::make_shared<stats::SortedOrder>();
    for (std::size_t d = 0; d < order->DistinctCount(); ++d) {
      if (!wanted(order->Value(column, d))) continue;
      kept->starts.push_back(static_cast<std::int32_t>(kept->cases.size()));
      kept->cases.insert(kept->cases.end(), order->cases.begin() + order->starts[d],
                         order->cases.begin() + order->starts[d + 1]);
    }
    if (kept->cases.size() < order->cases.size()) {
      kept->starts.push_back(static_cast<std::int32_t>(kept->cases.size()));
      order = kept;
    }
  }
  if (present.empty()) return order;
  const bool allPresent =
      std::all_of(order->cases.begin(), order->cases.end(), [&](std::uint32_t i) { return present[i] != 0; });
  if (allPresent) return order;
  auto filtered = std::make_shared<stats::SortedOrder>();
  stats::FilterOrder(*order, present, *filtered);
  return filtered;
}

WorkData::WorkData(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table, int predictor,
                   ResponsePointer response, std::vector<double> predictorCodes, BinsPointer bins)
    : shared_(std::move(shared)),
      table_(std::move(table)),
      predictor_(predictor),
      response_(std::move(response)),
      predictorCodes_(std::move(predictorCodes)),
      bins_(std::move(bins)) {
  shared_->Checkpoint();  // here and not where the module reads cells, because nothing may be thrown there
  MakeRows();
  rowCount_ = rows_->order->CaseCount();
}

const WorkRows& WorkData::Rows() {
  if (!rows_) MakeRows();
  return *rows_;
}

void WorkData::Evict() {
  rows_.reset();
  ranks_.reset();
  PredictorColumn().values.Release();
}

void WorkData::MakeRows() {
  const std::span<const double> column = PredictorColumn().values;
  auto rows = std::make_unique<WorkRows>();
  rows->order =
      RestrictOrder(shared_->OrderOf(table_, predictor_), column, response_->tree.present, predictorCodes_);
  const OrderPointer special = TakeOutSpecialCodes(*rows);
  const stats::SortedOrder& order = *rows->order;
  const auto runStart = [&](std::size_t d) { return static_cast<std::size_t>(order.starts[d]); };
  const std::size_t runCount = order.DistinctCount();
  if (bins_->categorical) {
    for (std::size_t d = 0; d < runCount; ++d) {
      rows->segments.push_back({runStart(d), runStart(d + 1), bins_->BinOfLevel(order.Value(column, d))});
    }
  } else if (runCount > 0) {
    std::size_t begin = 0;
    for (std::size_t bin = 0; bin <= bins_->cutPoints.size(); ++bin) {
      std::size_t end = order.CaseCount();
      if (bin < bins_->cutPoints.size()) {  // the first row above the cut point
        const double bound = vlm::RaisedByTolerance(bins_->cutPoints[bin]);
        end = static_cast<std::size_t>(
            std::partition_point(order.cases.begin() + static_cast<std::ptrdiff_t>(begin), order.cases.end(),
                                 [&](std::uint32_t i) { return column[i] <= bound; }) -
            order.cases.begin());
      }
      if (end > begin) rows->segments.push_back({begin, end, static_cast<int>(bin)});
      begin = end;
    }
  }
  rows->valueCount = order.CaseCount();
  if (special || bins_->missingBin >= 0) AddExtraRows(special, *rows);
  rows_ = std::move(rows);
}

// Null where the predictor has no special codes.
OrderPointer WorkData::TakeOutSpecialCodes(WorkRows& rows) const {
  if (bins_->specialCodes.empty()) return nullptr;
  std::vector<double> codes;
  for (const auto& [code, bin] : bins_->specialCodes) codes.push_back(code);
  SplitOrder split = SplitCodes(rows.order, PredictorColumn().values, codes);
  rows.order = std::move(split.values);
  return split.codes;
}

void WorkData::AddExtraRows(const OrderPointer& special, WorkRows& rows) const {
  const std::vector<std::uint32_t> missing = bins_->missingBin < 0
                                                 ? std::vector<std::uint32_t>()
                                                 : CasesWithoutValue(PredictorColumn(), response_->tree);
  if (missing.empty() && (!special || special->CaseCount() == 0)) return;
  auto order = std::make_shared<stats::SortedOrder>();
  order->cases.assign(rows.order->cases.begin(), rows.order->cases.end());
  order->starts.assign(rows.order->starts.begin(), rows.order->starts.end());
  if (order->starts.empty()) order->starts.push_back(0);
  const auto addRun = [&](auto begin, auto end, int bin) {
    const std::size_t first = order->cases.size();
    order->cases.insert(order->cases.end(), begin, end);
    order->starts.push_back(static_cast<std::int32_t>(order->cases.size()));
    rows.segments.push_back({first, order->cases.size(), bin});
  };
  for (std::size_t d = 0; special && d < special->DistinctCount(); ++d) {
    addRun(special->cases.begin() + special->starts[d], special->cases.begin() + special->starts[d + 1],
           bins_->BinOfSpecialCode(special->Value(PredictorColumn().values, d)));
  }
  if (!missing.empty()) addRun(missing.begin(), missing.end(), bins_->missingBin);
  rows.order = std::move(order);
}

const stats::CaseRanks& WorkData::Ranks() {
  if (!ranks_) ranks_ = shared_->Ranks(table_, response_, *Rows().order);
  return *ranks_;
}

namespace {

struct ColumnNames {
  std::string name, longName, format;
  std::vector<ValueLabel> labels;  // by rising value

  const std::string* LabelOf(double value) const {
    const auto place = PlaceOf(value);
    return place != labels.end() && place->value == value ? &place->text : nullptr;
  }
  void SetLabel(double value, std::string text) {
    const auto place = labels.begin() + (PlaceOf(value) - labels.begin());
    if (place != labels.end() && place->value == value)
      place->text = std::move(text);
    else
      labels.insert(place, {value, std::move(text)});
  }

 private:
  std::vector<ValueLabel>::const_iterator PlaceOf(double value) const {
    return std::lower_bound(labels.begin(), labels.end(), value,
                            [](const ValueLabel& label, double wanted) { return label.value < wanted; });
  }
};

void Assign(vlm::ITextSink* sink, std::string_view text) { sink->Assign(text.data(), vlm::LengthOf(text)); }

// Names and documents of a sheet whose cells Self makes: Self has RowCount(), Cell(row, column) and
// FillColumn(column, firstRow, rowCount, values), all called with valid numbers.
template <typename Self, typename Interface>
class LazySheet : public vlm::Counted<Self, Interface> {
 public:
  vlm::IAutomationObject* GetAutomationObject() override {
    vlm::ISpreadsheet* document = AsDocument();
    return document != nullptr ? document->GetAutomationObject() : nullptr;
  }
  void Show() override {
    if (vlm::ISpreadsheet* document = AsDocument()) document->Show();
  }

  int GetRowCount() override { return static_cast<int>(self().RowCount()); }
  int GetColumnCount() override { return static_cast<int>(columns_.size()); }
  void SetTitle(const char* text, int length) override { title_ = vlm::TextOf(text, length); }
  void GetTitle(vlm::ITextSink* text) override { Assign(text, title_); }
  int GetColumnNameWidth() override { return 0; }
  int GetRowNameWidth() override { return 0; }
  void SetColumnName(int columnNumber, const char* text, int length) override {
    if (ColumnNames* column = Find(columnNumber)) column->name = vlm::TextOf(text, length);
  }
  void GetColumnName(int columnNumber, vlm::ITextSink* text) override {
    const ColumnNames* column = Find(columnNumber);
    Assign(text, column != nullptr ? column->name : std::string());
  }
  void SetColumnLongName(int columnNumber, const char* text, int length) override {
    if (ColumnNames* column = Find(columnNumber)) column->longName = vlm::TextOf(text, length);
  }
  void GetColumnLongName(int columnNumber, vlm::ITextSink* text) override {
    const ColumnNames* column = Find(columnNumber);
    Assign(text, column != nullptr ? column->longName : std::string());
  }
  void SetColumnFormat(int columnNumber, const char* format, int length) override {
    if (ColumnNames* column = Find(columnNumber)) column->format = vlm::TextOf(format, length);
  }
  void SetLongTitle(const char*, int) override {}  // titles of this sheet have any length
  void SetColumnRole(int, int) override {}         // set on copies only
  void SetRowName(int, const char*, int) override {}
  void GetRowName(int rowNumber, vlm::ITextSink* text) override { Assign(text, std::to_string(rowNumber)); }

  double GetValue(int rowNumber, int columnNumber) override {
    if (!HasCell(rowNumber, columnNumber)) return vlm::kMissingValue;
    return self().Cell(rowNumber, columnNumber);
  }
  void GetText(int rowNumber, int columnNumber, vlm::ITextSink* text) override {
    const double value = GetValue(rowNumber, columnNumber);
    if (IsEmptyCell(value)) return Assign(text, "");
    const ColumnNames& column = *Find(columnNumber);
    const std::string* label = column.LabelOf(value);
    Assign(text, label != nullptr ? *label : ShortestNumber(value));
  }
  void ReadColumn(int columnNumber, int firstRowNumber, int rowCount, double* values) override {
    int before = 0;
    for (; before < rowCount && !HasCell(firstRowNumber + before, columnNumber); ++before) {
      values[before] = vlm::kMissingValue;
    }
    const int there = std::min(rowCount - before, GetRowCount() - (firstRowNumber + before) + 1);
    if (there > 0) self().FillColumn(columnNumber, firstRowNumber + before, there, values + before);
    for (int i = before + std::max(there, 0); i < rowCount; ++i) values[i] = vlm::kMissingValue;
  }
  // Only the maker writes cells.
  void SetValue(int, int, double) override {}
  void SetInteger(int, int, int) override {}
  void SetText(int, int, const char*, int) override {}
  void WriteColumn(int, int, int, const double*) override {}
  int InsertColumn(int, const char*, int, const char*, int, const char*, int) override { return 0; }
  void SetValueLabel(int columnNumber, double value, const char* text, int length) override {
    ColumnNames* column = Find(columnNumber);
    if (column == nullptr) return;
    column->SetLabel(value, std::string(vlm::TextOf(text, length)));
  }
  vlm::ISpreadsheet* Copy(int subjectNumber) override {
    vlm::ISpreadsheet* const document = AsDocument();
    return document != nullptr ? document->Copy(subjectNumber) : nullptr;
  }

 protected:
  explicit LazySheet(ProcedureEnvironment& environment, std::size_t columnCount)
      : environment_(environment), columns_(columnCount) {}
  ~LazySheet() {
    if (document_ != nullptr) document_->ReleaseReference();
  }

  Self& self() { return static_cast<Self&>(*this); }
  ColumnNames* Find(int columnNumber) {
    const bool exists = columnNumber >= 1 && columnNumber <= static_cast<int>(columns_.size());
    return exists ? &columns_[static_cast<std::size_t>(columnNumber - 1)] : nullptr;
  }
  bool HasCell(int rowNumber, int columnNumber) {
    return rowNumber >= 1 && rowNumber <= GetRowCount() && columnNumber >= 1 &&
           columnNumber <= GetColumnCount();
  }

 private:
  // The whole sheet as a document of the workbook, made once.
  vlm::ISpreadsheet* AsDocument() {
    if (document_ != nullptr) return document_;
    try {
      auto sheet = std::make_shared<Sheet>(GetRowCount(), GetColumnCount());
      sheet->SetTitle(title_);
      std::vector<double> values(self().RowCount());
      for (int c = 1; c <= GetColumnCount(); ++c) {
        const ColumnNames& column = *Find(c);
        sheet->SetColumnName(c, column.name);
        sheet->SetColumnLongName(c, column.longName);
        sheet->SetFormat(c, column.format);
        sheet->SetLabels(c, column.labels);
        if (!values.empty()) self().FillColumn(c, 1, GetRowCount(), values.data());
        sheet->SetValues(c, values);
      }
      document_ = environment_.wrapSheet(std::move(sheet));
    } catch (...) {
      return nullptr;
    }
    return document_;
  }

  ProcedureEnvironment& environment_;
  std::vector<ColumnNames> columns_;
  std::string title_;
  vlm::ISpreadsheet* document_ = nullptr;
};

// A sheet that the module fills. Cells never written are empty: each column keeps the rows up to
// the last one written.
class DeferredSheet final : public LazySheet<DeferredSheet, vlm::IDeferredSpreadsheet> {
 public:
  DeferredSheet(std::shared_ptr<HostProcedures::Shared> shared, int rowCount, int columnCount,
                vlm::ISheetMaker* maker)
      : LazySheet(shared->environment, static_cast<std::size_t>(columnCount)),
        shared_(std::move(shared)),
        maker_(maker),
        rowCount_(static_cast<std::size_t>(rowCount)) {}

  std::size_t RowCount() const { return rowCount_; }
  double Cell(int row, int column) {
    double value = 0;
    FillColumn(column, row, 1, &value);
    return value;
  }
  void FillColumn(int column, int firstRow, int rowCount, double* values) {
    Make();
    const std::vector<double>& written = cells_[static_cast<std::size_t>(column - 1)];
    const auto first = static_cast<std::size_t>(firstRow - 1);
    const std::size_t there =
        first < written.size() ? std::min(written.size() - first, static_cast<std::size_t>(rowCount)) : 0;
    if (there > 0) std::copy_n(written.begin() + static_cast<std::ptrdiff_t>(first), there, values);
    std::fill(values + there, values + rowCount, vlm::kMissingValue);
  }
  void WriteColumn(int columnNumber, int firstRowNumber, int rowCount, const double* values) override {
    if (!making_ || rowCount <= 0 || !HasCell(firstRowNumber, columnNumber) ||
        !HasCell(firstRowNumber + rowCount - 1, columnNumber)) {
      return;
    }
    std::vector<double>& cells = cells_[static_cast<std::size_t>(columnNumber - 1)];
    const auto first = static_cast<std::size_t>(firstRowNumber - 1);
    if (first == cells.size()) {
      if (cells.capacity() < rowCount_) cells.reserve(rowCount_);
      cells.insert(cells.end(), values, values + rowCount);
      return;
    }
    const std::size_t end = first + static_cast<std::size_t>(rowCount);
    if (end > cells.size()) cells.resize(end, vlm::kMissingValue);
    std::copy_n(values, rowCount, cells.begin() + static_cast<std::ptrdiff_t>(first));
  }
  void SetValue(int rowNumber, int columnNumber, double value) override {
    WriteColumn(columnNumber, rowNumber, 1, &value);
  }
  void SetInteger(int rowNumber, int columnNumber, int value) override {
    SetValue(rowNumber, columnNumber, value);
  }
  void Evict() override {
    for (std::vector<double>& column : cells_) shared_->ReleaseColumn(std::move(column));
    cells_.clear();
    made_ = false;
  }

 private:
  friend class LazySheet<DeferredSheet, vlm::IDeferredSpreadsheet>;
  friend Counted;
  ~DeferredSheet() = default;

  void Make() {
    if (made_) return;
    cells_.clear();
    for (int column = 0; column < GetColumnCount(); ++column) cells_.push_back(shared_->AcquireColumn());
    made_ = true;
    making_ = true;
    const bool failed = maker_->MakeCells(this) != 0;
    making_ = false;
    if (failed) cells_.assign(static_cast<std::size_t>(GetColumnCount()), {});
  }

  std::shared_ptr<HostProcedures::Shared> shared_;
  vlm::Ref<vlm::ISheetMaker> maker_;
  std::size_t rowCount_;
  std::vector<std::vector<double>> cells_;
  bool made_ = false;
  bool making_ = false;
};

class WorkSheet final : public LazySheet<WorkSheet, vlm::IWorkSheet> {
 public:
  explicit WorkSheet(std::shared_ptr<WorkData> data)
      : LazySheet(data->Shared().environment, 4), data_(std::move(data)) {
    NameAfter(*Find(1), data_->PredictorColumn());
    NameAfter(*Find(2), data_->ResponseColumn());
    Find(3)->name = data_->PredictorColumn().name;
    Find(4)->name = "Ranks";
  }

  std::size_t RowCount() const { return data_->RowCount(); }
  int GetColumnCount() override { return data_->HasRanks() ? 4 : 3; }
  double Cell(int row, int column) {
    double value = 0;
    FillColumn(column, row, 1, &value);
    return value;
  }
  void FillColumn(int column, int firstRow, int rowCount, double* values) {
    const WorkRows& rows = data_->Rows();
    const auto first = static_cast<std::size_t>(firstRow - 1);
    const auto count = static_cast<std::size_t>(rowCount);
    const std::uint32_t* cases = rows.order->cases.data() + first;
    if (column == 3) return FillCoded(rows, first, count, values);
    if (column == 4) {
      const stats::CaseRanks& ranks = data_->Ranks();
      for (std::size_t i = 0; i < count; ++i) values[i] = ranks[cases[i]];
      return;
    }
    const std::span<const double> column1or2 =
        (column == 1 ? data_->PredictorColumn() : data_->ResponseColumn()).values;
    for (std::size_t i = 0; i < count; ++i) values[i] = column1or2[cases[i]];
    if (column == 1 && first + count > rows.valueCount) {
      const std::size_t valid = std::max(rows.valueCount, first) - first;
      std::fill(values + valid, values + count, kMissing);
    }
  }
  void Evict() override { data_->Evict(); }

  vlm::IProcedure* CreateProcedure(int analysisId) override {
    try {
      AddReference();  // labels are read while the analysis lives
      const vlm::Ref<WorkSheet> self = vlm::Ref<WorkSheet>::Adopt(this);
      return MakeWorkSheetProcedure(data_, analysisId,
                                    [self](int column) { return self->Find(column)->labels; });
    } catch (...) {
      return nullptr;
    }
  }
  vlm::IDeferredSpreadsheet* CreateDeferredSpreadsheet(int rowCount, int columnCount,
                                                       vlm::ISheetMaker* maker) override {
    if (rowCount < 0 || columnCount < 0 || maker == nullptr) return nullptr;
    try {
      return new DeferredSheet(data_->SharedPointer(), rowCount, columnCount, maker);
    } catch (...) {
      return nullptr;
    }
  }

 private:
  friend class LazySheet<WorkSheet, vlm::IWorkSheet>;
  friend Counted;
  ~WorkSheet() = default;

  static void NameAfter(ColumnNames& column, const Column& source) {
    column.name = source.name;
    column.longName = source.longName;
    column.labels = source.labels;
  }
  void FillCoded(const WorkRows& rows, std::size_t first, std::size_t count, double* values) const {
    for (const Segment& segment : rows.segments) {
      const std::size_t begin = std::max(segment.begin, first);
      const std::size_t end = std::min(segment.end, first + count);
      if (begin >= end) continue;
      const double code =
          segment.bin < 0 ? kMissing : data_->PredictorBins().nodes[static_cast<std::size_t>(segment.bin)];
      std::fill(values + (begin - first), values + (end - first), code);
    }
  }

  std::shared_ptr<WorkData> data_;
};

}  // namespace

vlm::IWorkSheet* MakeWorkSheet(std::shared_ptr<WorkData> data) { return new WorkSheet(std::move(data)); }

}  // namespace velmora
