// A screening run as tables for an XLSX file: for every response the ranking, all bins, and the
// bins of the best predictors on a sheet of their own.
#include <algorithm>
#include <cmath>

#include "workbench/documents/page.h"
#include "workbench/documents/presentation.h"
#include "workbench/report/data_name.h"
#include "workbench/report/screen_columns.h"

namespace velmora {
namespace {

constexpr std::size_t kMostBinRows = 1000000;  // of a worksheet
// Class counts that get their percentages beside them.
constexpr std::size_t kMostCellsWithShares = 1000000;
constexpr char kProbabilityFormat[] = "0.0000";  // of columns without a format

// Columns that are set up one after the other.
class Columns {
 public:
  explicit Columns(Sheet& sheet) : sheet_(sheet) {}
  // Returns the column's number.
  int Add(const std::string& name, const char* format = "", NumberRole role = NumberRole::kPlain) {
    sheet_.SetColumnName(++last_, name);
    sheet_.SetFormat(last_, format);
    sheet_.SetRole(last_, role);
    return last_;
  }

 private:
  Sheet& sheet_;
  int last_ = 0;
};

bool IsCount(const ScreenBinColumn& column) {
  return column.value == &vlm::ScreeningBin::bad || column.value == &vlm::ScreeningBin::good ||
         column.value == &vlm::ScreeningBin::total;
}

void Add(Workbook& workbook, std::shared_ptr<Sheet> sheet, int group, const std::string& name) {
  workbook.SetName(workbook.Add(std::move(sheet), group), name);
}

void AddRanking(Workbook& workbook, const ScreenReport& report, const ScreenedResponse& response, int group) {
  const std::vector<ScreenStatistic> statistics = StatisticsOf(response);
  const std::vector<RankingColumn> basis = BasisColumns(report, response, response.predictors.size());
  const auto shownBasis = std::count_if(basis.begin(), basis.end(),
                                        [](const RankingColumn& column) { return !column.title.empty(); });
  const bool anyChance = CountAboveChance(response) < response.predictors.size();
  auto sheet = std::make_shared<Sheet>(
      static_cast<int>(response.predictors.size()),
      static_cast<int>(statistics.size()) + static_cast<int>(shownBasis) + 2 + (anyChance ? 1 : 0));
  sheet->SetTitle("Ranking of predictors: " + response.name);
  Columns columns(*sheet);
  const int rank = columns.Add("Rank", "0");
  int firstStatistic = 0;
  for (const ScreenStatistic& statistic : statistics) {
    const int column = statistic.format == nullptr
                           ? columns.Add(statistic.header, "", NumberRole::kProbability)
                           : columns.Add(statistic.header, statistic.format);
    if (firstStatistic == 0) firstStatistic = column;
  }
  const int chance = anyChance ? columns.Add("Better than chance") : 0;
  for (const RankingColumn& column : basis) {
    if (column.title.empty()) continue;
    const int place = column.kind == RankingColumn::kCount ? columns.Add(column.title, "", NumberRole::kCount)
                      : column.kind == RankingColumn::kNumber ? columns.Add(column.title, "0.0000")
                      : column.kind == RankingColumn::kProbability
                          ? columns.Add(column.title, "", NumberRole::kProbability)
                          : columns.Add(column.title);
    for (std::size_t i = 0; i < column.texts.size(); ++i) {
      const int row = static_cast<int>(i) + 1;
      if (column.values.empty()) {
        sheet->SetText(row, place, column.texts[i]);
      } else if (!std::isnan(column.values[i])) {
        sheet->SetCell(row, place, column.values[i]);
      }
    }
  }
  const int number = columns.Add("Variable number", "0");
  int row = 0;
  for (const ScreenedPredictor& predictor : response.predictors) {
    sheet->SetRowName(++row, predictor.name);
    sheet->SetInteger(row, rank, row);
    int column = firstStatistic;
    for (const ScreenStatistic& statistic : statistics)
      sheet->SetCell(row, column++, predictor.figures.*statistic.value);
    if (anyChance) sheet->SetText(row, chance, predictor.figures.noBetterThanChance != 0 ? "no" : "yes");
    sheet->SetInteger(row, number, predictor.figures.predictorNumber);
  }
  Add(workbook, std::move(sheet), group, "Ranking " + response.name);
}

// The classes of a bin in percent of the bin, in percent of each class, and as expected if there
// were no association.
void SetShares(Sheet& sheet, int row, int column, const ScreenedBin& bin, const ScreenedBin& whole) {
  const std::size_t classCount = bin.counts.size();
  const int next = static_cast<int>(classCount);
  for (std::size_t c = 0; c < classCount; ++c, ++column) {
    if (bin.figures.total > 0) sheet.SetCell(row, column, 100 * bin.counts[c] / bin.figures.total);
    if (whole.counts[c] > 0) sheet.SetCell(row, column + next, 100 * bin.counts[c] / whole.counts[c]);
    if (whole.figures.total > 0)
      sheet.SetCell(row, column + 2 * next, bin.figures.total * whole.counts[c] / whole.figures.total);
  }
}

// The figures of bins, from a column on: shared by the table of all bins and those of single
// predictors.
class BinFigures {
 public:
  // shares: percentages and expected counts of the classes too.
  BinFigures(const ScreenedResponse& response, bool shares)
      : response_(response),
        figures_(BinColumnsOf(response.kind)),
        classCount_(response.kind == vlm::kCategoricalResponse ? response.codes.size() : 0),
        shares_(shares && classCount_ > 0) {}

  int ColumnCount() const {
    return static_cast<int>(figures_.size() + (classCount_ > 0 ? (shares_ ? 4 : 1) * classCount_ + 1 : 0));
  }
  void Name(Columns& columns) const {
    for (const ScreenBinColumn& figure : figures_) {
      columns.Add(figure.header,
                  IsCount(figure)            ? ""
                  : figure.format == nullptr ? kProbabilityFormat
                                             : figure.format,
                  IsCount(figure) ? NumberRole::kCount : NumberRole::kPlain);
    }
    if (classCount_ == 0) return;
    for (const std::string& code : response_.codes) columns.Add(DisplayLabel(code), "", NumberRole::kCount);
    columns.Add("total", "", NumberRole::kCount);
    for (const char* what : {" % of bin", " % of class", " expected"}) {
      for (std::size_t c = 0; shares_ && c < classCount_; ++c)
        columns.Add(DisplayLabel(response_.codes[c]) + what, "0.00");
    }
  }
  void Set(Sheet& sheet, int row, int column, const ScreenedBin& bin, const ScreenedBin& whole) const {
    for (const ScreenBinColumn& figure : figures_) sheet.SetCell(row, column++, bin.figures.*figure.value);
    if (classCount_ == 0) return;
    for (const double count : bin.counts) sheet.SetCell(row, column++, count);
    sheet.SetCell(row, column++, bin.figures.total);
    if (shares_) SetShares(sheet, row, column, bin, whole);
  }

 private:
  const ScreenedResponse& response_;
  const std::vector<ScreenBinColumn>& figures_;
  std::size_t classCount_;
  bool shares_;
};

// The bins of all predictors in one table, for filters.
void AddAllBins(Workbook& workbook, const ScreenedResponse& response, int group) {
  std::size_t rows = 0;
  for (const ScreenedPredictor& predictor : response.predictors) rows += predictor.bins.size();
  if (rows == 0 || rows > kMostBinRows) return;
  const BinFigures figures(response, response.codes.size() * rows <= kMostCellsWithShares);
  constexpr int kFirstFigure = 4;
  auto sheet = std::make_shared<Sheet>(static_cast<int>(rows), kFirstFigure - 1 + figures.ColumnCount());
  sheet->SetTitle("Bins of all predictors: " + response.name);
  Columns columns(*sheet);
  const int rankColumn = columns.Add("Rank", "0");
  const int binColumn = columns.Add("Bin", "0");
  const int labelColumn = columns.Add("Label");
  figures.Name(columns);
  int row = 0, rank = 0;
  for (const ScreenedPredictor& predictor : response.predictors) {
    ++rank;
    int number = 0;
    for (const ScreenedBin& bin : predictor.bins) {
      sheet->SetRowName(++row, predictor.name);
      sheet->SetInteger(row, rankColumn, rank);
      sheet->SetInteger(row, binColumn, ++number);
      sheet->SetText(row, labelColumn, DisplayLabel(bin.label));
      figures.Set(*sheet, row, kFirstFigure, bin, predictor.total);
    }
  }
  Add(workbook, std::move(sheet), group, "Bins " + response.name);
}

// The bins of one predictor, with all cases in the last row.
void AddBins(Workbook& workbook, const ScreenedResponse& response, const ScreenedPredictor& predictor,
             int group, const std::string& name) {
  const BinFigures figures(response, false);
  auto sheet = std::make_shared<Sheet>(static_cast<int>(predictor.bins.size()) + 1, figures.ColumnCount());
  sheet->SetTitle("Bins of " + predictor.name + " for " + response.name);
  Columns columns(*sheet);
  figures.Name(columns);
  int row = 0;
  for (const ScreenedBin& bin : predictor.bins) {
    sheet->SetRowName(++row, DisplayLabel(bin.label));
    figures.Set(*sheet, row, 1, bin, predictor.total);
  }
  sheet->SetRowName(++row, predictor.total.label);
  figures.Set(*sheet, row, 1, predictor.total, predictor.total);
  Add(workbook, std::move(sheet), group, name);
}

void AddFailed(Workbook& workbook, const ScreenedResponse& response, int group) {
  if (response.failed.empty()) return;
  auto sheet = std::make_shared<Sheet>(static_cast<int>(response.failed.size()), 2);
  sheet->SetTitle("Not binned: " + response.name);
  sheet->SetColumnName(1, "Reason");
  sheet->SetColumnName(2, "Variable number");
  int row = 0;
  for (const FailedPredictor& failed : response.failed) {
    sheet->SetRowName(++row, failed.name);
    sheet->SetText(row, 1, failed.reason);
    sheet->SetInteger(row, 2, failed.number);
  }
  Add(workbook, std::move(sheet), group, "Not binned " + response.name);
}

}  // namespace

std::vector<Fact> RunFacts(const ScreenReport& report) {
  std::vector<Fact> facts = {{"Data", DataName(report.dataFile)},
                             CountFact("Cases in the data", report.caseCount)};
  if (!report.select.empty()) facts.push_back({"Only cases for which", report.select});
  if (!report.exclude.empty()) facts.push_back({"Without the cases for which", report.exclude});
  if (!report.weightVariable.empty()) facts.push_back({"Weighted by", report.weightVariable});
  if (!report.countVariable.empty()) facts.push_back({"Counted by", report.countVariable});
  if (!report.strataVariable.empty()) facts.push_back({"Strata", report.strataVariable});
  if (!report.clusterVariable.empty()) facts.push_back({"Clusters", report.clusterVariable});
  for (const ScreenedResponse& response : report.responses) {
    facts.push_back({"Cases of " + response.name, CasesText(response.cases)});
    if (std::string weights = WeightsText(report, response.cases); !weights.empty())
      facts.push_back({"Worth of the cases of " + response.name, std::move(weights)});
  }
  if (!report.responses.empty()) {
    const ScreenedResponse& first = report.responses.front();
    std::string text =
        GroupedDigits(static_cast<long long>(first.predictors.size() + first.failed.size())) + " screened";
    if (!first.failed.empty()) text += ", " + std::to_string(first.failed.size()) + " not binned";
    if (!report.leftOut.empty()) {
      text += "; " + GroupedDigits(static_cast<long long>(report.leftOut.size())) +
              (report.leftOut.size() == 1 ? " variable" : " variables") + " left out";
    }
    facts.push_back({"Predictors", text});
  }
  facts.push_back(
      {"Bins", std::string(report.optimal  ? "optimal"
                           : report.pruned ? "cut by trees, pruned"
                                           : "cut by trees, not pruned") +
                   (report.cutPointsFile.empty() ? "" : "; some given in " + report.cutPointsFile)});
  AppendProvenance(report.provenance, facts);
  return facts;
}

Workbook ScreenWorkbook(const ScreenReport& report) {
  Workbook workbook;
  workbook.title = "Predictor screening: " + DataName(report.dataFile);
  workbook.facts = RunFacts(report);
  for (const LeftOutVariable& variable : report.leftOut)
    workbook.SetFact("Not screened: " + variable.name, variable.role + ", " + variable.reason);
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  for (const ScreenedResponse& response : report.responses) {
    std::string description = std::string(ResponseKindName(response.kind)) + " response";
    if (response.kind == vlm::kBinaryResponse)
      description += ", bad: " + response.codes[0] + ", good: " + response.codes[1];
    const int group = workbook.GroupOfSubject(response.run.responseNumber, response.name, description);
    if (!response.predictors.empty()) AddRanking(workbook, report, response, group);
    AddAllBins(workbook, response, group);
    for (std::size_t i = 0; i < report.ShownOf(response, kBestInDocuments); ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      AddBins(workbook, response, predictor, group,
              report.responses.size() == 1 ? predictor.name : predictor.name + " " + response.name);
    }
    AddFailed(workbook, response, group);
  }
  return workbook;
}

}  // namespace velmora
