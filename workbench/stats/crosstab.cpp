#include "workbench/stats/crosstab.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "workbench/stats/distributions.h"

namespace velmora::stats {

Crosstab MakeCrosstab(const Coding& rows, const Coding& columns, std::span<const double> weights) {
  Crosstab table;
  table.rowCodes = rows.codes;
  table.columnCodes = columns.codes;
  const std::size_t width = columns.LevelCount();
  if (rows.LevelCount() != 0 && width > (std::size_t{1} << 27) / rows.LevelCount())
    throw std::length_error("a frequency table of " + std::to_string(rows.LevelCount()) + " by " +
                            std::to_string(width) + " codes is too large");
  table.counts.assign(rows.LevelCount() * width, 0);
  if (weights.empty()) {
    std::vector<std::int64_t> counts(table.counts.size());
    for (std::size_t i = 0; i < rows.levelOf.size(); ++i)
      if ((rows.levelOf[i] | columns.levelOf[i]) >= 0)
        ++counts[static_cast<std::size_t>(rows.levelOf[i]) * width +
                 static_cast<std::size_t>(columns.levelOf[i])];
    for (std::size_t cell = 0; cell < counts.size(); ++cell) {
      table.counts[cell] = static_cast<double>(counts[cell]);
      table.cases += counts[cell];
    }
  } else {
    for (std::size_t i = 0; i < rows.levelOf.size(); ++i) {
      if ((rows.levelOf[i] | columns.levelOf[i]) < 0 || !(weights[i] > 0) || !std::isfinite(weights[i]))
        continue;
      table.counts[static_cast<std::size_t>(rows.levelOf[i]) * width +
                   static_cast<std::size_t>(columns.levelOf[i])] += weights[i];
      ++table.cases;
    }
  }
  table.rowTotals.assign(rows.LevelCount(), 0);
  table.columnTotals.assign(width, 0);
  for (std::size_t r = 0; r < rows.LevelCount(); ++r)
    for (std::size_t c = 0; c < width; ++c) {
      table.rowTotals[r] += table.At(r, c);
      table.columnTotals[c] += table.At(r, c);
    }
  for (const double rowTotal : table.rowTotals) table.total += rowTotal;
  return table;
}

IndependenceTest TestIndependence(const Crosstab& table) {
  IndependenceTest test;
  const auto filled = [](const std::vector<double>& totals) {
    return static_cast<double>(std::count_if(totals.begin(), totals.end(), [](double t) { return t > 0; }));
  };
  const double rows = filled(table.rowTotals);
  const double columns = filled(table.columnTotals);
  for (std::size_t r = 0; r < table.rowTotals.size(); ++r)
    for (std::size_t c = 0; c < table.columnTotals.size(); ++c) {
      const double expected = table.rowTotals[r] * table.columnTotals[c] / table.total;
      if (!(expected > 0)) continue;
      const double gap = table.At(r, c) - expected;
      test.chiSquare += gap * gap / expected;
    }
  test.df = rows > 0 && columns > 0 ? (rows - 1) * (columns - 1) : 0;
  test.p = ChiSquareUpperTail(test.chiSquare, test.df);
  test.cramersV = test.df > 0 ? std::sqrt(test.chiSquare / (table.total * (std::min(rows, columns) - 1)))
                              : std::numeric_limits<double>::quiet_NaN();
  return test;
}

}  // namespace velmora::stats
