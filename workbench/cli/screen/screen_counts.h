// The counts that saved bins carry, so that bins can be edited without the data.
#pragma once

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/language/selection.h"
#include "workbench/procedures/host_procedures.h"

namespace velmora {

// Counts of bins, levels, missing values and pre-bins, over the selected cases that have the
// response. weight: variable of the weights, 0: none. The names of the bins are those of the table.
void AddCounts(const Table& table, const CaseBitmap& selected, int weight, WeightMeaning meaning,
               SavedBins& bins);

}  // namespace velmora
