// Two-way frequency tables and Pearson's test of independence (Pearson 1900, doi:10.1080/14786440009463897).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "workbench/stats/coding.h"

namespace velmora::stats {

struct Crosstab {
  std::vector<double> rowCodes;     // ascending
  std::vector<double> columnCodes;  // ascending
  std::vector<double> counts;       // rows x columns: sums of case weights, or numbers of cases
  std::vector<double> rowTotals;
  std::vector<double> columnTotals;
  double total = 0;
  std::int64_t cases = 0;  // unweighted

  double At(std::size_t row, std::size_t column) const { return counts[row * columnCodes.size() + column]; }
};

// A case counts when both codings give it a level and its weight (empty: 1 each) is finite and above 0.
// Throws std::length_error for a table of more than 2^27 cells.
Crosstab MakeCrosstab(const Coding& rows, const Coding& columns, std::span<const double> weights = {});

struct IndependenceTest {
  double chiSquare = 0;  // sum of (observed - expected)^2 / expected over rows and columns that are not empty
  double df = 0;         // (rows - 1)(columns - 1), of those
  double p = 1;          // NaN where df is 0
  double cramersV = 0;   // sqrt(chi-square / (total x min(rows - 1, columns - 1))), NaN where df is 0
};

IndependenceTest TestIndependence(const Crosstab& table);

}  // namespace velmora::stats
