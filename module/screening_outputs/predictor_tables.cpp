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

// The number of rows of a unique-values sheet that hold a value; the rows after them are empty.
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

// A breakdown has the statistics of the response first and then the same ones of its ranks; the
// long names tell them apart.
void NameBreakdownColumns(CFeatureSelectionTemplate& analysis, vlm::ISpreadsheet& breakdown,
                          const std::string& response) {
  constexpr int kFirstOfResponse = 2, kFirstOfRanks = 6, kAfterRanks = 10;
  const std::string ranked = vlm::FormatText(RequiredText(analysis, kTextRanked), {response});
  for (int column = kFirstOfResponse; column < kAfterRanks; ++column) {
    const std::string name =
        vlm::WholeTextOf([&](vlm::ITextSink* sink) { breakdown.GetColumnName(column, sink); });
    const std::string longName = (column < kFirstOfRanks ? response : ranked) + ": " + name;
    breakdown.SetColumnLongName(column, longName.data(), vlm::LengthOf(longName));
  }
}

vlm::Ref<vlm::ISpreadsheet> CopyOf(const vlm::Ref<vlm::ISpreadsheet>& sheet, const PredSummary& record) {
  auto copy = sheet ? vlm::Ref<vlm::ISpreadsheet>::Adopt(sheet->Copy(record.responseVariable))
                    : vlm::Ref<vlm::ISpreadsheet>();
  if (!copy) throw HostCallError("The host cannot copy a table.");
  return copy;
}

std::string TitleOf(vlm::ISpreadsheet& sheet) {
  return vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet.GetTitle(sink); });
}

// Percentages of the rows, percentages of the columns and expected counts, one document each.
std::vector<vlm::Ref<vlm::ISpreadsheet>> CopyFurtherCrosstabs(const PredSummary& record,
                                                              const std::string& title) {
  constexpr std::string_view kFormat = "0.00";
  constexpr int kFirstClass = 2;
  std::vector<vlm::Ref<vlm::ISpreadsheet>> sheets;
  for (const vlm::Ref<vlm::ISpreadsheet>& stored : record.crosstab.further) {
    if (!stored) continue;
    sheets.push_back(CopyOf(stored, record));
    vlm::ISpreadsheet& sheet = *sheets.back();
    SetTitle(sheet, title + "\n" + TitleOf(*stored));
    for (int column = kFirstClass; column <= sheet.GetColumnCount(); ++column)
      sheet.SetColumnFormat(column, kFormat.data(), vlm::LengthOf(kFormat));
  }
  return sheets;
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
  const vlm::Ref<vlm::ISpreadsheet>& stored =
      breakdown ? record.continuous.breakdown : record.crosstab.summary;
  if (!stored) return {};
  try {
    // The user gets a copy: the record keeps its sheet as it is for the next press of the button.
    vlm::Ref<vlm::ISpreadsheet> sheet = CopyOf(stored, record);
    std::string title =
        RequiredText(analysis, breakdown ? kTextBreakdownResults : kTextCrosstabulationResults) +
        record.predictorName;
    title += "\n" + (breakdown ? vlm::FormatText(RequiredText(analysis, kTextDependentVariable),
                                                 {record.responseName})
                               : TitleOf(*stored));
    if (breakdown) {
      title += "\n" + record.resultTexts[kRSquaredText];
      NameBreakdownColumns(analysis, *sheet, record.responseName);
    }
    SetTitle(*sheet, title);
    const std::vector<vlm::Ref<vlm::ISpreadsheet>> further = responseKind == vlm::kCategoricalResponse
                                                                 ? CopyFurtherCrosstabs(record, title)
                                                                 : std::vector<vlm::Ref<vlm::ISpreadsheet>>();
    sheet->Show();
    for (const vlm::Ref<vlm::ISpreadsheet>& one : further) one->Show();
    return sheet;
  } catch (const HostCallError&) {
    analysis.ShowMessage(kTextFatalError);
    return {};
  }
}

vlm::Ref<vlm::ISpreadsheet> ShowDistributionTable(CFeatureSelectionTemplate& analysis, int predictorIndex) {
  std::vector<PredSummary>& results = analysis.Results(vlm::kBinaryResponse);
  if (predictorIndex < 0 || predictorIndex >= static_cast<int>(results.size())) return {};
  PredSummary& record = results[static_cast<std::size_t>(predictorIndex)];
  if (!record.binary.uniqueValues) return {};
  vlm::ISpreadsheet& values = *record.binary.uniqueValues;
  const int rowCount = CountValues(values);  // 0 when the host could not make them
  auto table = rowCount == 0 ? vlm::Ref<vlm::ISpreadsheet>()
                             : vlm::Ref<vlm::ISpreadsheet>::Adopt(analysis.Host().CreateSpreadsheet(
                                   record.responseVariable, rowCount, kShareColumn));
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
  nameColumn(kShareColumn, vlm::FormatText(RequiredText(analysis, kTextInPercent),
                                           {RequiredText(analysis, kTextEmpiricalCdf)}));
  FillDistribution(values, *table);
  record.EvictSheets();
  constexpr std::string_view kPercentFormat = "0.00";
  for (const int column : {kUniqueRateColumn, kShareColumn}) {
    table->SetColumnFormat(column, kPercentFormat.data(), vlm::LengthOf(kPercentFormat));
  }
  for (const int column : {kUniqueBadColumn, kUniqueGoodColumn})
    table->SetColumnRole(column, vlm::kCountColumn);
  SetTitle(*table,
           RequiredText(analysis, kTextDistributionResults) + record.predictorName + "\n" +
               vlm::FormatText(RequiredText(analysis, kTextDependentVariable), {record.responseName}));
  table->Show();
  return table;
}

}  // namespace vlmfsl
