// Cross-tabulation of one (dependent, predictor) pair while the cases are read, and its Chi-square.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace vlmfsl {

// Masses by (row, column), both counted from 0; row 0 and column 0 collect cases that do not take
// part and are never reported. Dense while the table is small, else one entry for each cell that
// occurs, so that memory grows with these cells alone.
class CrossTable {
 public:
  // counting: every mass is 1, and cells are whole counters.
  void Start(bool counting) { counting_ = counting; }

  // Makes room for rows 0 to rows - 1 and columns 0 to columns - 1.
  void Fit(std::uint32_t rows, std::uint32_t columns);

  // Adds the mass of each case to its cell, in order. rows: one entry every kLanes-th place.
  // masses: null when counting.
  void Add(const std::uint32_t* rows, const std::uint32_t* columns, const double* masses, int cases);

  // Counting only: adds a count to a cell.
  void AddCount(std::uint32_t row, std::uint32_t column, std::uint32_t count);

  // Calls visit(row, column, mass) for each cell that occurred, in no particular order.
  template <class Visit>
  void ForEachCell(Visit&& visit) const {
    if (sparse_) {
      for (const Cell& cell : cells_) {
        if (IsFree(cell)) continue;
        VisitInside(static_cast<std::uint32_t>(cell.place >> 32), static_cast<std::uint32_t>(cell.place),
                    cell.mass, visit);
      }
      return;
    }
    for (std::uint32_t row = 1; row < rows_; ++row) {
      for (std::uint32_t column = 1; column < columns_; ++column) {
        const std::size_t at = std::size_t{row} * columns_ + column;
        if (counting_ ? counts_[at] != 0 : !IsUnused(masses_[at])) {
          visit(row, column, counting_ ? static_cast<double>(counts_[at]) : masses_[at]);
        }
      }
    }
  }

 private:
  struct Cell {
    std::uint64_t place;
    double mass;
  };

  // A cell without a case holds -0.0: adding a mass to it gives that mass, and no sum of masses
  // ever is -0.0.
  static bool IsUnused(double mass);
  static bool IsFree(const Cell& cell) { return cell.place == kFreePlace; }
  template <class Visit>
  static void VisitInside(std::uint32_t row, std::uint32_t column, double mass, Visit& visit) {
    if (row != 0 && column != 0) visit(row, column, mass);
  }

  void MakeSparse();
  void GrowSparse();
  void AddSparse(const std::uint32_t* rows, const std::uint32_t* columns, const double* masses, int cases);
  std::size_t PlaceOf(std::uint64_t place) const {
    return static_cast<std::size_t>((place * 0x9E3779B97F4A7C15u) >> shift_);
  }
  Cell& CellAt(std::uint64_t place);

  static constexpr std::uint64_t kFreePlace = ~std::uint64_t{0};

  std::vector<std::uint32_t> counts_;
  std::vector<double> masses_;
  std::vector<Cell> cells_;
  std::size_t used_ = 0;
  int shift_ = 0;
  std::uint32_t rows_ = 0;
  std::uint32_t columns_ = 0;
  bool counting_ = false;
  bool sparse_ = false;
};

struct ChiSquareResult {
  double chiSquare = 0.0;
  double total = 0.0;
  int rows = 0;     // that occur
  int columns = 0;  // that occur
};

// Forms Chi-square from the cells of a pair. Keeps its memory from one pair to the next.
class ChiSquareSum {
 public:
  // rowRanks, columnRanks: place of each row and column in ascending key order, from 0. isStopped
  // is called now and then, because a table may have as many cells as the square of its cases; when
  // it returns true, Form returns nothing.
  std::optional<ChiSquareResult> Form(const CrossTable& table, const std::vector<std::uint32_t>& rowRanks,
                                      const std::vector<std::uint32_t>& columnRanks,
                                      const std::function<bool()>& isStopped);

 private:
  struct Cell {
    std::uint32_t row;  // ranks
    std::uint32_t column;
    double mass;
  };

  void SortCells(std::size_t rowCount);
  void FormTotals(std::size_t columnCount, ChiSquareResult* result);
  double AddRow(double sum, const Cell* cell, const Cell* end, double rowTotal, double total);

  std::vector<Cell> cells_;
  std::vector<Cell> sorted_;
  std::vector<std::size_t> rowStarts_;
  std::vector<double> rowTotals_;
  std::vector<double> columnTotals_;        // of the columns that occur, in key order
  std::vector<std::uint32_t> columnIndex_;  // by rank: its place in columnTotals_
  std::vector<char> columnOccurs_;
};

}  // namespace vlmfsl
