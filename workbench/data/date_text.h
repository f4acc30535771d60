// Points in time as ISO texts, the way back of ParseIsoDate and ParseIsoDateTime.
#pragma once

#include <string>

#include "workbench/data/table.h"

namespace velmora {

// True for a value whose year four digits can say, which the other two take only.
bool InCalendar(double value, DateUnit unit);

std::string IsoDate(double days);         // YYYY-MM-DD of days since 1970-01-01
std::string IsoDateTime(double seconds);  // YYYY-MM-DD HH:MM:SS[.ffffff] of seconds since then

}  // namespace velmora
