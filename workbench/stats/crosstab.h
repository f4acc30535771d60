// Two-way frequency tables and Pearson's test of independence (Pearson 1900,
// doi:10.1080/14786440009463897).
//
// The cases of a table lie in ranges of one row code, so no case is looked up:
//   const Crosstab table = CountClasses(rows, order.cases, response.classOf, columns, weights);
//   const IndependenceTest test = TestIndependence(table);
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace velmora::stats {

// A stretch [begin, end) of some ordered cases that have one code.
struct CodedRange {
  std::size_t begin = 0;
  std::size_t end = 0;
  double code = 0;
};

struct Crosstab {
  std::vector<double> rowCodes;     // of the rows that have cases
  std::vector<double> columnCodes;  // in the order asked for
  std::vector<double> counts;       // rows x columns: sums of case weights, or numbers of cases
  std::vector<double> rowTotals;
  std::vector<double> columnTotals;
  double total = 0;

  double At(std::size_t row, std::size_t column) const { return counts[row * columnCodes.size() + column]; }
};

// The columns of a table of classes.
struct ClassColumns {
  std::vector<double> codes;
  // The column of each class of the response; codes.size() for a class that is left out.
  std::vector<std::size_t> columnOf;
};

// rows: in the order of the table's rows, ranges of one code next to each other. cases: case
// indices; the ranges are positions in it. classOf: class of each case. weights: of each case, 0 or
// more; empty: every case counts once.
Crosstab CountClasses(std::span<const CodedRange> rows, std::span<const std::uint32_t> cases,
                      std::span<const std::uint16_t> classOf, const ClassColumns& columns,
                      std::span<const double> weights);

// Rows against columns that are ranges of the same cases. columns: by rising position, without
// overlaps; columnCodes: those that the table shows.
Crosstab CountRanges(std::span<const CodedRange> rows, std::span<const CodedRange> columns,
                     std::span<const double> columnCodes, std::span<const std::uint32_t> cases,
                     std::span<const double> weights);

struct IndependenceTest {
  // sum of (observed - expected)^2 / expected over rows and columns that are not empty
  double chiSquare = 0;
  double df = 0;  // (rows - 1)(columns - 1), of those
  double p = 1;   // NaN where df is 0
  // sqrt(chi-square / (total x min(rows - 1, columns - 1))), NaN where df is 0
  double cramersV = 0;
};

IndependenceTest TestIndependence(const Crosstab& table);

}  // namespace velmora::stats
