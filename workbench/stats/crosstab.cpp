#include "workbench/stats/crosstab.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

#include "workbench/stats/distributions.h"

namespace velmora::stats {
namespace {

double WeightOf(const CodedRange& range, std::span<const std::uint32_t> cases,
                std::span<const double> weights) {
  if (weights.empty()) return static_cast<double>(range.end - range.begin);
  double sum = 0;
  for (std::size_t i = range.begin; i < range.end; ++i) sum += weights[cases[i]];
  return sum;
}

// Counts of a table whose rows are visited in order.
class TableFiller {
 public:
  explicit TableFiller(std::vector<double> columnCodes) { table_.columnCodes = std::move(columnCodes); }

  // The counts of the row of this code: those of the last call, or of a new row.
  double* RowOf(double code) {
    if (table_.rowCodes.empty() || table_.rowCodes.back() != code) {
      table_.rowCodes.push_back(code);
      table_.counts.resize(table_.counts.size() + Width(), 0.0);
    }
    return table_.counts.data() + table_.counts.size() - Width();
  }

  // Adds totals and drops rows without cases.
  Crosstab Finish() {
    Crosstab kept;
    kept.columnCodes = table_.columnCodes;
    kept.columnTotals.assign(Width(), 0.0);
    for (std::size_t row = 0; row < table_.rowCodes.size(); ++row) {
      double total = 0;
      for (std::size_t c = 0; c < Width(); ++c) total += table_.At(row, c);
      if (!(total > 0)) continue;
      kept.rowCodes.push_back(table_.rowCodes[row]);
      kept.rowTotals.push_back(total);
      kept.total += total;
      for (std::size_t c = 0; c < Width(); ++c) {
        kept.counts.push_back(table_.At(row, c));
        kept.columnTotals[c] += table_.At(row, c);
      }
    }
    return kept;
  }

 private:
  std::size_t Width() const { return table_.columnCodes.size(); }

  Crosstab table_;
};

}  // namespace

Crosstab CountClasses(std::span<const CodedRange> rows, std::span<const std::uint32_t> cases,
                      std::span<const std::uint16_t> classOf, const ClassColumns& columns,
                      std::span<const double> weights) {
  TableFiller table(columns.codes);
  std::vector<std::uint32_t> counts(columns.columnOf.size());
  std::vector<double> sums(columns.columnOf.size());
  for (const CodedRange& range : rows) {
    double* const row = table.RowOf(range.code);
    std::fill(counts.begin(), counts.end(), 0);
    std::fill(sums.begin(), sums.end(), 0.0);
    if (!weights.empty()) {
      for (std::size_t i = range.begin; i < range.end; ++i) sums[classOf[cases[i]]] += weights[cases[i]];
    } else if (counts.size() == 2) {
      std::uint32_t second = 0;
      for (std::size_t i = range.begin; i < range.end; ++i) second += classOf[cases[i]];
      counts = {static_cast<std::uint32_t>(range.end - range.begin) - second, second};
    } else {
      for (std::size_t i = range.begin; i < range.end; ++i) ++counts[classOf[cases[i]]];
    }
    for (std::size_t k = 0; k < columns.columnOf.size(); ++k) {
      if (columns.columnOf[k] < columns.codes.size())
        row[columns.columnOf[k]] += weights.empty() ? counts[k] : sums[k];
    }
  }
  return table.Finish();
}

Crosstab CountRanges(std::span<const CodedRange> rows, std::span<const CodedRange> columns,
                     std::span<const double> columnCodes, std::span<const std::uint32_t> cases,
                     std::span<const double> weights) {
  std::unordered_map<double, std::size_t> columnOf;
  for (std::size_t c = 0; c < columnCodes.size(); ++c) columnOf.emplace(columnCodes[c], c);
  TableFiller table({columnCodes.begin(), columnCodes.end()});
  for (const CodedRange& range : rows) {
    double* const row = table.RowOf(range.code);
    auto column = std::partition_point(columns.begin(), columns.end(),
                                       [&](const CodedRange& one) { return one.end <= range.begin; });
    for (; column != columns.end() && column->begin < range.end; ++column) {
      const auto place = columnOf.find(column->code);
      if (place == columnOf.end()) continue;
      const CodedRange common{std::max(range.begin, column->begin), std::min(range.end, column->end), 0};
      row[place->second] += WeightOf(common, cases, weights);
    }
  }
  return table.Finish();
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
