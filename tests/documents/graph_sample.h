// A workbook with a graph of every kind that analyses make, with the scripts that show tooltips.
#pragma once

#include <string>

#include "workbench/documents/workbook.h"

namespace velmora::sample {

inline const std::string kGraphHostile = "</script><b>\"Größe\" & 'x' 面積";

// bins: of the predictor in every graph.
Workbook EveryGraph(int bins);

}  // namespace velmora::sample
