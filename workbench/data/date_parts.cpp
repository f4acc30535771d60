#include "workbench/data/date_parts.h"
#include "workbench/data/date_text.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "workbench/data/errors.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/names.h"

namespace velmora {

namespace {

constexpr const char* kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};
constexpr const char* kWeekdays[] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                     "Friday", "Saturday", "Sunday"};

const Column& DatesOf(const Table& table, int variableNumber) {
  const Column& column = table.Variable(variableNumber);
  if (column.dateUnit == DateUnit::kNone) throw DataError("Variable \"" + column.name + "\" holds no dates.");
  return column;
}

// Adds a variable whose values are part(date in days).
template <class Part>
Column& AddColumn(Table& table, int variableNumber, const char* ending, Part part) {
  const Column& dates = DatesOf(table, variableNumber);
  Column made;
  made.name = dates.name + ending;
  const auto hasName = [&](const Column& column) { return column.name == made.name; };
  if (std::any_of(table.columns.begin(), table.columns.end(), hasName))
    throw DataError("The table has a variable \"" + made.name + "\" already.");
  const MissingRange missing(dates.missingCode);
  const double unit = dates.dateUnit == DateUnit::kSeconds ? kSecondsPerDay : 1;
  std::vector<double>& values = made.values.Own();
  values.reserve(dates.values.size());
  for (const double value : dates.values)
    values.push_back(missing.Contains(value) ? kMissing : part(value / unit));
  table.columns.push_back(std::move(made));
  return table.columns.back();
}

std::chrono::sys_days DayOf(double days) {
  return std::chrono::sys_days(std::chrono::days(static_cast<int>(std::floor(days))));
}

std::chrono::year_month_day DateOf(double days) { return DayOf(days); }

template <std::size_t kCount>
void SetLabels(Column& column, const char* const (&texts)[kCount]) {
  for (std::size_t i = 0; i < kCount; ++i) column.labels.push_back({static_cast<double>(i) + 1, texts[i]});
}

}  // namespace

void AddDateParts(Table& table, int variableNumber) {
  AddColumn(table, variableNumber, "_year",
            [](double days) { return static_cast<double>(static_cast<int>(DateOf(days).year())); });
  SetLabels(
      AddColumn(table, variableNumber, "_month",
                [](double days) { return static_cast<double>(static_cast<unsigned>(DateOf(days).month())); }),
      kMonths);
  AddColumn(table, variableNumber, "_day",
            [](double days) { return static_cast<double>(static_cast<unsigned>(DateOf(days).day())); });
  SetLabels(AddColumn(table, variableNumber, "_weekday",
                      [](double days) {
                        return static_cast<double>(std::chrono::weekday(DayOf(days)).iso_encoding());
                      }),
            kWeekdays);
}

void AddDaysSince(Table& table, int variableNumber, double day) {
  AddColumn(table, variableNumber, "_days_since", [day](double days) { return days - day; });
}

void ApplySinceOption(Table& table, std::string_view option) {
  const std::size_t equals = option.rfind('=');
  const auto day = equals == std::string_view::npos ? std::nullopt : ParseIsoDate(option.substr(equals + 1));
  if (equals == 0 || !day)
    throw DataError("\"" + std::string(option) + "\" is not of the form NAME=YYYY-MM-DD.");
  AddDaysSince(table, ResolveVariable(table, option.substr(0, equals)), *day);
}

}  // namespace velmora
