// Procedures on a work sheet: cross-tabulation, breakdown, descriptive statistics and ranks. The
// rows of the sheet lie in runs of the predictor and of its bins, so groups are ranges of rows and
// no case is looked up.
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "base/tolerant.h"

#include "workbench/documents/texts.h"
#include "workbench/procedures/procedure.h"
#include "workbench/procedures/work_sheet.h"
#include "workbench/stats/crosstab.h"
#include "workbench/stats/descriptives.h"

namespace velmora {

namespace {

constexpr int kPredictorColumn = 1;
constexpr int kResponseColumn = 2;
constexpr int kCodedColumn = 3;
constexpr int kRanksColumn = 4;

using LabelsOf = std::function<std::vector<ValueLabel>(int column)>;

using stats::CodedRange;

// The texts of codes by the labels of a column. If a code has several labels, the first counts.
class CodeTexts {
 public:
  explicit CodeTexts(const std::vector<ValueLabel>& labels) {
    for (const ValueLabel& label : labels) textOf_.emplace(label.value, &label.text);
  }
  std::string operator()(double code) const {
    const auto text = textOf_.find(code);
    return text != textOf_.end() ? *text->second : ShortestNumber(code);
  }

 private:
  std::unordered_map<double, const std::string*> textOf_;
};

class WorkSheetProcedure : public Procedure {
 protected:
  WorkSheetProcedure(int analysisId, std::shared_ptr<WorkData> data, LabelsOf labels)
      : Procedure(analysisId, data->SharedPointer(), data->DataTable()),
        data_(std::move(data)),
        labels_(std::move(labels)) {}

  // The rows in ranges of one code: of the predictor or of the coded predictor.
  std::vector<CodedRange> RangesOf(int column) const {
    const WorkRows& rows = data_->Rows();
    std::vector<CodedRange> ranges;
    if (column == kCodedColumn) {
      for (const Segment& segment : rows.segments) {
        if (segment.bin < 0) continue;
        const double node = data_->PredictorBins().nodes[static_cast<std::size_t>(segment.bin)];
        ranges.push_back({segment.begin, segment.end, node});
      }
      return ranges;
    }
    Checkpoint();
    if (column != kPredictorColumn) throw DataError("The grouping must be the predictor, plain or coded.");
    const stats::SortedOrder& order = *rows.order;
    for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
      const auto begin = static_cast<std::size_t>(order.starts[d]);
      const bool isMissing = begin >= rows.valueCount;
      ranges.push_back({begin, static_cast<std::size_t>(order.starts[d + 1]),
                        isMissing ? kMissing : order.Value(data_->PredictorColumn().values, d)});
    }
    return ranges;
  }

  // Weight of each case of the table as this analysis sees it, 0 for a case that it leaves out;
  // null when every row of the sheet counts once.
  std::shared_ptr<const std::vector<double>> CaseWeights() const {
    const CaseSettings& sheetCases = data_->ResponseData()->cases;
    const bool sameSelection = !cases_.HasConditions() || (sheetCases.inclusion == cases_.inclusion &&
                                                           sheetCases.exclusion == cases_.exclusion);
    const MaskPointer mask = sameSelection ? nullptr : shared_->Selected(table_, cases_);
    if (!mask && cases_.weightVariable == 0) return nullptr;
    if (!mask && cases_.weightVariable == sheetCases.weightVariable) {
      return {data_->ResponseData(), &data_->ResponseData()->tree.weights};
    }
    auto weights = std::make_shared<std::vector<double>>(static_cast<std::size_t>(table_->caseCount), 1.0);
    if (cases_.weightVariable > 0) {
      const Column& column = table_->Variable(cases_.weightVariable);
      const MissingRange missing(column.missingCode);
      const double unit = data_->ResponseData()->weightUnit;
      for (std::size_t i = 0; i < weights->size(); ++i) {
        const double weight = column.values[i];
        (*weights)[i] = weight > 0 && std::isfinite(weight) && !missing.Contains(weight) ? weight / unit : 0;
      }
    }
    for (std::size_t i = 0; mask && i < weights->size(); ++i) {
      if ((*mask)[i] == 0) (*weights)[i] = 0;
    }
    return weights;
  }

  std::vector<ValueLabel> Labels(int column) const { return labels_(column); }
  void Checkpoint() const { shared_->Checkpoint(); }

  std::shared_ptr<WorkData> data_;

 private:
  LabelsOf labels_;
};

// --- Cross-tabulation
// ------------------------------------------------------------------------------------

class CrosstabProcedure final : public WorkSheetProcedure {
 public:
  CrosstabProcedure(std::shared_ptr<WorkData> data, LabelsOf labels)
      : WorkSheetProcedure(vlm::kCrosstabProcedure, std::move(data), std::move(labels)) {}

 private:
  void Compute() override {
    if (Field(0).size() != 1 || Field(1).size() != 1) {
      throw DataError("A cross-tabulation takes one variable for the rows and one for the columns.");
    }
    rowColumn_ = Field(0).front();
    columnColumn_ = Field(1).front();
    const CodeList wantedRows = ParseCodeList(predictorCodes_, Labels(rowColumn_));
    std::vector<CodedRange> rows = RangesOf(rowColumn_);
    const std::unordered_set<double> wantedCodes(wantedRows.codes.begin(), wantedRows.codes.end());
    std::erase_if(
        rows, [&](const CodedRange& range) { return !wantedRows.all && !wantedCodes.contains(range.code); });
    // Bins of a categorical predictor come in pieces, one per level.
    std::stable_sort(rows.begin(), rows.end(),
                     [](const CodedRange& a, const CodedRange& b) { return a.code < b.code; });
    table2_ = columnColumn_ == kResponseColumn ? CountResponse(rows) : CountBins(rows);
    ran_ = true;
  }

  static std::span<const double> Span(const std::shared_ptr<const std::vector<double>>& weights) {
    return weights ? std::span<const double>(*weights) : std::span<const double>();
  }

  stats::Crosstab CountResponse(const std::vector<CodedRange>& rows) {
    const Response& response = *data_->ResponseData();
    if (response.continuous) throw DataError("A continuous response cannot be cross-tabulated.");
    // Several codes may share a label; only those of the sheet count.
    std::vector<ValueLabel> labels = Labels(kResponseColumn);
    std::erase_if(labels,
                  [&](const ValueLabel& label) { return ClassOf(label.value) == response.codes.size(); });
    CodeList wanted = ParseCodeList(responseCodes_, labels);
    if (wanted.all) wanted.codes = response.codes;
    // The column of each class of the sheet's response; the last place takes classes without one.
    stats::ClassColumns columns{wanted.codes,
                                std::vector<std::size_t>(response.codes.size(), wanted.codes.size())};
    for (std::size_t c = 0; c < wanted.codes.size(); ++c) {
      const std::size_t place = ClassOf(wanted.codes[c]);
      if (place < columns.columnOf.size()) columns.columnOf[place] = c;
    }
    const auto weights = CaseWeights();
    return stats::CountClasses(rows, data_->Rows().order->cases, response.tree.classOf, columns,
                               Span(weights));
  }

  // The class of a code within the tolerance; the number of classes when it has none.
  std::size_t ClassOf(double code) {
    const std::vector<double>& codes = data_->ResponseData()->codes;
    if (classOf_.empty())
      for (std::size_t k = codes.size(); k-- > 0;) classOf_[codes[k]] = k;
    const auto at = classOf_.lower_bound(-vlm::RaisedByTolerance(-code));
    return at != classOf_.end() && vlm::NearlyEqual(at->first, code) ? at->second : codes.size();
  }

  // Columns are ranges too: the predictor's values against its bins.
  stats::Crosstab CountBins(const std::vector<CodedRange>& rows) {
    const std::vector<CodedRange> columns = RangesOf(columnColumn_);
    CodeList wanted = ParseCodeList(responseCodes_, Labels(columnColumn_));
    if (wanted.all) {
      for (const CodedRange& column : columns) wanted.codes.push_back(column.code);
      std::sort(wanted.codes.begin(), wanted.codes.end());
      wanted.codes.erase(std::unique(wanted.codes.begin(), wanted.codes.end()), wanted.codes.end());
    }
    const auto weights = CaseWeights();
    return stats::CountRanges(rows, columns, wanted.codes, data_->Rows().order->cases, Span(weights));
  }

  std::shared_ptr<Sheet> MakeResult(int result, int index) override {
    if (!ran_) return nullptr;
    if (result == vlm::kCrosstabSummaryResult) return CountsSheet();
    if (result == vlm::kCrosstabStatisticsResult) return StatisticsSheet();
    if (result == vlm::kCrosstabFurtherResult && index >= 1 && index <= 3) return FurtherSheet(index);
    return nullptr;
  }

  // Column 1 and the names of rows and columns of a sheet with one column per response code.
  std::shared_ptr<Sheet> EmptySheet(bool withTotals) const {
    const int rowCount = static_cast<int>(table2_.rowCodes.size()) + (withTotals ? 1 : 0);
    const int columnCount = static_cast<int>(table2_.columnCodes.size());
    auto sheet = std::make_shared<Sheet>(rowCount, columnCount + (withTotals ? 2 : 1));
    const std::vector<ValueLabel> rowLabels = Labels(rowColumn_);
    const std::vector<ValueLabel> columnLabels = Labels(columnColumn_);
    const CodeTexts rowTexts(rowLabels), columnTexts(columnLabels);
    sheet->SetColumnName(1, "Level");
    for (int c = 0; c < columnCount; ++c) {
      const std::string text = columnTexts(table2_.columnCodes[static_cast<std::size_t>(c)]);
      sheet->SetColumnName(2 + c, text);
      sheet->SetColumnLongName(2 + c, text);
    }
    std::vector<ValueLabel> used;
    for (std::size_t row = 0; row < table2_.rowCodes.size(); ++row) {
      const double code = table2_.rowCodes[row];
      const std::string text = rowTexts(code);
      sheet->SetRowName(static_cast<int>(row) + 1, text);
      sheet->SetCell(static_cast<int>(row) + 1, 1, code);
      used.push_back({code, text});
    }
    sheet->SetLabels(1, std::move(used));
    if (withTotals) {
      sheet->SetRowName(rowCount, "Totals");
      sheet->SetColumnName(columnCount + 2, "Row totals");
    }
    return sheet;
  }

  std::shared_ptr<Sheet> CountsSheet() const {
    auto sheet = EmptySheet(true);
    const int totalsRow = sheet->RowCount();
    const int totalsColumn = sheet->ColumnCount();
    const int columnCount = totalsColumn - 2;
    for (int row = 1; row < totalsRow; ++row) {
      const auto r = static_cast<std::size_t>(row - 1);
      for (int c = 0; c < columnCount; ++c)
        sheet->SetCell(row, 2 + c, table2_.At(r, static_cast<std::size_t>(c)));
      sheet->SetCell(row, totalsColumn, table2_.rowTotals[r]);
    }
    for (int c = 0; c < columnCount; ++c) {
      sheet->SetCell(totalsRow, 2 + c, table2_.columnTotals[static_cast<std::size_t>(c)]);
    }
    sheet->SetCell(totalsRow, totalsColumn, table2_.total);
    return sheet;
  }

  std::shared_ptr<Sheet> StatisticsSheet() const {
    auto sheet = std::make_shared<Sheet>(2, 3);
    sheet->SetColumnName(1, "Statistic");
    sheet->SetColumnName(2, "df");
    sheet->SetColumnName(3, "p");
    sheet->SetRowName(1, "Pearson Chi-square");
    sheet->SetRowName(2, "Cramer's V");
    const stats::IndependenceTest test = stats::TestIndependence(table2_);
    if (!(test.df > 0)) return sheet;
    sheet->SetCell(1, 1, test.chiSquare);
    sheet->SetText(1, 1, ShortestNumber(test.chiSquare));
    sheet->SetCell(1, 2, test.df);
    sheet->SetText(1, 3, "p=" + ShortestNumber(test.p));
    sheet->SetCell(2, 1, test.cramersV);
    return sheet;
  }

  std::shared_ptr<Sheet> FurtherSheet(int index) const {
    auto sheet = EmptySheet(false);
    const char* const titles[] = {"Row percentages", "Column percentages", "Expected frequencies"};
    sheet->SetTitle(titles[index - 1]);
    for (std::size_t row = 0; row < table2_.rowCodes.size(); ++row) {
      for (std::size_t c = 0; c < table2_.columnCodes.size(); ++c) {
        const double expected = table2_.rowTotals[row] * table2_.columnTotals[c] / table2_.total;
        const double whole = index == 1 ? table2_.rowTotals[row] : table2_.columnTotals[c];
        const double cell = index == 3 ? expected : whole > 0 ? 100 * table2_.At(row, c) / whole : kMissing;
        sheet->SetCell(static_cast<int>(row) + 1, static_cast<int>(c) + 2, cell);
      }
    }
    return sheet;
  }

  int rowColumn_ = 0;
  int columnColumn_ = 0;
  stats::Crosstab table2_;
  std::map<double, std::size_t> classOf_;  // by code; filled for the first question
  bool ran_ = false;
};

// --- Breakdown and descriptives
// ---------------------------------------------------------------------------

// Values of a column over ranges of rows, gathered for the kernels. Cases without a weight above 0
// are left out.
class Gatherer {
 public:
  Gatherer(WorkData& data, int column, const std::vector<double>* weights)
      : data_(data), column_(column), weights_(weights) {
    if (column < kPredictorColumn || column > kRanksColumn || column == kCodedColumn ||
        (column == kRanksColumn && !data.HasRanks())) {
      throw DataError("The work sheet has no such variable " + std::to_string(column) + " to analyse.");
    }
    if (column == kRanksColumn) ranks_ = &data.Ranks();
    values_ = data.Shared().AcquireColumn();
  }
  ~Gatherer() { data_.Shared().ReleaseColumn(std::move(values_)); }
  Gatherer(const Gatherer&) = delete;
  Gatherer& operator=(const Gatherer&) = delete;

  // Rows without a value of the predictor are skipped.
  void Add(std::size_t begin, std::size_t end) {
    if (column_ == kPredictorColumn) end = std::max(begin, std::min(end, data_.Rows().valueCount));
    const std::uint32_t* cases = data_.Rows().order->cases.data();
    const double* column =
        (column_ == kPredictorColumn ? data_.PredictorColumn() : data_.ResponseColumn()).values.data();
    const auto valueAt = [&](std::uint32_t i) { return ranks_ != nullptr ? (*ranks_)[i] : column[i] + 0.0; };
    if (weights_ == nullptr) {
      const std::size_t at = values_.size();
      values_.resize(at + (end - begin));
      double* into = values_.data() + at;
      if (ranks_ != nullptr) {
        for (std::size_t i = begin; i < end; ++i) *into++ = (*ranks_)[cases[i]];
      } else {
        // no minus zero
        for (std::size_t i = begin; i < end; ++i) *into++ = column[cases[i]] + 0.0;
      }
      return;
    }
    for (std::size_t i = begin; i < end; ++i) {
      const double weight = (*weights_)[cases[i]];
      if (!(weight > 0)) continue;
      values_.push_back(valueAt(cases[i]));
      caseWeights_.push_back(weight);
    }
  }
  // The caller may rearrange the values.
  std::span<double> Values() { return values_; }
  std::span<const double> Weights() const { return caseWeights_; }

 private:
  WorkData& data_;
  int column_;
  const std::vector<double>* weights_;
  const stats::CaseRanks* ranks_ = nullptr;
  std::vector<double> values_;
  std::vector<double> caseWeights_;
};

void SetCellOrMissing(Sheet& sheet, int row, int column, double value) {
  sheet.SetCell(row, column, std::isfinite(value) ? value : kMissing);
}

class BreakdownProcedure final : public WorkSheetProcedure {
 public:
  BreakdownProcedure(std::shared_ptr<WorkData> data, LabelsOf labels)
      : WorkSheetProcedure(vlm::kBreakdownProcedure, std::move(data), std::move(labels)) {}

 private:
  struct Level {
    double code;
    std::vector<stats::Summary> variables;
  };

  void Compute() override {
    if (Field(0).empty() || Field(1).size() != 1) {
      throw DataError("A breakdown takes variables and one grouping variable.");
    }
    grouping_ = Field(1).front();
    quartiles_ = Option(vlm::kBreakdownQuartilesOption) != 0;
    levels_.clear();
    shares_.clear();
    stats::SummaryOptions options;
    options.quartiles = quartiles_;
    EachVariable(
        [&](Gatherer& values, const std::vector<double>& codes, const std::vector<std::size_t>& ends) {
          stats::Breakdown breakdown = stats::BreakDown(values.Values(), values.Weights(), ends, options);
          levels_.resize(codes.size() + 1);
          for (std::size_t level = 0; level < codes.size(); ++level) {
            levels_[level].code = codes[level];
            levels_[level].variables.push_back(breakdown.levels[level]);
          }
          levels_.back().variables.push_back(breakdown.total);
        });
    hasCases_.clear();
    for (const Level& level : levels_) hasCases_.push_back(level.variables.front().weight > 0);
    const Level totals = std::move(levels_.back());
    levels_.pop_back();
    std::erase_if(levels_, [](const Level& level) { return !(level.variables.front().weight > 0); });
    levels_.push_back(totals);
  }

  // Gathers each analysed variable, level by level: function(values, code of each level, one past
  // its last value).
  template <class Function>
  void EachVariable(Function function) {
    std::vector<CodedRange> ranges = RangesOf(grouping_);
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const CodedRange& a, const CodedRange& b) { return a.code < b.code; });
    const auto weights = CaseWeights();
    for (const int variable : Field(0)) {
      Checkpoint();
      Gatherer values(*data_, variable, weights.get());
      std::vector<double> codes;
      std::vector<std::size_t> ends;
      for (const CodedRange& range : ranges) {
        values.Add(range.begin, range.end);
        if (codes.empty() || codes.back() != range.code) {
          codes.push_back(range.code);
          ends.push_back(0);
        }
        ends.back() = values.Values().size();
      }
      function(values, codes, ends);
    }
  }

  // Made on demand: only degenerate data need them.
  std::shared_ptr<Sheet> SharesSheet() {
    if (shares_.empty()) {
      EachVariable([&](Gatherer& values, const std::vector<double>&, const std::vector<std::size_t>& ends) {
        shares_.push_back(stats::WithinShares(values.Values(), values.Weights(), ends));
      });
    }
    auto sheet =
        std::make_shared<Sheet>(static_cast<int>(levels_.size()) - 1, 1 + static_cast<int>(shares_.size()));
    sheet->SetColumnName(1, "Level");
    for (std::size_t variable = 0; variable < shares_.size(); ++variable) {
      const int column = static_cast<int>(variable) + 2;
      sheet->SetColumnName(column, "SS share");
      int row = 0;
      for (std::size_t level = 0; level + 1 < hasCases_.size(); ++level) {
        if (!hasCases_[level]) continue;
        sheet->SetCell(row + 1, 1, levels_[static_cast<std::size_t>(row)].code);
        ++row;
        SetCellOrMissing(*sheet, row, column, shares_[variable][level]);
      }
    }
    return sheet;
  }

  std::shared_ptr<Sheet> MakeResult(int result, int) override {
    if (result == vlm::kBreakdownSharesResult && !levels_.empty()) return SharesSheet();
    if (result != vlm::kBreakdownResult || levels_.empty()) return nullptr;
    const std::vector<std::string> names =
        quartiles_ ? std::vector<std::string>{"N",      "Means", "Std.Dev.", "Variance", "Minimum", "Q25",
                                              "Median", "Q75",   "Maximum",  "-95.%",    "+95.%"}
                   : std::vector<std::string>{"N", "Means", "Std.Dev.", "Variance"};
    const int perVariable = static_cast<int>(names.size());
    const int variableCount = static_cast<int>(Field(0).size());
    auto sheet = std::make_shared<Sheet>(static_cast<int>(levels_.size()), 1 + perVariable * variableCount);
    sheet->SetColumnName(1, "Level");
    for (int v = 0; v < variableCount; ++v) {
      for (int i = 0; i < perVariable; ++i) {
        sheet->SetColumnName(2 + v * perVariable + i, names[static_cast<std::size_t>(i)]);
      }
    }
    const std::vector<ValueLabel> labels = Labels(grouping_);
    const CodeTexts texts(labels);
    for (int row = 1; row <= sheet->RowCount(); ++row) {
      const Level& level = levels_[static_cast<std::size_t>(row - 1)];
      const bool all = row == sheet->RowCount();
      sheet->SetRowName(row, all ? "All groups" : texts(level.code));
      if (!all) sheet->SetCell(row, 1, level.code);
      for (int v = 0; v < variableCount; ++v) {
        FillSummary(*sheet, row, 2 + v * perVariable, level.variables[static_cast<std::size_t>(v)]);
      }
    }
    return sheet;
  }

  void FillSummary(Sheet& sheet, int row, int column, const stats::Summary& summary) const {
    const double figures[] = {summary.weight,     summary.mean,          summary.standardDeviation,
                              summary.variance,   summary.minimum,       summary.lowerQuartile,
                              summary.median,     summary.upperQuartile, summary.maximum,
                              summary.lowerLimit, summary.upperLimit};
    const int count = quartiles_ ? 11 : 4;
    for (int i = 0; i < count; ++i) SetCellOrMissing(sheet, row, column + i, figures[i]);
  }

  int grouping_ = 0;
  bool quartiles_ = false;
  std::vector<Level> levels_;                // those that have cases; the last one: all cases
  std::vector<bool> hasCases_;               // of every level of the grouping, and of all cases
  std::vector<std::vector<double>> shares_;  // of each variable, over every level of the grouping
};

class DescriptivesProcedure final : public WorkSheetProcedure {
 public:
  DescriptivesProcedure(std::shared_ptr<WorkData> data, LabelsOf labels)
      : WorkSheetProcedure(vlm::kDescriptivesProcedure, std::move(data), std::move(labels)) {}

 private:
  void Compute() override {
    if (Field(0).empty()) throw DataError("Descriptive statistics take at least one variable.");
    summaries_.clear();
    const auto weights = CaseWeights();
    for (const int variable : Field(0)) {
      Checkpoint();
      Gatherer values(*data_, variable, weights.get());
      values.Add(0, data_->RowCount());
      stats::SummaryOptions options;
      options.quartiles = true;
      options.ascending = variable == kPredictorColumn;  // rows are sorted by predictor value
      summaries_.push_back(stats::Summarize(values.Values(), values.Weights(), options));
    }
  }

  std::shared_ptr<Sheet> MakeResult(int result, int) override {
    if (result != vlm::kDescriptivesResult || summaries_.empty()) return nullptr;
    constexpr int kColumns = 9;
    auto sheet = std::make_shared<Sheet>(static_cast<int>(summaries_.size()), kColumns);
    const char* const names[kColumns] = {"Valid N",  "Mean", "Minimum", "Maximum", "Quartile range",
                                         "Std.Dev.", "Q25",  "Median",  "Q75"};
    for (int i = 0; i < kColumns; ++i) sheet->SetColumnName(i + 1, names[i]);
    for (int row = 1; row <= sheet->RowCount(); ++row) {
      const stats::Summary& s = summaries_[static_cast<std::size_t>(row - 1)];
      const double figures[kColumns] = {s.weight,
                                        s.mean,
                                        s.minimum,
                                        s.maximum,
                                        s.upperQuartile - s.lowerQuartile,
                                        s.standardDeviation,
                                        s.lowerQuartile,
                                        s.median,
                                        s.upperQuartile};
      for (int i = 0; i < kColumns; ++i) SetCellOrMissing(*sheet, row, i + 1, figures[i]);
    }
    return sheet;
  }

  std::vector<stats::Summary> summaries_;
};

class RanksProcedure final : public WorkSheetProcedure {
 public:
  RanksProcedure(std::shared_ptr<WorkData> data, LabelsOf labels)
      : WorkSheetProcedure(vlm::kRanksProcedure, std::move(data), std::move(labels)) {}

 private:
  void Compute() override {
    if (Field(0).size() != 1 || Field(0).front() != kResponseColumn) {
      throw DataError("Ranks are made of the response.");
    }
    data_->AddRanks();
  }
  std::shared_ptr<Sheet> MakeResult(int, int) override { return nullptr; }
};

}  // namespace

vlm::IProcedure* MakeWorkSheetProcedure(std::shared_ptr<WorkData> data, int analysisId, LabelsOf labels) {
  switch (analysisId) {
    case vlm::kCrosstabProcedure:
      return new CrosstabProcedure(std::move(data), std::move(labels));
    case vlm::kBreakdownProcedure:
      return new BreakdownProcedure(std::move(data), std::move(labels));
    case vlm::kDescriptivesProcedure:
      return new DescriptivesProcedure(std::move(data), std::move(labels));
    case vlm::kRanksProcedure:
      return new RanksProcedure(std::move(data), std::move(labels));
    default:
      return nullptr;
  }
}

}  // namespace velmora
