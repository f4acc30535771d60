// Predictors made from dates: year, month, day and weekday, and days since a fixed day.
//
//   AddDateParts(table, ResolveVariable(table, "opened"));  // opened_year, opened_month, ...
//   AddDaysSince(table, ResolveVariable(table, "opened"), *ParseIsoDate("2020-01-01"));
#pragma once

#include <string_view>

#include "workbench/data/table.h"

namespace velmora {

// Adds NAME_year, NAME_month, NAME_day and NAME_weekday (1 is Monday) to the end of the table;
// months and weekdays have labels. A missing date is missing in each. Throws DataError for a
// variable that holds no dates, and for a name that the table has already.
void AddDateParts(Table& table, int variableNumber);

// Adds NAME_days_since, the days from day (since 1970-01-01) to the date, with the fraction of a
// point in time. Throws as AddDateParts does.
void AddDaysSince(Table& table, int variableNumber, double day);

// The option text NAME=YYYY-MM-DD.
void ApplySinceOption(Table& table, std::string_view option);

}  // namespace velmora
