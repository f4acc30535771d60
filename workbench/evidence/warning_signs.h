// Signs that a predictor should be looked at before it is used: it names cases instead of
// describing them, or follows from the outcome. The limits come from practice, not from a test.
//
//   HasNearlyALevelPerCase(990, 1000);   // true: as an identifier has
#pragma once

#include <cstdint>

#include "workbench/data/table.h"

namespace velmora::evidence {

// An effect or a share of variance explained above this suggests that the predictor was made from
// the outcome.
inline constexpr double kGivesAway = 0.9;

// For a categorical predictor.
bool HasNearlyALevelPerCase(std::int64_t levels, std::int64_t cases);
// Whether the values are whole numbers of which none occurs twice, like those of an identifier or a
// row number. distinct: values among the cases that have one.
bool HasNoNumberTwice(const Column& column, std::int64_t distinct, std::int64_t cases);

}  // namespace velmora::evidence
