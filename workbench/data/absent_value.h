// Whether a cell of a table is without a value: one rule for rankings and for their sums.
#pragma once

#include <cmath>
#include <cstddef>

#include "workbench/data/table.h"

namespace velmora {

// missing: of the column, made once for a loop over its cells. Infinite values are values.
inline bool IsAbsent(double value, const MissingRange& missing) {
  return std::isnan(value) || missing.Contains(value);
}
// index: of the case, from 0.
inline bool IsAbsent(const Column& column, std::size_t index) {
  return std::isnan(column.values[index]) || IsMissing(column.values[index], column.missingCode);
}

}  // namespace velmora
