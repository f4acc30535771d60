// A table as the page shows it: blocks of cells, variables with their distributions, counts of
// selected cases. All answers are JSON texts.
//
//   GridJson(table, {.row = 1000, .rows = 60, .column = 0, .columns = 12})
//       // {"row":1000,"column":0,"cells":[["25","male"],...]}, a list for each row
#pragma once

#include <string>

#include "workbench/data/measurement.h"
#include "workbench/data/table.h"

namespace velmora {

struct GridBlock {
  std::int64_t row = 0, rows = 0;  // counted from 0
  int column = 0, columns = 0;
};

// Cells as texts: a label, a date or a number; null where the value is missing. Cells outside of
// the table are left out; at most 20,000 cells are returned.
std::string GridJson(const Table& table, const GridBlock& block);

// The variable as "velmora variables" describes it, with at most 200 labels and with its
// "histogram": {"counts", "minimum", "maximum"} of equal intervals for a measured variable,
// {"counts", "labels"} of the most frequent values for another one.
std::string VariableViewJson(const Table& table, const VariableProfile& profile);

// {"cases", "selected", "weight"}: the sum of the weights of the selected cases that have one.
// weightVariable: 0 for none. Throws UsageError for a condition at fault.
std::string CaseCountJson(const Table& table, const std::string& select, const std::string& exclude,
                          int weightVariable);

}  // namespace velmora
