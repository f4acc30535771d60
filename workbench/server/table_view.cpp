#include "workbench/server/table_view.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/variables_command.h"
#include "workbench/data/date_text.h"
#include "workbench/documents/texts.h"
#include "workbench/report/json_text.h"

namespace velmora {
namespace {

constexpr std::int64_t kMostCells = 20000;
constexpr std::size_t kLabelsGiven = 200;
constexpr int kIntervals = 20;
constexpr std::size_t kMostLevels = 12;

Json CellJson(const Column& column, double value) {
  if (IsMissing(value, column.missingCode)) return nullptr;
  if (const std::string* label = column.LabelOf(value)) return *label;
  if (column.dateUnit == DateUnit::kNone || !InCalendar(value, column.dateUnit)) return ShortestNumber(value);
  return column.dateUnit == DateUnit::kDays ? IsoDate(value) : IsoDateTime(value);
}

Json IntervalsJson(const Column& column, const VariableProfile& profile) {
  std::vector<std::int64_t> counts(kIntervals);
  const MissingRange missing(column.missingCode);
  const double width = (profile.maximum - profile.minimum) / kIntervals;
  for (const double value : column.values) {
    if (missing.Contains(value) || !std::isfinite(value)) continue;
    const double at = width > 0 ? (value - profile.minimum) / width : 0;
    ++counts[static_cast<std::size_t>(std::clamp(at, 0.0, kIntervals - 1.0))];
  }
  return {{"counts", counts}, {"minimum", profile.minimum}, {"maximum", profile.maximum}};
}

// The most frequent values first; the rest under one label.
Json LevelsJson(const Column& column) {
  std::map<double, std::int64_t> byValue;
  const MissingRange missing(column.missingCode);
  for (const double value : column.values) {
    if (!missing.Contains(value) && std::isfinite(value)) ++byValue[value];
  }
  std::vector<std::pair<double, std::int64_t>> levels(byValue.begin(), byValue.end());
  std::stable_sort(levels.begin(), levels.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  Json counts = Json::array(), labels = Json::array();
  std::int64_t rest = 0;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (i >= kMostLevels) {
      rest += levels[i].second;
      continue;
    }
    counts.push_back(levels[i].second);
    labels.push_back(CellJson(column, levels[i].first));
  }
  return {{"counts", counts}, {"labels", labels}, {"rest", rest}};
}

}  // namespace

std::string GridJson(const Table& table, const GridBlock& block) {
  const std::int64_t firstRow = std::clamp<std::int64_t>(block.row, 0, table.caseCount);
  const int firstColumn = std::clamp(block.column, 0, table.VariableCount());
  const int columns = std::clamp(block.columns, 0,
                                 std::min(table.VariableCount() - firstColumn, static_cast<int>(kMostCells)));
  const std::int64_t rows = std::clamp<std::int64_t>(
      block.rows, 0, std::min(table.caseCount - firstRow, kMostCells / std::max(columns, 1)));
  Json cells = Json::array();
  for (std::int64_t row = firstRow; row < firstRow + rows; ++row) {
    Json line = Json::array();
    for (int number = firstColumn + 1; number <= firstColumn + columns; ++number) {
      const Column& column = table.Variable(number);
      line.push_back(CellJson(column, column.values[static_cast<std::size_t>(row)]));
    }
    cells.push_back(std::move(line));
  }
  return JsonText({{"row", firstRow}, {"column", firstColumn}, {"cells", std::move(cells)}});
}

std::string VariableViewJson(const Table& table, const VariableProfile& profile) {
  const Column& column = table.Variable(profile.variableNumber);
  Json json = Json::parse(VariableJson(table, profile, kLabelsGiven));
  if (profile.validCount > 0) {
    const bool byLevel = profile.measurement == Measurement::kCategorical || !column.labels.empty();
    json["histogram"] = byLevel ? LevelsJson(column) : IntervalsJson(column, profile);
  }
  return JsonText(json);
}

std::string CaseCountJson(const Table& table, const std::string& select, const std::string& exclude,
                          int weightVariable) {
  CaseOptions options;
  options.select = select;
  options.exclude = exclude;
  const CaseBitmap selected = SelectedCases(table, options);
  Json json = {{"cases", table.caseCount}, {"selected", selected.IncludedCount()}};
  if (weightVariable > 0) {
    const Column& weights = table.Variable(weightVariable);
    const MissingRange missing(weights.missingCode);
    double sum = 0;
    for (std::int64_t i = 0; i < table.caseCount; ++i) {
      const double weight = weights.values[static_cast<std::size_t>(i)];
      if (selected.Contains(i) && !missing.Contains(weight) && weight > 0) sum += weight;
    }
    json["weight"] = sum;
  }
  return JsonText(json);
}

}  // namespace velmora
