#include "workbench/evidence/warning_signs.h"

#include <algorithm>
#include <cmath>

namespace velmora::evidence {

bool HasNearlyALevelPerCase(std::int64_t levels, std::int64_t cases) {
  constexpr std::int64_t kFewestCases = 20;
  return cases > kFewestCases && 2 * levels > cases;
}

bool HasNoNumberTwice(const Column& column, std::int64_t distinct, std::int64_t cases) {
  constexpr std::int64_t kFewestCases = 50;
  if (cases < kFewestCases || distinct < cases || column.dateUnit != DateUnit::kNone) return false;
  const MissingRange missing(column.missingCode);
  return std::all_of(column.values.begin(), column.values.end(), [&](double value) {
    return std::isnan(value) || missing.Contains(value) || value == std::floor(value);
  });
}

}  // namespace velmora::evidence
