// The cases that a screening takes, without the search for bins: for a program that has the bins of
// one and asks more of its cases.
//
//   const ScreeningCases cases = CasesOfScreening(std::move(table), {"data", "--weight=w", ...});
//   if (cases.selected.Contains(7)) ...
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/screen/screen_by.h"
#include "workbench/data/table.h"
#include "workbench/data/weight_meaning.h"
#include "workbench/language/selection.h"

namespace velmora {

struct ScreeningCases {
  Table table;
  CaseBitmap selected;
  int weight = 0;  // variable of the weights, 0: none
  WeightMeaning meaning = WeightMeaning::kAsGiven;
  bool hasDesign = false;  // strata or clusters
  ByOptions by;
};

// arguments, inferredCount: as of RunAnalysis. Throws as it does.
ScreeningCases CasesOfScreening(Table table, const std::vector<std::string>& arguments, int inferredCount = 0);

}  // namespace velmora
