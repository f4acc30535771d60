#include "module/feature_selection/cross_table.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

namespace {

// A dense table has at most this many cells, or this many columns.
constexpr std::size_t kDenseCells = 8192;
constexpr std::uint32_t kDenseColumns = 16;

constexpr std::uint64_t PlaceBits(std::uint32_t row, std::uint32_t column) {
  return (std::uint64_t{row} << 32) | column;
}

template <class T>
void Relayout(std::vector<T>* cells, T empty, std::uint32_t rows, std::uint32_t columns,
              std::uint32_t newRows, std::uint32_t newColumns) {
  if (columns == newColumns) {
    cells->resize(std::size_t{newRows} * newColumns, empty);
    return;
  }
  std::vector<T> larger(std::size_t{newRows} * newColumns, empty);
  for (std::uint32_t row = 0; row < rows; ++row) {
    std::copy_n(cells->begin() + static_cast<std::ptrdiff_t>(std::size_t{row} * columns), columns,
                larger.begin() + static_cast<std::ptrdiff_t>(std::size_t{row} * newColumns));
  }
  cells->swap(larger);
}

std::uint32_t Grown(std::uint32_t have, std::uint32_t need) {
  if (need <= have) return have;
  return have == 0 ? need : std::max(need, have + have / 2);
}

}  // namespace

bool CrossTable::IsUnused(double mass) { return mass == 0.0 && std::signbit(mass); }

void CrossTable::Fit(std::uint32_t rows, std::uint32_t columns) {
  if (sparse_ || (rows <= rows_ && columns <= columns_)) return;
  const std::uint32_t newRows = Grown(rows_, rows);
  const std::uint32_t newColumns = Grown(columns_, columns);
  if (newColumns > kDenseColumns && std::size_t{newRows} * newColumns > kDenseCells) {
    MakeSparse();
    return;
  }
  if (counting_) {
    Relayout(&counts_, std::uint32_t{0}, rows_, columns_, newRows, newColumns);
  } else {
    Relayout(&masses_, -0.0, rows_, columns_, newRows, newColumns);
  }
  rows_ = newRows;
  columns_ = newColumns;
}

void CrossTable::Add(const std::uint32_t* rows, const std::uint32_t* columns, const double* masses,
                     int cases) {
  if (sparse_) {
    AddSparse(rows, columns, masses, cases);
    return;
  }
  const std::size_t width = columns_;
  if (counting_) {
    std::uint32_t* const counts = counts_.data();
    for (int i = 0; i < cases; ++i) ++counts[rows[i * kLanes] * width + columns[i]];
  } else {
    double* const cells = masses_.data();
    for (int i = 0; i < cases; ++i) cells[rows[i * kLanes] * width + columns[i]] += masses[i];
  }
}

void CrossTable::AddCount(std::uint32_t row, std::uint32_t column, std::uint32_t count) {
  if (sparse_) {
    if (used_ * 4 >= cells_.size() * 3) GrowSparse();
    CellAt(PlaceBits(row, column)).mass += static_cast<double>(count);
  } else {
    counts_[std::size_t{row} * columns_ + column] += count;
  }
}

void CrossTable::MakeSparse() {
  std::vector<Cell> occurring;
  ForEachCell([&](std::uint32_t row, std::uint32_t column, double mass) {
    occurring.push_back({PlaceBits(row, column), mass});
  });
  sparse_ = true;
  for (const Cell& cell : occurring) {
    if (used_ * 4 >= cells_.size() * 3) GrowSparse();
    CellAt(cell.place).mass = cell.mass;
  }
  std::vector<std::uint32_t>().swap(counts_);
  std::vector<double>().swap(masses_);
}

void CrossTable::GrowSparse() {
  const std::size_t size = cells_.empty() ? 64 : cells_.size() * 2;
  std::vector<Cell> old(size, Cell{kFreePlace, -0.0});
  old.swap(cells_);
  shift_ = 64 - std::countr_zero(size);
  for (const Cell& cell : old) {
    if (IsFree(cell)) continue;
    std::size_t at = PlaceOf(cell.place);
    while (!IsFree(cells_[at])) at = (at + 1) & (size - 1);
    cells_[at] = cell;
  }
}

CrossTable::Cell& CrossTable::CellAt(std::uint64_t place) {
  std::size_t at = PlaceOf(place);
  for (;; at = (at + 1) & (cells_.size() - 1)) {
    if (cells_[at].place == place) return cells_[at];
    if (IsFree(cells_[at])) break;
  }
  ++used_;
  cells_[at].place = place;
  return cells_[at];
}

void CrossTable::AddSparse(const std::uint32_t* rows, const std::uint32_t* columns, const double* masses,
                           int cases) {
  while ((used_ + static_cast<std::size_t>(cases)) * 4 >= cells_.size() * 3) GrowSparse();
  // The cells are far apart: prefetch them all before the first is needed.
  for (int i = 0; i < cases; ++i)
    __builtin_prefetch(&cells_[PlaceOf(PlaceBits(rows[i * kLanes], columns[i]))], 1);
  for (int i = 0; i < cases; ++i) {
    if (rows[i * kLanes] == 0 || columns[i] == 0) continue;
    CellAt(PlaceBits(rows[i * kLanes], columns[i])).mass += masses == nullptr ? 1.0 : masses[i];
  }
}

std::optional<ChiSquareResult> ChiSquareSum::Form(const CrossTable& table,
                                                  const std::vector<std::uint32_t>& rowRanks,
                                                  const std::vector<std::uint32_t>& columnRanks,
                                                  const std::function<bool()>& isStopped) {
  constexpr std::size_t kTermsBetweenChecks = std::size_t{1} << 22;  // some milliseconds
  cells_.clear();
  table.ForEachCell([&](std::uint32_t row, std::uint32_t column, double mass) {
    cells_.push_back({rowRanks[row], columnRanks[column], mass});
  });
  SortCells(rowRanks.size());
  ChiSquareResult result;
  FormTotals(columnRanks.size(), &result);
  std::size_t terms = 0;
  for (std::size_t row = 0; row + 1 < rowStarts_.size(); ++row) {
    const Cell* const begin = sorted_.data() + rowStarts_[row];
    const Cell* const end = sorted_.data() + rowStarts_[row + 1];
    if (begin == end) continue;
    result.chiSquare = AddRow(result.chiSquare, begin, end, rowTotals_[row], result.total);
    terms += columnTotals_.size();
    if (terms < kTermsBetweenChecks) continue;
    if (isStopped()) return std::nullopt;
    terms = 0;
  }
  return result;
}

// Into ascending order of row, then column: by counting rows, then within each.
void ChiSquareSum::SortCells(std::size_t rowCount) {
  rowStarts_.assign(rowCount + 1, 0);
  for (const Cell& cell : cells_) ++rowStarts_[cell.row + 1];
  for (std::size_t row = 0; row < rowCount; ++row) rowStarts_[row + 1] += rowStarts_[row];
  sorted_.resize(cells_.size());
  for (const Cell& cell : cells_) sorted_[rowStarts_[cell.row]++] = cell;
  for (std::size_t row = rowCount; row > 0; --row) rowStarts_[row] = rowStarts_[row - 1];
  rowStarts_[0] = 0;
  const auto byColumn = [](const Cell& a, const Cell& b) { return a.column < b.column; };
  for (std::size_t row = 0; row < rowCount; ++row) {
    const auto begin = sorted_.begin() + static_cast<std::ptrdiff_t>(rowStarts_[row]);
    const auto end = sorted_.begin() + static_cast<std::ptrdiff_t>(rowStarts_[row + 1]);
    if (!std::is_sorted(begin, end, byColumn)) std::sort(begin, end, byColumn);
  }
}

// All totals are summed in ascending order of row, then column.
void ChiSquareSum::FormTotals(std::size_t columnCount, ChiSquareResult* result) {
  rowTotals_.assign(rowStarts_.size(), 0.0);
  columnTotals_.assign(columnCount, 0.0);
  columnOccurs_.assign(columnCount, 0);
  for (const Cell& cell : sorted_) {
    rowTotals_[cell.row] += cell.mass;
    columnTotals_[cell.column] += cell.mass;
    columnOccurs_[cell.column] = 1;
    result->total += cell.mass;
  }
  for (std::size_t row = 0; row + 1 < rowStarts_.size(); ++row) {
    if (rowStarts_[row] != rowStarts_[row + 1]) ++result->rows;
  }
  columnIndex_.resize(columnCount);
  std::uint32_t columns = 0;
  for (std::size_t column = 0; column < columnCount; ++column) {
    columnIndex_[column] = columns;
    if (columnOccurs_[column] != 0) columnTotals_[columns++] = columnTotals_[column];
  }
  columnTotals_.resize(columns);
  result->columns = static_cast<int>(columns);
}

// Adds (O - E)^2 / E of every column of one row, in order. A column without a cell adds E, which is
// the term for O = 0. Done in pieces, so that the divisions of one piece overlap with the chain of
// additions of the last.
double ChiSquareSum::AddRow(double sum, const Cell* cell, const Cell* end, double rowTotal, double total) {
  constexpr std::size_t kPiece = 64;
  alignas(64) double terms[kPiece];
  const VectorKernels& kernels = Kernels();
  for (std::size_t first = 0; first < columnTotals_.size(); first += kPiece) {
    const std::size_t count = std::min(kPiece, columnTotals_.size() - first);
    kernels.expectedMasses(rowTotal, columnTotals_.data() + first, total, static_cast<int>(count), terms);
    for (; cell != end && columnIndex_[cell->column] < first + count; ++cell) {
      double& term = terms[columnIndex_[cell->column] - first];
      const double difference = cell->mass - term;
      term = difference * difference / term;
    }
    for (std::size_t i = 0; i < count; ++i) sum += terms[i];
  }
  return sum;
}

}  // namespace vlmfsl
