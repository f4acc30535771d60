#include "module/screening_outputs/predictor_tables.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/format_text.h"
#include "module/resources/text_ids.h"
#include "module/screening/unique_values.h"
#include "module/screening_outputs/importance_tables.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 4096;
constexpr int kShareColumn = kUniqueGoodColumn + 1;  // percent of all cases up to the value

// The rows of a unique-values sheet; those behind the last value are empty.
int CountValues(vlm::ISpreadsheet& sheet) {
  std::vector<double> rates(kBlockRows);
  const int rowCount = sheet.GetRowCount();
  for (int first = 1; first <= rowCount; first += kBlockRows) {
    const int count = std::min(kBlockRows, rowCount - first + 1);
    sheet.ReadColumn(kUniqueRateColumn, first, count, rates.data());
    for (int i = 0; i < count; ++i) {
      if (!HasValue(rates[static_cast<std::size_t>(i)])) return first - 1 + i;
    }
  }
  return rowCount;
}

// The second half of a breakdown's statistics is of the ranks of the response.
void TellRanksApart(CFeatureSelectionTemplate& analysis, vlm::ISpreadsheet& breakdown,
                    const std::string& response) {
  constexpr int kFirstOfResponse = 2, kFirstOfRanks = 6, kBehindRanks = 10;
  const std::string ranked = vlm::FormatText(RequiredText(analysis, kTextRanked), {response});
  for (int column = kFirstOfResponse; column < kBehindRanks; ++column) {
    const std::string name =
        vlm::WholeTextOf([&](vlm::ITextSink* sink) { breakdown.GetColumnName(column, sink); });
    const std::string longName = (column < kFirstOfRanks ? response : ranked) + ": " + name;
    breakdown.SetColumnLongName(column, longName.data(), vlm::LengthOf(longName));
  }
}

// The host's further outputs, a document each: percentages of the rows and of the columns, expected counts.
void ShowFurtherCrosstabs(const PredSummary& record, const std::string& title) {
  constexpr std::string_view kFormat = "0.00";
  const std::string lead = title + "\n";
  for (const vlm::Ref<vlm::ISpreadsheet>& sheet : record.furtherCrosstabs) {
    if (!sheet) continue;
    // A sheet that was shown before has the title in front already.
    const std::string own = vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet->GetTitle(sink); });
    if (!own.starts_with(lead)) SetTitle(*sheet, lead + own);
    constexpr int kFirstClass = 2;
    for (int column = kFirstClass; column <= sheet->GetColumnCount(); ++column)
      sheet->SetColumnFormat(column, kFormat.data(), vlm::LengthOf(kFormat));
    sheet->Show();
  }
}

void FillDistribution(vlm::ISpreadsheet& values, vlm::ISpreadsheet& table) {
  const int rowCount = table.GetRowCount();
  std::vector<double> cells(kBlockRows), cases(kBlockRows);
  double total = 0, sum = 0;
  const auto eachBlock = [&](auto&& action) {
    for (int first = 1; first <= rowCount; first += kBlockRows) {
      const int count = std::min(kBlockRows, rowCount - first + 1);
      values.ReadColumn(kUniqueBadColumn, first, count, cases.data());
      values.ReadColumn(kUniqueGoodColumn, first, count, cells.data());
      for (int i = 0; i < count; ++i)
        cases[static_cast<std::size_t>(i)] += cells[static_cast<std::size_t>(i)];
      action(first, count);
    }
  };
  eachBlock([&](int, int count) {
    for (int i = 0; i < count; ++i) total += cases[static_cast<std::size_t>(i)];
  });
  eachBlock([&](int first, int count) {
    for (int column = kUniqueValueColumn; column <= kUniqueGoodColumn; ++column) {
      values.ReadColumn(column, first, count, cells.data());
      table.WriteColumn(column, first, count, cells.data());
    }
    for (int i = 0; i < count; ++i) {
      sum += cases[static_cast<std::size_t>(i)];
      cells[static_cast<std::size_t>(i)] = 100 * sum / total;
    }
    table.WriteColumn(kShareColumn, first, count, cells.data());
  });
}

}  // namespace

vlm::Ref<vlm::ISpreadsheet> ShowPredictorTable(CFeatureSelectionTemplate& analysis, int responseKind,
                                          int predictorIndex) {
  const std::vector<PredSummary>& results = analysis.Results(responseKind);
  if (predictorIndex < 0 || predictorIndex >= static_cast<int>(results.size())) return {};
  const PredSummary& record = results[static_cast<std::size_t>(predictorIndex)];
  const bool breakdown = responseKind == vlm::kContinuousResponse;
  const vlm::Ref<vlm::ISpreadsheet>& sheet = breakdown ? record.breakdown : record.summaryCrosstab;
  if (!sheet) return {};
  std::string title =
      analysis.Text(breakdown ? kTextBreakdownResults : kTextCrosstabulationResults) + record.predictorName;
  if (breakdown) {
    title += "\n" + record.resultTexts[kRSquaredText];
    TellRanksApart(analysis, *sheet, record.responseName);
  }
  SetTitle(*sheet, title);
  sheet->Show();
  if (responseKind == vlm::kCategoricalResponse) ShowFurtherCrosstabs(record, title);
  return sheet;
}

vlm::Ref<vlm::ISpreadsheet> ShowDistributionTable(CFeatureSelectionTemplate& analysis, int predictorIndex) {
  std::vector<PredSummary>& results = analysis.Results(vlm::kBinaryResponse);
  if (predictorIndex < 0 || predictorIndex >= static_cast<int>(results.size())) return {};
  PredSummary& record = results[static_cast<std::size_t>(predictorIndex)];
  if (!record.uniqueValues) return {};
  vlm::ISpreadsheet& values = *record.uniqueValues;
  const int rowCount = CountValues(values);  // 0 when the host could not make them
  auto table = rowCount == 0
                   ? vlm::Ref<vlm::ISpreadsheet>()
                   : vlm::Ref<vlm::ISpreadsheet>::Adopt(analysis.Host().CreateSpreadsheet(rowCount, kShareColumn));
  if (!table) {
    analysis.ShowMessage(kTextNotEnoughMemory);
    return {};
  }
  const auto nameColumn = [&](int column, const std::string& name) {
    NameColumn(*table, column, name, name);
  };
  nameColumn(kUniqueValueColumn, record.predictorName);
  nameColumn(kUniqueRateColumn, RequiredText(analysis, kTextUniqueDefaultRate));
  nameColumn(kUniqueBadColumn, RequiredText(analysis, kTextBad));
  nameColumn(kUniqueGoodColumn, RequiredText(analysis, kTextGood));
  nameColumn(kShareColumn,
             vlm::FormatText(RequiredText(analysis, kTextInPercent), {RequiredText(analysis, kTextEmpiricalCdf)}));
  FillDistribution(values, *table);
  record.EvictSheets();
  constexpr std::string_view kPercentFormat = "0.00";
  for (const int column : {kUniqueRateColumn, kShareColumn}) {
    table->SetColumnFormat(column, kPercentFormat.data(), vlm::LengthOf(kPercentFormat));
  }
  SetTitle(*table, RequiredText(analysis, kTextDistributionResults) + record.predictorName);
  table->Show();
  return table;
}

}  // namespace vlmfsl
