#include "module/screening_outputs/importance_tables.h"

#include <algorithm>
#include <array>

#include "base/tolerant.h"
#include "base/utf8_text.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

constexpr std::size_t kLongestTitle = 80;
constexpr int kShortestRowName = 8;
constexpr int kLongestRowName = 40;

// An F of 1.7e308 means that there is no error at all; its cell stays empty.
bool IsWritten(const ImportanceColumn& column, double value) {
  return column.statistic != FStatistic || vlm::LessBeyondTolerance(value, vlm::kMissingValue);
}

}  // namespace

std::span<const ImportanceColumn> ImportanceColumns(int responseKind) {
  static constexpr std::array kBinary = {ImportanceColumn{kTextGini, GiniAfter},
                                         ImportanceColumn{kTextInformationValue, InformationValue},
                                         ImportanceColumn{kTextCramersV, CramersV}};
  static constexpr std::array kCategorical = {
      ImportanceColumn{kTextChiSquare, ChiSquare},
      ImportanceColumn{kTextPValue, ChiSquareP, vlm::kProbabilityColumn}};
  static constexpr std::array kContinuous = {ImportanceColumn{kTextRSquared, RSquared},
                                             ImportanceColumn{kTextFStatistic, FStatistic}};
  if (responseKind == vlm::kBinaryResponse) return kBinary;
  if (responseKind == vlm::kCategoricalResponse) return kCategorical;
  return kContinuous;
}

void WriteImportance(vlm::ISpreadsheet& sheet, int row, int firstColumn, const PredSummary& record) {
  for (const ImportanceColumn& column : ImportanceColumns(record.responseKind)) {
    const double value = column.statistic(record);
    if (IsWritten(column, value)) sheet.SetValue(row, firstColumn, value);
    ++firstColumn;
  }
}

void NameColumn(vlm::ISpreadsheet& sheet, int column, const std::string& name, const std::string& longName) {
  sheet.SetColumnName(column, name.data(), vlm::LengthOf(name));
  // The name itself may be cut.
  sheet.SetColumnLongName(column, longName.data(), vlm::LengthOf(longName));
}

void NameRow(CFeatureSelectionTemplate& analysis, vlm::ISpreadsheet& sheet, int row,
             const std::string& name) {
  const auto width =
      static_cast<std::size_t>(std::clamp(sheet.GetRowNameWidth(), kShortestRowName, kLongestRowName));
  const std::string shown = vlm::CharacterCount(name) <= width
                                ? name
                                : std::string(vlm::FirstCharacters(analysis.Get8CharHash(name), width));
  sheet.SetRowName(row, shown.data(), vlm::LengthOf(shown));
}

vlm::Ref<vlm::ISpreadsheet> ShowImportanceTable(CFeatureSelectionTemplate& analysis, int responseKind) {
  const std::vector<PredSummary>& results = analysis.Results(responseKind);
  const std::vector<int>& order = analysis.Order(responseKind);
  if (results.empty() || order.size() != results.size()) return {};
  const std::span<const ImportanceColumn> columns = ImportanceColumns(responseKind);
  const int numberColumn = static_cast<int>(columns.size()) + 1;
  const int rowCount = static_cast<int>(order.size());
  auto sheet = vlm::Ref<vlm::ISpreadsheet>::Adopt(
      analysis.Host().CreateSpreadsheet(results.front().responseVariable, rowCount, numberColumn));
  if (!sheet) return {};

  const auto nameColumn = [&](int column, int textId) {
    const std::string name = analysis.Text(textId);
    NameColumn(*sheet, column, name, name);
  };
  for (int c = 1; c < numberColumn; ++c) {
    const ImportanceColumn& column = columns[static_cast<std::size_t>(c - 1)];
    nameColumn(c, column.textId);
    sheet->SetColumnRole(c, column.role);
  }
  nameColumn(numberColumn, kTextVariableNumber);

  for (int row = 1; row <= rowCount; ++row) {
    const PredSummary& record = results[static_cast<std::size_t>(order[static_cast<std::size_t>(row - 1)])];
    NameRow(analysis, *sheet, row, record.predictorName);
    WriteImportance(*sheet, row, 1, record);
    sheet->SetInteger(row, numberColumn, record.predictorVariable);
  }
  const std::string title = analysis.Text(kTextImportance) + ": " + results.front().responseName;
  SetTitle(*sheet, vlm::FirstCharacters(title, kLongestTitle));
  sheet->SetLongTitle(title.data(), vlm::LengthOf(title));
  sheet->Show();
  return sheet;
}

}  // namespace vlmfsl
