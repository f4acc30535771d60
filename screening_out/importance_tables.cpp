#include "screening_out/importance_tables.h"

#include <algorithm>
#include <array>

#include "base/tolerant.h"
#include "resources/text_ids.h"

namespace vlmfsl {
namespace {

constexpr int kLongestTitle = 80;
constexpr int kShortestRowName = 8;
constexpr int kLongestRowName = 40;

struct ImportanceColumn {
  int textId;
  double PredSummary::*statistic;
};

std::span<const ImportanceColumn> ColumnsOf(int responseKind) {
  static constexpr std::array kBinary = {
      ImportanceColumn{kTextGini, &PredSummary::giniAfter},
      ImportanceColumn{kTextInformationValue, &PredSummary::informationValue},
      ImportanceColumn{kTextCramersV, &PredSummary::cramersV}};
  static constexpr std::array kCategorical = {ImportanceColumn{kTextChiSquare, &PredSummary::chiSquare},
                                              ImportanceColumn{kTextPValue, &PredSummary::chiSquareP}};
  static constexpr std::array kContinuous = {ImportanceColumn{kTextRSquared, &PredSummary::rSquared},
                                             ImportanceColumn{kTextFStatistic, &PredSummary::fStatistic}};
  if (responseKind == kBinaryKind) return kBinary;
  if (responseKind == kCategoricalKind) return kCategorical;
  return kContinuous;
}

bool IsContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u; }

// The first characters of a UTF-8 text.
std::string FirstCharacters(const std::string& text, int count) {
  std::size_t at = 0;
  for (int seen = 0; at < text.size(); ++at) {
    if (!IsContinuationByte(text[at]) && seen++ == count) break;
  }
  return text.substr(0, at);
}

int CharacterCount(const std::string& text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuationByte(c); }));
}

std::string RowNameFor(CFeatureSelectionTemplate& analysis, const std::string& name, int width) {
  return CharacterCount(name) <= width ? name : FirstCharacters(analysis.Get8CharHash(name), width);
}

// An F of 1.7e308, which stands for no error at all, is left out and its cell stays empty.
bool IsWritten(const ImportanceColumn& column, double value) {
  return column.statistic != &PredSummary::fStatistic || LessBeyondTolerance(value, vlm::kMissingValue);
}

}  // namespace

Ref<vlm::ISpreadsheet> ShowImportanceTable(CFeatureSelectionTemplate& analysis, int responseKind) {
  const std::vector<PredSummary>& results = analysis.Results(responseKind);
  const std::vector<int>& order = analysis.Order(responseKind);
  if (results.empty() || order.size() != results.size()) return {};
  const std::span<const ImportanceColumn> columns = ColumnsOf(responseKind);
  const int numberColumn = static_cast<int>(columns.size()) + 1;
  const int rowCount = static_cast<int>(order.size());
  auto sheet = Ref<vlm::ISpreadsheet>::Adopt(analysis.Host().CreateSpreadsheet(rowCount, numberColumn));
  if (!sheet) return {};

  const auto nameColumn = [&](int column, int textId) {
    const std::string name = analysis.Text(textId);
    sheet->SetColumnName(column, name.data(), LengthOf(name));
    sheet->SetColumnLongName(column, name.data(), LengthOf(name));  // the name itself may be cut
  };
  for (int c = 1; c < numberColumn; ++c) nameColumn(c, columns[static_cast<std::size_t>(c - 1)].textId);
  nameColumn(numberColumn, kTextVariableNumber);

  const int rowNameWidth = std::clamp(sheet->GetRowNameWidth(), kShortestRowName, kLongestRowName);
  for (int row = 1; row <= rowCount; ++row) {
    const PredSummary& record = results[static_cast<std::size_t>(order[static_cast<std::size_t>(row - 1)])];
    const std::string name = RowNameFor(analysis, record.predictorName, rowNameWidth);
    sheet->SetRowName(row, name.data(), LengthOf(name));
    for (int c = 1; c < numberColumn; ++c) {
      const ImportanceColumn& column = columns[static_cast<std::size_t>(c - 1)];
      const double value = record.*column.statistic;
      if (IsWritten(column, value)) sheet->SetValue(row, c, value);
    }
    sheet->SetInteger(row, numberColumn, record.predictorVariable);
  }
  SetTitle(*sheet, FirstCharacters(analysis.Text(kTextImportance) + ": " + results.front().responseName,
                                   kLongestTitle));
  sheet->Show();
  return sheet;
}

Ref<vlm::ISpreadsheet> ShowPredictorTable(CFeatureSelectionTemplate& analysis, int responseKind,
                                          int predictorIndex) {
  const std::vector<PredSummary>& results = analysis.Results(responseKind);
  if (predictorIndex < 0 || predictorIndex >= static_cast<int>(results.size())) return {};
  const PredSummary& record = results[static_cast<std::size_t>(predictorIndex)];
  const bool breakdown = responseKind == kContinuousKind;
  const Ref<vlm::ISpreadsheet>& sheet = breakdown ? record.breakdown : record.summaryCrosstab;
  if (!sheet) return {};
  std::string title =
      analysis.Text(breakdown ? kTextBreakdownResults : kTextCrosstabulationResults) + record.predictorName;
  if (breakdown) title += "\n" + record.resultTexts[kRSquaredText];
  SetTitle(*sheet, title);
  sheet->Show();
  return sheet;
}

}  // namespace vlmfsl
