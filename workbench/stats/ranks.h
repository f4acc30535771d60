// Ranks of a column: 1 for the smallest value, equal values share the average of their ranks.
#pragma once

#include <cstdint>
#include <span>

#include "workbench/stats/sorted_order.h"

namespace velmora::stats {

// ranks: one a case of the column that order was made from; the cases that are not in the order get
// missingCode.
void AverageRanks(const SortedOrder& order, double missingCode, std::span<double> ranks);

}  // namespace velmora::stats
