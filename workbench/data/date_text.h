// Points in time as ISO 8601 texts, which ParseIsoDate and ParseIsoDateTime read back.
//
//   IsoDate(18262)  // "2020-01-01"
#pragma once

#include <string>

#include "workbench/data/table.h"

namespace velmora {

inline constexpr double kSecondsPerDay = 86400;

// True for a value whose year has at most four digits, as the other two functions require.
bool InCalendar(double value, DateUnit unit);

std::string IsoDate(double days);         // YYYY-MM-DD of days since 1970-01-01
std::string IsoDateTime(double seconds);  // YYYY-MM-DD HH:MM:SS[.ffffff] of seconds since then

}  // namespace velmora
